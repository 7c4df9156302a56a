#include "mime/addresses.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/text/text.h"
#include "tests/support/cpu_time.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

// "name <email>", "<email>" or "name" of each address, with "; " between them.
std::string shown(const std::vector<Address>& list) {
  std::string out;
  for (const Address& address : list) {
    out += out.empty() ? "" : "; ";
    out += wideToUtf8(address.name);
    out += address.email.empty() ? "" : (address.hasName ? " <" : "<") + address.email + '>';
  }
  return out;
}

TEST(AddressList, ReadsWhatSendersWrite) {
  struct Case {
    std::string_view why, raw, read;
  };
  static constexpr Case kCases[] = {
      {"by the book", "Ann Lee <a@x.org>, b@x.org", "Ann Lee <a@x.org>; <b@x.org>"},
      {"quoted names", "\"Lee, Ann\" <a@x.org>, \"a \\\"b\\\" c\"<b@x.org>", "Lee, Ann <a@x.org>; a \"b\" c <b@x.org>"},
      {"quoted local part", "\"ann lee\"@x.org, <\"a,b>c\"@x.org>", "<\"ann lee\"@x.org>; <\"a,b>c\"@x.org>"},
      {"a comment is a name", "a@x.org (Ann (the) Lee)", "Ann (the) Lee <a@x.org>"},
      {"a comment beside a name is none", "Ann (work) <a@x.org>", "Ann <a@x.org>"},
      {"comments inside", "ann(x)@(y)x.org, <ann(x) @ x.org>", "x y <ann@x.org>; <ann@x.org>"},
      {"a comment alone", "(nobody)", ""},
      {"a group", "team: a@x.org, Bob <b@x.org>;, c@x.org", "<a@x.org>; Bob <b@x.org>; <c@x.org>"},
      {"an empty group", "undisclosed-recipients:;", ""},
      {"in brackets", "<undisclosed-recipients:;>, a@x.org", "<a@x.org>"},
      {"quoted group, no end", "\"a: group\": b@x.org", "<b@x.org>"},
      {"groups in groups", "a: b: c@x.org; d@x.org;; e@x.org", "<c@x.org>; <d@x.org>; <e@x.org>"},
      {"a route", "Ann <@a.org,@b.org:ann@x.org>", "Ann <ann@x.org>"},
      {"a domain literal", "ann@[IPv6:2001:db8::1], b@[10.0.0.1]", "<ann@[IPv6:2001:db8::1]>; <b@[10.0.0.1]>"},
      {"semicolons", "a@x.org; Bob <b@x.org>;c@x.org", "<a@x.org>; Bob <b@x.org>; <c@x.org>"},
      {"an X.500 path", "/o=Big Firm/ou=Site/cn=Recipients/cn=ann, <EX:/o=A/cn=b>",
       "</o=Big Firm/ou=Site/cn=Recipients/cn=ann>; <EX:/o=A/cn=b>"},
      {"one bare word", "root", "<root>"},
      {"several words", "Ann Lee", "Ann Lee"},
      {"a quoted text alone", "\"ann@x.org\"", "ann@x.org"},
      {"an encoded word alone", "=?utf-8?Q?=C3=84nn?=", "\xC3\x84nn"},
      {"empty brackets", "Ann Lee <>, <>", "Ann Lee"},
      {"encoded names", "=?utf-8?Q?=C3=84nn?= =?utf-8?Q?_Lee?= <a@x.org>", "\xC3\x84nn Lee <a@x.org>"},
      {"encoded in quotes", "\"=?utf-8?B?w4Ru?=\" <a@x.org>", "\xC3\x84n <a@x.org>"},
      {"a bare comma in an encoded word", "=?utf-8?Q?Lee,_Ann?= <a@x.org>", "Lee, Ann <a@x.org>"},
      {"raw bytes", "\xC4nn <a@x.org>", "\xC3\x84nn <a@x.org>"},
      {"a name without brackets", "Ann Lee a@x.org", "Ann Lee <a@x.org>"},
      {"missing commas", "a@x.org b@x.org <c@x.org> Dan <d@x.org>", "a@x.org b@x.org <c@x.org>; Dan <d@x.org>"},
      {"blanks for commas", "a@x.org b@x.org", "<a@x.org>; <b@x.org>"},
      {"missing bracket", "Ann <a@x.org, Bob <b@x.org>", "Ann <a@x.org>; Bob <b@x.org>"},
      {"several in one pair", "<a@x.org, b@x.org; c@x.org>", "<a@x.org>; <b@x.org>; <c@x.org>"},
      {"an open quote", "\"Ann <a@x.org>, b@x.org", "\"Ann <a@x.org>; <b@x.org>"},
      {"an open comment", "a@x.org (Ann, b@x.org", "(Ann <a@x.org>; <b@x.org>"},
      {"an address as a name", "a@x.org <a@x.org>", "a@x.org <a@x.org>"},
      {"a name behind", "<a@x.org> Ann", "Ann <a@x.org>"},
      {"an odd neighbour with a colon", "a@x.org Re: b@x.org", "<a@x.org>; Re: <b@x.org>"},
      {"nothing", " , ;,", ""},
      {"brackets around what is no address", "<not an address, at all>", "<not an address, at all>"},
      {"old blanks", "ann @ x.org", "<ann@x.org>"},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(shown(parseAddressList(c.raw, nullptr)), c.read) << c.why;
  }
}

TEST(AddressList, WritesByTheBookAndReadsItBack) {
  struct Case {
    std::string_view why;
    Address address;
    std::string_view written;
  };
  const Case kCases[] = {
      {"bare", {"a@x.org", u"", false}, "a@x.org"},
      {"atoms", {"a@x.org", u"Ann Lee", true}, "Ann Lee <a@x.org>"},
      {"quoted", {"a@x.org", u"Lee, \"A\" \\", true}, "\"Lee, \\\"A\\\" \\\\\" <a@x.org>"},
      {"a dot needs quotes", {"a@x.org", u"A. Lee", true}, "\"A. Lee\" <a@x.org>"},
      {"blanks need quotes", {"a@x.org", u" Ann  Lee", true}, "\" Ann  Lee\" <a@x.org>"},
      {"encoded", {"a@x.org", u"\u00C4nn, Lee", true}, "=?utf-8?B?w4Rubiw=?= Lee <a@x.org>"},
      {"looks encoded", {"a@x.org", u"=?a?Q?b?=", true}, "=?utf-8?B?PT9hP1E/Yj89?= <a@x.org>"},
      {"a line break", {"a@x.org", u"a\r\nBcc: b", true}, "=?utf-8?B?YQ0KQmNjOg==?= b <a@x.org>"},
      {"a name alone", {"", u"Ann", true}, "\"Ann\""},
      {"alone and encoded", {"", u"/o=\u00C4 b", true}, "=?utf-8?B?L289w4Q=?= b"},
      {"no address by the rules", {"/o=A b/cn=c", u"Ann", true}, "Ann </o=A b/cn=c>"},
      {"nor without a name", {"root", u"", false}, "<root>"},
      {"a comma in it", {"a,b", u"", false}, "<a,b>"},
      {"quoted local part", {"\"a b\"@x.org", u"", false}, "<\"a b\"@x.org>"},
      {"bytes of UTF-8", {"\xC3\xA4@x.org", u"", false}, "\xC3\xA4@x.org"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const std::string written = writeAddressList({&c.address, 1}, nullptr, {4});
    EXPECT_EQ(written, c.written);
    EXPECT_EQ(parseAddressList(unfold(written), nullptr), std::vector<Address>{c.address});
  }
}

TEST(AddressList, LeavesOutWhatSaysNothing) {
  const Address list[] = {{"", u"", true}, {"a@x.org", u"a@x.org", true}, {"", u"", false}, {"b\r\nX: y@x.org", u"", true}};
  EXPECT_EQ(writeAddressList(list, nullptr, {4}), "a@x.org, <b  X: y@x.org>");
}

TEST(AddressList, FoldsBetweenAddresses) {
  std::vector<Address> list;
  for (int i = 0; i < 40; ++i) {
    list.push_back({"person" + std::to_string(i) + "@example.org",
                    i % 3 == 0 ? u"\u00C4nn Lee of somewhere far away" : u"Ann Lee", true});
  }
  const std::string written = writeAddressList(list, findCharset("iso-8859-1"), {4});
  std::size_t at = 0;
  for (std::size_t column = 4; at < written.size(); column = 0) {
    const std::size_t end = std::min(written.find("\r\n", at), written.size());
    EXPECT_LE(column + end - at, 76U);
    at = end + 2;
  }
  EXPECT_EQ(parseAddressList(unfold(written), nullptr), list);
}

// Ten times the text may take about ten times the time, whatever it is made of.
TEST(AddressList, HostileTextCostsNoMoreThanItsLength) {
  for (const std::string_view pattern :
       {"(", "<", "\"", "=?", "=?a?q?", "<,", "<\"", "\" ", ": ", "a@", "@,", "[a@[", "(a) ", "\\(", "<@a,"}) {
    std::string text;
    while (text.size() < 1'000'000) {
      text += pattern;
    }
    const double start = test::cpuSeconds();
    parseAddressList(text, nullptr);
    EXPECT_LT(test::cpuSeconds() - start, 5.0) << pattern;
  }
}

}  // namespace
