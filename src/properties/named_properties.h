// The 202 named properties that the convertors know by heart.
#pragma once

#include <array>
#include <initializer_list>

#include "platform/mapi/property_types.h"
#include "properties/map_name.h"

namespace nalvo::named {
namespace detail {

// Fills the table group by group.
class TableBuilder {
 public:
  constexpr void add(const GUID& set, ULONG type, std::initializer_list<std::uint32_t> ids) {
    for (const std::uint32_t id : ids) {
      rows_.at(count_++) = {set, type, nullptr, id};
    }
  }
  constexpr void add(const GUID& set, ULONG type, std::initializer_list<const char16_t*> names) {
    for (const char16_t* name : names) {
      rows_.at(count_++) = {set, type, name, 0};
    }
  }
  constexpr const auto& rows() const { return count_ == rows_.size() ? rows_ : throw "the table has another size"; }

 private:
  std::array<NamedProperty, 202> rows_{};
  std::size_t count_ = 0;
};

consteval auto makeTable() {
  TableBuilder table;
  table.add(PSETID_Common, PT_LONG, {0x8501, 0x8510, 0x8518, 0x851A, 0x8570, 0x8578});
  table.add(PSETID_Common, PT_BOOLEAN, {0x8503, 0x8506, 0x8514, 0x851E});
  table.add(PSETID_Common, PT_UNICODE, {0x851F, 0x8530, 0x8534, 0x8535, 0x8536, 0x8537, 0x8538, 0x8539, 0x8586});
  table.add(PSETID_Common, PT_SYSTIME, {0x8502, 0x8516, 0x8517, 0x8560});
  table.add(PSETID_Common, PT_BINARY, {0x8519, 0x8584, 0x8585});
  table.add(PSETID_Common, PT_MV_LONG, {0x8543, 0x8544, 0x8545});
  table.add(PSETID_Address, PT_LONG, {0x8006, 0x8022, 0x8029});
  table.add(PSETID_Address, PT_BOOLEAN, {0x8015});
  table.add(PSETID_Address, PT_UNICODE,
            {0x8005, 0x801A, 0x801B, 0x801C, 0x8045, 0x8046, 0x8047, 0x8048, 0x8049, 0x804A, 0x8053, 0x8062,
             0x8080, 0x8082, 0x8083, 0x8084, 0x8090, 0x8092, 0x8093, 0x8094, 0x80A0, 0x80A2, 0x80A3, 0x80A4,
             0x80B2, 0x80B3, 0x80B4, 0x80C2, 0x80C3, 0x80C4, 0x80D2, 0x80D3, 0x80D4, 0x80D8});
  table.add(PSETID_Address, PT_BINARY, {0x8085, 0x8095, 0x80A5, 0x80B5, 0x80C5, 0x80D5});
  table.add(PSETID_Address, PT_MV_LONG, {0x8027, 0x8028});
  table.add(PSETID_Address, PT_MV_UNICODE, {0x8056});
  table.add(PSETID_Address, PT_MV_BINARY, {0x8054, 0x8055});
  table.add(PSETID_Appointment, PT_LONG, {0x8201, 0x8204, 0x8205, 0x8213, 0x8214, 0x8217, 0x8218, 0x8231, 0x8256});
  table.add(PSETID_Appointment, PT_BOOLEAN, {0x8200, 0x8215, 0x8223, 0x8257});
  table.add(PSETID_Appointment, PT_UNICODE, {0x8208, 0x8232, 0x8234});
  table.add(PSETID_Appointment, PT_SYSTIME, {0x820D, 0x820E, 0x8235, 0x8236, 0x8250, 0x8251});
  table.add(PSETID_Appointment, PT_BINARY, {0x8216, 0x8233});
  table.add(PSETID_Task, PT_LONG, {0x8101, 0x8110, 0x8111, 0x8112, 0x8113, 0x811A, 0x8120, 0x8123, 0x8129, 0x812A});
  table.add(PSETID_Task, PT_DOUBLE, {0x8102});
  table.add(PSETID_Task, PT_BOOLEAN, {0x8103, 0x8119, 0x811B, 0x811C, 0x8126});
  table.add(PSETID_Task, PT_UNICODE, {0x811F, 0x8122});
  table.add(PSETID_Task, PT_SYSTIME, {0x8104, 0x8105, 0x810F, 0x8115});
  table.add(PSETID_Task, PT_BINARY, {0x8116});
  table.add(PSETID_Log, PT_LONG, {0x8707});
  table.add(PSETID_Log, PT_UNICODE, {0x8700, 0x8712});
  table.add(PSETID_Log, PT_SYSTIME, {0x8706, 0x8708});
  table.add(PSETID_Note, PT_LONG, {0x8B00, 0x8B02, 0x8B03, 0x8B04, 0x8B05});
  table.add(PSETID_Sharing, PT_UNICODE, {0x8A24});
  table.add(PSETID_Sharing, PT_SYSTIME, {0x8A1F, 0x8A22, 0x8A55});
  table.add(PSETID_Sharing, PT_CLSID, {0x8A5E});
  table.add(PSETID_Sharing, PT_BINARY, {0x8A20, 0x8A2D, 0x8A2E});
  table.add(PSETID_Meeting, PT_UNICODE, {0x0002});
  table.add(PSETID_Meeting, PT_SYSTIME, {0x0001});
  table.add(PSETID_Meeting, PT_BINARY, {0x0003, 0x0023});

  table.add(PSETID_SyncEngine, PT_LONG, {u"IMAP UID"});
  table.add(PSETID_SyncEngine, PT_BOOLEAN, {u"Contact Folders Set As AB", u"Own Folder"});
  table.add(PSETID_SyncEngine, PT_UNICODE,
            {u"Physical path",
             u"Virtual path",
             u"Instance name",
             u"Client version",
             u"Client type",
             u"Provider",
             u"Contact Picture CID",
             u"Reporting-MTA",
             u"Arrival-Date",
             u"Original-Envelope-Id",
             u"DSN-Gateway",
             u"Received-From-MTA",
             u"Original-Recipient",
             u"Report-Status",
             u"Remote-MTA",
             u"Final-Recipient",
             u"Diagnostic-Code",
             u"Action",
             u"Last-Attempt-Date",
             u"Final-Log-ID",
             u"Will-Retry-Until",
             u"Plaintext",
             u"DSN-Report-Original-Message-Headers",
             u"DSN-Report-Original-Delivery-Status",
             u"MDN-Report-Original-Disposition-Notification",
             u"Sieve Rules",
             u"Sieve Rules Last Modification Time"});
  table.add(PSETID_SyncEngine, PT_BINARY,
            {u"Search criteria", u"Inbox entryid", u"Receive Folders", u"Attach Data Obj", u"Recipient Table Data",
             u"Junk E-mail EntryID", u"Conflicts guid", u"Local Failures guid", u"Server Failures guid"});
  table.add(PSETID_Common, PT_LONG, {u"ArchiveSourceSupportMask"});
  table.add(PS_INTERNET_HEADERS, PT_BOOLEAN, {u"Is Spam"});
  table.add(PS_INTERNET_HEADERS, PT_UNICODE, {u"Content-Class", u"X-Envelope-To", u"X-Spam-Level", u"X-Spam-Status"});
  table.add(PSETID_Charset, PT_BINARY, {u"Internet Charset Body"});
  table.add(
      PS_PUBLIC_STRINGS, PT_BOOLEAN,
      {u"urn:schemas-microsoft-com:office:outlook#ishidden", u"urn:schemas-microsoft-com:office:outlook#storetypeprivate"});
  table.add(PS_PUBLIC_STRINGS, PT_MV_UNICODE, {u"Keywords"});
  table.add(PSETID_SyncState, PT_SYSTIME, {u"Modtime"});
  table.add(PSETID_SyncState, PT_BINARY, {u"Collblob", u"Backup Collblob", u"Temp Collblob"});
  table.add(PSETID_Scanner, PT_LONG, {u"AVG FLAGS (IN)", u"AVG FLAGS (OUT)"});
  return table.rows();
}

}  // namespace detail

// In the order of sets and types; those named by number first.
inline constexpr std::array kAll = detail::makeTable();

namespace detail {

constexpr bool sameText(const char16_t* a, const char16_t* b) {
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

// The row of a name; a name that has none does not compile.
consteval const NamedProperty& row(const GUID& set, std::uint32_t id) {
  for (const NamedProperty& property : kAll) {
    if (property.name == nullptr && property.id == id && property.set == set) {
      return property;
    }
  }
  throw "no such property";
}
consteval const NamedProperty& row(const GUID& set, const char16_t* name) {
  for (const NamedProperty& property : kAll) {
    if (property.name != nullptr && property.set == set && sameText(property.name, name)) {
      return property;
    }
  }
  throw "no such property";
}

}  // namespace detail

// Common
inline constexpr const NamedProperty& kReminderDelta = detail::row(PSETID_Common, 0x8501);
inline constexpr const NamedProperty& kReminderTime = detail::row(PSETID_Common, 0x8502);
inline constexpr const NamedProperty& kReminderSet = detail::row(PSETID_Common, 0x8503);
inline constexpr const NamedProperty& kPrivate = detail::row(PSETID_Common, 0x8506);
inline constexpr const NamedProperty& kSideEffects = detail::row(PSETID_Common, 0x8510);
inline constexpr const NamedProperty& kSmartNoAttach = detail::row(PSETID_Common, 0x8514);
inline constexpr const NamedProperty& kCommonStart = detail::row(PSETID_Common, 0x8516);
inline constexpr const NamedProperty& kCommonEnd = detail::row(PSETID_Common, 0x8517);
inline constexpr const NamedProperty& kTaskMode = detail::row(PSETID_Common, 0x8518);
inline constexpr const NamedProperty& kTaskGlobalId = detail::row(PSETID_Common, 0x8519);
inline constexpr const NamedProperty& kReminderOverride = detail::row(PSETID_Common, 0x851E);
inline constexpr const NamedProperty& kReminderFileParameter = detail::row(PSETID_Common, 0x851F);
inline constexpr const NamedProperty& kFlagRequest = detail::row(PSETID_Common, 0x8530);
inline constexpr const NamedProperty& kNonSendableTo = detail::row(PSETID_Common, 0x8536);
inline constexpr const NamedProperty& kNonSendableCc = detail::row(PSETID_Common, 0x8537);
inline constexpr const NamedProperty& kNonSendableBcc = detail::row(PSETID_Common, 0x8538);
inline constexpr const NamedProperty& kNonSendToTrackStatus = detail::row(PSETID_Common, 0x8543);
inline constexpr const NamedProperty& kNonSendCcTrackStatus = detail::row(PSETID_Common, 0x8544);
inline constexpr const NamedProperty& kNonSendBccTrackStatus = detail::row(PSETID_Common, 0x8545);
inline constexpr const NamedProperty& kReminderSignalTime = detail::row(PSETID_Common, 0x8560);
inline constexpr const NamedProperty& kImapDeleted = detail::row(PSETID_Common, 0x8570);
inline constexpr const NamedProperty& kSideEffectsState = detail::row(PSETID_Common, 0x8578);

// Contacts and distribution lists
inline constexpr const NamedProperty& kFileUnder = detail::row(PSETID_Address, 0x8005);
inline constexpr const NamedProperty& kFileUnderId = detail::row(PSETID_Address, 0x8006);
inline constexpr const NamedProperty& kHasPicture = detail::row(PSETID_Address, 0x8015);
inline constexpr const NamedProperty& kHomeAddress = detail::row(PSETID_Address, 0x801A);
inline constexpr const NamedProperty& kWorkAddress = detail::row(PSETID_Address, 0x801B);
inline constexpr const NamedProperty& kOtherAddress = detail::row(PSETID_Address, 0x801C);
inline constexpr const NamedProperty& kPostalAddressId = detail::row(PSETID_Address, 0x8022);
inline constexpr const NamedProperty& kAddressBookProviderEmailList = detail::row(PSETID_Address, 0x8028);
inline constexpr const NamedProperty& kAddressBookProviderArrayType = detail::row(PSETID_Address, 0x8029);
inline constexpr const NamedProperty& kWorkAddressStreet = detail::row(PSETID_Address, 0x8045);
inline constexpr const NamedProperty& kWorkAddressCity = detail::row(PSETID_Address, 0x8046);
inline constexpr const NamedProperty& kWorkAddressState = detail::row(PSETID_Address, 0x8047);
inline constexpr const NamedProperty& kWorkAddressPostalCode = detail::row(PSETID_Address, 0x8048);
inline constexpr const NamedProperty& kWorkAddressCountry = detail::row(PSETID_Address, 0x8049);
inline constexpr const NamedProperty& kWorkAddressPostOfficeBox = detail::row(PSETID_Address, 0x804A);
inline constexpr const NamedProperty& kDistributionListName = detail::row(PSETID_Address, 0x8053);
inline constexpr const NamedProperty& kDistributionListOneOffMembers = detail::row(PSETID_Address, 0x8054);
inline constexpr const NamedProperty& kDistributionListMembers = detail::row(PSETID_Address, 0x8055);
inline constexpr const NamedProperty& kInstantMessagingAddress = detail::row(PSETID_Address, 0x8062);
inline constexpr const NamedProperty& kEmail1DisplayName = detail::row(PSETID_Address, 0x8080);
inline constexpr const NamedProperty& kEmail1AddressType = detail::row(PSETID_Address, 0x8082);
inline constexpr const NamedProperty& kEmail1EmailAddress = detail::row(PSETID_Address, 0x8083);
inline constexpr const NamedProperty& kEmail1OriginalDisplayName = detail::row(PSETID_Address, 0x8084);
inline constexpr const NamedProperty& kEmail1OriginalEntryId = detail::row(PSETID_Address, 0x8085);
inline constexpr const NamedProperty& kEmail2DisplayName = detail::row(PSETID_Address, 0x8090);
inline constexpr const NamedProperty& kEmail2AddressType = detail::row(PSETID_Address, 0x8092);
inline constexpr const NamedProperty& kEmail2EmailAddress = detail::row(PSETID_Address, 0x8093);
inline constexpr const NamedProperty& kEmail2OriginalDisplayName = detail::row(PSETID_Address, 0x8094);
inline constexpr const NamedProperty& kEmail2OriginalEntryId = detail::row(PSETID_Address, 0x8095);
inline constexpr const NamedProperty& kEmail3DisplayName = detail::row(PSETID_Address, 0x80A0);
inline constexpr const NamedProperty& kEmail3AddressType = detail::row(PSETID_Address, 0x80A2);
inline constexpr const NamedProperty& kEmail3EmailAddress = detail::row(PSETID_Address, 0x80A3);
inline constexpr const NamedProperty& kEmail3OriginalDisplayName = detail::row(PSETID_Address, 0x80A4);
inline constexpr const NamedProperty& kEmail3OriginalEntryId = detail::row(PSETID_Address, 0x80A5);
inline constexpr const NamedProperty& kFax1AddressType = detail::row(PSETID_Address, 0x80B2);
inline constexpr const NamedProperty& kFax1EmailAddress = detail::row(PSETID_Address, 0x80B3);
inline constexpr const NamedProperty& kFax1OriginalDisplayName = detail::row(PSETID_Address, 0x80B4);
inline constexpr const NamedProperty& kFax1OriginalEntryId = detail::row(PSETID_Address, 0x80B5);
inline constexpr const NamedProperty& kFax2AddressType = detail::row(PSETID_Address, 0x80C2);
inline constexpr const NamedProperty& kFax2EmailAddress = detail::row(PSETID_Address, 0x80C3);
inline constexpr const NamedProperty& kFax2OriginalDisplayName = detail::row(PSETID_Address, 0x80C4);
inline constexpr const NamedProperty& kFax2OriginalEntryId = detail::row(PSETID_Address, 0x80C5);
inline constexpr const NamedProperty& kFax3AddressType = detail::row(PSETID_Address, 0x80D2);
inline constexpr const NamedProperty& kFax3EmailAddress = detail::row(PSETID_Address, 0x80D3);
inline constexpr const NamedProperty& kFax3OriginalDisplayName = detail::row(PSETID_Address, 0x80D4);
inline constexpr const NamedProperty& kFax3OriginalEntryId = detail::row(PSETID_Address, 0x80D5);
inline constexpr const NamedProperty& kFreeBusyLocation = detail::row(PSETID_Address, 0x80D8);
inline constexpr const NamedProperty& kContactPictureCid = detail::row(PSETID_SyncEngine, u"Contact Picture CID");

// Calendar items and meetings
inline constexpr const NamedProperty& kSendMeetingAsIcal = detail::row(PSETID_Appointment, 0x8200);
inline constexpr const NamedProperty& kAppointmentSequence = detail::row(PSETID_Appointment, 0x8201);
inline constexpr const NamedProperty& kChangeHighlight = detail::row(PSETID_Appointment, 0x8204);
inline constexpr const NamedProperty& kBusyStatus = detail::row(PSETID_Appointment, 0x8205);
inline constexpr const NamedProperty& kLocation = detail::row(PSETID_Appointment, 0x8208);
inline constexpr const NamedProperty& kAppointmentStartWhole = detail::row(PSETID_Appointment, 0x820D);
inline constexpr const NamedProperty& kAppointmentEndWhole = detail::row(PSETID_Appointment, 0x820E);
inline constexpr const NamedProperty& kAppointmentDuration = detail::row(PSETID_Appointment, 0x8213);
inline constexpr const NamedProperty& kAppointmentColor = detail::row(PSETID_Appointment, 0x8214);
inline constexpr const NamedProperty& kAppointmentSubType = detail::row(PSETID_Appointment, 0x8215);
inline constexpr const NamedProperty& kAppointmentRecur = detail::row(PSETID_Appointment, 0x8216);
inline constexpr const NamedProperty& kAppointmentStateFlags = detail::row(PSETID_Appointment, 0x8217);
inline constexpr const NamedProperty& kResponseStatus = detail::row(PSETID_Appointment, 0x8218);
inline constexpr const NamedProperty& kRecurring = detail::row(PSETID_Appointment, 0x8223);
inline constexpr const NamedProperty& kRecurrenceType = detail::row(PSETID_Appointment, 0x8231);
inline constexpr const NamedProperty& kRecurrencePattern = detail::row(PSETID_Appointment, 0x8232);
inline constexpr const NamedProperty& kTimeZoneStruct = detail::row(PSETID_Appointment, 0x8233);
inline constexpr const NamedProperty& kTimeZoneDescription = detail::row(PSETID_Appointment, 0x8234);
inline constexpr const NamedProperty& kClipStart = detail::row(PSETID_Appointment, 0x8235);
inline constexpr const NamedProperty& kClipEnd = detail::row(PSETID_Appointment, 0x8236);
inline constexpr const NamedProperty& kAttendeeCriticalChange = detail::row(PSETID_Meeting, 0x0001);
inline constexpr const NamedProperty& kWhere = detail::row(PSETID_Meeting, 0x0002);
inline constexpr const NamedProperty& kGlobalObjectId = detail::row(PSETID_Meeting, 0x0003);
inline constexpr const NamedProperty& kCleanGlobalObjectId = detail::row(PSETID_Meeting, 0x0023);

// Tasks
inline constexpr const NamedProperty& kTaskStatus = detail::row(PSETID_Task, 0x8101);
inline constexpr const NamedProperty& kPercentComplete = detail::row(PSETID_Task, 0x8102);
inline constexpr const NamedProperty& kTeamTask = detail::row(PSETID_Task, 0x8103);
inline constexpr const NamedProperty& kTaskStartDate = detail::row(PSETID_Task, 0x8104);
inline constexpr const NamedProperty& kTaskDueDate = detail::row(PSETID_Task, 0x8105);
inline constexpr const NamedProperty& kTaskDateCompleted = detail::row(PSETID_Task, 0x810F);
inline constexpr const NamedProperty& kTaskVersion = detail::row(PSETID_Task, 0x8112);
inline constexpr const NamedProperty& kTaskState = detail::row(PSETID_Task, 0x8113);
inline constexpr const NamedProperty& kTaskLastUpdate = detail::row(PSETID_Task, 0x8115);
inline constexpr const NamedProperty& kTaskRecurrence = detail::row(PSETID_Task, 0x8116);
inline constexpr const NamedProperty& kTaskStatusOnComplete = detail::row(PSETID_Task, 0x8119);
inline constexpr const NamedProperty& kTaskHistory = detail::row(PSETID_Task, 0x811A);
inline constexpr const NamedProperty& kTaskUpdates = detail::row(PSETID_Task, 0x811B);
inline constexpr const NamedProperty& kTaskComplete = detail::row(PSETID_Task, 0x811C);
inline constexpr const NamedProperty& kTaskOwner = detail::row(PSETID_Task, 0x811F);
inline constexpr const NamedProperty& kTaskMultipleRecipients = detail::row(PSETID_Task, 0x8120);
inline constexpr const NamedProperty& kTaskLastUser = detail::row(PSETID_Task, 0x8122);
inline constexpr const NamedProperty& kTaskFRecurring = detail::row(PSETID_Task, 0x8126);
inline constexpr const NamedProperty& kTaskOwnership = detail::row(PSETID_Task, 0x8129);
inline constexpr const NamedProperty& kTaskAcceptanceState = detail::row(PSETID_Task, 0x812A);

// Journal entries and sticky notes
inline constexpr const NamedProperty& kLogStart = detail::row(PSETID_Log, 0x8706);
inline constexpr const NamedProperty& kNoteColor = detail::row(PSETID_Note, 0x8B00);
inline constexpr const NamedProperty& kNoteWidth = detail::row(PSETID_Note, 0x8B02);
inline constexpr const NamedProperty& kNoteHeight = detail::row(PSETID_Note, 0x8B03);
inline constexpr const NamedProperty& kNoteX = detail::row(PSETID_Note, 0x8B04);
inline constexpr const NamedProperty& kNoteY = detail::row(PSETID_Note, 0x8B05);

// Of all items
inline constexpr const NamedProperty& kKeywords = detail::row(PS_PUBLIC_STRINGS, u"Keywords");

// Internet headers
inline constexpr const NamedProperty& kIsSpam = detail::row(PS_INTERNET_HEADERS, u"Is Spam");
inline constexpr const NamedProperty& kContentClass = detail::row(PS_INTERNET_HEADERS, u"Content-Class");
inline constexpr const NamedProperty& kXEnvelopeTo = detail::row(PS_INTERNET_HEADERS, u"X-Envelope-To");
inline constexpr const NamedProperty& kXSpamLevel = detail::row(PS_INTERNET_HEADERS, u"X-Spam-Level");
inline constexpr const NamedProperty& kXSpamStatus = detail::row(PS_INTERNET_HEADERS, u"X-Spam-Status");

// Reports, on the message
inline constexpr const NamedProperty& kReportingMta = detail::row(PSETID_SyncEngine, u"Reporting-MTA");
inline constexpr const NamedProperty& kArrivalDate = detail::row(PSETID_SyncEngine, u"Arrival-Date");
inline constexpr const NamedProperty& kOriginalEnvelopeId = detail::row(PSETID_SyncEngine, u"Original-Envelope-Id");
inline constexpr const NamedProperty& kDsnGateway = detail::row(PSETID_SyncEngine, u"DSN-Gateway");
inline constexpr const NamedProperty& kReceivedFromMta = detail::row(PSETID_SyncEngine, u"Received-From-MTA");
inline constexpr const NamedProperty& kPlaintext = detail::row(PSETID_SyncEngine, u"Plaintext");
inline constexpr const NamedProperty& kOriginalMessageHeaders =
    detail::row(PSETID_SyncEngine, u"DSN-Report-Original-Message-Headers");
inline constexpr const NamedProperty& kOriginalDeliveryStatus =
    detail::row(PSETID_SyncEngine, u"DSN-Report-Original-Delivery-Status");
inline constexpr const NamedProperty& kOriginalDispositionNotification =
    detail::row(PSETID_SyncEngine, u"MDN-Report-Original-Disposition-Notification");
// and on a recipient
inline constexpr const NamedProperty& kOriginalRecipient = detail::row(PSETID_SyncEngine, u"Original-Recipient");
inline constexpr const NamedProperty& kReportStatus = detail::row(PSETID_SyncEngine, u"Report-Status");
inline constexpr const NamedProperty& kRemoteMta = detail::row(PSETID_SyncEngine, u"Remote-MTA");
inline constexpr const NamedProperty& kFinalRecipient = detail::row(PSETID_SyncEngine, u"Final-Recipient");
inline constexpr const NamedProperty& kDiagnosticCode = detail::row(PSETID_SyncEngine, u"Diagnostic-Code");
inline constexpr const NamedProperty& kReportAction = detail::row(PSETID_SyncEngine, u"Action");
inline constexpr const NamedProperty& kLastAttemptDate = detail::row(PSETID_SyncEngine, u"Last-Attempt-Date");
inline constexpr const NamedProperty& kFinalLogId = detail::row(PSETID_SyncEngine, u"Final-Log-ID");
inline constexpr const NamedProperty& kWillRetryUntil = detail::row(PSETID_SyncEngine, u"Will-Retry-Until");

// Charset
inline constexpr const NamedProperty& kInternetCharsetBody = detail::row(PSETID_Charset, u"Internet Charset Body");

// Stores and folders
inline constexpr const NamedProperty& kStoreTypePrivate =
    detail::row(PS_PUBLIC_STRINGS, u"urn:schemas-microsoft-com:office:outlook#storetypeprivate");
inline constexpr const NamedProperty& kInboxEntryId = detail::row(PSETID_SyncEngine, u"Inbox entryid");
inline constexpr const NamedProperty& kJunkEntryId = detail::row(PSETID_SyncEngine, u"Junk E-mail EntryID");
inline constexpr const NamedProperty& kSieveRules = detail::row(PSETID_SyncEngine, u"Sieve Rules");
inline constexpr const NamedProperty& kSieveRulesTime =
    detail::row(PSETID_SyncEngine, u"Sieve Rules Last Modification Time");
inline constexpr const NamedProperty& kReceiveFolders = detail::row(PSETID_SyncEngine, u"Receive Folders");
inline constexpr const NamedProperty& kConflictsGuid = detail::row(PSETID_SyncEngine, u"Conflicts guid");
inline constexpr const NamedProperty& kLocalFailuresGuid = detail::row(PSETID_SyncEngine, u"Local Failures guid");
inline constexpr const NamedProperty& kServerFailuresGuid = detail::row(PSETID_SyncEngine, u"Server Failures guid");
inline constexpr const NamedProperty& kOwnFolder = detail::row(PSETID_SyncEngine, u"Own Folder");
inline constexpr const NamedProperty& kCollblob = detail::row(PSETID_SyncState, u"Collblob");
inline constexpr const NamedProperty& kBackupCollblob = detail::row(PSETID_SyncState, u"Backup Collblob");

}  // namespace nalvo::named
