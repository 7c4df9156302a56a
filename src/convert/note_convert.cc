// The stages of a note: which property goes where, and the order of the steps back.
#include "convert/note_convert.h"

#include <algorithm>
#include <iterator>

#include "convert/importance.h"
#include "diagnostics/hresult_exception.h"
#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"

namespace nalvo {
namespace {

// Icons of PR_ICON_INDEX.
constexpr std::uint32_t kIconReplied = 261;
constexpr std::uint32_t kIconForwarded = 262;
// PR_FLAG_STATUS and what goes with a flag for follow-up.
constexpr std::uint32_t kFollowupComplete = 1;
constexpr std::uint32_t kFollowupFlagged = 2;
constexpr std::uint32_t kFollowupIconRed = 6;
constexpr std::uint32_t kTodoItem = 1;
// Bits of PR_MSG_STATUS.
constexpr std::uint32_t kStatusTagged = 0x2;
constexpr std::uint32_t kStatusDeleted = 0x2000;

struct HeaderRow {
  ULONG tag;
  mime::HeaderName header;
};

constexpr HeaderRow kPropertyHeaders[] = {
    {PR_INTERNET_MESSAGE_ID, mime::HeaderId::MessageId},
    {PR_INTERNET_ORGANIZATION, mime::HeaderId::Organization},
    {PR_SUBJECT, mime::HeaderId::Subject},
    {PR_CLIENT_SUBMIT_TIME, mime::HeaderId::Date},
};

// Properties that other stages have dealt with, or that are worked out anew on the way back.
constexpr ULONG kDropped[] = {
    // bodies
    PR_BODY, PR_HTML, PR_BODY_HTML, PR_RTF_COMPRESSED, PR_RTF_SYNC_BODY_CRC, PR_RTF_SYNC_BODY_COUNT, PR_RTF_SYNC_BODY_TAG,
    PR_RTF_SYNC_PREFIX_COUNT, PR_RTF_SYNC_TRAILING_COUNT, PR_RTF_IN_SYNC,
    // originators
    PR_SENDER_ENTRYID, PR_SENDER_NAME, PR_SENDER_SEARCH_KEY, PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS,
    PR_SENT_REPRESENTING_SEARCH_KEY, PR_SENT_REPRESENTING_ENTRYID, PR_SENT_REPRESENTING_NAME, PR_SENT_REPRESENTING_ADDRTYPE,
    PR_SENT_REPRESENTING_EMAIL_ADDRESS,
    // the rest
    PR_ORIGINATOR_DELIVERY_REPORT_REQUESTED, PR_READ_RECEIPT_REQUESTED, PR_REPORT_TAG, PR_TRANSPORT_MESSAGE_HEADERS,
    PR_SUBMIT_FLAGS, PR_MSG_STATUS};

// Cleared with the flag for follow-up.
constexpr ULONG kFollowupTags[] = {PR_FLAG_STATUS,     PR_FOLLOWUP_ICON, PR_TODO_ITEM_FLAGS,
                                   PR_REPLY_REQUESTED, PR_REPLY_TIME,    PR_RESPONSE_REQUESTED};
constexpr const NamedProperty* kFollowupNamed[] = {&named::kReminderSet, &named::kReminderTime, &named::kReminderSignalTime,
                                                   &named::kFlagRequest, &named::kTaskStatus,   &named::kTaskComplete};

template <typename Range, typename Value>
bool contains(const Range& range, const Value& value) {
  return std::find(std::begin(range), std::end(range), value) != std::end(range);
}

[[maybe_unused]] const bool kRegistered = [] {
  for (const char16_t* pattern : {u"IPM.Note", u"IPM", u""}) {
    ConvertorList::instance().registerConvertor(&ConvertorImpl<toMime::NoteConvert, toMapi::NoteConvert>::create, pattern);
  }
  return true;
}();

}  // namespace

namespace toMime {

PartTags NoteConvert::getPartTags(IConvertMessage* message) const {
  const ULONG envelopeTo = MapiName(named::kXEnvelopeTo).getPropertyTag(message);
  const ULONG charsetBody = MapiName(named::kInternetCharsetBody).getPropertyTag(message);
  return PartTags::extend(
      MessageConvert::getPartTags(message), {PR_ICON_INDEX, PR_FLAG_STATUS}, {PR_FLAG_STATUS},
      {PR_BODY,
       PR_HTML,
       PR_BODY_HTML,
       PR_RTF_COMPRESSED,
       PR_MSG_EDITOR_FORMAT,
       PR_INTERNET_CPID,
       PR_SENT_REPRESENTING_EMAIL_ADDRESS,
       PR_SENT_REPRESENTING_NAME,
       PR_SENT_REPRESENTING_ENTRYID,
       PR_SENDER_EMAIL_ADDRESS,
       PR_SENDER_NAME,
       PR_SENDER_ENTRYID,
       PR_REPLY_RECIPIENT_ENTRIES,
       PR_REPLY_RECIPIENT_NAMES,
       PR_ORIGINATOR_DELIVERY_REPORT_REQUESTED,
       PR_READ_RECEIPT_REQUESTED,
       PR_SUBJECT,
       PR_CLIENT_SUBMIT_TIME,
       PR_IMPORTANCE,
       PR_PRIORITY,
       envelopeTo,
       PR_INTERNET_MESSAGE_ID},
      {charsetBody, PR_RTF_IN_SYNC, PR_RTF_SYNC_BODY_CRC, PR_RTF_SYNC_BODY_TAG, PR_RTF_SYNC_BODY_COUNT,
       PR_RTF_SYNC_PREFIX_COUNT, PR_RTF_SYNC_TRAILING_COUNT, PR_MSG_STATUS, PR_REPORT_TAG, PR_SUBMIT_FLAGS});
}

void NoteConvert::mapiToMimeStart() {
  MessageConvert::mapiToMimeStart();
  setTransportMessageHeaders();
  if (converts(Converted::Body) && !isSigned() && !isEncrypted()) {
    setBodies();
  }
}

void NoteConvert::onProp(ULONG tag) {
  if (tag == tagOf(named::kInternetCharsetBody) || contains(kDropped, tag)) {
    return;
  }
  if (tag == tagOf(named::kXEnvelopeTo)) {
    setHeader(tag, "X-Envelope-To");
    return;
  }
  const auto* header = std::find_if(std::begin(kPropertyHeaders), std::end(kPropertyHeaders),
                                    [tag](const HeaderRow& row) { return row.tag == tag; });
  if (header != std::end(kPropertyHeaders)) {
    setHeader(tag, header->header);
    return;
  }
  switch (tag) {
    case PR_INTERNET_CPID:
      setCharsetByCpId(getULong(tag));
      return;
    case PR_IMPORTANCE:
      if (const ImportanceRow* row = rowOfValue(kImportances, getULong(tag))) {
        setHeader("Importance", row->word);
      }
      return;
    case PR_PRIORITY:
      if (const PriorityRow* row = rowOfValue(kPriorities, getULong(tag))) {
        setHeader(mime::HeaderId::XPriority, row->number);
        setHeader(mime::HeaderId::XMsMailPriority, row->word);
      }
      return;
    case PR_ICON_INDEX:
      if (hasServerSide()) {
        const std::uint32_t icon = getULong(tag);
        if (icon == kIconReplied) {
          setImapFlag(MimeFlag::Answered, true);
        } else if (icon == kIconForwarded) {
          setImapFlag(MimeFlag::Forwarded, true);
        }
      }
      break;
    case PR_FLAG_STATUS:
      if (hasServerSide()) {
        setImapFlag(MimeFlag::Flagged, getULong(tag) != 0);
      }
      break;
    default:
      break;
  }
  MessageConvert::onProp(tag);
}

void NoteConvert::mapiToMimeEnd() {
  setXMailer();
  MessageConvert::mapiToMimeEnd();
}

}  // namespace toMime

namespace toMapi {

void NoteConvert::convertMimeToMapi() {
  MessageConvert::convertMimeToMapi();
  setFlags();
  if (hasFlag(ToMapiFlags::JustFlags | ToMapiFlags::WithoutBody)) {
    return;
  }
  setAddresses(true, true);
  if (!getHeaderIfExists(PR_SUBJECT, mime::HeaderId::Subject)) {
    setUnicode(PR_SUBJECT, u"");
  }
  setImportance();
  const HeaderRow headers[] = {
      {PR_LIST_HELP, "List-Help"},
      {PR_LIST_SUBSCRIBE, "List-Subscribe"},
      {PR_LIST_UNSUBSCRIBE, "List-Unsubscribe"},
      {tagOf(named::kContentClass), "Content-class"},
      {PR_INTERNET_RETURN_PATH_A, mime::HeaderId::ReturnPath},
      {tagOf(named::kXEnvelopeTo), "X-Envelope-To"},
      {tagOf(named::kXSpamLevel), "X-Spam-Level"},
      {tagOf(named::kXSpamStatus), "X-Spam-Status"},
      {PR_INTERNET_ORGANIZATION, mime::HeaderId::Organization},
  };
  for (const HeaderRow& row : headers) {
    getHeaderIfExists(row.tag, row.header);
  }
  setDispositionNotification();
  setReportTag();
  if (!getHeaderIfExists(PR_IN_REPLY_TO_ID_A, "InReplyTo")) {
    getHeaderIfExists(PR_IN_REPLY_TO_ID_A, "In-Reply-To");
  }
  setBody(mime::IET_UNICODE, PR_BODY, mime::TXT_PLAIN);
  setBody(mime::IET_BINARY, tagOf(named::kInternetCharsetBody), mime::TXT_PLAIN);
  setBody(mime::IET_ENCODED, PR_HTML, mime::TXT_HTML);
  setCharset();
  setTransportMessageHeader();
}

void NoteConvert::setFlags() {
  if (fromAttachment()) {
    // No server tells anything; the annotations have just restored the flag for follow-up and the junk state.
    setULong(PR_MSG_STATUS, 0);
    return;
  }
  if (isImapFlagSet(MimeFlag::Forwarded)) {
    setULong(PR_ICON_INDEX, kIconForwarded);
  }
  if (isImapFlagSet(MimeFlag::Answered)) {
    setULong(PR_ICON_INDEX, kIconReplied);
  }
  std::uint32_t status = 0;
  if (isImapFlagSet(MimeFlag::Flagged)) {
    status = kStatusTagged;
    setULong(PR_TODO_ITEM_FLAGS, kTodoItem);
    const std::uint32_t followup = getULongOr(PR_FLAG_STATUS, 0);
    if (followup != kFollowupComplete) {
      if (followup == 0) {
        setULong(PR_FLAG_STATUS, kFollowupFlagged);
      }
      setULong(PR_FOLLOWUP_ICON, kFollowupIconRed);
    }
  } else {
    IConvertMessage* message = data().getMapiMessage();
    for (const ULONG tag : kFollowupTags) {
      MapiPropUtils::deletePropIfExist(message, tag);
    }
    for (const NamedProperty* property : kFollowupNamed) {
      MapiPropUtils::deletePropIfExist(message, tagOf(*property));
    }
  }
  if (isImapFlagSet(MimeFlag::Deleted)) {
    status |= kStatusDeleted;
  }
  if (isImapFlagSet(MimeFlag::Junk) || isImapFlagSet(MimeFlag::JunkSecondForm)) {
    setBool(tagOf(named::kIsSpam), true);
  }
  if (isImapFlagSet(MimeFlag::NotJunk)) {
    setBool(tagOf(named::kIsSpam), false);
  }
  setULong(PR_MSG_STATUS, status);
}

}  // namespace toMapi
}  // namespace nalvo
