// What the host's objects answer in the place of addresses and values that would do harm.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/memory_objects.h"
#include "host/msg_layout.h"
#include "platform/mapi/tags.h"

namespace nalvo::host {
namespace {

constexpr ULONG narrow(ULONG tag) { return changePropType(tag, PT_STRING8); }

class Answers : public testing::Test {
 protected:
  void set(ULONG tag, std::u16string text) { message->bag().set(tag, {PT_UNICODE, std::move(text)}); }
  std::string answer(ULONG tag) {
    SPropValue* value = nullptr;
    if (failed(message->getProp(tag, &value))) {
      return message->propExists(tag) == S_FALSE ? "<absent>" : "<failed>";
    }
    const std::string text = value->Value.lpszA;
    HostAllocator::free(value);
    return text;
  }
  bool isListed(ULONG tag) {
    ULONG count = 0;
    ULONG* tags = nullptr;
    EXPECT_EQ(message->getPropList(&count, &tags), S_OK);
    const bool found = std::find(tags, tags + count, tag) != tags + count;
    HostAllocator::free(tags);
    return found;
  }

  ComPtr<MemoryMessage> message = makeMessage(std::make_shared<HostContext>());
};

TEST_F(Answers, AnExchangeAddressIsAnsweredAsTheSmtpOneBesideIt) {
  struct Case {
    std::string_view why;
    std::u16string type, smtp;
    std::string answeredType, answeredAddress;
  };
  const std::string path = "/o=Org/cn=ann";
  const Case cases[] = {
      {"the SMTP address is known", u"EX", u"ann@example.org", "SMTP", "ann@example.org"},
      {"it is not", u"EX", u"", "EX", "<absent>"},
      {"the case of the type does not count", u"ex", u"ann@example.org", "SMTP", "ann@example.org"},
      {"another type stays", u"FAX", u"ann@example.org", "FAX", path},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    message = makeMessage(std::make_shared<HostContext>());
    set(PR_SENDER_ADDRTYPE, c.type);
    set(PR_SENDER_EMAIL_ADDRESS, u"/o=Org/cn=ann");
    set(propTag(PT_UNICODE, 0x5D01), c.smtp);
    EXPECT_EQ(answer(narrow(PR_SENDER_ADDRTYPE)), c.answeredType);
    EXPECT_EQ(answer(narrow(PR_SENDER_EMAIL_ADDRESS)), c.answeredAddress);
    EXPECT_TRUE(message->bag().find(PR_SENDER_EMAIL_ADDRESS) != nullptr);  // the file's own value is kept
  }
}

TEST_F(Answers, ARecipientKeepsItsPathWhenNothingElseIsKnown) {
  set(PR_ADDRTYPE, u"EX");
  set(PR_EMAIL_ADDRESS, u"/o=Org/cn=ann");
  EXPECT_EQ(answer(narrow(PR_EMAIL_ADDRESS)), "/o=Org/cn=ann");
}

TEST_F(Answers, WideTextAskedNarrowLosesNothing) {
  set(PR_EMAIL_ADDRESS, u"j\u00F6rg@example.org");
  EXPECT_EQ(answer(narrow(PR_EMAIL_ADDRESS)), "j\xF6rg@example.org");
  set(PR_EMAIL_ADDRESS, u"\u03B1@example.org");
  EXPECT_EQ(answer(narrow(PR_EMAIL_ADDRESS)), "\xCE\xB1@example.org");
}

TEST_F(Answers, HtmlAskedNarrowIsInTheCodePageOfItsMessage) {
  set(PR_BODY_HTML, u"\u041F");
  set(PR_SUBJECT, u"\u041F");
  EXPECT_EQ(answer(PR_BODY_HTML_A), "\xD0\x9F");
  message->bag().set(PR_INTERNET_CPID, {PT_LONG, std::int32_t{1251}});
  EXPECT_EQ(answer(PR_BODY_HTML_A), "\xCF");
  EXPECT_EQ(answer(narrow(PR_SUBJECT)), "\xD0\x9F");
  message->bag().set(PR_INTERNET_CPID, {PT_LONG, std::int32_t{4711}});
  EXPECT_EQ(answer(PR_BODY_HTML_A), "\xD0\x9F");
}

TEST_F(Answers, WhatHasNoTextIsNotListedButAnswered) {
  message->bag().set(propTag(PT_CURRENCY, 0x6000), {PT_CURRENCY, std::int64_t{1}});
  message->bag().set(propTag(msg::PT_RESTRICTION, 0x6001), {msg::PT_RESTRICTION, std::string("x")});
  message->bag().set(PR_IMPORTANCE, {PT_LONG, std::int32_t{1}});
  EXPECT_FALSE(isListed(propTag(PT_CURRENCY, 0x6000)));
  EXPECT_FALSE(isListed(propTag(msg::PT_RESTRICTION, 0x6001)));
  EXPECT_TRUE(isListed(PR_IMPORTANCE));
  EXPECT_EQ(message->propExists(propTag(PT_CURRENCY, 0x6000)), S_OK);
}

TEST_F(Answers, ATimeOutOfRangeIsAbsent) {
  message->bag().set(PR_CLIENT_SUBMIT_TIME, {PT_SYSTIME, FILETIME{0, 0x80000000}});
  EXPECT_EQ(message->propExists(PR_CLIENT_SUBMIT_TIME), S_FALSE);
  EXPECT_FALSE(isListed(PR_CLIENT_SUBMIT_TIME));
  message->bag().set(PR_CLIENT_SUBMIT_TIME, {PT_SYSTIME, FILETIME{0xFFFFFFFF, 0x7FFFFFFF}});
  EXPECT_EQ(message->propExists(PR_CLIENT_SUBMIT_TIME), S_OK);
}

}  // namespace
}  // namespace nalvo::host
