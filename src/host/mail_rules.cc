// Rules about mails.
#include <algorithm>
#include <iterator>

#include "host/rule_rows.h"
#include "mime/parameters.h"

namespace nalvo::host {
namespace {

// --- Items

// The mail is an item before and after.
bool isItem(const Case& c) { return !c.was(kItemFact).empty() && !c.is(kItemFact).empty(); }

// A body of a type that can make its mail an item.
bool isItemBody(const Case& c) {
  constexpr std::string_view kBodies[] = {"body text/calendar", "body text/vcard", "body text/x-vcard",
                                          "body text/x-vcard-dl", "body text/x-stickynote"};
  return std::find(std::begin(kBodies), std::end(kBodies), c.difference.what) != std::end(kBodies);
}

bool isBodyOfItem(const Case& c) { return isItem(c) && isItemBody(c); }

// A calendar or a card that was attached is now an item.
bool becomesItem(const Case& c) {
  const std::string& before = c.difference.before;
  const bool wasItem = before.find("text/calendar") != std::string::npos || before.find("vcard") != std::string::npos ||
                       before.find("text/x-stickynote") != std::string::npos;
  return wasItem && c.difference.after.find("message/rfc822") != std::string::npos;
}

// --- The tree

// A root that is one body, which is no text or says that it is an attachment, moves into a part.
bool becomesAttachment(const Case& c) {
  const std::string_view type = c.was("header content-type");
  const bool isText = type.empty() || startsWithIgnoreCase(type, "text/plain") || startsWithIgnoreCase(type, "text/html");
  return !startsWithIgnoreCase(type, "multipart/") && startsWithIgnoreCase(c.is("header content-type"), "multipart/") &&
         (!isText || startsWithIgnoreCase(c.was("header content-disposition"), "attachment"));
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
  return mediaType(c.difference.before) == mediaType(c.difference.after) &&
         startsWithIgnoreCase(c.difference.after, "text/") &&
         toLowerAscii(c.difference.after).find("charset=utf-8") != std::string::npos;
}
// What a text is in may be labelled anew; as characters it is compared by itself.
bool differsInCharset(const Case& c) {
  mime::ParameterList before = mime::ParameterList::parse(c.difference.before, nullptr);
  mime::ParameterList after = mime::ParameterList::parse(c.difference.after, nullptr);
  for (mime::ParameterList* list : {&before, &after}) {
    list->erase("charset");
  }
  return startsWithIgnoreCase(after.word(), "text/") && equalsIgnoreCase(before.word(), after.word()) &&
         before.all().size() == after.all().size() &&
         std::all_of(before.all().begin(), before.all().end(), [&](const mime::Parameter& parameter) {
           const mime::Parameter* other = after.find(parameter.name);
           return other != nullptr && other->wide == parameter.wide;
         });
}
// A boundary that parts nothing makes no parts.
bool hasNoParts(const Case& c) {
  return startsWithIgnoreCase(trim(c.difference.before, " \""), "multipart/") &&
         mediaType(c.difference.after) == "text/plain" && c.was(kPartsFact) == "0";
}
// The same of what else its header said.
bool hadNoParts(const Case& c) {
  return startsWithIgnoreCase(c.was("header content-type"), "multipart/") && c.was(kPartsFact) == "0" &&
         mediaType(c.is("header content-type")) == "text/plain";
}
bool hasNoContent(const Case& c) { return c.was(kPartsFact) == "0" && c.is("header content-type").empty(); }
bool hasOneText(const Case& c) {
  const std::string before = mediaType(c.difference.before);
  return startsWithIgnoreCase(before, "multipart/") && before != "multipart/signed" &&
         startsWithIgnoreCase(c.difference.after, "text/") && c.was(kPartsFact) == "1";
}
// A container around one text goes, with what it said of itself.
bool losesContainer(const Case& c) {
  return isContainer(mediaType(c.was("header content-type"))) && startsWithIgnoreCase(c.is("header content-type"), "text/");
}
// Items are told by rules of their own.
bool isOtherForm(const Case& c) {
  return !c.was(kAlternativeFact).empty() && c.difference.what.starts_with("body text") && !isItemBody(c);
}
bool isBlankText(const Case& c) { return !c.was(kBlankFact).empty() && c.difference.what.starts_with("body text"); }
// A delivery report is three parts; what else it held stays behind.
bool isReport(const Case& c) {
  return mediaType(c.was("header content-type")) == "multipart/report" &&
         mediaType(c.is("header content-type")) == "multipart/report";
}
bool isPictureOfCard(const Case& c) {
  return isItem(c) && c.difference.after.starts_with("\"ContactPicture.") &&
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
  return startsWithIgnoreCase(c.difference.after, "text/plain") && c.was("header content-type").empty();
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
    if (startsWithIgnoreCase(trim(value), row.start)) {
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

// --- The list

constexpr std::string_view kReceiptTo = "receipts go to the sender";
constexpr std::string_view kDegrees = "priority has three degrees";
constexpr std::string_view kPriority = "priority is normal unless a mail says otherwise";
constexpr std::string_view kBecomesPart = "a mail that is one attachment holds it as a part";
constexpr std::string_view kTree = "texts and attachments make the tree of parts";
constexpr std::string_view kNamed = "an attachment without a name gets one";
constexpr std::string_view kLabel = "a text says the charset that it is in";
constexpr std::string_view kNoParts = "a multipart without parts is a text";
constexpr std::string_view kNoContent = "a mail without content has no type";
constexpr std::string_view kFirstCounts = "of several rows of a content header the first counts";
constexpr std::string_view kReportParts = "a clean delivery report goes out as its three parts";
constexpr std::string_view kBuilt = "a built message says its type and version";
constexpr std::string_view kItemText = "an item is told by its calendar or card alone, which is written anew";
constexpr std::string_view kItemPeople = "the people of a meeting are those of its calendar";
constexpr std::string_view kItemFile = "a calendar or a card that is attached becomes an item";

constexpr RuleRow kRules[] = {
    {Place::Mail, Kind::Made, "header X-MAPI", nullptr, "what MIME can't hold travels in X-MAPI"},
    {Place::Mail, Kind::Added, "header MIME-Version", isVersion, kBuilt},
    {Place::Mail, Kind::Added, "header Content-Type", isTextType, kBuilt},
    {Place::Mail, Kind::Any, "header Content-Transfer-Encoding", becomesEncoding, "the transfer encoding is chosen anew"},
    {Place::Mail, Kind::Changed, "header Content-Type", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Added, "header Content-Type", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Made, "header Content-Type", isBuiltAnew, kTree},
    {Place::Mail, Kind::Changed, "header Content-Type", goesOutAsUtf8, kUtf8},
    {Place::Mail, Kind::Changed, "header Content-Type", hasNearCharset, kNearPage},
    {Place::Mail, Kind::Changed, "header Content-Type", differsInCharset, kLabel},
    {Place::Mail, Kind::Changed, "header Content-Type", hasNoParts, kNoParts},
    {Place::Mail, Kind::Lost, "header Content-Disposition", hadNoParts, kNoParts},
    {Place::Mail, Kind::Lost, "header Content-Disposition", losesContainer, kTree},
    {Place::Mail, Kind::Lost, "header Content-Type", hasNoContent, kNoContent},
    {Place::Mail, Kind::Lost, "header Content-Description", hasNoContent, kNoContent},
    {Place::Mail, Kind::Changed, "header Content-Type", hasOneText, kTree},
    {Place::Mail, Kind::Lost, "further header Content-Type", nullptr, kFirstCounts},
    {Place::Mail, Kind::Lost, "further header Content-Transfer-Encoding", nullptr, kFirstCounts},
    {Place::Mail, Kind::Lost, "further header Content-Disposition", nullptr, kFirstCounts},
    {Place::Mail, Kind::Lost, "further header Content-Description", nullptr, kFirstCounts},
    {Place::Mail, Kind::Lost, "header Content-Language", movesDown, kTree},
    {Place::Mail, Kind::Lost, "attachment name", isReport, kReportParts},
    {Place::Mail, Kind::Lost, "attachment", isReport, kReportParts},
    {Place::Mail, Kind::Added, "attachment", isEmptyHeaders, kReportParts},
    {Place::Mail, Kind::Added, "attachment", isPictureOfCard, "a picture in a card becomes a file beside it"},
    {Place::Mail, Kind::Lost, "*", isBodyOfItem, kItemText},
    {Place::Mail, Kind::Any, "plain text", isItem, kItemText},
    {Place::Mail, Kind::Any, "HTML", isItem, kItemText},
    {Place::Mail, Kind::Changed, "header Content-Type", isItem, kItemText},
    {Place::Mail, Kind::Made, "header Subject", isItem, "the subject of an item is that of its calendar or card"},
    {Place::Mail, Kind::Any, "header From", isItem, kItemPeople},
    {Place::Mail, Kind::Any, "header Sender", isItem, kItemPeople},
    {Place::Mail, Kind::Any, "header To", isItem, kItemPeople},
    {Place::Mail, Kind::Any, "header Cc", isItem, kItemPeople},
    {Place::Mail, Kind::Added, "header Bcc", isItem, kItemPeople},
    {Place::Mail, Kind::Changed, "attachment", becomesItem, kItemFile},
    {Place::Mail, Kind::Changed, "attachment type", becomesItem, kItemFile},
    {Place::Mail, Kind::Lost, "*", isOtherForm, "other forms of a text stay behind where one was taken"},
    {Place::Mail, Kind::Lost, "*", isBlankText, "a second text of blanks says nothing"},
    {Place::Mail, Kind::Added, "attachment name", nullptr, kNamed},
    {Place::Mail, Kind::Added, "attachment type", nullptr, kMimeTag},
    {Place::Mail, Kind::Lost, "header Content-Disposition", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Lost, "header Content-Description", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Lost, "header Content-ID", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Lost, "header Content-Language", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Lost, "header Content-MD5", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Lost, "header Content-Location", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Lost, "header Content-Base", becomesAttachment, kBecomesPart},
    {Place::Mail, Kind::Added, "header Importance", isNormal, kPriority},
    {Place::Mail, Kind::Any, "header Importance", hasSameDegree, kDegrees},
    {Place::Mail, Kind::Added, "header X-Priority", isNormal, kPriority},
    {Place::Mail, Kind::Any, "header X-Priority", hasSameDegree, kDegrees},
    {Place::Mail, Kind::Any, "header X-MSMail-Priority", hasSameDegree, kDegrees},
    {Place::Mail, Kind::Changed, "header Disposition-Notification-To", nullptr, kReceiptTo},
    {Place::Mail, Kind::Changed, "header Return-Receipt-To", nullptr, kReceiptTo},
    {Place::Mail, Kind::Changed, "header From", isLastOfSeveral, "the last of several authors stays"},
    {Place::Mail, Kind::Added, "plain text", isEmptyBody, kEmptyText},
};

}  // namespace

std::span<const RuleRow> mailRules() { return kRules; }

}  // namespace nalvo::host
