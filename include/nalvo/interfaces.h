// What a caller hands in: its messages, folders and stores, annotations, IMAP flags, allocator and log.
//
// The library borrows each object for the length of one call and keeps no pointer past its return. Every operation answers
// an HRESULT; a negative one ends the conversion and is what the export returns.
#pragma once

#include "nalvo/com.h"
#include "nalvo/mapi.h"

namespace nalvo {

using AllocateBuffer = HRESULT (*)(ULONG bytes, void** out);
// The block dies with `parent`, a block of AllocateBuffer.
using AllocateMore = HRESULT (*)(ULONG bytes, void* parent, void** out);
// Frees a block of AllocateBuffer and all that hangs on it. Null is allowed.
using FreeBuffer = ULONG (*)(void* block);

// Memory of values that pass between caller and library.
class IMapiAllocator : public IUnknown {
 public:
  static constexpr IID kIid{0x2B1D9D54, 0x7E0C, 0x4C7B, {0x9A, 0x3E, 0x5D, 0x0F, 0x6C, 0x41, 0x8E, 0x21}};

  virtual void reserved3() noexcept = 0;
  virtual void reserved4() noexcept = 0;
  virtual void reserved5() noexcept = 0;
  // Each out argument may be null.
  virtual HRESULT getAllocators(AllocateBuffer* allocateBuffer, AllocateMore* allocateMore,
                                FreeBuffer* freeBuffer) noexcept = 0;

 protected:
  ~IMapiAllocator() = default;
};

// An object with MAPI properties.
class IConvertObject : public IUnknown {
 public:
  // All property tags; the array is freed with the object's free function.
  virtual HRESULT getPropList(ULONG* count, ULONG** tags) noexcept = 0;
  // The tags changed since the last synchronisation; freed likewise.
  virtual HRESULT getChangedPropList(ULONG* count, ULONG** tags) noexcept = 0;
  // MAPI_E_NOT_FOUND when absent. `*value` is freed with the object's free function.
  virtual HRESULT getProp(ULONG tag, SPropValue** value) noexcept = 0;
  // Opens a property as an object, an IStream or an IConvertMessage. `create` 1 makes or replaces it; with 0 an absent
  // one is MAPI_E_NOT_FOUND. What is written to a stream counts from its Commit.
  virtual HRESULT openProp(ULONG tag, ULONG create, const IID& iid, IUnknown** out) noexcept = 0;
  // Copies the value during the call.
  virtual HRESULT setProp(const SPropValue* value) noexcept = 0;
  // MAPI_E_NOT_FOUND when absent.
  virtual HRESULT deleteProp(ULONG tag) noexcept = 0;
  // S_OK when there, S_FALSE when not.
  virtual HRESULT propExists(ULONG tag) noexcept = 0;
  // The name of a named property, one block freed with the object's free function; the set pointer lies inside it.
  virtual HRESULT getNamesFromIds(ULONG tag, MAPINAMEID** name) noexcept = 0;
  // The tag, with type PT_UNSPECIFIED, of a name; `create` 1 gives the name an id if it has none.
  virtual HRESULT getIdsFromNames(const MAPINAMEID* name, BOOL create, ULONG* tag) noexcept = 0;
  virtual void reserved12() noexcept = 0;
  // With a reference for the caller.
  virtual HRESULT getAllocator(IMapiAllocator** out) noexcept = 0;
  virtual HRESULT saveChanges() noexcept = 0;

 protected:
  ~IConvertObject() = default;
};

class IConvertRecipient : public IConvertObject {
 public:
  static constexpr IID kIid{0x7563A832, 0xF930, 0x4797, {0x87, 0x4A, 0xE3, 0x00, 0x88, 0x60, 0x78, 0x1C}};

 protected:
  ~IConvertRecipient() = default;
};

class IConvertFolder : public IConvertObject {
 public:
  static constexpr IID kIid{0xE9C0F5B3, 0x4B85, 0x4BB9, {0x83, 0x44, 0xA8, 0x82, 0x68, 0xF2, 0xF1, 0xC9}};

 protected:
  ~IConvertFolder() = default;
};

class IConvertStore : public IConvertObject {
 public:
  static constexpr IID kIid{0xA366A056, 0x47D2, 0x46D6, {0x88, 0xD9, 0x69, 0x49, 0xDD, 0x7C, 0xAC, 0xB3}};

 protected:
  ~IConvertStore() = default;
};

// What the caller knows of people and folders.
class IAddressBook : public IUnknown {
 public:
  static constexpr IID kIid{0x9E2F5C03, 0xD1B8, 0x4A67, {0x85, 0xC2, 0x6E, 0x39, 0x0A, 0xF4, 0x1B, 0x7D}};

  // One property of an entry. `*value` is freed with the allocator's free function.
  virtual HRESULT getEntryProp(ULONG entryIdBytes, const BYTE* entryId, ULONG tag, SPropValue** value) noexcept = 0;
  // Name and address of the mailbox owner, each from the run's allocator. `flags` is 0.
  virtual HRESULT getOwner(char16_t** name, ULONG flags, char16_t** address) noexcept = 0;
  // The kind of a folder: 1 where the private items of its owner are hidden.
  virtual HRESULT getFolderKind(ULONG entryIdBytes, const BYTE* entryId, ULONG* kind) noexcept = 0;
  // The GUID of the folder that holds an entry.
  virtual HRESULT getFolderGuid(ULONG entryIdBytes, const BYTE* entryId, GUID* guid) noexcept = 0;

 protected:
  ~IAddressBook() = default;
};

// Gives the picture of a contact a content id that stays the same over the years.
class IContentIdSource : public IUnknown {
 public:
  static constexpr IID kIid{0x41D06E7A, 0x9B25, 0x4C8F, {0xA0, 0x53, 0xE7, 0x18, 0x2C, 0x6B, 0xF9, 0x04}};

  virtual void reserved3() noexcept = 0;
  virtual void reserved4() noexcept = 0;
  virtual void reserved5() noexcept = 0;
  virtual void reserved6() noexcept = 0;
  // The text comes from taskAlloc; the library frees it with taskFree.
  virtual HRESULT getContentId(char16_t** contentId) noexcept = 0;
  virtual HRESULT contentIdUsed() noexcept = 0;

 protected:
  ~IContentIdSource() = default;
};

class IConvertAttachment : public IConvertObject {
 public:
  static constexpr IID kIid{0x4C1111FA, 0x55B1, 0x4BE1, {0x9C, 0x8D, 0x46, 0x54, 0xE0, 0xA8, 0xFC, 0xF2}};

  virtual HRESULT setAddressBook(IAddressBook* addressBook) noexcept = 0;
  virtual HRESULT getContentIdSource(IContentIdSource** out) noexcept = 0;

 protected:
  ~IConvertAttachment() = default;
};

class IConvertMessage : public IConvertObject {
 public:
  static constexpr IID kIid{0x01743F93, 0x95F9, 0x4E4A, {0x90, 0x8B, 0x1C, 0x1C, 0xB9, 0x29, 0x33, 0x8C}};

  // Each element offers IConvertRecipient. The caller of this operation releases the array.
  virtual HRESULT getRecipients(InterfaceArray** out) noexcept = 0;
  // A new recipient, committed with its saveChanges.
  virtual HRESULT createRecipient(IConvertRecipient** out) noexcept = 0;
  // Each element offers IConvertAttachment. `value` is 1.
  virtual HRESULT getAttachments(InterfaceArray** out, ULONG value) noexcept = 0;
  // A new attachment, committed with its saveChanges.
  virtual HRESULT createAttachment(IConvertAttachment** out) noexcept = 0;
  virtual void reserved19() noexcept = 0;
  virtual HRESULT getAddressBook(IAddressBook** out) noexcept = 0;

 protected:
  ~IConvertMessage() = default;
};

class IEnumAnnotations : public IUnknown {
 public:
  static constexpr IID kIid{0xF7385A12, 0x064C, 0x4E91, {0x93, 0xBA, 0x20, 0xD5, 0x7E, 0x81, 0x6C, 0x4F}};

  // S_FALSE at the end. Both texts come from taskAlloc; the receiver frees them with taskFree.
  virtual HRESULT nextAnnotation(char** name, char** value) noexcept = 0;

 protected:
  ~IEnumAnnotations() = default;
};

// A bag of names and values that the server keeps beside a message.
class IAnnotations : public IUnknown {
 public:
  static constexpr IID kIid{0x5A90C7E4, 0x2F6B, 0x4183, {0xBC, 0x0D, 0x94, 0xE1, 0x37, 0x6A, 0x52, 0xF8}};

  virtual HRESULT addAnnotation(const char* name, const char* value) noexcept = 0;
  virtual HRESULT enumAnnotations(IEnumAnnotations** out) noexcept = 0;

 protected:
  ~IAnnotations() = default;
};

// Numbers of IMAP flags.
enum class MimeFlag : ULONG {
  Read = 0,
  Draft = 1,
  Forwarded = 2,
  Answered = 3,
  Flagged = 4,
  Deleted = 5,
  Junk = 6,
  JunkSecondForm = 7,  // only read
  NotJunk = 8,
  ReceiptDealtWith = 9,
};

// The IMAP side of a message.
class IMimeFlags : public IUnknown {
 public:
  static constexpr IID kIid{0x38B6F0D1, 0xC75E, 0x4294, {0xAF, 0x61, 0x0B, 0x8D, 0x53, 0xE2, 0x19, 0xC6}};

  // S_OK when set, another success code when not.
  virtual HRESULT isFlagSet(ULONG flag) noexcept = 0;
  virtual HRESULT setFlag(ULONG flag, BOOL value) noexcept = 0;
  // UTC, as are all times here.
  virtual HRESULT getInternalDate(SYSTEMTIME* out) noexcept = 0;
  virtual HRESULT setInternalDate(const SYSTEMTIME* date) noexcept = 0;
  virtual HRESULT getModificationDate(SYSTEMTIME* out) noexcept = 0;
  virtual void reserved8() noexcept = 0;
  virtual HRESULT setMessageClass(const char16_t* messageClass) noexcept = 0;
  virtual void reserved10() noexcept = 0;
  virtual void reserved11() noexcept = 0;
  // S_OK for a hidden item.
  virtual HRESULT isHidden() noexcept = 0;
  // In bytes; fails when it is not known.
  virtual HRESULT getMessageSize(ULONG* out) noexcept = 0;
  virtual void reserved14() noexcept = 0;
  virtual void reserved15() noexcept = 0;
  // S_OK when the message has attachments.
  virtual HRESULT hasAttachments() noexcept = 0;

 protected:
  ~IMimeFlags() = default;
};

class ILogSettings : public IUnknown {
 public:
  static constexpr IID kIid{0xD20F4B98, 0x61A3, 0x4C5D, {0x97, 0xE8, 0x3B, 0xC1, 0x70, 0x05, 0xAE, 0x62}};

  virtual void reserved3() noexcept = 0;
  virtual void reserved4() noexcept = 0;
  virtual void reserved5() noexcept = 0;
  virtual HRESULT getLogLevels(std::int32_t* level, std::int32_t* second) noexcept = 0;

 protected:
  ~ILogSettings() = default;
};

// Takes the text of a failure. The library writes at level 2, so a log whose level is 3 or more hears nothing.
class ILog : public IUnknown {
 public:
  static constexpr IID kIid{0x8C41E7F5, 0xB09A, 0x4D26, {0x82, 0x7B, 0xF4, 0x6D, 0x15, 0x93, 0x0A, 0xCE}};

  virtual HRESULT writeLog(ULONG level, ULONG category, const char16_t* text) noexcept = 0;
  virtual HRESULT getSettings(ILogSettings** out) noexcept = 0;

 protected:
  ~ILog() = default;
};

}  // namespace nalvo
