// Times of items that go to mails and come back.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "bench/timing.h"
#include "host/mail.h"
#include "platform/mapi/tags.h"
#include "properties/named_properties.h"

namespace nalvo::bench {

using Message = ComPtr<host::MemoryMessage>;
using Mails = std::vector<ComPtr<IStream>>;

// When a mail arrived that does not say so.
inline constexpr FILETIME kFallback{0, 0x01D5F070};

inline void set(const Message& message, const NamedProperty& property, ULONG type, host::PropertyContent content) {
  message->bag().set(MapiName(property).getPropertyTag(message.get()), {type, std::move(content)});
}

// A message with a text of two lines.
inline Message makeItem(const host::HostContextPtr& context, std::u16string_view messageClass) {
  Message message = host::makeMessage(context);
  message->bag().set(PR_MESSAGE_CLASS, {PT_UNICODE, std::u16string(messageClass)});
  message->bag().set(PR_SUBJECT, {PT_UNICODE, std::u16string(u"Write the plan of the week")});
  message->bag().set(PR_BODY, {PT_UNICODE, std::u16string(u"All of it, with an umlaut: \u00E4.\r\nAnd a second line.")});
  return message;
}

inline Mails writeAll(const std::vector<Message>& items, host::MailForm form) {
  Mails mails;
  for (const Message& item : items) {
    mails.push_back(host::writeMail(item.get(), form, nullptr).mail);
  }
  return mails;
}

inline std::vector<Message> readAll(const Mails& mails, const host::HostContextPtr& context) {
  std::vector<Message> items;
  for (const ComPtr<IStream>& mail : mails) {
    items.push_back(host::readMail(mail.get(), context, kFallback, nullptr));
  }
  return items;
}

inline void printWays(const std::string& name, std::size_t items, double toMime, double toMapi) {
  const double each = 1e6 / static_cast<double>(items);
  std::printf("  %-24s to MIME %9.1f us each, %7.2f s; to MAPI %9.1f us each, %7.2f s\n", name.c_str(), toMime * each,
              toMime, toMapi * each, toMapi);
}

inline void bothWays(const std::string& name, const host::HostContextPtr& context, const std::vector<Message>& items,
                     host::MailForm form) {
  Mails mails;
  const double toMime = processorSecondsOf([&] { mails = writeAll(items, form); });
  const double toMapi = processorSecondsOf([&] { readAll(mails, context); });
  printWays(name, items.size(), toMime, toMapi);
}

}  // namespace nalvo::bench
