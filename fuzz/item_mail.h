// Mails that are the text of one item.
#pragma once

#include "fuzz/converter.h"
#include "host/comparison.h"
#include "platform/mapi/tags.h"

namespace nalvo::fuzz {

inline std::u16string textOf(const Converter& converter, ULONG tag) {
  const host::PropertyRecord* record = converter.message->bag().find(tag);
  return record == nullptr ? std::u16string() : host::textOf(*record);
}

// The text becomes an item or is refused with a code. What became one goes out in each form, comes back, and says the same
// in `tag`; what differs can be told. `headers` stand ahead of those of the text.
inline void carryItem(const char* type, std::string_view text, ULONG tag, const char* headers = "") {
  const std::string mail = std::string(headers) + "MIME-Version: 1.0\r\nContent-Type: text/" + type +
                           "; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" + std::string(text);
  Converter first;
  if (failed(first.read(mail, 0))) {
    return;
  }
  std::string out;
  expect(first.write(CONVERT_FOR_SEND, out) == S_OK);
  expect(first.write(CONVERT_TO_ATTACHMENT, out) == S_OK);
  Converter second;
  expect(second.read(out, CONVERT_FROM_ATTACHMENT) == S_OK);
  expect(textOf(second, PR_MESSAGE_CLASS) == textOf(first, PR_MESSAGE_CLASS));
  expect(textOf(second, tag) == textOf(first, tag));
  host::compareMails(streamOf(mail).get(), streamOf(out).get());
}

}  // namespace nalvo::fuzz
