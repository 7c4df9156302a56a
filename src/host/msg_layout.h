// The layout of .msg files: a compound file of one message.
//
// Each object is a storage with a stream of 16-byte entries, one for a property, behind a header. A fixed value lies in its
// entry; a longer one in a stream named by its tag, the elements of a multi-valued text or binary one in a stream each.
// Recipients and attachments are storages with a running number. All names of named properties stand once, in a storage of
// the file's root.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/mapi/tags.h"

namespace nalvo::host::msg {

inline constexpr std::u16string_view kPropertiesName = u"__properties_version1.0";
inline constexpr std::u16string_view kNamesName = u"__nameid_version1.0";
inline constexpr std::u16string_view kRecipientPrefix = u"__recip_version1.0_#";
inline constexpr std::u16string_view kAttachmentPrefix = u"__attach_version1.0_#";
inline constexpr std::u16string_view kValuePrefix = u"__substg1.0_";

// The class of the root storage.
inline constexpr GUID kMessageClassId{0x00020D0B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// What stands ahead of the entries.
enum class ObjectKind { Message, EmbeddedMessage, Part };
constexpr std::size_t headerBytes(ObjectKind kind) {
  return kind == ObjectKind::Message ? 32 : kind == ObjectKind::EmbeddedMessage ? 24 : 8;
}
inline constexpr std::size_t kNextRecipient = 8;
inline constexpr std::size_t kNextAttachment = 12;
inline constexpr std::size_t kRecipientCount = 16;
inline constexpr std::size_t kAttachmentCount = 20;

inline constexpr std::size_t kEntryBytes = 16;
inline constexpr std::size_t kEntryFlags = 4;
inline constexpr std::size_t kEntryValue = 8;
inline constexpr std::uint32_t kReadableWriteable = 6;
// In the place of a size, for an object; behind it stands what it is.
inline constexpr std::uint32_t kObjectSize = 0xFFFFFFFF;
inline constexpr std::uint32_t kObjectIsMessage = 1;
inline constexpr std::uint32_t kObjectIsStorage = 4;

inline constexpr ULONG PT_SERVERID = 0x00FB;
inline constexpr ULONG PT_RESTRICTION = 0x00FD;
inline constexpr ULONG PT_ACTIONS = 0x00FE;

inline constexpr std::int32_t kByValue = 1;
inline constexpr std::int32_t kEmbeddedMessage = 5;
inline constexpr std::int32_t kOle = 6;

// Where an attachment of method 6 has its storage, as a compound file of its own.
inline constexpr ULONG kTagOleData = 0xAF1B0102;

inline constexpr ULONG PR_STORE_SUPPORT_MASK = propTag(PT_LONG, 0x340D);
inline constexpr std::int32_t kStoreUnicodeOk = 0x00040000;
inline constexpr ULONG PR_MESSAGE_CODEPAGE = propTag(PT_LONG, 0x3FFD);
inline constexpr ULONG PR_MESSAGE_LOCALE_ID = propTag(PT_LONG, 0x3FF1);

// Streams of the name storage.
inline constexpr ULONG kGuidStream = 0x00020102;
inline constexpr ULONG kNameStream = 0x00030102;
inline constexpr ULONG kTextStream = 0x00040102;
inline constexpr ULONG kFirstBucket = 0x1000;
inline constexpr ULONG kBuckets = 0x1F;
inline constexpr std::uint16_t kGuidMapi = 1;
inline constexpr std::uint16_t kGuidPublicStrings = 2;
inline constexpr std::uint16_t kFirstListedGuid = 3;
inline constexpr GUID kPsMapi{0x00020328, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID kPsPublicStrings{0x00020329, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Messages within messages beyond this are not looked at; each level costs stack.
inline constexpr unsigned kDeepestMessage = 100;

// "0037001F" behind `prefix`.
std::u16string numberedName(std::u16string_view prefix, std::uint32_t number);
// "__substg1.0_1102101F-00000003"
std::u16string elementName(ULONG tag, std::uint32_t index);

// The number behind `prefix`, whatever the case of letters; no value for another name.
std::optional<std::uint32_t> numberOf(std::u16string_view name, std::u16string_view prefix);

struct ElementName {
  ULONG tag;
  std::uint32_t index;
};
std::optional<ElementName> elementOf(std::u16string_view name);

}  // namespace nalvo::host::msg
