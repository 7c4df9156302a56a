// What travels beside a mail: it comes back to what it was taken from, and to nothing else.
#include "host/carried.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostics/hresult_exception.h"
#include "host/carried_value.h"
#include "host/exact_mail.h"
#include "host/json.h"
#include "host/mail.h"
#include "host/msg_layout.h"
#include "mime/read_only_stream.h"
#include "platform/mapi/tags.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr FILETIME kArrived{0, 0x01D00000};
constexpr ULONG kCurrency = propTag(PT_CURRENCY, 0x6000);
const PropertyName kCustom{{0x11223344, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}}, MNID_STRING, 0, u"Custom"};

ComPtr<IStream> streamOf(std::string_view bytes) {
  ComPtr<IStream> stream = streamUtils::createStream();
  mime::writeAll(stream.get(), bytes);
  streamUtils::rewind(stream.get());
  return stream;
}

class CarriedMail : public testing::Test {
 protected:
  ~CarriedMail() override {
    message.reset();
    EXPECT_EQ(context->liveObjects, 0);
  }

  static void set(PropertyBag& bag, ULONG tag, PropertyContent content) {
    bag.set(tag, {propType(tag), std::move(content)});
  }
  static void text(PropertyBag& bag, ULONG tag, std::u16string value) { set(bag, tag, std::move(value)); }
  // A note as a store would have it, with what no mail tells.
  void givenNote(MemoryMessage& note) {
    PropertyBag& bag = note.bag();
    text(bag, PR_MESSAGE_CLASS, u"IPM.Note");
    text(bag, PR_SUBJECT, u"Lunch");
    text(bag, PR_BODY, u"Shall we meet?\r\n");
    set(bag, PR_MESSAGE_FLAGS, std::int32_t{8});  // not sent yet
    set(bag, PR_SENSITIVITY, std::int32_t{2});
    set(bag, kCurrency, std::int64_t{1234});
    text(bag, PR_SENDER_NAME, u"Ann");
    text(bag, PR_SENDER_ADDRTYPE, u"EX");
    text(bag, PR_SENDER_EMAIL_ADDRESS, u"/o=Org/cn=ann");
    text(bag, propTag(PT_UNICODE, 0x5D01), u"ann@example.org");
    set(bag, PR_SENDER_ENTRYID, std::string("ann's id"));
    givenRecipient(note, u"Carl", u"carl@example.org", 2);
    givenRecipient(note, u"Bob", u"bob@example.org", 1);
    PropertyBag& file = note.addAttachment().bag();
    set(file, PR_ATTACH_METHOD, msg::kByValue);
    text(file, PR_ATTACH_LONG_FILENAME, u"a long name.txt");
    text(file, PR_ATTACH_FILENAME, u"ALONGN~1.TXT");
    set(file, PR_ATTACH_DATA_BIN, std::string("content"));
  }
  static void givenRecipient(MemoryMessage& note, std::u16string name, std::u16string address, std::int32_t kind) {
    PropertyBag& bag = note.addRecipient().bag();
    set(bag, PR_RECIPIENT_TYPE, kind);
    set(bag, PR_ENTRYID, std::string("an id"));
    text(bag, PR_ADDRTYPE, u"SMTP");
    text(bag, PR_DISPLAY_NAME, std::move(name));
    text(bag, PR_EMAIL_ADDRESS, std::move(address));
  }
  std::string written(MailForm form = MailForm::Lossless) {
    return bytesOf({PT_BINARY, writeMail(message.get(), form, nullptr).mail});
  }
  ComPtr<MemoryMessage> read(const std::string& mail, bool trust = true) {
    return readMail(MailFile{streamOf(mail)}, context, kArrived, trust, nullptr);
  }
  static std::string replaced(std::string mail, std::string_view from, std::string_view to) {
    const std::size_t at = mail.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? mail : mail.replace(at, from.size(), to);
  }
  static std::u16string textAt(const PropertyBag& bag, ULONG tag) {
    const PropertyRecord* record = bag.find(tag);
    return record == nullptr ? u"<none>" : textOf(*record);
  }
  // Whether a property has the value that the note was given.
  static bool same(const PropertyBag& a, const PropertyBag& b, ULONG tag) {
    return a.find(tag) != nullptr && b.find(tag) != nullptr && digestOf(*a.find(tag)) == digestOf(*b.find(tag));
  }

  HostContextPtr context = std::make_shared<HostContext>();
  ComPtr<MemoryMessage> message = makeMessage(context);
};

TEST_F(CarriedMail, BringsBackWhatNoMailTells) {
  givenNote(*message);
  const std::vector<ULONG> tags = message->bag().tags();
  const ComPtr<MemoryMessage> back = read(written());
  EXPECT_EQ(message->bag().tags(), tags) << "nothing stays in the message that was written";
  for (const ULONG tag : tags) {
    EXPECT_TRUE(same(message->bag(), back->bag(), tag)) << std::hex << tag;
  }
  ASSERT_EQ(back->parts().recipients.size(), 2U);
  EXPECT_EQ(toJson(back->parts().recipients[0]->bag(), PR_DISPLAY_NAME, true)["value"], "Carl") << "the order of the table";
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(back->parts().recipients[i]->bag().tags(), message->parts().recipients[i]->bag().tags());
    EXPECT_TRUE(same(message->parts().recipients[i]->bag(), back->parts().recipients[i]->bag(), PR_ENTRYID));
  }
  EXPECT_EQ(textAt(back->parts().attachments.at(0)->bag(), PR_ATTACH_FILENAME), u"ALONGN~1.TXT");
}

TEST_F(CarriedMail, LeavesWhatAnEditorChanged) {
  givenNote(*message);
  set(message->bag(), PR_RTF_COMPRESSED, std::string("no RTF that anybody reads"));
  const std::string mail = written();
  ASSERT_TRUE(same(message->bag(), read(mail)->bag(), PR_RTF_COMPRESSED)) << "damaged, but not ours to lose";

  ComPtr<MemoryMessage> back = read(replaced(mail, "Shall we meet?", "No time today"));
  EXPECT_EQ(textAt(back->bag(), PR_BODY), u"No time today\r\n");
  EXPECT_FALSE(same(message->bag(), back->bag(), PR_RTF_COMPRESSED)) << "it would bring the old text back";
  EXPECT_TRUE(same(message->bag(), back->bag(), PR_SENDER_ENTRYID));

  back = read(replaced(replaced(mail, "Ann", "Eve"), "ann@example.org", "eve@example.org"));
  EXPECT_EQ(textAt(back->bag(), PR_SENDER_EMAIL_ADDRESS), u"eve@example.org");
  EXPECT_EQ(textAt(back->bag(), PR_SENDER_ADDRTYPE), u"SMTP");
  EXPECT_FALSE(same(message->bag(), back->bag(), PR_SENDER_ENTRYID));

  back = read(replaced(replaced(mail, "Bob", "Eve"), "bob@example.org", "eve@example.org"));
  ASSERT_EQ(back->parts().recipients.size(), 2U);
  for (const auto& recipient : back->parts().recipients) {
    const bool isEve = textAt(recipient->bag(), PR_EMAIL_ADDRESS) == u"eve@example.org";
    EXPECT_EQ(bytesOf(*recipient->bag().find(PR_ENTRYID)) == "an id", !isEve);
  }
}

TEST_F(CarriedMail, IsTakenFromTrustedMailAlone) {
  givenNote(*message);
  const ComPtr<MemoryMessage> back = read(written(), false);
  EXPECT_EQ(back->bag().find(PR_SENSITIVITY), nullptr);
  EXPECT_EQ(toJson(*back, true).dump().find("Carried"), std::string::npos);
  EXPECT_EQ(written(MailForm::Wire).find("X-MAPI"), std::string::npos);
}

TEST_F(CarriedMail, TravelsInAnnotationsToo) {
  givenNote(*message);
  MailFile file = writeMail(message.get(), MailForm::Store, nullptr);
  const ComPtr<MemoryMessage> back = readMail(file, context, kArrived, false, nullptr);
  EXPECT_TRUE(same(message->bag(), back->bag(), kCurrency));
  EXPECT_TRUE(same(message->bag(), back->bag(), PR_SENDER_ENTRYID));
  file.annotations.emplace();
  EXPECT_EQ(readMail(file, context, kArrived, true, nullptr)->bag().find(kCurrency), nullptr);
}

TEST_F(CarriedMail, MessagesInsideCarryTheirOwn) {
  givenNote(*message);
  MemoryAttachment& attachment = message->addAttachment();
  set(attachment.bag(), PR_ATTACH_METHOD, msg::kEmbeddedMessage);
  ComPtr<IConvertMessage> opened;
  ASSERT_EQ(attachment.openProp(PR_ATTACH_DATA_OBJ, 1, IConvertMessage::kIid, opened.putUnknown()), S_OK);
  givenNote(*attachment.embedded());
  const PropertyBag& inner = attachment.embedded()->bag();
  const ComPtr<MemoryMessage> back = read(written());
  const MemoryMessage* found = nullptr;
  for (const auto& one : back->parts().attachments) {
    found = one->embedded() ? one->embedded().get() : found;
  }
  ASSERT_NE(found, nullptr);
  EXPECT_TRUE(same(inner, found->bag(), kCurrency));
  EXPECT_TRUE(same(inner, found->bag(), PR_MESSAGE_FLAGS));
  EXPECT_EQ(bytesOf(*found->parts().recipients.at(0)->bag().find(PR_ENTRYID)), "an id");
}

TEST_F(CarriedMail, ExactFormBringsBackEverythingBitByBit) {
  givenNote(*message);
  message->addRecipient();  // neither name nor address
  set(message->bag(), propTag(PT_SYSTIME, 0x6002), FILETIME{0, 0x80000000});
  text(message->bag(), PR_TRANSPORT_MESSAGE_HEADERS, u"Received: from a\r\n\tby b\r\nSubject:  Lunch\r\n");
  set(message->bag(), propTag(PT_MV_BINARY, message->bag().names().idOf(kCustom, true)),
      std::vector<std::string>{"a", "", std::string("\0", 1)});
  message->bag().set(PR_INTERNET_CPID, {PT_LONG, std::int32_t{1251}});
  message->bag().set(propTag(PT_STRING8, 0x6003), {PT_STRING8, std::string("\xCF\xF0\xE8\x98"), 1251});
  const ComPtr<MemoryMessage> back = read(written(MailForm::Exact));
  EXPECT_EQ(addDifferences(*message, *back, nullptr), std::vector<std::string>());

  // What the proof is worth: one bit more is told.
  set(back->parts().recipients.at(1)->bag(), PR_ENTRYID, std::string("an iD"));
  EXPECT_THAT(addDifferences(*message, *back, nullptr), testing::Contains(testing::HasSubstr("recipient 1")));
}

TEST_F(CarriedMail, WhatCanNotBeExactIsNotWritten) {
  givenNote(*message);
  set(message->bag(), propTag(PT_LONG, 0xAF07), std::int32_t{1});  // means nothing in another file
  try {
    written(MailForm::Exact);
    FAIL();
  } catch (const HResultException& e) {
    EXPECT_EQ(e.getHResult(), MAPI_E_NO_SUPPORT);
    EXPECT_THAT(e.what(), testing::HasSubstr("af070003"));
  }
}

TEST_F(CarriedMail, WhatWouldFailTheMailIsPassedOverAndComesBack) {
  givenNote(*message);
  set(message->bag(), PR_RTF_COMPRESSED, std::string("no RTF that anybody reads"));
  set(message->bag(), PR_INTERNET_CPID, std::int32_t{4711});
  const MailFile file = writeMail(message.get(), MailForm::Lossless, nullptr);
  EXPECT_THAT(file.warnings, testing::ElementsAre(testing::HasSubstr("4711"), testing::HasSubstr("RTF")));
  EXPECT_EQ(textAt(read(bytesOf({PT_BINARY, file.mail}))->bag(), PR_BODY), u"Shall we meet?\r\n");
  const ComPtr<MemoryMessage> back = read(written(MailForm::Exact));
  EXPECT_EQ(addDifferences(*message, *back, nullptr), std::vector<std::string>());
}

TEST_F(CarriedMail, OddAttachmentsComeBack) {
  struct Case {
    std::string_view why;
    std::optional<std::int32_t> method;
    std::u16string_view path;
    ULONG content;  // the tag that holds some, if any
    bool isTold;
  };
  static constexpr Case kCases[] = {
      {"resolved by somebody", 2, u"//server/elsewhere.txt", 0, false},
      {"resolved by somebody, without a path", 3, u"", 0, true},
      {"a place in the web", 7, u"//server/elsewhere.txt", 0, false},
      {"unknown", 9, u"", 0, true},
      {"a path", 4, u"//server/elsewhere.txt", 0, false},
      {"a file without data", msg::kByValue, u"", 0, true},
      {"a message that is not there", msg::kEmbeddedMessage, u"", 0, true},
      {"an object that is not there", msg::kOle, u"", 0, true},
      {"an object that lies where files do", msg::kOle, u"", PR_ATTACH_DATA_BIN, false},
      {"neither a method nor data", std::nullopt, u"", 0, true},
      {"a file without a method", std::nullopt, u"", PR_ATTACH_DATA_BIN, false},
      {"an object without a method", std::nullopt, u"", msg::kTagOleData, false},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    message = makeMessage(context);
    givenNote(*message);
    PropertyBag& bag = message->addAttachment().bag();
    text(bag, PR_ATTACH_LONG_FILENAME, u"elsewhere.txt");
    if (c.method) {
      set(bag, PR_ATTACH_METHOD, *c.method);
    }
    if (!c.path.empty()) {
      text(bag, PR_ATTACH_LONG_PATHNAME, std::u16string(c.path));
    }
    if (c.content != 0) {
      set(bag, c.content, std::string("what it holds"));
    }
    const std::vector<ULONG> tags = bag.tags();
    const MailFile file = writeMail(message.get(), MailForm::Lossless, nullptr);
    if (c.isTold) {
      EXPECT_THAT(file.warnings,
                  testing::ElementsAre("attachment 1 (elsewhere.txt) has no data; the mail has an empty file"));
    } else {
      EXPECT_THAT(file.warnings, testing::IsEmpty());
    }
    EXPECT_EQ(bag.tags(), tags) << "the message is as it was";
    const ComPtr<MemoryMessage> back = read(bytesOf({PT_BINARY, file.mail}));
    ASSERT_EQ(back->parts().attachments.size(), 2U);
    const PropertyBag& backBag = back->parts().attachments[1]->bag();
    for (const ULONG tag : tags) {
      EXPECT_TRUE(same(bag, backBag, tag)) << std::hex << tag;
    }
    for (const ULONG tag : {PR_ATTACH_METHOD, PR_ATTACH_DATA_BIN, msg::kTagOleData}) {
      EXPECT_EQ(bag.find(tag) == nullptr, backBag.find(tag) == nullptr) << std::hex << tag;
    }
  }
}

Carried sample() {
  CarriedLayer layer;
  const auto add = [&layer](PropertyRecord record) {
    CarriedValue& value = layer.values.emplace_back();
    value.key.tag = propTag(record.type, 0x6000);
    value.record = std::move(record);
  };
  add({PT_SHORT, std::int16_t{-2}});
  add({PT_BOOLEAN, true});
  add({PT_DOUBLE, -0.5});
  add({PT_CURRENCY, std::int64_t{5}});
  add({PT_SYSTIME, FILETIME{1, 2}});
  add({PT_STRING8, std::string("caf\xE9"), 1252});
  add({PT_UNICODE, std::u16string(u"\xD800 lone")});
  add({PT_BINARY, streamOf("from a stream")});
  add({PT_MV_SHORT, std::vector<std::int16_t>{1, 2}});
  add({PT_MV_CLSID, std::vector<GUID>{kCustom.set}});
  add({PT_MV_UNICODE, std::vector<std::u16string>{u"a", u""}});
  add({msg::PT_RESTRICTION, std::string("bytes")});
  CarriedValue& removal = layer.values.emplace_back();
  removal.key.tag = propTag(PT_LONG, 0);
  removal.key.name = kCustom;
  removal.guard = Guard::words(PR_BODY, u"x");
  removal.action = CarriedValue::Action::Remove;
  layer.recipients.push_back({{"mark", "other"}, false, layer.values});
  layer.attachments.push_back({{}, true, {}});
  return {layer, {}};
}

TEST(CarriedBytes, ComeBackAsTheyWere) {
  const std::string bytes = encode(sample());
  const std::optional<Carried> back = decodeCarried(bytes);
  ASSERT_TRUE(back);
  EXPECT_TRUE(encode(*back) == bytes);
  ASSERT_EQ(back->size(), 2U);
  EXPECT_EQ((*back)[0].values.back().key.name->name, u"Custom");
  EXPECT_EQ(bytesOf((*back)[0].values[7].record), "from a stream");
}

TEST(CarriedBytes, DamageIsNoCarriedValue) {
  const std::string bytes = encode(sample());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    EXPECT_FALSE(decodeCarried(std::string_view(bytes).substr(0, length))) << length;
  }
  EXPECT_FALSE(decodeCarried(bytes + "x"));
  EXPECT_FALSE(decodeCarried(std::string(1, '\2') + bytes.substr(1))) << "another version";
  // Any other damage may leave something readable, which must be bounded and harmless.
  const auto context = std::make_shared<HostContext>();
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (const char bits : {'\1', '\x80', '\xFF'}) {
      std::string damaged = bytes;
      damaged[at] = static_cast<char>(damaged[at] ^ bits);
      if (const std::optional<Carried> carried = decodeCarried(damaged)) {
        const ComPtr<MemoryMessage> message = makeMessage(context);
        apply(*carried, *message);
        for (const ULONG tag : message->bag().tags()) {
          EXPECT_LT(propId(tag), 0xAF00U) << "identifiers of the store are out of reach";
          EXPECT_NE(propType(tag), static_cast<ULONG>(PT_OBJECT));
          (void)toJson(message->bag(), tag, true);
        }
      }
    }
  }
}

TEST(CarriedBytes, ATypeTakesItsOwnContentAlone) {
  struct Case {
    std::string_view why;
    PropertyRecord record;
  };
  const Case cases[] = {
      {"a number for a text", {PT_UNICODE, std::int32_t{1}}},
      {"a text for a number", {PT_LONG, std::string("x")}},
      {"an object", {PT_OBJECT, std::monostate()}},
      {"a code page that nobody knows", {PT_STRING8, std::string("x"), 4711}},
      {"one text for several", {PT_MV_UNICODE, std::u16string(u"x")}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    CarriedLayer layer;
    CarriedValue& value = layer.values.emplace_back();
    value.key.tag = propTag(PT_BINARY, 0x6000);
    value.record = c.record;
    EXPECT_FALSE(decodeCarried(encode({layer})));
  }
}

TEST(CarriedParts, ArePairedByTheirSurestMarks) {
  const Pairing partners = pair({{"ann to", "ann"}, {"bob to", "bob"}, {"ann to", "ann"}, {}, {"gone"}},
                                {{"bob cc", "bob"}, {"ann to", "ann"}, {"eve to", "eve"}});
  EXPECT_EQ(partners, (Pairing{1, 0, std::nullopt, std::nullopt, std::nullopt}));
}

}  // namespace
}  // namespace nalvo::host
