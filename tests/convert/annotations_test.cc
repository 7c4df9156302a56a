#include "convert/base_convert.h"
#include "diagnostics/hresult_exception.h"
#include "host/fault_sweep.h"
#include "properties/annotation_reader.h"
#include "streams/coder.h"
#include "tests/convert/every_type.h"
#include "tests/support/caller.h"

namespace nalvo::test {
namespace {

constexpr ULONG kFirstId = 0x6500;  // of the samples of every type
constexpr ULONG kComment = 0x3004001F;
constexpr std::string_view kMail = "From: Ann <ann@example.org>\nSubject: x\nDate: Mon, 2 Mar 2020 10:00:00 +0100\n\ntext\n";

std::string decoded(const std::string& text) {
  std::string bytes;
  EXPECT_EQ(Coder::decodeBase64(text.data(), text.size(), bytes), S_OK);
  return bytes;
}

std::string encoded(const std::string& bytes) {
  std::string text;
  EXPECT_EQ(Coder::encodeBase64(bytes.data(), bytes.size(), text), S_OK);
  return text;
}

class Annotations : public testing::Test {
 protected:
  // The stream that a saver leaves which is given these properties of the message.
  std::string saved(const std::vector<ULONG>& tags) {
    const ComPtr<IStream> stream = streamUtils::createStream();
    AnnotationSaver saver(caller.message.get(), stream.get());
    for (const ULONG tag : tags) {
      saver.addProperty(tag);
    }
    return Caller::contentOf(stream.get());
  }
  static void apply(const Caller& target, std::string_view text) {
    const ComPtr<IStream> stream = target.stream(text);
    AnnotationReader::read(stream.get(), target.message.get(), IConvertMessage::kIid);
  }
  void annotate(const char* name, const char* value) { ASSERT_EQ(caller.annotations->addAnnotation(name, value), S_OK); }
  // The value of the entry with that name; "<none>" if there is none.
  static std::string entry(const Caller& of, std::string_view name) {
    for (const auto& [known, value] : of.annotations->entries()) {
      if (known == "/vendor/nalvo/mapi" + std::string(name)) {
        return value;
      }
    }
    return "<none>";
  }
  static void passOn(const Caller& from, const Caller& to) {
    for (const auto& [name, value] : from.annotations->entries()) {
      ASSERT_EQ(to.annotations->addAnnotation(name.c_str(), value.c_str()), S_OK);
    }
  }
  void fillEveryType() {
    ULONG id = kFirstId;
    for (const TypeSample& sample : everyType()) {
      caller.set(propTag(sample.type, id++), sample.content);
      const ULONG named = MapiName(PSETID_Common, id, sample.type).getPropertyTag(caller.message.get());
      caller.set(named, sample.content);
    }
  }
  // Texts are wide in what the host lists.
  static void expectEveryType(const Caller& of) {
    ULONG id = kFirstId;
    for (const TypeSample& sample : everyType()) {
      SCOPED_TRACE(sample.type);
      const ULONG plain = propTag(sample.type, id++);
      const ULONG named = MapiName(PSETID_Common, id, sample.type).getPropertyTag(of.message.get());
      for (const ULONG tag : {plain, named}) {
        const host::PropertyRecord* record = of.message->bag().find(tag);
        ASSERT_NE(record, nullptr);
        if (sample.type == PT_STRING8) {
          EXPECT_EQ(host::textOf(*record), ansiToWide(everyByte()));
        } else if (sample.type == PT_MV_STRING8) {
          EXPECT_EQ(record->content, host::PropertyContent(std::vector<std::u16string>{ansiToWide(everyByte()), u""}));
        } else {
          EXPECT_EQ(record->content, sample.content);
        }
      }
    }
  }

  Caller caller;
};

TEST_F(Annotations, StreamsHaveTheirBytes) {
  EXPECT_EQ(saved({}), "BASE64:");
  const ULONG keywords = MapiName(PS_PUBLIC_STRINGS, u"Keywords", PT_MV_UNICODE).getPropertyTag(caller.message.get());
  caller.set(PR_ICON_INDEX, 1);
  caller.set(keywords, std::vector<std::u16string>{u"abc"});
  caller.set(PR_SUBJECT, u"Fax \"Office\"\n");
  caller.set(PR_BODY, u"\u00E9$~");
  EXPECT_EQ(saved({PR_ICON_INDEX, keywords, PR_SUBJECT, PR_BODY}),
            "BASE64:\"/tags/10800003\" \"LONG 00000001\" "
            "\"/names/0000101f {00020329-0000-0000-C000-000000000046} [UN] ~Keywords~\" \"MULTISTRINGW 00000001 ~abc~\" "
            "\"/tags/0037001f\" \"STRINGW ~Fax \\\\~Office\\\\~\\\\n~\" "
            "\"/tags/1000001f\" \"STRINGW ~\xC3\x83\xC6\x92\xC3\x82\xC2\xA9$$$~~\"");
  EXPECT_EQ(saved({PR_MESSAGE_RECIPIENTS}), "BASE64:") << "an object is not even asked for";
}

TEST_F(Annotations, ReadingAStreamAppliesWhatItCan) {
  struct Case {
    const char* why;
    std::string text;
    std::u16string subject;  // "" for none
    std::u16string comment;
  };
  const std::string subject = "\"/tags/0037001f\" \"STRINGW ~s~\"";
  const std::string comment = "\"/tags/3004001f\" \"STRINGW ~c~\"";
  const Case cases[] = {
      {"two entries", "BASE64:" + subject + " " + comment, u"s", u"c"},
      {"a blank at the end", "BASE64:" + subject + " " + comment + " ", u"s", u"c"},
      {"nothing", "", u"", u""},
      {"no marker", subject, u"", u""},
      {"a marker that is not first", " BASE64:" + subject, u"", u""},
      {"a value is missing", "BASE64:" + subject + " \"/tags/3004001f\"", u"s", u""},
      {"cut in a value", "BASE64:" + subject + " " + comment.substr(0, comment.size() - 1), u"s", u""},
      {"no quotes", "BASE64:" + subject + " x " + comment, u"s", u""},
      {"a bad value ends it", "BASE64:\"/tags/00170003\" \"LONG x\" " + comment, u"", u""},
      {"an unknown name ends it", "BASE64:\"/x/00170003\" \"LONG 1\" " + comment, u"", u""},
      {"an id of another store does not", "BASE64:\"/tags/8005001f\" \"STRINGW ~x~\" " + comment, u"", u"c"},
      {"nor one of the caller", "BASE64:\"/tags/af070003\" \"LONG 1\" " + comment, u"", u"c"},
      {"nor what never travels", "BASE64:\"/tags/0fff0102\" \"BIN []\" " + comment, u"", u"c"},
      {"nor an object", "BASE64:\"/tags/0e13000d\" \"x\" " + comment, u"", u"c"},
      {"lines", "ZIRBDATA:/tags/0037001f\nSTRINGW \"s\"\n/tags/3004001f\nSTRINGW \"c\"", u"s", u"c"},
      {"empty lines between them", "ZIRBDATA:\n\n/tags/0037001f\n\n\nSTRINGW \"s\"\n", u"s", u""},
      {"an odd line", "ZIRBDATA:/tags/0037001f\nSTRINGW \"s\"\n/tags/3004001f\n", u"s", u""},
      {"lines have no layer over the value", "ZIRBDATA:/tags/0037001f\nSTRINGW \"~$\\\"\"", u"~$\"", u""},
      {"a CR belongs to the line", "ZIRBDATA:/tags/0037001f\r\nSTRINGW \"s\"\r\n", u"s", u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Caller target;
    apply(target, c.text);
    EXPECT_EQ(target.has(PR_SUBJECT) ? target.text(PR_SUBJECT) : u"", c.subject);
    EXPECT_EQ(target.has(kComment) ? target.text(kComment) : u"", c.comment);
    EXPECT_EQ(target.message->bag().tags().size(), (c.subject.empty() ? 0U : 1U) + (c.comment.empty() ? 0U : 1U));
  }
}

TEST_F(Annotations, NamesWithQuotesAndBackslashesCostNoOtherProperty) {
  const std::u16string names[] = {u"a\\b", u"a\"b", u"a", u"ends in \\", u"\u00E9~$\r\n\x01", u"\xDC00", u""};
  std::vector<ULONG> tags;
  std::int32_t number = 0;
  for (const std::u16string& name : names) {
    tags.push_back(MapiName(PS_PUBLIC_STRINGS, name, PT_LONG).getPropertyTag(caller.message.get()));
    caller.set(tags.back(), ++number);
  }
  const Caller fromStream;
  apply(fromStream, saved(tags));
  const Caller fromSet;
  AnnotationSaver saver(caller.message.get(), fromSet.annotations.get());
  for (const ULONG tag : tags) {
    saver.addProperty(tag);
  }
  AnnotationReader::read(fromSet.annotations.get(), fromSet.message.get(), IConvertMessage::kIid);
  for (const Caller* target : {&fromStream, &fromSet}) {
    number = 0;
    for (const std::u16string& name : names) {
      const ULONG tag = MapiName(PS_PUBLIC_STRINGS, name, PT_LONG).getPropertyTag(target->message.get());
      EXPECT_EQ(target->get<std::int32_t>(tag), ++number);
    }
    EXPECT_EQ(target->message->bag().tags().size(), std::size(names));
  }
}

TEST_F(Annotations, RefuseNullAndUnknownKinds) {
  const ComPtr<IStream> stream = streamUtils::createStream();
  IConvertMessage* message = caller.message.get();
  IStream* noStream = nullptr;
  IAnnotations* noSet = nullptr;
  const std::function<void()> calls[] = {
      [&] { AnnotationSaver(nullptr, stream.get()); },
      [&] { AnnotationSaver(message, noStream); },
      [&] { AnnotationSaver(message, noSet); },
      [&] { AnnotationSaver(message, stream.get()).addProperty(nullptr); },
      [&] { AnnotationReader::read(noStream, message, IConvertMessage::kIid); },
      [&] { AnnotationReader::read(noSet, message, IConvertMessage::kIid); },
      [&] { AnnotationReader::read(stream.get(), nullptr, IConvertMessage::kIid); },
      [&] { AnnotationReader::read(caller.annotations.get(), nullptr, IConvertMessage::kIid); },
      [&] { AnnotationReader::read(caller.annotations.get(), message, IStream::kIid); },
  };
  for (std::size_t i = 0; i < std::size(calls); ++i) {
    EXPECT_THROW(calls[i](), HResultException) << i;
  }
}

// Which store an attachment or message is converted for decides where its properties go.
TEST_F(Annotations, APropertyOfEveryTypeComesBackFromBothPlaces) {
  fillEveryType();
  Caller lossless;
  lossless.read(caller.write(CONVERT_TO_ATTACHMENT), CONVERT_FROM_ATTACHMENT);
  expectEveryType(lossless);
  EXPECT_TRUE(caller.annotations->entries().empty());

  Caller server;
  const std::string mail = caller.write();
  passOn(caller, server);
  server.read(mail);
  expectEveryType(server);
  // A second round changes nothing.
  Caller again;
  again.read(lossless.write(CONVERT_TO_ATTACHMENT), CONVERT_FROM_ATTACHMENT);
  expectEveryType(again);
}

TEST_F(Annotations, TheWordSaysWhereTheyGo) {
  struct Case {
    const char* why;
    DWORD word;
    bool set;
    bool header;
  };
  const Case cases[] = {{"to the server", CONVERT_NORMAL, true, false},
                        {"on the wire", CONVERT_FOR_SEND, false, false},
                        {"to an attachment", CONVERT_TO_ATTACHMENT, false, true},
                        {"both", CONVERT_FOR_SEND | CONVERT_TO_ATTACHMENT, false, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller from;
    from.set(kComment, u"c");
    from.set(PR_CONVERSATION_TOPIC, u"t");
    const Mail mail(from.write(c.word));
    EXPECT_EQ(entry(from, "/tags/3004001f"), c.set ? "STRINGW \"c\"" : "<none>");
    EXPECT_EQ(entry(from, "/tags/0070001f"), c.set ? "STRINGW \"t\"" : "<none>");
    EXPECT_EQ(from.annotations->entries().empty(), !c.set);
    EXPECT_EQ(mail.header("X-MAPI") != "<none>", c.header);
    if (c.header) {
      EXPECT_EQ(decoded(mail.header("X-MAPI")),
                "BASE64:\"/tags/0070001f\" \"STRINGW ~t~\" \"/tags/3004001f\" \"STRINGW ~c~\"");
    }
  }
  EXPECT_EQ(decoded(Mail(Caller().write(CONVERT_TO_ATTACHMENT)).header("X-MAPI")), "BASE64:");
}

TEST_F(Annotations, WhatTheServerKnowsIsNotWrittenTwice) {
  caller.set(PR_MESSAGE_CLASS, u"IPM.Note.Mine");
  caller.set(PR_MESSAGE_FLAGS, 0x35B);
  caller.set(PR_MESSAGE_DELIVERY_TIME, FILETIME{0xD53E8000, 0x01C6F0E5});
  caller.set(PR_SENSITIVITY, 2);
  caller.set(PR_NORMALIZED_SUBJECT, u"n");
  caller.set(named::kIsSpam, true);
  caller.set(named::kImapDeleted, 1);
  caller.set(named::kXEnvelopeTo, u"x@example.org");
  caller.set(named::kSideEffectsState, 7);
  (void)caller.write();
  // Bits that the flags of the server tell are cleared; all else of that word travels.
  const host::MemoryAnnotations::Entries expected = {// a hidden item is no mail to the server
                                                     {"/vendor/nalvo/mapi/tags/001a001f", "STRINGW \"IPM.Note.Mine\""},
                                                     {"/vendor/nalvo/mapi/tags/0e070003", "LONG 00000002"}};
  EXPECT_EQ(caller.annotations->entries(), expected);
  EXPECT_EQ(caller.flags->messageClass, u"");

  Caller shown;
  shown.set(PR_MESSAGE_CLASS, u"IPM.Note.Mine");
  (void)shown.write();
  EXPECT_EQ(shown.flags->messageClass, u"IPM.Note.Mine");
  EXPECT_TRUE(shown.annotations->entries().empty());

  // Without a server beside the text these travel too, as they are.
  const std::string stored = decoded(Mail(caller.write(CONVERT_TO_ATTACHMENT)).header("X-MAPI"));
  for (const char* entry : {"\"/tags/001a001f\" \"STRINGW ~IPM.Note.Mine~\"", "\"/tags/0e070003\" \"LONG 0000035b\"",
                            "\"/tags/0e060040\" \"SYSTIME d53e8000 01c6f0e5\""}) {
    EXPECT_NE(stored.find(entry), std::string::npos) << entry;
  }
  for (const char* name : {"00360003", "0e1d001f", "/names/"}) {
    EXPECT_EQ(stored.find(name), std::string::npos) << name;
  }
}

TEST_F(Annotations, TheWordSaysWhereTheyComeFrom) {
  struct Case {
    const char* why;
    DWORD word;
    const char16_t* comment;
    const char16_t* subject;
  };
  const Case cases[] = {
      {"a full run takes the set, and the text over it", CONVERT_NORMAL, u"set", u"x"},
      {"without attachments", CONVERT_NO_ATTACHMENT, u"set", u"x"},
      {"out of an attachment", CONVERT_FROM_ATTACHMENT, u"header", u"x"},
      {"without a body only the set speaks", CONVERT_WITHOUT_BODY, u"set", u"annotated"},
      {"flags alone", CONVERT_JUST_FLAGS, nullptr, nullptr},
      {"flags alone, out of an attachment", CONVERT_JUST_FLAGS | CONVERT_FROM_ATTACHMENT, nullptr, nullptr},
  };
  const std::string header =
      encoded("BASE64:\"/tags/3004001f\" \"STRINGW ~header~\" \"/tags/0037001f\" \"STRINGW ~header~\"");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller to;
    ASSERT_EQ(to.annotations->addAnnotation("/vendor/nalvo/mapi/tags/3004001f", "STRINGW \"set\""), S_OK);
    ASSERT_EQ(to.annotations->addAnnotation("/vendor/nalvo/mapi/tags/0037001f", "STRINGW \"annotated\""), S_OK);
    to.read("X-MAPI: " + header + "\n" + std::string(kMail), c.word);
    EXPECT_EQ(to.has(kComment), c.comment != nullptr);
    EXPECT_EQ(to.has(PR_SUBJECT), c.subject != nullptr);
    if (c.comment != nullptr) {
      EXPECT_EQ(to.text(kComment), c.comment);
      EXPECT_EQ(to.text(PR_SUBJECT), c.subject);
    }
  }
}

TEST_F(Annotations, AllAreWrittenWhateverChanged) {
  constexpr ULONG kChangeState = kTagChangeState;
  struct Case {
    const char* why;
    std::int32_t state;
    ULONG changed;
    DWORD parts;
  };
  const Case cases[] = {
      {"nothing", 0, kComment, CONVERTED_NOTHING},
      {"a comment", 1, kComment, CONVERTED_ANNOTATIONS},
      {"the subject", 1, PR_SUBJECT, CONVERTED_BODY},
      {"the icon", 1, PR_ICON_INDEX, CONVERTED_FLAGS},
      {"the flag status", 1, PR_FLAG_STATUS, CONVERTED_FLAGS | CONVERTED_ANNOTATIONS},
      {"what is worked out anew", 1, PR_NORMALIZED_SUBJECT, CONVERTED_NOTHING},
      {"all of it is new", 4, kComment, CONVERTED_FLAGS | CONVERTED_BODY | CONVERTED_ANNOTATIONS},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller from;
    from.set(kComment, u"c");
    from.set(PR_SUBJECT, u"s");
    from.set(PR_ICON_INDEX, 261);
    from.set(PR_FLAG_STATUS, 2);
    from.set(PR_NORMALIZED_SUBJECT, u"n");
    from.set(kChangeState, c.state);
    from.message->bag().clearChanges();
    from.message->bag().set(c.changed, *from.message->bag().find(c.changed));
    DWORD parts = 0xFFFF;
    const ComPtr<IStream> out = from.stream();
    ASSERT_EQ(from.toMime(out.get(), CONVERT_JUST_CHANGED, &parts), S_OK);
    EXPECT_EQ(parts, c.parts);
    EXPECT_EQ(Caller::contentOf(out.get()).empty(), (c.parts & CONVERTED_BODY) == 0);
    EXPECT_EQ(entry(from, "/tags/3004001f"), "STRINGW \"c\"");
    EXPECT_EQ(from.flags->flags, (std::set<ULONG>{3, 4}));
  }
}

TEST_F(Annotations, ABrokenHeaderCostsNoMessage) {
  for (const std::string& header : {std::string("%%%"), std::string(), encoded("no marker"),
                                    encoded("BASE64:\"/tags/3004001f\" \"STRINGW ~c"), std::string("QkFTRTY0Og==")}) {
    Caller to;
    to.read("X-MAPI: " + header + "\n" + std::string(kMail), CONVERT_FROM_ATTACHMENT);
    EXPECT_EQ(to.text(PR_SUBJECT), u"x");
    EXPECT_FALSE(to.has(kComment));
  }
}

// Above the size at which a row counts as content.
TEST_F(Annotations, ABigPropertyComesBackFromTheHeader) {
  constexpr std::size_t kSize = (17U << 20) + 1;
  constexpr ULONG kBig = 0x66000102;
  std::string big(kSize, '\0');
  std::uint32_t state = 1;
  for (char& c : big) {
    state = state * 1664525 + 1013904223;
    c = static_cast<char>(state >> 24);
  }
  caller.set(kBig, big);
  const std::string mail = caller.write(CONVERT_TO_ATTACHMENT);
  std::size_t longest = 0;
  for (std::size_t start = 0, end; (end = mail.find("\r\n", start)) != std::string::npos; start = end + 2) {
    longest = std::max(longest, end - start);
  }
  EXPECT_LE(longest, 76U);
  Caller to;
  ASSERT_EQ(to.toMapi(to.stream(mail).get(), CONVERT_FROM_ATTACHMENT), S_OK);
  EXPECT_TRUE(to.bytes(kBig) == big);
}

TEST_F(Annotations, NamesMeanTheSameInAStoreWithOtherIds) {
  const MapiName name(PS_PUBLIC_STRINGS, u"Project", PT_UNICODE);
  caller.set(name.getPropertyTag(caller.message.get()), u"garden");
  Caller to;
  (void)MapiName(PS_PUBLIC_STRINGS, u"Other", PT_UNICODE).getPropertyTag(to.message.get());
  to.read(caller.write(CONVERT_TO_ATTACHMENT), CONVERT_FROM_ATTACHMENT);
  const ULONG tag = name.getPropertyTag(to.message.get());
  EXPECT_NE(tag, name.getPropertyTag(caller.message.get()));
  EXPECT_EQ(to.text(tag), u"garden");
}

// The attachment's level of the base layer, over a body of a message.
class ToMimeLevel : public toMime::BaseConvert<kAttachmentLevel> {
 public:
  using BaseConvert::BaseConvert;
  void run(ULONG tag) {
    createAnnotationSaver();
    storeAnnotation(tag);
    storeXMapi();
  }
};

class ToMapiLevel : public toMapi::BaseConvert<kAttachmentLevel> {
 public:
  using BaseConvert::BaseConvert;
  using BaseConvert::readAnnotations;
};

TEST_F(Annotations, AnAttachmentHasItsOwn) {
  ComPtr<mime::IMimeMessage> mail = detail::initNewMessage(
      caller.stream(crLf("X-MAPI: root\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\nx\n--b--\n")).get());
  mime::HBODY root = nullptr;
  mime::HBODY part = nullptr;
  ASSERT_EQ(mail->GetBody(mime::IBL_ROOT, nullptr, &root), S_OK);
  ASSERT_EQ(mail->GetBody(mime::IBL_FIRST, root, &part), S_OK);
  for (const mime::HBODY body : {part, root}) {
    ComPtr<IConvertAttachment> from;
    ComPtr<IConvertAttachment> to;
    ASSERT_EQ(caller.message->createAttachment(from.put()), S_OK);
    ASSERT_EQ(caller.message->createAttachment(to.put()), S_OK);
    MapiPropUtils::setUnicode(from.get(), kComment, u"of the attachment");
    {
      ConvertorDataAttachment data;
      data.setMapiToMime(mail.get(), caller.allocator.get(), ToMimeFlags::ToAttachment, from.get(), caller.message.get());
      data.setAttachmentBody(body);
      ToMimeLevel(&data).run(kComment);
    }
    ConvertorDataAttachment data;
    data.setMimeToMapi(mail.get(), caller.allocator.get(), ToMapiFlags::FromAttachment, to.get());
    data.setAttachmentBody(body);
    ToMapiLevel(&data).readAnnotations();
    // The header of the root belongs to the message, also when the attachment is the whole message.
    EXPECT_EQ(MapiPropUtils::propertyExists(to.get(), kComment), body == part);
    ScopedPropVariant header(VT_LPSTR);
    ASSERT_EQ(mail->GetProp("X-MAPI", 0, &header), S_OK);
    EXPECT_STREQ(header.pszVal, "root");
  }
}

host::SweepResult sweep(bool toMime, DWORD word) {
  return host::faultSweep([=](const host::HostContextPtr& context, const std::function<void()>& arm) {
    Caller caller(context);
    caller.flags->messageSize = 1;
    caller.flags->attachments = true;
    caller.set(kComment, u"c");
    caller.set(MapiName(PS_PUBLIC_STRINGS, u"x", PT_MV_UNICODE).getPropertyTag(caller.message.get()),
               std::vector<std::u16string>{u"a", u"b"});
    if (toMime) {
      const ComPtr<IStream> out = caller.stream();
      arm();
      return caller.toMime(out.get(), word);
    }
    const std::string mail = caller.write(word);
    caller.message = host::makeMessage(context);
    const ComPtr<IStream> in = caller.stream(mail);
    arm();
    return caller.toMapi(in.get(), word);
  });
}

TEST_F(Annotations, EveryFailingCallIsToldOrCostsOneEntry) {
  // What is not known, what one entry needs, and the way back to a position that nobody depends on.
  const std::set<std::string> mayBeSwallowed = {"IMapiAllocator::getAllocators",
                                                "getProp",
                                                "allocateBuffer",
                                                "allocateMore",
                                                "setProp",
                                                "getIdsFromNames",
                                                "IMimeFlags::hasAttachments",
                                                "IMimeFlags::getMessageSize"};
  for (const DWORD word : {CONVERT_NORMAL, CONVERT_TO_ATTACHMENT}) {
    static_assert(static_cast<DWORD>(ToMimeFlags::ToAttachment) == static_cast<DWORD>(ToMapiFlags::FromAttachment));
    for (const bool toMime : {true, false}) {
      const host::SweepResult result = sweep(toMime, word);
      EXPECT_EQ(result.complaints, std::vector<std::string>());
      EXPECT_GT(result.runs, 40U);
      EXPECT_LT(result.swallowed.size(), 40U);
      for (const std::string& call : result.swallowed) {
        EXPECT_TRUE(mayBeSwallowed.contains(call)) << call;
        EXPECT_FALSE(toMime && call == "setProp");
      }
    }
  }
}

}  // namespace
}  // namespace nalvo::test
