// The changes that the system makes on purpose, each with the name of its rule. What no row tells is a loss.
#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/comparison.h"
#include "mime/header_text.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"
#include "streams/coder.h"

namespace nalvo::host {
namespace {

// What a row's condition looks at: the difference, and all values of the thing that it is in.
struct Case {
  const Difference& difference;
  const Facts& old;
  const Facts& now;

  // A property as JSON, or a header; empty if there is none.
  static std::string_view valueIn(const Facts& facts, std::string_view name) {
    const auto found = facts.find(name);
    return found == facts.end() ? std::string_view() : std::string_view(found->second);
  }
  std::string_view was(std::string_view name) const { return valueIn(old, name); }
  std::string_view is(std::string_view name) const { return valueIn(now, name); }
};

std::string textOf(std::string_view json) {
  const auto value = nlohmann::json::parse(json, nullptr, false);
  return value.is_string() ? value.get<std::string>() : std::string();
}

std::optional<std::int64_t> numberOf(std::string_view json) {
  const auto value = nlohmann::json::parse(json, nullptr, false);
  return value.is_number_integer() ? std::optional(value.get<std::int64_t>()) : std::nullopt;
}

bool sameText(std::string_view a, std::string_view b) { return equalsIgnoreCase(textOf(a), textOf(b)); }

// --- Values that hold in one store alone

constexpr std::string_view kStoreProperties[] = {
    "PR_ACCESS",
    "PR_ACCESS_LEVEL",
    "PR_MAPPING_SIGNATURE",
    "PR_OBJECT_TYPE",
    "PR_RECORD_KEY",
    "PR_ENTRYID",
    "66700102",
    "PR_PARENT_ENTRYID",
    "PR_STORE_ENTRYID",
    "PR_STORE_RECORD_KEY",
    "PR_STORE_SUPPORT_MASK",
    "PR_MDB_PROVIDER",
};

bool isOfStore(const Case& c) {
  return std::find(std::begin(kStoreProperties), std::end(kStoreProperties), c.difference.what) !=
         std::end(kStoreProperties);
}

// --- Values that are worked out

bool isFalse(const Case& c) { return c.difference.before == "false"; }
bool isEmptyText(const Case& c) { return c.difference.before == "\"\"" && c.difference.after.empty(); }
bool becomesEmptyText(const Case& c) { return c.difference.after == "\"\""; }
bool becomesZero(const Case& c) { return c.difference.after == "0"; }
bool isSameSecond(const Case& c) {
  constexpr std::size_t kToTheSecond = sizeof "\"YYYY-MM-DDTHH:MM:SS" - 1;
  return c.difference.before.substr(0, kToTheSecond) == c.difference.after.substr(0, kToTheSecond);
}

// Bits of PR_MESSAGE_FLAGS that a server tells: read, unsent, hidden, receipts due.
constexpr std::int64_t kServerFlags = 0x359;
constexpr std::int64_t kReadFlag = 1;

bool keepsOtherFlags(const Case& c) {
  const auto before = c.difference.before.empty() ? std::optional<std::int64_t>(0) : numberOf(c.difference.before);
  return before && numberOf(c.difference.after) == ((*before & ~kServerFlags) | kReadFlag);
}

bool subjectIsWhole(const Case& c) {
  return textOf(c.is("PR_SUBJECT_PREFIX")) + textOf(c.is("PR_NORMALIZED_SUBJECT")) == textOf(c.is("PR_SUBJECT"));
}
bool isTheSubject(const Case& c) { return c.difference.after == c.is("PR_NORMALIZED_SUBJECT"); }

bool isMiddlePriority(const Case& c) { return c.difference.after == (c.difference.what == "PR_IMPORTANCE" ? "1" : "0"); }
bool followsPriority(const Case& c) {
  const auto priority = numberOf(c.is("PR_PRIORITY"));
  return priority && numberOf(c.is("PR_IMPORTANCE")) == *priority + 1;
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

bool hadStoredDate(const Case& c) {
  const std::vector<HeaderLine> lines = linesOf(textOf(c.was("PR_TRANSPORT_MESSAGE_HEADERS")));
  return std::any_of(lines.begin(), lines.end(), [](const HeaderLine& line) { return line.name == "date"; });
}

// --- Texts

bool hadRtf(const Case& c) { return !c.was("PR_RTF_COMPRESSED").empty(); }
bool isHtmlAsBytes(const Case& c) { return !c.was("PR_BODY_HTML").empty() && !c.is("PR_HTML").empty(); }

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

// "PR_SENDER_" of "PR_SENDER_NAME"; empty for a recipient, whose properties have no such beginning.
std::string groupOf(std::string_view what) {
  for (const std::string_view group : {"PR_SENT_REPRESENTING_", "PR_SENDER_"}) {
    if (what.starts_with(group)) {
      return std::string(group);
    }
  }
  return "PR_";
}

// The SMTP address that a file knows beside one of another system.
std::string knownSmtp(const Case& c, const std::string& group) { return textOf(c.was(group + "SMTP_ADDRESS")); }

// A person comes back with the SMTP address that the file knows, or as a name alone; a type without an address counts for
// nothing.
bool isOfOtherSystem(const Case& c) {
  const std::string group = groupOf(c.difference.what);
  const std::string type = textOf(c.was(group + "ADDRTYPE"));
  const std::string before = textOf(c.was(group + "EMAIL_ADDRESS"));
  const std::string after = textOf(c.is(group + "EMAIL_ADDRESS"));
  if (type.empty() || before.empty()) {
    return equalsIgnoreCase(before, after) || equalsIgnoreCase(after, knownSmtp(c, group));
  }
  return !equalsIgnoreCase(type, "SMTP") && (after.empty() || equalsIgnoreCase(after, knownSmtp(c, group)));
}

// An entry id may hold an address that no other property has; the bytes of a one-off id do, wide or narrow.
bool isInEntryId(const Case& c) {
  const std::string group = groupOf(c.difference.what);
  const auto id = nlohmann::json::parse(c.was(group + "ENTRYID"), nullptr, false);
  std::string bytes;
  if (!c.was(group + "EMAIL_ADDRESS").empty() || !id.is_object() || !id.contains("base64")) {
    return false;
  }
  const std::string encoded = id["base64"].get<std::string>();
  const std::string address = textOf(c.difference.after);
  if (address.empty() || failed(Coder::decodeBase64(encoded.data(), encoded.size(), bytes))) {
    return false;
  }
  std::erase(bytes, '\0');  // wide characters of an address become narrow ones
  return bytes.find(address) != std::string::npos;
}

bool isTheAddress(const Case& c) {
  const std::string group = groupOf(c.difference.what);
  return sameText(c.difference.before, c.is(group + "EMAIL_ADDRESS"));
}

// A mail whose Sender is that of its From has no Sender row, and takes it from there on the way back.
bool isTakenFromFrom(const Case& c) {
  const std::string rest = c.difference.what.substr(sizeof "PR_SENDER_" - 1);
  return c.difference.after == c.is("PR_SENT_REPRESENTING_" + rest);
}

bool hadNoSender(const Case& c) {
  return c.was("PR_SENDER_NAME").empty() && c.was("PR_SENDER_EMAIL_ADDRESS").empty() && isTakenFromFrom(c);
}

bool isOtherKind(const Case& c) {
  const std::string& before = c.difference.before;
  return before != "2" && before != "3" && c.difference.after == "1";
}

bool hasSameNames(const Case& c) { return c.was("PR_REPLY_RECIPIENT_NAMES") == c.is("PR_REPLY_RECIPIENT_NAMES"); }

bool asksForReceipt(const Case& c) { return c.is("PR_READ_RECEIPT_REQUESTED") == "true"; }

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
bool isNoOle(const Case& c) { return c.was("PR_ATTACH_METHOD") != "6"; }
bool isNoReference(const Case& c) { return c.was("PR_ATTACH_METHOD") != "4"; }
bool isMailAsFile(const Case& c) {
  return c.was("PR_ATTACH_METHOD") == "1" && holdsMessage(c) && sameText(c.is("PR_ATTACH_MIME_TAG"), "\"message/rfc822\"");
}
bool isSignedMail(const Case& c) {
  return sameText(c.was("PR_ATTACH_MIME_TAG"), "\"multipart/signed\"") &&
         sameText(c.is("PR_ATTACH_MIME_TAG"), "\"multipart/signed\"");
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
std::string mediaType(std::string_view value) { return toLowerAscii(std::string(trim(value.substr(0, value.find(';'))))); }
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
bool isNormal(const Case& c) { return c.difference.after == "Normal"; }
bool isThree(const Case& c) { return c.difference.after == "3"; }
bool isVersion(const Case& c) { return c.difference.after == "1.0"; }
bool isLastOfSeveral(const Case& c) { return c.difference.before.ends_with(c.difference.after); }
bool isEmptyBody(const Case& c) { return c.difference.after.starts_with("0 bytes"); }

// --- The list

enum class Kind : unsigned { Lost = 1, Changed = 2, Added = 4, Made = 6, Any = 7 };

struct RuleRow {
  Place place;
  std::string_view what;  // as in Difference, without case; "*" is anything
  Kind kind;
  bool (*condition)(const Case&);  // null: always
  std::string_view rule;
};

constexpr std::string_view kOfStore = "belongs to the store";
constexpr std::string_view kNoRtf = "RTF has no engine yet";
constexpr std::string_view kNoSensitivity = "a note does not carry sensitivity and reassignment";
constexpr std::string_view kDerived = "worked out from the subject";
constexpr std::string_view kReceipt = "a receipt that nobody asks for says nothing";
constexpr std::string_view kReceiptTo = "receipts go to the sender";
constexpr std::string_view kFollowUp = "a mail file carries no follow-up flag";
constexpr std::string_view kServer = "a mail file counts as read and tells no other flag of a server";
constexpr std::string_view kLifted = "a stored header becomes a property";
constexpr std::string_view kPriority = "priority is normal unless a mail says otherwise";
constexpr std::string_view kImportance = "importance follows priority";
constexpr std::string_view kSigned = "a signed or encrypted mail says so";
constexpr std::string_view kSignedText = "a signed mail is one attachment that holds its texts and all headers";
constexpr std::string_view kIdentity = "identities of people are made anew from name and address";
constexpr std::string_view kOtherSystem = "an address of another system becomes its SMTP address, or a name alone";
constexpr std::string_view kEntryId = "an address that an entry id alone holds comes out of it";
constexpr std::string_view kNameIsAddress = "a name that is the address is not told twice";
constexpr std::string_view kFromIsSender = "a mail without Sender takes its From";
constexpr std::string_view kRow = "a recipient travels as name, address and kind";
constexpr std::string_view kOneName = "an attachment has one name, that of its file";
constexpr std::string_view kMimeTag = "an attachment from a mail says its type";
constexpr std::string_view kMailFile = "a mail that is attached as a file becomes a message";
constexpr std::string_view kBecomesPart = "a mail that is one attachment holds it as a part";
constexpr std::string_view kChosenText = "a message with RTF gives the text that its RTF holds; RTF has no engine yet";
constexpr std::string_view kUtf8 = "a text that its charset lacks goes out as UTF-8";
constexpr std::string_view kNearPage = "ISO-8859-15 goes out as ISO-8859-1, ISO-8859-13 as ISO-8859-4";
constexpr std::string_view kHtmlBytes = "HTML is kept as the bytes of the mail";
constexpr std::string_view kTree = "texts and attachments make the tree of parts";
constexpr std::string_view kNamed = "an attachment without a name gets one";
constexpr std::string_view kEmptyText = "a mail that is one attachment gets an empty text";
constexpr std::string_view kBuilt = "a built message says its type and version";

constexpr RuleRow kRules[] = {
    // What no object carries.
    {Place::Message, "*", Kind::Lost, isOfStore, kOfStore},
    {Place::Attachment, "*", Kind::Lost, isOfStore, kOfStore},
    {Place::Attachment, "PR_ATTACH_NUM", Kind::Lost, nullptr, kOfStore},
    {Place::Message, "PR_SENSITIVITY", Kind::Lost, nullptr, kNoSensitivity},
    {Place::Message, "PR_ALTERNATE_RECIPIENT_ALLOWED", Kind::Lost, nullptr, kNoSensitivity},
    {Place::Message, "PR_RECIPIENT_REASSIGNMENT_PROHIBITED", Kind::Lost, nullptr, kNoSensitivity},
    // RTF.
    {Place::Message, "PR_RTF_COMPRESSED", Kind::Lost, nullptr, kNoRtf},
    {Place::Message, "PR_RTF_IN_SYNC", Kind::Lost, nullptr, kNoRtf},
    {Place::Message, "PR_RTF_SYNC_BODY_CRC", Kind::Lost, nullptr, kNoRtf},
    {Place::Message, "PR_RTF_SYNC_BODY_COUNT", Kind::Lost, nullptr, kNoRtf},
    {Place::Message, "PR_RTF_SYNC_BODY_TAG", Kind::Lost, nullptr, kNoRtf},
    {Place::Message, "PR_RTF_SYNC_PREFIX_COUNT", Kind::Lost, nullptr, kNoRtf},
    {Place::Message, "PR_RTF_SYNC_TRAILING_COUNT", Kind::Lost, nullptr, kNoRtf},
    // Dates, subject, importance.
    {Place::Message, "PR_CLIENT_SUBMIT_TIME", Kind::Changed, isSameSecond, "a Date has whole seconds"},
    {Place::Message, "PR_SUBJECT", Kind::Added, becomesEmptyText, "a mail without Subject has an empty one"},
    {Place::Message, "PR_SUBJECT_PREFIX", Kind::Any, subjectIsWhole, kDerived},
    {Place::Message, "PR_NORMALIZED_SUBJECT", Kind::Any, subjectIsWhole, kDerived},
    {Place::Message, "PR_CONVERSATION_TOPIC", Kind::Added, isTheSubject, kDerived},
    {Place::Message, "PR_PRIORITY", Kind::Added, isMiddlePriority, kPriority},
    {Place::Message, "PR_IMPORTANCE", Kind::Added, isMiddlePriority, kPriority},
    {Place::Message, "PR_IMPORTANCE", Kind::Added, followsPriority, kImportance},
    {Place::Message, "PR_PRIORITY", Kind::Added, followsPriority, kImportance},
    // Flags.
    {Place::Message, "PR_MESSAGE_FLAGS", Kind::Made, keepsOtherFlags, kServer},
    {Place::Message, "PR_CONTENT_UNREAD", Kind::Made, becomesZero, kServer},
    {Place::Message, "PR_MSG_STATUS", Kind::Made, becomesZero, kServer},
    {Place::Message, "PR_SUBMIT_FLAGS", Kind::Lost, nullptr, kOfStore},
    {Place::Message, "00000003 {00062008-0000-0000-C000-000000000046} [I] 00008570", Kind::Made, becomesZero, kServer},
    {Place::Message, "PR_FLAG_STATUS", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PR_FOLLOWUP_ICON", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PR_TODO_ITEM_FLAGS", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PR_REPLY_REQUESTED", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PR_REPLY_TIME", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PR_RESPONSE_REQUESTED", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PidLidReminderSet", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PidLidReminderTime", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PidLidReminderSignalTime", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PidLidFlagRequest", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PidLidTaskStatus", Kind::Lost, nullptr, kFollowUp},
    {Place::Message, "PidLidTaskComplete", Kind::Lost, nullptr, kFollowUp},
    // Receipts and replies.
    {Place::Message, "PR_READ_RECEIPT_REQUESTED", Kind::Lost, isFalse, kReceipt},
    {Place::Message, "PR_ORIGINATOR_DELIVERY_REPORT_REQUESTED", Kind::Lost, isFalse, kReceipt},
    {Place::Message, "PR_READ_RECEIPT_ENTRYID", Kind::Made, asksForReceipt, kReceiptTo},
    {Place::Message, "PR_READ_RECEIPT_SEARCH_KEY", Kind::Made, asksForReceipt, kReceiptTo},
    {Place::Message, "PR_REPORT_TAG", Kind::Lost, nullptr, "the tag of a report is told by its message id alone"},
    {Place::Message, "PR_REPLY_RECIPIENT_ENTRIES", Kind::Changed, hasSameNames, kIdentity},
    {Place::Message, "PR_REPLY_RECIPIENT_NAMES", Kind::Lost, isEmptyText, "no name is no name"},
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
    {Place::Message, "0000001f {00020386-0000-0000-C000-000000000046} [UN] \"Content-Class\"", Kind::Made, isStoredHeader,
     kLifted},
    {Place::Message, "0000001f {00020386-0000-0000-C000-000000000046} [UN] \"Content-Class\"", Kind::Added, nullptr,
     "a message from a mail says its content class"},
    {Place::Message, "PR_CLIENT_SUBMIT_TIME", Kind::Added, hadStoredDate, kLifted},
    // Texts.
    {Place::Message, "00000102 {4E3A7680-B77A-11D0-9DA5-00C04FD65685} [UN] \"Internet Charset Body\"", Kind::Made, nullptr,
     "a message from a mail keeps its text in the mail's charset"},
    {Place::Message, "PR_INTERNET_CPID", Kind::Added, nullptr, "a message from a mail says its code page"},
    {Place::Message, "PR_INTERNET_CPID", Kind::Changed, needsUtf8, kUtf8},
    {Place::Message, "PR_INTERNET_CPID", Kind::Changed, isNearPage, kNearPage},
    {Place::Message, "PR_INTERNET_CPID", Kind::Changed, hasNoText, "a mail without text is ASCII"},
    {Place::Message, "PR_HTML", Kind::Lost, hadRtf, kChosenText},
    {Place::Message, "PR_BODY_HTML", Kind::Lost, hadRtf, kChosenText},
    {Place::Message, "PR_BODY_HTML", Kind::Lost, isHtmlAsBytes, kHtmlBytes},
    {Place::Message, "PR_HTML", Kind::Added, isHtmlAsBytes, kHtmlBytes},
    {Place::Message, "PR_BODY", Kind::Added, becomesEmptyText, kEmptyText},
    // Signed and encrypted mails.
    {Place::Message, "PR_BODY", Kind::Made, hasNoPlainClass, kSignedText},
    {Place::Message, "PR_HTML", Kind::Added, hasNoPlainClass, kSignedText},
    {Place::Attachment, "PR_ATTACH_DATA_BIN", Kind::Changed, isSignedMail, kSignedText},
    {Place::Attachment, "PR_ATTACH_LONG_FILENAME", Kind::Added, isSignedMail, kSignedText},
    {Place::Message, "PR_SECURITY", Kind::Made, hasNoPlainClass, kSigned},
    {Place::Message, "PidLidSmartNoAttach", Kind::Made, hasNoPlainClass, kSigned},
    // People.
    {Place::Message, "PR_SENDER_ENTRYID", Kind::Made, nullptr, kIdentity},
    {Place::Message, "PR_SENDER_SEARCH_KEY", Kind::Made, nullptr, kIdentity},
    {Place::Message, "PR_SENT_REPRESENTING_ENTRYID", Kind::Made, nullptr, kIdentity},
    {Place::Message, "PR_SENT_REPRESENTING_SEARCH_KEY", Kind::Made, nullptr, kIdentity},
    {Place::Message, "PR_SENDER_ADDRTYPE", Kind::Added, hadNoSender, kFromIsSender},
    {Place::Message, "PR_SENDER_EMAIL_ADDRESS", Kind::Added, hadNoSender, kFromIsSender},
    {Place::Message, "PR_SENDER_NAME", Kind::Added, hadNoSender, kFromIsSender},
    {Place::Message, "PR_SENDER_ADDRTYPE", Kind::Any, isOfOtherSystem, kOtherSystem},
    {Place::Message, "PR_SENDER_EMAIL_ADDRESS", Kind::Any, isOfOtherSystem, kOtherSystem},
    {Place::Message, "PR_SENT_REPRESENTING_ADDRTYPE", Kind::Any, isOfOtherSystem, kOtherSystem},
    {Place::Message, "PR_SENT_REPRESENTING_EMAIL_ADDRESS", Kind::Any, isOfOtherSystem, kOtherSystem},
    {Place::Message, "PR_SENDER_EMAIL_ADDRESS", Kind::Added, isInEntryId, kEntryId},
    {Place::Message, "PR_SENT_REPRESENTING_EMAIL_ADDRESS", Kind::Added, isInEntryId, kEntryId},
    {Place::Message, "PR_SENDER_NAME", Kind::Lost, isTheAddress, kNameIsAddress},
    {Place::Message, "PR_SENT_REPRESENTING_NAME", Kind::Lost, isTheAddress, kNameIsAddress},
    // Recipients.
    {Place::Recipient, "PR_ENTRYID", Kind::Made, nullptr, kIdentity},
    {Place::Recipient, "PR_SEARCH_KEY", Kind::Made, nullptr, kIdentity},
    {Place::Recipient, "PR_ADDRTYPE", Kind::Any, isOfOtherSystem, kOtherSystem},
    {Place::Recipient, "PR_EMAIL_ADDRESS", Kind::Any, isOfOtherSystem, kOtherSystem},
    {Place::Recipient, "PR_ADDRTYPE", Kind::Lost, nullptr, {}},
    {Place::Recipient, "PR_EMAIL_ADDRESS", Kind::Lost, nullptr, {}},
    {Place::Recipient, "PR_DISPLAY_NAME", Kind::Changed, isTheAddress, kNameIsAddress},
    {Place::Recipient, "PR_DISPLAY_NAME", Kind::Added, becomesEmptyText, kRow},
    {Place::Recipient, "PR_DISPLAY_NAME", Kind::Lost, nullptr, {}},
    {Place::Recipient, "PR_RECIPIENT_TYPE", Kind::Made, isOtherKind, "a recipient of no known kind is one of To"},
    {Place::Recipient, "PR_RECIPIENT_TYPE", Kind::Lost, nullptr, {}},
    {Place::Recipient, "recipient", Kind::Lost, nullptr, {}},
    {Place::Recipient, "blank recipient", Kind::Lost, nullptr, "a recipient with neither name nor address is none"},
    {Place::Recipient, "*", Kind::Lost, nullptr, kRow},
    // Attachments.
    {Place::Attachment, "PR_DISPLAY_NAME", Kind::Lost, nullptr, kOneName},
    {Place::Attachment, "PR_ATTACH_FILENAME", Kind::Made, isLongName, kOneName},
    {Place::Attachment, "PR_ATTACH_LONG_FILENAME", Kind::Added, isNamedOtherwise, kOneName},
    {Place::Attachment, "PR_ATTACH_EXTENSION", Kind::Made, isEndOfName, kOneName},
    {Place::Attachment, "PR_DISPLAY_NAME", Kind::Changed, isMailAsFile, kOneName},
    {Place::Attachment, "PR_ATTACH_TAG", Kind::Made, nullptr, kMimeTag},
    {Place::Attachment, "PR_ATTACH_MIME_SEQUENCE", Kind::Made, becomesZero, kMimeTag},
    {Place::Attachment, "PR_ATTACH_MIME_TAG", Kind::Added, nullptr, kMimeTag},
    {Place::Attachment, "PR_RENDERING_POSITION", Kind::Added, nullptr,
     "an attachment has no place in the text unless it says so"},
    {Place::Attachment, "PR_ATTACH_MIME_TAG", Kind::Changed, isMailAsFile, kMailFile},
    {Place::Attachment, "PR_ATTACH_ENCODING", Kind::Lost, nullptr, "a mail encodes an attachment its own way"},
    {Place::Attachment, "PR_ATTACH_LONG_PATHNAME", Kind::Lost, isNoReference, "only an attachment by reference has a path"},
    {Place::Attachment, "PR_ATTACH_RENDERING", Kind::Lost, isNoOle, "only an OLE object keeps its picture"},
    {Place::Attachment, "PR_ATTACH_METHOD", Kind::Changed, isMailAsFile, kMailFile},
    {Place::Attachment, "PR_ATTACH_DATA_BIN", Kind::Lost, isMailAsFile, kMailFile},
    {Place::Attachment, "PR_ATTACH_DATA_OBJ", Kind::Added, isMailAsFile, kMailFile},
    // Mails.
    {Place::Mail, "header X-MAPI", Kind::Any, nullptr, "what MIME can't hold travels in X-MAPI"},
    {Place::Mail, "header MIME-Version", Kind::Added, isVersion, kBuilt},
    {Place::Mail, "header Content-Type", Kind::Added, isTextType, kBuilt},
    {Place::Mail, "header Content-Transfer-Encoding", Kind::Any, nullptr, "the transfer encoding is chosen anew"},
    {Place::Mail, "header Content-Type", Kind::Changed, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Type", Kind::Added, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Type", Kind::Made, isBuiltAnew, kTree},
    {Place::Mail, "header Content-Type", Kind::Changed, goesOutAsUtf8, kUtf8},
    {Place::Mail, "header Content-Type", Kind::Changed, hasNearCharset, kNearPage},
    {Place::Mail, "header Content-Language", Kind::Lost, movesDown, kTree},
    {Place::Mail, "attachment name", Kind::Added, nullptr, kNamed},
    {Place::Mail, "attachment type", Kind::Added, nullptr, kMimeTag},
    {Place::Mail, "header Content-Disposition", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Description", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-ID", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Content-Language", Kind::Lost, becomesAttachment, kBecomesPart},
    {Place::Mail, "header Importance", Kind::Added, isNormal, kPriority},
    {Place::Mail, "header Importance", Kind::Added, nullptr, kImportance},
    {Place::Mail, "header X-Priority", Kind::Added, isThree, kPriority},
    {Place::Mail, "header X-Priority", Kind::Any, nullptr, "priority has three degrees"},
    {Place::Mail, "header X-MSMail-Priority", Kind::Any, nullptr, "priority has three degrees"},
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
