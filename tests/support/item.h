// Items for tests: an item of a class, its trip through MIME, and the sweep of faults over both ways.
#pragma once

#include <functional>

#include "tests/support/sweep.h"

namespace nalvo::test {

// Words of the conversions.
inline constexpr DWORD kForSend = 1;
inline constexpr DWORD kToAttachment = 2;
inline constexpr DWORD kWithoutBody = 4;
inline constexpr DWORD kJustFlags = 8;

// An item of a message class with nothing but that, to be filled.
class Item : public Caller {
 public:
  explicit Item(std::u16string messageClass, host::HostContextPtr shared = std::make_shared<host::HostContext>())
      : Caller(std::move(shared)), messageClass_(std::move(messageClass)) {
    set(PR_MESSAGE_CLASS, messageClass_);
  }

  // The item that `mail` and the annotations and flags of `source` make.
  Item(const Item& source, const std::string& mail, DWORD word = 0) : Caller(source.context) {
    annotations = source.annotations;
    flags = source.flags;
    EXPECT_EQ(toMapi(stream(mail).get(), word), S_OK);
  }

 private:
  std::u16string messageClass_;
};

// The item of a class that a mail without annotations makes; lines with LF.
class ReceivedItem : public Caller {
 public:
  ReceivedItem(const std::u16string& messageClass, std::string_view mail, HRESULT expected = S_OK) {
    flags->messageClass = messageClass;
    EXPECT_EQ(toMapi(stream(crLf(mail)).get()), expected);
  }
};

inline constexpr std::uint64_t kLeastCalls = 50;  // A run that stops early proves nothing.

// Fails each call of the way out of an item that `fill` makes, as it is kept and as it is sent.
inline void sweepWayOut(const std::u16string& messageClass, const std::function<void(Item&)>& fill,
                        std::size_t mostSwallowed = 12) {
  for (const DWORD word : {DWORD{0}, kForSend}) {
    expectClean(host::faultSweep([&](const host::HostContextPtr& context, const std::function<void()>& arm) {
                  Item item(messageClass, context);
                  fill(item);
                  const ComPtr<IStream> out = item.stream();
                  arm();
                  return item.toMime(out.get(), word);
                }),
                mostSwallowed, kLeastCalls);
  }
}

// Fails each call of the way of a mail without annotations to an item; lines with LF.
inline void sweepReceived(const std::u16string& messageClass, std::string_view mail, std::size_t mostSwallowed = 12) {
  expectClean(host::faultSweep([&](const host::HostContextPtr& context, const std::function<void()>& arm) {
                Caller item(context);
                item.flags->messageClass = messageClass;
                const ComPtr<IStream> stream = item.stream(crLf(mail));
                arm();
                return item.toMapi(stream.get());
              }),
              mostSwallowed, kLeastCalls);
}

// Fails each call of both ways of an item that `fill` makes. What travels in annotations may be lost on the way back without
// a word, so it should have none of that.
inline void sweepItem(const std::u16string& messageClass, const std::function<void(Item&)>& fill,
                      std::size_t mostSwallowed = 12) {
  sweepWayOut(messageClass, fill, mostSwallowed);
  expectClean(host::faultSweep([&](const host::HostContextPtr& context, const std::function<void()>& arm) {
                Item item(messageClass, context);
                fill(item);
                const ComPtr<IStream> mail = item.stream(item.write());
                Caller back(context);
                back.annotations = item.annotations;
                back.flags = item.flags;
                arm();
                return back.toMapi(mail.get());
              }),
              mostSwallowed, kLeastCalls);
}

}  // namespace nalvo::test
