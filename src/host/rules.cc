// The changes that the system makes on purpose, each with the name of its rule. What no row tells is a loss.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "host/calendar_rules.h"
#include "host/comparison.h"
#include "host/digest.h"
#include "host/task_rules.h"
#include "mime/header_text.h"
#include "mime/mime.h"
#include "mime/parameters.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"
#include "platform/time/file_time.h"
#include "streams/coder.h"

namespace nalvo::host {
namespace {

// --- Values that are worked out

bool becomesEmptyText(const Case& c) { return c.difference.after == "\"\""; }
bool isNote(const Case& c) { return c.difference.after == "\"IPM.Note\""; }

bool subjectIsWhole(const Case& c) {
  return textOf(c.is("PR_SUBJECT_PREFIX")) + textOf(c.is("PR_NORMALIZED_SUBJECT")) == textOf(c.is("PR_SUBJECT"));
}

bool hasNoPlainClass(const Case& c) {
  const std::string mailClass = toLowerAscii(textOf(c.is("PR_MESSAGE_CLASS")));
  return mailClass == "ipm.note.smime" || mailClass == "ipm.note.smime.multipartsigned";
}

// --- The stored header block

struct HeaderLine {
  std::string name;  // lower case
  std::string value;
};

std::string collapsed(std::string_view text) {
  std::string result;
  for (const char c : trim(text)) {
    if (kBlanks.find(c) == std::string_view::npos) {
      result += c;
    } else if (!result.empty() && result.back() != ' ') {
      result += ' ';
    }
  }
  return result;
}

std::vector<HeaderLine> linesOf(std::string_view block) {
  std::vector<HeaderLine> lines;
  while (!block.empty()) {
    const std::size_t end = std::min(block.find('\n'), block.size() - 1);
    const std::string_view line = block.substr(0, end + 1);
    block.remove_prefix(end + 1);
    const std::size_t colon = line.find(':');
    if ((line.front() == ' ' || line.front() == '\t') && !lines.empty()) {
      lines.back().value += line;
    } else if (colon != std::string_view::npos) {
      lines.push_back({toLowerAscii(trim(line.substr(0, colon))), std::string(line.substr(colon + 1))});
    }
  }
  for (HeaderLine& line : lines) {
    line.value = collapsed(line.value);
  }
  return lines;
}

// What a note writes from its properties, people and bodies, whatever the stored block says.
constexpr std::string_view kWrittenHeaders[] = {
    "subject",
    "date",
    "message-id",
    "organization",
    "x-envelope-to",
    "importance",
    "x-priority",
    "x-msmail-priority",
    "mime-version",
    "x-mimeole",
    "x-mapi",
    "from",
    "sender",
    "to",
    "cc",
    "bcc",
    "reply-to",
    "return-receipt-to",
    "disposition-notification-to",
};

bool isWritten(std::string_view name) {
  return name.starts_with("content-") ||
         std::find(std::begin(kWrittenHeaders), std::end(kWrittenHeaders), name) != std::end(kWrittenHeaders);
}

bool keepsOtherHeaders(const Case& c) {
  std::map<std::string, int> kept;
  for (const HeaderLine& line : linesOf(textOf(c.difference.after))) {
    ++kept[line.name + ":" + line.value];
  }
  for (const HeaderLine& line : linesOf(textOf(c.difference.before))) {
    if (!line.value.empty() && !isWritten(line.name) && --kept[line.name + ":" + line.value] < 0) {
      return false;
    }
  }
  return true;
}

struct LiftedHeader {
  std::string_view what;
  std::string_view header;
};
constexpr LiftedHeader kLiftedHeaders[] = {
    {"PR_INTERNET_MESSAGE_ID", "message-id"},   {"PR_INTERNET_ORGANIZATION", "organization"},
    {"PR_INTERNET_RETURN_PATH", "return-path"}, {"PR_LIST_HELP", "list-help"},
    {"PR_LIST_SUBSCRIBE", "list-subscribe"},    {"PR_LIST_UNSUBSCRIBE", "list-unsubscribe"},
    {"PR_IN_REPLY_TO_ID", "in-reply-to"},
};

// True if the stored block that was there has the header that the value was taken from.
bool isStoredHeader(const Case& c) {
  std::string_view header;
  for (const LiftedHeader& row : kLiftedHeaders) {
    if (row.what == c.difference.what) {
      header = row.header;
    }
  }
  // A named property of the internet headers has the header's name in quotes.
  const std::size_t quote = c.difference.what.find('"');
  const std::string named =
      toLowerAscii(quote == std::string::npos ? std::string()
                                              : c.difference.what.substr(quote + 1, c.difference.what.size() - quote - 2));
  const std::string wanted = collapsed(textOf(c.difference.after));
  const std::vector<HeaderLine> lines = linesOf(textOf(c.was("PR_TRANSPORT_MESSAGE_HEADERS")));
  return std::any_of(lines.begin(), lines.end(), [&](const HeaderLine& line) {
    return (line.name == header || line.name == named) &&
           collapsed(wideToUtf8(mime::decodeHeaderText(line.value, nullptr))) == wanted;
  });
}

// The beginning of a time as JSON, to the second.
std::string timeText(FILETIME time) {
  const SYSTEMTIME t = fileTimeToSystemTime(time).value_or(SYSTEMTIME{});
  char text[64];
  std::snprintf(text, sizeof text, "\"%04d-%02d-%02dT%02d:%02d:%02d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                t.wSecond);
  return text;
}

bool isStoredDate(const Case& c) {
  const std::vector<HeaderLine> lines = linesOf(textOf(c.was("PR_TRANSPORT_MESSAGE_HEADERS")));
  return std::any_of(lines.begin(), lines.end(), [&c](const HeaderLine& line) {
    FILETIME time{};
    return line.name == "date" && succeeded(mime::MimeOleInetDateToFileTime(line.value.c_str(), &time)) &&
           c.difference.after.starts_with(timeText(time));
  });
}

// --- Texts

// The text in the code page that the message has now; of a narrow one the bytes that it had.
bool isHtmlAsBytes(const Case& c) {
  const auto html = nlohmann::json::parse(c.is("PR_HTML"), nullptr, false);
  const auto page = numberOf(c.is("PR_INTERNET_CPID"));
  if (!html.is_object() || !page) {
    return false;
  }
  std::string digest = html.value("sha256", std::string());
  if (digest.empty()) {
    const std::string encoded = html.value("base64", std::string());
    std::string bytes;
    digest = succeeded(Coder::decodeBase64(encoded.data(), encoded.size(), bytes)) ? sha256(bytes) : std::string();
  }
  const std::u16string text = utf8ToWide(textOf(c.was("PR_BODY_HTML")));
  return digest == sha256(encodeText(text, static_cast<CodePage>(*page))) ||
         digest == sha256(encodeText(text, kAnsiCodePage));
}

// UTF-8 takes over when the code page that was there can't hold the text.
bool needsUtf8(const Case& c) {
  const auto page = numberOf(c.difference.before);
  std::size_t missing = 0;
  if (page && c.difference.after == "65001") {
    (void)encodeText(utf8ToWide(textOf(c.was("PR_BODY"))), static_cast<CodePage>(*page), &missing);
  }
  return missing != 0;
}
// Of two pages that are nearly alike, mail gets the better known one.
bool isNearPage(const Case& c) {
  return (c.difference.before == "28605" && c.difference.after == "28591") ||
         (c.difference.before == "28603" && c.difference.after == "28594");
}
bool hasNoText(const Case& c) {
  return c.difference.after == "20127" && textOf(c.is("PR_BODY")).empty() && c.is("PR_HTML").empty();
}

// --- People

// A mail whose Sender is that of its From has no Sender row, and takes it from there on the way back.
bool isTakenFromFrom(const Case& c) {
  const std::string rest = c.difference.what.substr(sizeof "PR_SENDER_" - 1);
  return c.difference.after == c.is("PR_SENT_REPRESENTING_" + rest);
}

bool hadNoSender(const Case& c) {
  return c.was("PR_SENDER_NAME").empty() && c.was("PR_SENDER_EMAIL_ADDRESS").empty() && isTakenFromFrom(c);
}

// --- Attachments

std::string fileName(const Case& c) { return textOf(c.is("PR_ATTACH_LONG_FILENAME")); }
bool isLongName(const Case& c) { return textOf(c.difference.after) == fileName(c); }
bool isEndOfName(const Case& c) {
  const std::string name = fileName(c);
  const std::size_t dot = name.rfind('.');
  return textOf(c.difference.after) == (dot == std::string::npos ? std::string() : name.substr(dot));
}
bool holdsMessage(const Case& c) { return c.is("PR_ATTACH_METHOD") == "5"; }
bool isNamedOtherwise(const Case& c) {
  const std::string name = fileName(c);
  return name == textOf(c.was("PR_DISPLAY_NAME")) || name == textOf(c.was("PR_ATTACH_FILENAME")) || holdsMessage(c);
}
bool isMailAsFile(const Case& c) {
  return c.was("PR_ATTACH_METHOD") == "1" && holdsMessage(c) && sameText(c.is("PR_ATTACH_MIME_TAG"), "\"message/rfc822\"");
}
// The mail's headers were put ahead of the text, which is what was signed.
bool holdsSameSignedText(const Case& c) {
  const std::string_view text = c.is(kSignedTextFact);
  return sameText(c.is("PR_ATTACH_MIME_TAG"), "\"multipart/signed\"") && !text.empty() && text == c.was(kSignedTextFact);
}

// --- Mails

bool startsWith(std::string_view text, std::string_view start) {
  return toLowerAscii(std::string(text.substr(0, start.size()))) == start;
}
// A root that is one body, which is no text or says that it is an attachment, moves into a part.
bool becomesAttachment(const Case& c) {
  const std::string_view type = c.was("header content-type");
  const bool isText = type.empty() || startsWith(type, "text/plain") || startsWith(type, "text/html");
  return !startsWith(type, "multipart/") && startsWith(c.is("header content-type"), "multipart/") &&
         (!isText || startsWith(c.was("header content-disposition"), "attachment"));
}
std::string mediaType(std::string_view value) {
  value = trim(value);
  return toLowerAscii(std::string(value.substr(0, value.find_first_of("; \t"))));
}
// Containers say nothing by themselves: texts and attachments are compared on their own.
bool isContainer(std::string_view type) {
  return type == "multipart/mixed" || type == "multipart/related" || type == "multipart/alternative";
}
bool isBuiltAnew(const Case& c) {
  const std::string before = mediaType(c.was("header content-type"));
  const std::string after = mediaType(c.is("header content-type"));
  const auto isPlain = [](const std::string& type) { return type.empty() || type == "text/plain" || type == "text/html"; };
  return (isContainer(before) || isContainer(after)) && (isContainer(before) || isPlain(before)) &&
         (isContainer(after) || isPlain(after));
}
// The text moved into a part, and what its root said of it with it.
bool movesDown(const Case& c) {
  return mediaType(c.was("header content-type")) != mediaType(c.is("header content-type")) && isBuiltAnew(c) &&
         isContainer(mediaType(c.is("header content-type")));
}
// The text itself is compared as characters.
bool goesOutAsUtf8(const Case& c) {
  return mediaType(c.difference.before) == mediaType(c.difference.after) && startsWith(c.difference.after, "text/") &&
         toLowerAscii(c.difference.after).find("charset=utf-8") != std::string::npos;
}
// What a text is in may be labelled anew; as characters it is compared by itself.
bool differsInCharset(const Case& c) {
  mime::ParameterList before = mime::ParameterList::parse(c.difference.before, nullptr);
  mime::ParameterList after = mime::ParameterList::parse(c.difference.after, nullptr);
  for (mime::ParameterList* list : {&before, &after}) {
    list->erase("charset");
  }
  return startsWith(after.word(), "text/") && equalsIgnoreCase(before.word(), after.word()) &&
         before.all().size() == after.all().size() &&
         std::all_of(before.all().begin(), before.all().end(), [&](const mime::Parameter& parameter) {
           const mime::Parameter* other = after.find(parameter.name);
           return other != nullptr && other->wide == parameter.wide;
         });
}
// A boundary that parts nothing makes no parts.
bool hasNoParts(const Case& c) {
  return startsWith(trim(c.difference.before, " \""), "multipart/") && mediaType(c.difference.after) == "text/plain" &&
         c.was(kPartsFact) == "0";
}
// The same of what else its header said.
bool hadNoParts(const Case& c) {
  return startsWith(c.was("header content-type"), "multipart/") && c.was(kPartsFact) == "0" &&
         mediaType(c.is("header content-type")) == "text/plain";
}
bool hasNoContent(const Case& c) { return c.was(kPartsFact) == "0" && c.is("header content-type").empty(); }
bool hasOneText(const Case& c) {
  return mediaType(c.difference.before) == "multipart/report" && startsWith(c.difference.after, "text/") &&
         c.was(kPartsFact) == "1";
}
// A container around one text goes, with what it said of itself.
bool losesContainer(const Case& c) {
  return isContainer(mediaType(c.was("header content-type"))) && startsWith(c.is("header content-type"), "text/");
}
// Items are told by rules of their own.
bool isOtherForm(const Case& c) {
  return !c.was(kAlternativeFact).empty() && c.difference.what.starts_with("body text") && !calendar::isItemBody(c);
}
bool isBlankText(const Case& c) { return !c.was(kBlankFact).empty() && c.difference.what.starts_with("body text"); }
// A delivery report is three parts; what else it held stays behind.
bool isReport(const Case& c) {
  return mediaType(c.was("header content-type")) == "multipart/report" &&
         mediaType(c.is("header content-type")) == "multipart/report";
}
bool isPictureOfCard(const Case& c) {
  return calendar::isItem(c) && c.difference.after.starts_with("\"ContactPicture.") &&
         c.difference.after.find(", image/") != std::string::npos;
}
bool isEmptyHeaders(const Case& c) {
  return isReport(c) && c.difference.after.starts_with("\"\", text/rfc822-headers, 0 bytes");
}
bool hasNearCharset(const Case& c) {
  std::string expected = toLowerAscii(c.difference.before);
  for (const auto& [near, used] : {std::pair("iso-8859-15", "iso-8859-1"), std::pair("iso-8859-13", "iso-8859-4")}) {
    if (const std::size_t at = expected.find(near); at != std::string::npos) {
      expected.replace(at, std::string_view(near).size(), used);
      return expected == toLowerAscii(c.difference.after);
    }
  }
  return false;
}
bool isTextType(const Case& c) {
  return startsWith(c.difference.after, "text/plain") && c.was("header content-type").empty();
}
bool becomesEncoding(const Case& c) {
  constexpr std::string_view kEncodings[] = {"", "7bit", "8bit", "binary", "quoted-printable", "base64"};
  return std::find(std::begin(kEncodings), std::end(kEncodings), toLowerAscii(c.difference.after)) != std::end(kEncodings);
}
// 0 for a header that says nothing of the kind.
int degreeOf(std::string_view value) {
  struct Row {
    std::string_view start;
    int degree;
  };
  constexpr Row kRows[] = {{"high", 1}, {"urgent", 1}, {"1", 1}, {"2", 1}, {"normal", 2},
                           {"3", 2},    {"low", 3},    {"4", 3}, {"5", 3}, {"non-urgent", 3}};
  for (const Row& row : kRows) {
    if (startsWith(trim(value), row.start)) {
      return row.degree;
    }
  }
  return 0;
}
// A header of priority keeps its degree. One that was not there is written as the others say, or as normal.
constexpr int kNormalDegree = 2;
bool hasSameDegree(const Case& c) {
  const int after = degreeOf(c.difference.after);
  if (const int before = degreeOf(c.difference.before); before != 0) {
    return after == before;
  }
  constexpr const char* kHeaders[] = {"header x-priority", "header importance", "header x-msmail-priority",
                                      "header priority"};
  return after == kNormalDegree ||
         (after != 0 && std::any_of(std::begin(kHeaders), std::end(kHeaders),
                                    [&](const char* name) { return degreeOf(c.was(name)) == after; }));
}
bool isNormal(const Case& c) { return degreeOf(c.difference.after) == kNormalDegree; }
bool isVersion(const Case& c) { return c.difference.after == "1.0"; }
bool isLastOfSeveral(const Case& c) { return c.difference.before.ends_with(c.difference.after); }
bool isEmptyBody(const Case& c) { return c.difference.after.starts_with("0 bytes"); }

// --- Items that can be private

bool followsFromPrivate(const Case& c) {
  const bool isPrivate = c.is("PidLidPrivate") == "true";
  const std::string& what = c.difference.what;
  const std::string_view expected = what == "PR_SENSITIVITY"                   ? (isPrivate ? "2" : "0")
                                    : what == "PR_ALTERNATE_RECIPIENT_ALLOWED" ? (isPrivate ? "false" : "true")
                                                                               : (isPrivate ? "true" : "false");
  return textOf(c.is("PR_MESSAGE_CLASS")) != "IPM.Note" && c.difference.after == expected;
}

// --- Contacts and distribution lists

bool isContact(const Case& c) { return sameText(c.is("PR_MESSAGE_CLASS"), "\"IPM.Contact\""); }
bool isCard(const Case& c) { return isContact(c) || sameText(c.is("PR_MESSAGE_CLASS"), "\"IPM.DistList\""); }
bool isEmptyInCard(const Case& c) { return isCard(c) && c.difference.before == "\"\""; }
bool hasLostCarriageReturns(const Case& c) {
  std::string text = textOf(c.difference.before);
  std::erase(text, '\r');
  return (isCard(c) || calendar::isEvent(c)) && !text.empty() && text == textOf(c.difference.after);
}
bool isFaxOfContact(const Case& c) { return isContact(c) && c.difference.what.starts_with("PidLidFax"); }

// The slot that a property of an e-mail of a contact belongs to, "PidLidEmail1"; empty for another property.
std::string emailSlot(const Case& c) {
  constexpr std::string_view kStart = "PidLidEmail";
  const std::string& what = c.difference.what;
  return isContact(c) && what.starts_with(kStart) ? what.substr(0, kStart.size() + 1) : std::string();
}
bool isNameOfEmail(const Case& c) {
  const std::string slot = emailSlot(c);
  return !slot.empty() && c.difference.what.ends_with("DisplayName") &&
         (c.difference.after == c.is(slot + "DisplayName") || c.difference.after == c.is("PR_DISPLAY_NAME"));
}
bool isIdentityOfEmail(const Case& c) {
  const std::string slot = emailSlot(c);
  return !slot.empty() && (c.difference.what == slot + "OriginalEntryId" || c.difference.what == slot + "AddressType") &&
         c.is(slot + "AddressType") == "\"SMTP\"";
}
bool isMailingAddress(const Case& c) {
  constexpr std::string_view kMailing[] = {"PR_STREET_ADDRESS", "PR_LOCALITY", "PR_STATE_OR_PROVINCE",
                                           "PR_POSTAL_CODE",    "PR_COUNTRY",  "PR_POST_OFFICE_BOX",
                                           "PR_POSTAL_ADDRESS"};
  const auto isPart = [&c](const auto& fact) {
    const std::string& name = fact.first;
    return fact.second == c.difference.after &&
           (name.starts_with("PidLidWorkAddress") || name == "PidLidHomeAddress" || name == "PidLidOtherAddress" ||
            name.starts_with("PR_HOME_ADDRESS_") || name.starts_with("PR_OTHER_ADDRESS_"));
  };
  return isContact(c) && std::find(std::begin(kMailing), std::end(kMailing), c.difference.what) != std::end(kMailing) &&
         std::any_of(c.now.begin(), c.now.end(), isPart);
}
bool isDisplayName(const Case& c) { return isCard(c) && c.difference.after == c.is("PR_DISPLAY_NAME"); }
bool isNameWithoutPrefix(const Case& c) {
  return isContact(c) && textOf(c.is("PR_DISPLAY_NAME")).ends_with(textOf(c.difference.after));
}
bool isSubjectOfList(const Case& c) { return isCard(c) && c.difference.after == c.is("PR_SUBJECT"); }
// Midnight in the zone of another machine goes to the nearest one here.
bool isSameDayElsewhere(const Case& c) { return isContact(c) && isWithinHalfDay(c); }
// One-off entries of members of a directory are made of their names and addresses.
bool isSameCountOfMembers(const Case& c) {
  const auto before = nlohmann::json::parse(c.difference.before, nullptr, false);
  const auto after = nlohmann::json::parse(c.difference.after, nullptr, false);
  return isCard(c) && before.is_array() && after.is_array() && before.size() == after.size();
}

// --- The list

enum class Kind : unsigned { Lost = 1, Changed = 2, Added = 4, Made = 6, Any = 7 };

struct RuleRow {
  Place place;
  std::string_view what;  // as in Difference, without case; "*" is anything
  Kind kind;
  bool (*condition)(const Case&);  // null: always
  std::string_view rule;
};

constexpr std::string_view kDerived = "worked out from the subject";
constexpr std::string_view kReceiptTo = "receipts go to the sender";
constexpr std::string_view kLifted = "a stored header becomes a property";
constexpr std::string_view kDegrees = "priority has three degrees";
constexpr std::string_view kPriority = "priority is normal unless a mail says otherwise";
constexpr std::string_view kSigned = "a signed or encrypted mail says so";
constexpr std::string_view kSignedText = "a signed mail is one attachment that holds its texts and all headers";
constexpr std::string_view kFromIsSender = "a mail without Sender takes its From";
constexpr std::string_view kOneName = "an attachment has one name, that of its file";
constexpr std::string_view kMimeTag = "an attachment from a mail says its type";
constexpr std::string_view kMailFile = "a mail that is attached as a file becomes a message";
constexpr std::string_view kBecomesPart = "a mail that is one attachment holds it as a part";
constexpr std::string_view kUtf8 = "a text that its charset lacks goes out as UTF-8";
constexpr std::string_view kNearPage = "ISO-8859-15 goes out as ISO-8859-1, ISO-8859-13 as ISO-8859-4";
constexpr std::string_view kHtmlBytes = "HTML is kept as the bytes of the mail";
constexpr std::string_view kTree = "texts and attachments make the tree of parts";
constexpr std::string_view kNamed = "an attachment without a name gets one";
constexpr std::string_view kEmptyText = "a mail that is one attachment gets an empty text";
constexpr std::string_view kLabel = "a text says the charset that it is in";
constexpr std::string_view kNoParts = "a multipart without parts is a text";
constexpr std::string_view kNoContent = "a mail without content has no type";
constexpr std::string_view kFirstCounts = "of several rows of a content header the first counts";
constexpr std::string_view kReportParts = "a clean delivery report goes out as its three parts";
constexpr std::string_view kBuilt = "a built message says its type and version";
constexpr std::string_view kPrivacy = "an item says whether it is private";
constexpr std::string_view kEmptyInCard = "a card has no empty texts";
constexpr std::string_view kLineFeeds = "an item has line feeds alone";
constexpr std::string_view kFax = "the address of a fax is made of its number";
constexpr std::string_view kEmailName = "an e-mail of a contact goes under its name";
constexpr std::string_view kEmailIdentity = "the entry of an e-mail is made of its address";
constexpr std::string_view kMailing = "the mailing address is a copy of one of the others";
constexpr std::string_view kComposedLabel = "a label is made of its address";
constexpr std::string_view kContactSubject = "the subject of a contact is its name";
constexpr std::string_view kListName = "the subject of a list is its name";
constexpr std::string_view kProviders = "a contact tells which addresses it has";
constexpr std::string_view kFiled = "a contact says how it is filed";
constexpr std::string_view kDay = "a birthday is a day where the machine is";
constexpr std::string_view kEventTimes = "the dates of an item follow from its start and end";
constexpr std::string_view kEventDay = "a whole day begins at midnight where the machine is";
constexpr std::string_view kSeries = "a value of a series goes with it";
constexpr std::string_view kSameSeries = "a series is written anew, without what its exceptions say beside their times";
constexpr std::string_view kZone = "an item has its zone as the tables name it, or that of the machine";
constexpr std::string_view kReminder = "a reminder is told by its distance and when it is next";
constexpr std::string_view kMeeting = "a meeting message says what it asks for";
constexpr std::string_view kItemText = "an item is told by its calendar or card alone, which is written anew";
constexpr std::string_view kItemPeople = "the people of a meeting are those of its calendar";
constexpr std::string_view kItemFile = "a calendar or a card that is attached becomes an item";
constexpr std::string_view kPhoto = "the photo of a contact is told by its content id";

constexpr RuleRow kRules[] = {
    // Subject and class.
    {Place::Message, "PR_MESSAGE_CLASS", Kind::Added, isNote, "a message without a class is a note"},
    {Place::Message, "PR_SUBJECT", Kind::Added, becomesEmptyText, "a mail without Subject has an empty one"},
    {Place::Message, "PR_SUBJECT_PREFIX", Kind::Changed, subjectIsWhole, kDerived},
    {Place::Message, "PR_NORMALIZED_SUBJECT", Kind::Changed, subjectIsWhole, kDerived},
    // Headers.
    {Place::Message, "PR_TRANSPORT_MESSAGE_HEADERS", Kind::Made, keepsOtherHeaders, "a mail keeps its headers as they are"},
    {Place::Message, "PR_INTERNET_MESSAGE_ID", Kind::Made, isStoredHeader, kLifted},
    {Place::Message, "PR_INTERNET_ORGANIZATION", Kind::Made, isStoredHeader, kLifted},
    {Place::Message, "PR_INTERNET_RETURN_PATH", Kind::Made, isStoredHeader, kLifted},
    {Place::Message, "PR_LIST_HELP", Kind::Made, isStoredHeader, kLifted},
    {Place::Message, "PR_LIST_SUBSCRIBE", Kind::Made, isStoredHeader, kLifted},
    {Place::Message, "PR_LIST_UNSUBSCRIBE", Kind::Made, isStoredHeader, kLifted},
    {Place::Message, "PR_IN_REPLY_TO_ID", Kind::Made, isStoredHeader, kLifted},
    {Place::Message, "0000001f {00020386-0000-0000-C000-000000000046} [UN] \"X-Envelope-To\"", Kind::Made, isStoredHeader,
     kLifted},
    {Place::Message, "0000001f {00020386-0000-0000-C000-000000000046} [UN] \"X-Spam-Level\"", Kind::Made, isStoredHeader,
     kLifted},
    {Place::Message, "0000001f {00020386-0000-0000-C000-000000000046} [UN] \"X-Spam-Status\"", Kind::Made, isStoredHeader,
     kLifted},
    {Place::Message, "PR_CLIENT_SUBMIT_TIME", Kind::Added, isStoredDate, kLifted},
    // Texts.
    {Place::Message, "PR_INTERNET_CPID", Kind::Added, nullptr, "a message from a mail says its code page"},
    {Place::Message, "PR_INTERNET_CPID", Kind::Changed, needsUtf8, kUtf8},
    {Place::Message, "PR_INTERNET_CPID", Kind::Changed, isNearPage, kNearPage},
    {Place::Message, "PR_INTERNET_CPID", Kind::Changed, hasNoText, "a mail without text is ASCII"},
    {Place::Message, "PR_BODY_HTML", Kind::Lost, isHtmlAsBytes, kHtmlBytes},
    {Place::Message, "PR_HTML", Kind::Added, isHtmlAsBytes, kHtmlBytes},
    {Place::Message, "PR_BODY", Kind::Added, becomesEmptyText, kEmptyText},
    // Signed and encrypted mails.
    {Place::Attachment, "PR_ATTACH_DATA_BIN", Kind::Changed, holdsSameSignedText, kSignedText},
    {Place::Attachment, "PR_ATTACH_LONG_FILENAME", Kind::Added, holdsSameSignedText, kSignedText},
    {Place::Message, "PR_SECURITY", Kind::Added, hasNoPlainClass, kSigned},
    {Place::Message, "PidLidSmartNoAttach", Kind::Added, hasNoPlainClass, kSigned},
    // People.
    {Place::Message, "PR_SENDER_NAME", Kind::Added, hadNoSender, kFromIsSender},
    {Place::Message, "PR_SENDER_ADDRTYPE", Kind::Added, hadNoSender, kFromIsSender},
    {Place::Message, "PR_SENDER_EMAIL_ADDRESS", Kind::Added, hadNoSender, kFromIsSender},
    {Place::Message, "PR_SENDER_ENTRYID", Kind::Added, hadNoSender, kFromIsSender},
    {Place::Message, "PR_SENDER_SEARCH_KEY", Kind::Added, hadNoSender, kFromIsSender},
    // Items that can be private.
    {Place::Message, "PidLidPrivate", Kind::Added, followsFromPrivate, kPrivacy},
    {Place::Message, "PR_SENSITIVITY", Kind::Made, followsFromPrivate, kPrivacy},
    {Place::Message, "PR_ALTERNATE_RECIPIENT_ALLOWED", Kind::Made, followsFromPrivate, kPrivacy},
    {Place::Message, "PR_RECIPIENT_REASSIGNMENT_PROHIBITED", Kind::Made, followsFromPrivate, kPrivacy},
    // Appointments and meetings.
    {Place::Message, "PidLidAppointmentStartWhole", Kind::Changed, calendar::isSameDayElsewhere, kEventDay},
    {Place::Message, "PidLidAppointmentEndWhole", Kind::Changed, calendar::isSameDayElsewhere, kEventDay},
    {Place::Message, "*", Kind::Made, calendar::isTimeOfEvent, kEventTimes},
    {Place::Message, "PidLidAppointmentDuration", Kind::Made, calendar::isEvent, kEventTimes},
    {Place::Message, "PidLidAttendeeCriticalChange", Kind::Added, calendar::isEvent, "a calendar says when it was made"},
    {Place::Message, "PidLidRecurrenceType", Kind::Any, calendar::isOfNoSeries, kSeries},
    {Place::Message, "PidLidRecurrencePattern", Kind::Lost, calendar::isEvent,
     "the words for a series are those of its reader"},
    {Place::Message, "PidLidAppointmentRecur", Kind::Changed, calendar::isSameSeries, kSameSeries},
    {Place::Message, "PidLidTimeZoneStruct", Kind::Made, calendar::isSameClock, kZone},
    {Place::Message, "PidLidTimeZoneDescription", Kind::Made, calendar::isEvent, kZone},
    {Place::Message, "PidLidReminderSignalTime", Kind::Made, calendar::isUntoldReminder, kReminder},
    {Place::Message, "PidLidReminderTime", Kind::Any, calendar::isUntoldReminder, kReminder},
    {Place::Message, "PidLidReminderPlaySound", Kind::Added, calendar::saysNothing, kReminder},
    {Place::Message, "PidLidReminderDelta", Kind::Added, calendar::saysNothing, kReminder},
    {Place::Message, "PidLidReminderSet", Kind::Added, calendar::saysNothing, kReminder},
    {Place::Message, "PR_RTF_COMPRESSED", Kind::Added, calendar::isEvent, "the text of an item is rich text as well"},
    {Place::Message, "PidLidAppointmentColor", Kind::Added, calendar::saysNothing, "an item has a colour, if only none"},
    {Place::Message, "PidLidAppointmentSequence", Kind::Added, calendar::saysNothing, "an item has a number of its version"},
    {Place::Message, "PR_TRANSPORT_MESSAGE_HEADERS", Kind::Added, calendar::isEvent, "a mail keeps its headers as they are"},
    {Place::Message, "*", Kind::Made, calendar::isOfMeeting, kMeeting},
    {Place::Recipient, "PR_RESPONSIBILITY", Kind::Added, nullptr, "who is asked to a meeting is told or not"},
    // Tasks.
    {Place::Message, "PidLidCommonStart", Kind::Changed, tasks::isSameDay, kEventDay},
    {Place::Message, "PidLidCommonEnd", Kind::Changed, tasks::isSameDay, kEventDay},
    {Place::Message, "PidLidTaskDateCompleted", Kind::Changed, tasks::isSameDay, kEventDay},
    {Place::Message, "PidLidCommonStart", Kind::Added, tasks::isTask, kEventTimes},
    {Place::Message, "PidLidCommonEnd", Kind::Added, tasks::isTask, kEventTimes},
    {Place::Message, "PidLidTaskRecurrence", Kind::Changed, tasks::isSameSeries, kSameSeries},
    {Place::Message, "PR_ICON_INDEX", Kind::Made, tasks::repeats, "a task that repeats has its icon"},
    {Place::Message, "PidLidReminderSignalTime", Kind::Added, tasks::isTask, kReminder},
    {Place::Message, "PidLidReminderTime", Kind::Made, tasks::isTimeOfReminder, kReminder},
    {Place::Message, "PidLidReminderDelta", Kind::Added, tasks::isTask, kReminder},
    {Place::Message, "PidLidPercentComplete", Kind::Changed, tasks::isSamePercentage, "a task is done by whole percents"},
    // Contacts and distribution lists.
    {Place::Message, "*", Kind::Lost, isEmptyInCard, kEmptyInCard},
    {Place::Message, "*", Kind::Changed, hasLostCarriageReturns, kLineFeeds},
    {Place::Message, "*", Kind::Any, isFaxOfContact, kFax},
    {Place::Message, "*", Kind::Made, isNameOfEmail, kEmailName},
    {Place::Message, "*", Kind::Made, isIdentityOfEmail, kEmailIdentity},
    {Place::Message, "*", Kind::Made, isMailingAddress, kMailing},
    {Place::Message, "PidLidPostalAddressId", Kind::Made, isContact, kMailing},
    {Place::Message, "PidLidHomeAddress", Kind::Added, isContact, kComposedLabel},
    {Place::Message, "PidLidWorkAddress", Kind::Added, isContact, kComposedLabel},
    {Place::Message, "PidLidOtherAddress", Kind::Added, isContact, kComposedLabel},
    {Place::Message, "PR_SUBJECT", Kind::Made, isDisplayName, kContactSubject},
    {Place::Message, "PR_NORMALIZED_SUBJECT", Kind::Made, isNameWithoutPrefix, kContactSubject},
    {Place::Message, "PR_DISPLAY_NAME", Kind::Made, isSubjectOfList, kListName},
    {Place::Message, "PidLidDistributionListName", Kind::Made, isSubjectOfList, kListName},
    {Place::Message, "PidLidDistributionListOneOffMembers", Kind::Changed, isSameCountOfMembers,
     "a member of a directory is known by its address"},
    {Place::Message, "PidLidAddressBookProviderArrayType", Kind::Made, isContact, kProviders},
    {Place::Message, "PidLidAddressBookProviderEmailList", Kind::Made, isContact, kProviders},
    {Place::Message, "PidLidFileUnder", Kind::Added, isCard, kFiled},
    {Place::Message, "PidLidFileUnderId", Kind::Added, isContact, kFiled},
    {Place::Message, "PR_BIRTHDAY", Kind::Changed, isSameDayElsewhere, kDay},
    {Place::Message, "PR_WEDDING_ANNIVERSARY", Kind::Changed, isSameDayElsewhere, kDay},
    {Place::Message, "PidLidHasPicture", Kind::Added, isContact, kPhoto},
    {Place::Message, "0000001f {4A7934F6-8E3D-4C5D-B4CA-71A343DC8537} [UN] \"Contact Picture CID\"", Kind::Made, isContact,
     kPhoto},
    // Attachments.
    {Place::Attachment, "PR_ATTACH_FILENAME", Kind::Added, isLongName, kOneName},
    {Place::Attachment, "PR_ATTACH_LONG_FILENAME", Kind::Added, isNamedOtherwise, kOneName},
    {Place::Attachment, "PR_ATTACH_EXTENSION", Kind::Added, isEndOfName, kOneName},
    {Place::Attachment, "PR_ATTACH_MIME_TAG", Kind::Added, nullptr, kMimeTag},
    {Place::Attachment, "PR_ATTACH_METHOD", Kind::Changed, isMailAsFile, kMailFile},
    {Place::Attachment, "PR_ATTACH_DATA_BIN", Kind::Lost, isMailAsFile, kMailFile},
    {Place::Attachment, "PR_ATTACH_DATA_OBJ", Kind::Added, isMailAsFile, kMailFile},
    // Mails.
    {Place::Mail, "header X-MAPI", Kind::Made, nullptr, "what MIME can't hold travels in X-MAPI"},
    {Place::Mail, "header MIME-Version", Kind::Added, isVersion, kBuilt},
    {Place::Mail, "header Content-Type", Kind::Added, isTextType, kBuilt},
    {Place::Mail, "header Content-Transfer-Encoding", Kind::Any, becomesEncoding, "the transfer encoding is chosen anew"},
    {Place::Mail, "header Content-Type", Kind::Changed, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Type", Kind::Added, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Type", Kind::Made, isBuiltAnew, kTree},
    {Place::Mail, "header Content-Type", Kind::Changed, goesOutAsUtf8, kUtf8},
    {Place::Mail, "header Content-Type", Kind::Changed, hasNearCharset, kNearPage},
    {Place::Mail, "header Content-Type", Kind::Changed, differsInCharset, kLabel},
    {Place::Mail, "header Content-Type", Kind::Changed, hasNoParts, kNoParts},
    {Place::Mail, "header Content-Disposition", Kind::Lost, hadNoParts, kNoParts},
    {Place::Mail, "header Content-Disposition", Kind::Lost, losesContainer, kTree},
    {Place::Mail, "header Content-Type", Kind::Lost, hasNoContent, kNoContent},
    {Place::Mail, "header Content-Description", Kind::Lost, hasNoContent, kNoContent},
    {Place::Mail, "header Content-Type", Kind::Changed, hasOneText, kTree},
    {Place::Mail, "further header Content-Type", Kind::Lost, nullptr, kFirstCounts},
    {Place::Mail, "further header Content-Transfer-Encoding", Kind::Lost, nullptr, kFirstCounts},
    {Place::Mail, "further header Content-Disposition", Kind::Lost, nullptr, kFirstCounts},
    {Place::Mail, "further header Content-Description", Kind::Lost, nullptr, kFirstCounts},
    {Place::Mail, "header Content-Language", Kind::Lost, movesDown, kTree},
    {Place::Mail, "attachment name", Kind::Lost, isReport, kReportParts},
    {Place::Mail, "attachment", Kind::Lost, isReport, kReportParts},
    {Place::Mail, "attachment", Kind::Added, isEmptyHeaders, kReportParts},
    {Place::Mail, "attachment", Kind::Added, isPictureOfCard, "a picture in a card becomes a file beside it"},
    {Place::Mail, "*", Kind::Lost, calendar::isBodyOfItem, kItemText},
    {Place::Mail, "plain text", Kind::Any, calendar::isItem, kItemText},
    {Place::Mail, "HTML", Kind::Any, calendar::isItem, kItemText},
    {Place::Mail, "header Content-Type", Kind::Changed, calendar::isItem, kItemText},
    {Place::Mail, "header Subject", Kind::Made, calendar::isItem, "the subject of an item is that of its calendar or card"},
    {Place::Mail, "header From", Kind::Any, calendar::isItem, kItemPeople},
    {Place::Mail, "header Sender", Kind::Any, calendar::isItem, kItemPeople},
    {Place::Mail, "header To", Kind::Any, calendar::isItem, kItemPeople},
    {Place::Mail, "header Cc", Kind::Any, calendar::isItem, kItemPeople},
    {Place::Mail, "attachment", Kind::Changed, calendar::becomesItem, kItemFile},
    {Place::Mail, "attachment type", Kind::Changed, calendar::becomesItem, kItemFile},
    {Place::Mail, "*", Kind::Lost, isOtherForm, "other forms of a text stay behind where one was taken"},
    {Place::Mail, "*", Kind::Lost, isBlankText, "a second text of blanks says nothing"},
    {Place::Mail, "attachment name", Kind::Added, nullptr, kNamed},
    {Place::Mail, "attachment type", Kind::Added, nullptr, kMimeTag},
    {Place::Mail, "header Content-Disposition", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Description", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-ID", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Language", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-MD5", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Location", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Base", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Importance", Kind::Added, isNormal, kPriority},
    {Place::Mail, "header Importance", Kind::Any, hasSameDegree, kDegrees},
    {Place::Mail, "header X-Priority", Kind::Added, isNormal, kPriority},
    {Place::Mail, "header X-Priority", Kind::Any, hasSameDegree, kDegrees},
    {Place::Mail, "header X-MSMail-Priority", Kind::Any, hasSameDegree, kDegrees},
    {Place::Mail, "header Disposition-Notification-To", Kind::Changed, nullptr, kReceiptTo},
    {Place::Mail, "header Return-Receipt-To", Kind::Changed, nullptr, kReceiptTo},
    {Place::Mail, "header From", Kind::Changed, isLastOfSeveral, "the last of several authors stays"},
    {Place::Mail, "plain text", Kind::Added, isEmptyBody, kEmptyText},
};

unsigned kindOf(const Difference& difference) {
  return static_cast<unsigned>(difference.before.empty()  ? Kind::Added
                               : difference.after.empty() ? Kind::Lost
                                                          : Kind::Changed);
}

}  // namespace

// The first row that fits answers; one without a name says that no rule tells the difference.
std::string ruleOf(Place place, const Difference& difference, const Facts& before, const Facts& after) {
  const unsigned kind = kindOf(difference);
  const Case c{difference, before, after};
  const auto* row = std::find_if(std::begin(kRules), std::end(kRules), [&](const RuleRow& r) {
    return r.place == place && (static_cast<unsigned>(r.kind) & kind) != 0 &&
           (r.what == "*" || equalsIgnoreCase(r.what, difference.what)) && (r.condition == nullptr || r.condition(c));
  });
  return row == std::end(kRules) ? std::string() : std::string(row->rule);
}

}  // namespace nalvo::host
