// The named properties that the convertors know by heart.
#pragma once

#include "platform/mapi/property_types.h"
#include "properties/map_name.h"

namespace nalvo::named {

// Common
inline constexpr NamedProperty kReminderTime{PSETID_Common, PT_SYSTIME, nullptr, 0x8502};
inline constexpr NamedProperty kReminderSet{PSETID_Common, PT_BOOLEAN, nullptr, 0x8503};
inline constexpr NamedProperty kSmartNoAttach{PSETID_Common, PT_BOOLEAN, nullptr, 0x8514};
inline constexpr NamedProperty kFlagRequest{PSETID_Common, PT_UNICODE, nullptr, 0x8530};
inline constexpr NamedProperty kReminderSignalTime{PSETID_Common, PT_SYSTIME, nullptr, 0x8560};
inline constexpr NamedProperty kImapDeleted{PSETID_Common, PT_LONG, nullptr, 0x8570};
inline constexpr NamedProperty kSideEffectsState{PSETID_Common, PT_LONG, nullptr, 0x8578};

// Tasks
inline constexpr NamedProperty kTaskStatus{PSETID_Task, PT_LONG, nullptr, 0x8101};
inline constexpr NamedProperty kTaskComplete{PSETID_Task, PT_BOOLEAN, nullptr, 0x811C};

// Internet headers
inline constexpr NamedProperty kIsSpam{PS_INTERNET_HEADERS, PT_BOOLEAN, u"Is Spam", 0};
inline constexpr NamedProperty kContentClass{PS_INTERNET_HEADERS, PT_UNICODE, u"Content-Class", 0};
inline constexpr NamedProperty kXEnvelopeTo{PS_INTERNET_HEADERS, PT_UNICODE, u"X-Envelope-To", 0};
inline constexpr NamedProperty kXSpamLevel{PS_INTERNET_HEADERS, PT_UNICODE, u"X-Spam-Level", 0};
inline constexpr NamedProperty kXSpamStatus{PS_INTERNET_HEADERS, PT_UNICODE, u"X-Spam-Status", 0};

// Charset
inline constexpr NamedProperty kInternetCharsetBody{PSETID_Charset, PT_BINARY, u"Internet Charset Body", 0};

// Stores and folders
inline constexpr NamedProperty kStoreTypePrivate{
    PS_PUBLIC_STRINGS, PT_BOOLEAN, u"urn:schemas-microsoft-com:office:outlook#storetypeprivate", 0};
inline constexpr NamedProperty kInboxEntryId{PSETID_SyncEngine, PT_BINARY, u"Inbox entryid", 0};
inline constexpr NamedProperty kJunkEntryId{PSETID_SyncEngine, PT_BINARY, u"Junk E-mail EntryID", 0};
inline constexpr NamedProperty kSieveRules{PSETID_SyncEngine, PT_UNICODE, u"Sieve Rules", 0};
inline constexpr NamedProperty kSieveRulesTime{PSETID_SyncEngine, PT_UNICODE, u"Sieve Rules Last Modification Time", 0};
inline constexpr NamedProperty kReceiveFolders{PSETID_SyncEngine, PT_BINARY, u"Receive Folders", 0};
inline constexpr NamedProperty kConflictsGuid{PSETID_SyncEngine, PT_BINARY, u"Conflicts guid", 0};
inline constexpr NamedProperty kLocalFailuresGuid{PSETID_SyncEngine, PT_BINARY, u"Local Failures guid", 0};
inline constexpr NamedProperty kServerFailuresGuid{PSETID_SyncEngine, PT_BINARY, u"Server Failures guid", 0};
inline constexpr NamedProperty kOwnFolder{PSETID_SyncEngine, PT_BOOLEAN, u"Own Folder", 0};
inline constexpr NamedProperty kCollblob{PSETID_SyncState, PT_BINARY, u"Collblob", 0};
inline constexpr NamedProperty kBackupCollblob{PSETID_SyncState, PT_BINARY, u"Backup Collblob", 0};

}  // namespace nalvo::named
