// Rules about the properties that messages of all kinds have, and about attachments.
#include <string>

#include "host/digest.h"
#include "host/rule_rows.h"
#include "platform/text/text_converter.h"
#include "streams/coder.h"

namespace nalvo::host {
namespace {

bool becomesEmptyText(const Case& c) { return c.difference.after == "\"\""; }
bool isNote(const Case& c) { return c.difference.after == "\"IPM.Note\""; }

bool subjectIsWhole(const Case& c) {
  return textOf(c.is("PR_SUBJECT_PREFIX")) + textOf(c.is("PR_NORMALIZED_SUBJECT")) == textOf(c.is("PR_SUBJECT"));
}

bool hasNoPlainClass(const Case& c) {
  const std::string mailClass = toLowerAscii(textOf(c.is("PR_MESSAGE_CLASS")));
  return mailClass == "ipm.note.smime" || mailClass == "ipm.note.smime.multipartsigned";
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

// --- Items that can be private

bool followsFromPrivate(const Case& c) {
  const bool isPrivate = c.is("PidLidPrivate") == "true";
  const std::string& what = c.difference.what;
  const std::string_view expected = what == "PR_SENSITIVITY"                   ? (isPrivate ? "2" : "0")
                                    : what == "PR_ALTERNATE_RECIPIENT_ALLOWED" ? (isPrivate ? "false" : "true")
                                                                               : (isPrivate ? "true" : "false");
  return textOf(c.is("PR_MESSAGE_CLASS")) != "IPM.Note" && c.difference.after == expected;
}

// --- The list

constexpr std::string_view kDerived = "worked out from the subject";
constexpr std::string_view kSigned = "a signed or encrypted mail says so";
constexpr std::string_view kSignedText = "a signed mail is one attachment that holds its texts and all headers";
constexpr std::string_view kFromIsSender = "a mail without Sender takes its From";
constexpr std::string_view kOneName = "an attachment has one name, that of its file";
constexpr std::string_view kMailFile = "a mail that is attached as a file becomes a message";
constexpr std::string_view kHtmlBytes = "HTML is kept as the bytes of the mail";
constexpr std::string_view kPrivacy = "an item says whether it is private";

constexpr RuleRow kRules[] = {
    // Subject and class.
    {Place::Message, Kind::Added, "PR_MESSAGE_CLASS", isNote, "a message without a class is a note"},
    {Place::Message, Kind::Added, "PR_SUBJECT", becomesEmptyText, "a mail without Subject has an empty one"},
    {Place::Message, Kind::Changed, "PR_SUBJECT_PREFIX", subjectIsWhole, kDerived},
    {Place::Message, Kind::Changed, "PR_NORMALIZED_SUBJECT", subjectIsWhole, kDerived},
    // Texts.
    {Place::Message, Kind::Added, "PR_INTERNET_CPID", nullptr, "a message from a mail says its code page"},
    {Place::Message, Kind::Changed, "PR_INTERNET_CPID", needsUtf8, kUtf8},
    {Place::Message, Kind::Changed, "PR_INTERNET_CPID", isNearPage, kNearPage},
    {Place::Message, Kind::Changed, "PR_INTERNET_CPID", hasNoText, "a mail without text is ASCII"},
    {Place::Message, Kind::Lost, "PR_BODY_HTML", isHtmlAsBytes, kHtmlBytes},
    {Place::Message, Kind::Added, "PR_HTML", isHtmlAsBytes, kHtmlBytes},
    {Place::Message, Kind::Added, "PR_BODY", becomesEmptyText, kEmptyText},
    // Signed and encrypted mails.
    {Place::Attachment, Kind::Changed, "PR_ATTACH_DATA_BIN", holdsSameSignedText, kSignedText},
    {Place::Attachment, Kind::Added, "PR_ATTACH_LONG_FILENAME", holdsSameSignedText, kSignedText},
    {Place::Message, Kind::Added, "PR_SECURITY", hasNoPlainClass, kSigned},
    {Place::Message, Kind::Added, "PidLidSmartNoAttach", hasNoPlainClass, kSigned},
    // People.
    {Place::Message, Kind::Added, "PR_SENDER_NAME", hadNoSender, kFromIsSender},
    {Place::Message, Kind::Added, "PR_SENDER_ADDRTYPE", hadNoSender, kFromIsSender},
    {Place::Message, Kind::Added, "PR_SENDER_EMAIL_ADDRESS", hadNoSender, kFromIsSender},
    {Place::Message, Kind::Added, "PR_SENDER_ENTRYID", hadNoSender, kFromIsSender},
    {Place::Message, Kind::Added, "PR_SENDER_SEARCH_KEY", hadNoSender, kFromIsSender},
    // Items that can be private.
    {Place::Message, Kind::Added, "PidLidPrivate", followsFromPrivate, kPrivacy},
    {Place::Message, Kind::Made, "PR_SENSITIVITY", followsFromPrivate, kPrivacy},
    {Place::Message, Kind::Made, "PR_ALTERNATE_RECIPIENT_ALLOWED", followsFromPrivate, kPrivacy},
    {Place::Message, Kind::Made, "PR_RECIPIENT_REASSIGNMENT_PROHIBITED", followsFromPrivate, kPrivacy},
    // Attachments.
    {Place::Attachment, Kind::Added, "PR_ATTACH_FILENAME", isLongName, kOneName},
    {Place::Attachment, Kind::Added, "PR_ATTACH_LONG_FILENAME", isNamedOtherwise, kOneName},
    {Place::Attachment, Kind::Added, "PR_ATTACH_EXTENSION", isEndOfName, kOneName},
    {Place::Attachment, Kind::Added, "PR_ATTACH_MIME_TAG", nullptr, kMimeTag},
    {Place::Attachment, Kind::Changed, "PR_ATTACH_METHOD", isMailAsFile, kMailFile},
    {Place::Attachment, Kind::Lost, "PR_ATTACH_DATA_BIN", isMailAsFile, kMailFile},
    {Place::Attachment, Kind::Added, "PR_ATTACH_DATA_OBJ", isMailAsFile, kMailFile},
};

}  // namespace

std::span<const RuleRow> messageRules() { return kRules; }

}  // namespace nalvo::host
