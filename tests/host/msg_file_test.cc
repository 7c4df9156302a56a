// .msg files, written and read; compound files by a library of others as the second opinion.
#include "host/msg_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "diagnostics/hresult_exception.h"
#include "host/compound_writer.h"
#include "host/file_stream.h"
#include "host/json.h"
#include "host/little_endian.h"
#include "host/msg_layout.h"
#include "host/property_stream.h"
#include "mime/read_only_stream.h"
#include "platform/mapi/tags.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

const GUID kSet{0x00062008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

ComPtr<IStream> streamOf(std::string_view bytes) {
  ComPtr<IStream> stream = streamUtils::createStream();
  mime::writeAll(stream.get(), bytes);
  streamUtils::rewind(stream.get());
  return stream;
}

std::string bytesOfStream(IStream* stream) { return bytesOf({PT_BINARY, ComPtr<IStream>::retain(stream)}); }

// Something that is not the same everywhere, so that a piece in the wrong place shows.
std::string pattern(std::size_t bytes) {
  std::string text;
  for (std::uint32_t i = 0; text.size() < bytes; ++i) {
    appendTo(text, i * 2654435761U);
  }
  text.resize(bytes);
  return text;
}

class MsgFile : public testing::Test {
 protected:
  ~MsgFile() override {
    message.reset();
    EXPECT_EQ(context->liveObjects, 0);
  }

  ComPtr<IStream> written() const { return writtenOf(*message); }
  static ComPtr<IStream> writtenOf(MemoryMessage& from) {
    ComPtr<IStream> stream = streamUtils::createStream();
    StreamSink sink(stream.get());
    writeMsg(&from, sink);
    return stream;
  }
  ComPtr<MemoryMessage> read(IStream* stream) {
    warnings.clear();
    return readMsg(stream, context, &warnings);
  }
  // Writes and reads the message, which is to bring back the same without a warning.
  void expectSame() {
    const ComPtr<MemoryMessage> again = read(written().get());
    EXPECT_EQ(toJson(*again, true).dump(1), toJson(*message, true).dump(1));
    EXPECT_THAT(warnings, ElementsAre());
  }
  void set(ULONG tag, PropertyContent content, CodePage codePage = 0) {
    message->bag().set(tag, {propType(tag), std::move(content), codePage});
  }
  ULONG named(const PropertyName& name, ULONG type) { return propTag(type, message->bag().names().idOf(name, true)); }
  HRESULT failureOf(IStream* stream, std::string& text) {
    try {
      (void)read(stream);
      return S_OK;
    } catch (const HResultException& e) {
      text = e.what();
      return e.getHResult();
    }
  }

  HostContextPtr context = std::make_shared<HostContext>();
  ComPtr<MemoryMessage> message = makeMessage(context);
  std::vector<std::string> warnings;
};

TEST_F(MsgFile, EveryTypeComesBack) {
  set(msg::PR_STORE_SUPPORT_MASK, std::int32_t{0x40000});
  set(propTag(PT_SHORT, 0x6001), std::int16_t{-2});
  set(propTag(PT_LONG, 0x6002), std::int32_t{-3});
  set(propTag(PT_FLOAT, 0x6003), 1.5F);
  set(propTag(PT_DOUBLE, 0x6004), -2.25);
  set(propTag(PT_CURRENCY, 0x6005), std::int64_t{123456});
  set(propTag(PT_APPTIME, 0x6006), 42000.5);
  set(propTag(PT_BOOLEAN, 0x6007), true);
  set(propTag(PT_I8, 0x6008), std::int64_t{-1} << 40);
  set(propTag(PT_SYSTIME, 0x6009), FILETIME{1, 0x01D00000});
  set(propTag(PT_CLSID, 0x600A), kSet);
  set(propTag(PT_UNICODE, 0x600B), std::u16string(u"\u00E9 \U0001F600"));
  set(propTag(PT_UNICODE, 0x600C), std::u16string());
  set(propTag(PT_BINARY, 0x600D), std::string("\0\1\0", 3));
  set(propTag(PT_BINARY, 0x600E), std::string());
  set(propTag(PT_NULL, 0x600F), std::monostate());
  set(propTag(PT_ERROR, 0x6010), std::int32_t{-5});
  set(propTag(msg::PT_RESTRICTION, 0x6011), std::string("restriction"));
  set(propTag(PT_MV_SHORT, 0x6101), std::vector<std::int16_t>{1, -1});
  set(propTag(PT_MV_LONG, 0x6102), std::vector<std::int32_t>{});
  set(propTag(PT_MV_FLOAT, 0x6103), std::vector<float>{1, 2});
  set(propTag(PT_MV_DOUBLE, 0x6104), std::vector<double>{3});
  set(propTag(PT_MV_CURRENCY, 0x6105), std::vector<std::int64_t>{4, 5});
  set(propTag(PT_MV_APPTIME, 0x6106), std::vector<double>{6});
  set(propTag(PT_MV_I8, 0x6107), std::vector<std::int64_t>{7, 8, 9});
  set(propTag(PT_MV_SYSTIME, 0x6108), std::vector<FILETIME>{{1, 2}, {3, 4}});
  set(propTag(PT_MV_CLSID, 0x6109), std::vector<GUID>{kSet, kSet});
  set(propTag(PT_MV_UNICODE, 0x610A), std::vector<std::u16string>{u"a", u"", u"\u00E9"});
  set(propTag(PT_MV_BINARY, 0x610B), std::vector<std::string>{std::string(5000, 'x'), "", std::string("\0", 1)});
  expectSame();
}

TEST_F(MsgFile, LengthsAroundTheBordersComeBack) {
  set(msg::PR_STORE_SUPPORT_MASK, std::int32_t{0x40000});
  ULONG id = 0x6000;
  for (const std::size_t bytes :
       std::initializer_list<std::size_t>{1, 63, 64, 65, 511, 512, 513, 4095, 4096, 4097, 65535, 65536, 65537, 10'000'000}) {
    set(propTag(PT_BINARY, id++), pattern(bytes));
    set(propTag(PT_UNICODE, id++), std::u16string(bytes / 2, u'\u20AC'));
  }
  expectSame();
}

TEST_F(MsgFile, TerminatorsAndOddBytesAreNoPartOfAText) {
  const ComPtr<IStream> file = streamUtils::createStream();
  StreamSink sink(file.get());
  CompoundWriter writer(sink, 0);
  std::string list(msg::headerBytes(msg::ObjectKind::Message), '\0');
  const std::string body(6000, 'b');
  ULONG id = 0x6000;
  for (const std::string& end : {std::string(), std::string(1, '\0'), std::string(3, '\0'), std::string(4, '\0')}) {
    for (const std::string& text : {std::string("ab"), body}) {
      const ULONG tag = propTag(PT_UNICODE, id++);
      writer.addStream(CompoundWriter::kRoot, msg::numberedName(msg::kValuePrefix, tag), text + end);
      appendTo(list, tag);
      appendTo(list, std::uint32_t{6});
      appendTo(list, std::uint64_t{0});
    }
  }
  writer.addStream(CompoundWriter::kRoot, msg::kPropertiesName, list);
  writer.finish();
  const ComPtr<MemoryMessage> again = read(file.get());
  ASSERT_EQ(again->bag().tags().size(), 8U);
  for (const ULONG tag : again->bag().tags()) {
    const std::u16string text = textOf(*again->bag().find(tag));
    EXPECT_EQ(text, propId(tag) % 2 == 0 ? u"\u6261" : std::u16string(3000, u'\u6262')) << std::hex << tag;
  }
}

TEST_F(MsgFile, NamesAreSharedByAllObjects) {
  set(msg::PR_STORE_SUPPORT_MASK, std::int32_t{0x40000});
  for (std::int32_t i = 0; i < 40; ++i) {
    set(named({kSet, MNID_ID, 0x8500 + i, {}}, PT_LONG), i);
  }
  const PropertyName keywords{msg::kPsPublicStrings, MNID_STRING, 0, u"Keywords"};
  set(named(keywords, PT_MV_UNICODE), std::vector<std::u16string>{u"red"});
  set(named({msg::kPsMapi, MNID_STRING, 0, u"\u00DCnter \U0001F600"}, PT_UNICODE), std::u16string(u"x"));
  MemoryAttachment& attachment = message->addAttachment();
  attachment.bag().set(PR_ATTACH_METHOD, {PT_LONG, msg::kEmbeddedMessage});
  ComPtr<IConvertMessage> opened;
  ASSERT_EQ(attachment.openProp(PR_ATTACH_DATA_OBJ, 1, IConvertMessage::kIid, opened.putUnknown()), S_OK);
  PropertyBag& inner = attachment.embedded()->bag();
  inner.set(msg::PR_STORE_SUPPORT_MASK, {PT_LONG, std::int32_t{0x40000}});
  inner.set(propTag(PT_MV_UNICODE, inner.names().idOf(keywords, true)),
            {PT_MV_UNICODE, std::vector<std::u16string>{u"blue"}});
  expectSame();
}

TEST_F(MsgFile, AnIdentifierWithoutANameIsNotWritten) {
  set(0xAF070003, std::int32_t{1});
  set(PR_IMPORTANCE, std::int32_t{2});
  const ComPtr<MemoryMessage> again = read(written().get());
  EXPECT_THAT(again->bag().tags(), ElementsAre(PR_IMPORTANCE));
}

TEST_F(MsgFile, NarrowTextKeepsItsBytesInTheCodePageOfItsMessage) {
  struct Case {
    std::string_view why;
    std::vector<std::pair<ULONG, std::int32_t>> pages;
    CodePage codePage;
  };
  const Case cases[] = {
      {"the message names its page", {{msg::PR_MESSAGE_CODEPAGE, 1251}, {msg::PR_MESSAGE_LOCALE_ID, 0x407}}, 1251},
      {"its language tells", {{msg::PR_MESSAGE_LOCALE_ID, 0x419}, {PR_INTERNET_CPID, 28591}}, 1251},
      {"a language without a region", {{msg::PR_MESSAGE_LOCALE_ID, 0x400}, {PR_INTERNET_CPID, 1251}}, 1251},
      {"a page that is no narrow one", {{msg::PR_MESSAGE_CODEPAGE, 1200}, {PR_INTERNET_CPID, 1251}}, 1251},
      {"nothing tells", {}, 1252},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    message = makeMessage(context);
    for (const auto& [tag, page] : c.pages) {
      set(tag, page);
    }
    const std::string bytes = "\xCF\xF0\xE8 \x98\x81";  // two of them are in no character of the page
    const std::string longBytes = pattern(5000) + "x";
    set(changePropType(PR_SUBJECT, PT_STRING8), bytes, c.codePage);
    set(propTag(PT_MV_STRING8, 0x6000), std::vector<std::string>{bytes, ""}, c.codePage);
    set(propTag(PT_STRING8, 0x6001), longBytes, c.codePage);
    message->addRecipient().bag().set(PR_DISPLAY_NAME, {PT_STRING8, bytes, c.codePage});
    expectSame();
    const ComPtr<MemoryMessage> again = read(written().get());
    EXPECT_EQ(again->bag().find(PR_SUBJECT)->type, PT_STRING8);
    EXPECT_EQ(bytesOf(*again->bag().find(PR_SUBJECT)), bytes);
    EXPECT_EQ(bytesOf(*again->bag().find(propTag(PT_STRING8, 0x6001))), longBytes);
    EXPECT_EQ(textOf(*again->bag().find(PR_SUBJECT)).substr(0, 3),
              c.codePage == 1251 ? u"\u041F\u0440\u0438" : u"\u00CF\u00F0\u00E8");
    EXPECT_EQ(again->bag().find(msg::PR_STORE_SUPPORT_MASK), nullptr);
  }
}

TEST_F(MsgFile, NarrowTextThatCameFromNoFileIsWrittenWide) {
  set(changePropType(PR_SUBJECT, PT_STRING8), std::string("caf\xE9"));
  const ComPtr<MemoryMessage> again = read(written().get());
  EXPECT_EQ(again->bag().find(PR_SUBJECT)->type, PT_UNICODE);
  EXPECT_EQ(textOf(*again->bag().find(PR_SUBJECT)), u"caf\u00E9");
  EXPECT_EQ(std::get<std::int32_t>(again->bag().find(msg::PR_STORE_SUPPORT_MASK)->content), msg::kStoreUnicodeOk);
}

TEST_F(MsgFile, MessagesLieInEachOtherUpToTheLimit) {
  MemoryMessage* deepest = message.get();
  for (unsigned depth = 0; depth <= msg::kDeepestMessage; ++depth) {
    deepest->bag().set(PR_IMPORTANCE, {PT_LONG, static_cast<std::int32_t>(depth)});
    MemoryAttachment& attachment = deepest->addAttachment();
    attachment.bag().set(PR_ATTACH_METHOD, {PT_LONG, msg::kEmbeddedMessage});
    ComPtr<IConvertMessage> opened;
    ASSERT_EQ(attachment.openProp(PR_ATTACH_DATA_OBJ, 1, IConvertMessage::kIid, opened.putUnknown()), S_OK);
    deepest = attachment.embedded().get();
  }
  ComPtr<MemoryMessage> again = read(written().get());
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_THAT(warnings[0], HasSubstr("attachment 0/attachment 0: is left out: messages lie more than 100 deep"));
  const MemoryMessage* level = again.get();
  for (unsigned depth = 0; depth < msg::kDeepestMessage; ++depth) {
    level = level->parts().attachments.at(0)->embedded().get();
    ASSERT_NE(level, nullptr) << depth;
  }
  EXPECT_EQ(std::get<std::int32_t>(level->bag().find(PR_IMPORTANCE)->content), 100);
  EXPECT_FALSE(level->parts().attachments.at(0)->embedded());
}

TEST_F(MsgFile, AnOleStorageComesBackWhole) {
  const ComPtr<IStream> storage = streamUtils::createStream();
  StreamSink sink(storage.get());
  CompoundWriter writer(sink, 0);
  writer.setRootInfo({kSet, 7, {1, 2}, {3, 4}});
  // In the order in which they are kept, so that the copy is the same file.
  writer.addStream(CompoundWriter::kRoot, u"empty", "");
  const auto folder = writer.addStorage(CompoundWriter::kRoot, u"Folder", {msg::kPsMapi, 1, {5, 6}, {7, 8}});
  writer.addStream(folder, u"\1Ole \u00C4", pattern(20));
  writer.addStorage(folder, u"a name of thirty-one characters");
  writer.addStream(CompoundWriter::kRoot, u"CONTENTS", pattern(100'000));
  writer.finish();
  const std::string bytes = bytesOfStream(storage.get());

  PropertyBag& bag = message->addAttachment().bag();
  bag.set(PR_ATTACH_METHOD, {PT_LONG, msg::kOle});
  bag.set(msg::kTagOleData, {PT_BINARY, storage});
  const ComPtr<IStream> file = written();
  const ComPtr<MemoryMessage> again = read(file.get());
  EXPECT_THAT(warnings, ElementsAre());
  const PropertyBag& read = again->parts().attachments.at(0)->bag();
  EXPECT_THAT(read.tags(), ElementsAre(PR_ATTACH_METHOD, msg::kTagOleData));
  const PropertyRecord* ole = read.find(msg::kTagOleData);
  ASSERT_NE(ole, nullptr);
  EXPECT_TRUE(bytesOf(*ole) == bytes);
}

TEST_F(MsgFile, DataThatAreNoStorageStayBytes) {
  PropertyBag& bag = message->addAttachment().bag();
  bag.set(PR_ATTACH_METHOD, {PT_LONG, msg::kOle});
  bag.set(msg::kTagOleData, {PT_BINARY, std::string("plain")});
  const ComPtr<MemoryMessage> again = read(written().get());
  EXPECT_EQ(bytesOf(*again->parts().attachments.at(0)->bag().find(PR_ATTACH_DATA_BIN)), "plain");
}

TEST_F(MsgFile, ManyPartsKeepTheirOrder) {
  set(msg::PR_STORE_SUPPORT_MASK, std::int32_t{0x40000});
  for (std::int32_t i = 0; i < 300; ++i) {
    message->addRecipient().bag().set(PR_DISPLAY_NAME, {PT_UNICODE, std::u16string(static_cast<std::size_t>(i), u'n')});
    message->addAttachment().bag().set(PR_ATTACH_DATA_BIN, {PT_BINARY, pattern(static_cast<std::size_t>(i) * 40)});
  }
  expectSame();
}

TEST_F(MsgFile, TheAddressBookKnowsThePeopleOfTheFile) {
  const auto person = [](PropertyBag& bag, const char* entryId, std::u16string type, std::u16string smtp) {
    bag.set(PR_ENTRYID, {PT_BINARY, std::string(entryId)});
    bag.set(PR_ADDRTYPE, {PT_UNICODE, std::move(type)});
    bag.set(PR_EMAIL_ADDRESS, {PT_UNICODE, std::u16string(u"/o=Org/cn=x")});
    bag.set(PR_SMTP_ADDRESS, {PT_UNICODE, std::move(smtp)});
  };
  person(message->addRecipient().bag(), "known", u"EX", u"ann@example.org");
  person(message->addRecipient().bag(), "unknown", u"EX", u"");
  const ComPtr<MemoryMessage> again = read(written().get());
  ComPtr<IAddressBook> book;
  ASSERT_EQ(again->getAddressBook(book.put()), S_OK);
  ASSERT_TRUE(book);
  const auto address = [&book](std::string_view entryId) {
    SPropValue* value = nullptr;
    const HRESULT hr = book->getEntryProp(static_cast<ULONG>(entryId.size()), reinterpret_cast<const BYTE*>(entryId.data()),
                                          PR_EMAIL_ADDRESS, &value);
    const std::u16string text = failed(hr) ? u"<none>" : value->Value.lpszW;
    HostAllocator::free(value);
    return text;
  };
  EXPECT_EQ(address("known"), u"ann@example.org");
  EXPECT_EQ(address("unknown"), u"<none>");
  EXPECT_EQ(address("nobody"), u"<none>");
}

TEST_F(MsgFile, WhatIsNoMessageIsToldClearly) {
  const ComPtr<IStream> empty = streamUtils::createStream();
  StreamSink sink(empty.get());
  CompoundWriter writer(sink, 0);
  writer.addStream(CompoundWriter::kRoot, u"WordDocument", "text");
  writer.finish();
  std::string head = bytesOfStream(written().get());
  head[30] = 5;
  struct Case {
    std::string_view why;
    std::string bytes;
    const char* text;
  };
  const Case cases[] = {
      {"a mail", "From: a@example.org\r\n\r\ntext\r\n", "not a compound file"},
      {"nothing", "", "not a compound file"},
      {"another document", bytesOfStream(empty.get()), "holds no message"},
      {"an odd size of sectors", head, "unknown size of sectors"},
      {"the head alone", head.substr(0, 30) + std::string("\x09\0\x06\0", 4) + std::string(478, '\0'), "without a root"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    std::string text;
    EXPECT_EQ(failureOf(streamOf(c.bytes).get(), text), MAPI_E_CORRUPT_DATA);
    EXPECT_THAT(text, HasSubstr(c.text));
  }
  EXPECT_FALSE(isMsg(streamOf("From: a").get()));
  EXPECT_TRUE(isMsg(streamOf(head).get()));
}

TEST_F(MsgFile, ACutFileGivesWhatIsThereOrAClearError) {
  set(PR_SUBJECT, std::u16string(u"subject"));
  set(msg::PR_STORE_SUPPORT_MASK, std::int32_t{0x40000});
  message->addAttachment().bag().set(PR_ATTACH_DATA_BIN, {PT_BINARY, pattern(50'000)});
  const std::string whole = bytesOfStream(written().get());
  for (std::size_t bytes = 0; bytes < whole.size(); bytes += 37) {
    SCOPED_TRACE(bytes);
    const ComPtr<IStream> file = streamOf(whole.substr(0, bytes));
    std::string text;
    const HRESULT hr = failureOf(file.get(), text);
    if (hr != S_OK) {
      EXPECT_EQ(hr, MAPI_E_CORRUPT_DATA);
      EXPECT_THAT(text, HasSubstr("compound file"));
    } else if (warnings.empty()) {  // only padding is gone
      EXPECT_EQ(toJson(*read(file.get()), true), toJson(*message, true));
    }
  }
}

TEST_F(MsgFile, DamageInsideIsToldAndTheRestIsRead) {
  set(PR_SUBJECT, std::u16string(u"subject"));
  set(PR_IMPORTANCE, std::int32_t{2});
  set(PR_CLIENT_SUBMIT_TIME, FILETIME{0xFFFFFFFF, 0xFFFFFFFF});
  message->addRecipient();
  struct Case {
    std::string_view why, from, to;
    const char* warning;
  };
  const auto utf16 = [](std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
  };
  const std::string value = utf16(u"__substg1.0_0037001F");
  const std::string other = utf16(u"__substg1.0_0038001F");
  const std::string list = utf16(u"__properties_version1.0");
  const std::string noList = utf16(u"__properties_version2.0");
  const std::string recipient = utf16(u"__recip_version1.0_#");
  const std::string noRecipient = utf16(u"__recip_version2.0_#");
  const Case cases[] = {
      {"a value is gone", value, other, "message: PR_SUBJECT (0037001f) has no value"},
      {"the lists are gone", list, noList, "message: the list of properties is missing"},
      {"a recipient is gone", recipient, noRecipient, "message: 0 recipients of 1 are there"},
      {"nothing is gone but a time", "", "",
       "message: PR_CLIENT_SUBMIT_TIME (00390040) is a time out of range and counts as absent"},
  };
  const std::string whole = bytesOfStream(written().get());
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    std::string damaged = whole;
    for (std::size_t at = 0; !c.from.empty() && (at = damaged.find(c.from, at)) != std::string::npos; at += c.to.size()) {
      damaged.replace(at, c.from.size(), c.to);
    }
    const ComPtr<MemoryMessage> again = read(streamOf(damaged).get());
    EXPECT_THAT(warnings, testing::Contains(HasSubstr(c.warning)));
    EXPECT_NE(again->bag().find(c.from == value ? PR_IMPORTANCE : PR_SUBJECT), nullptr);
  }
}

TEST_F(MsgFile, AnUnwritableOrFullPlaceGivesTheErrorOfTheSystem) {
  set(PR_BODY, std::u16string(100'000, u'x'));
  const auto failure = [this](const fs::path& file) {
    try {
      writeMsg(message.get(), file);
      return S_OK;
    } catch (const HResultException& e) {
      return e.getHResult();
    }
  };
  EXPECT_EQ(failure("/dev/full"), makeHResult(0x80070070));
  EXPECT_EQ(failure("/nowhere/at/all.msg"), makeHResult(0x80070003));
}

}  // namespace
}  // namespace nalvo::host
