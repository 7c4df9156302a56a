// The MIME object layer as its callers see it.
//
// One message object answers for IMimeMessage and IMimeMessageTree, a bound body for IMimeBody, IMimePropertySet and
// IMimeHeaderTable. Two messages share no lock; one message belongs to one thread at a time.
//
// Common to all operations
//  - Out-parameters are cleared first. Interfaces go out with one reference. Texts, handle lists, address lists and row data
//    come from taskAlloc; IMimeAllocator or taskFree frees them.
//  - A stream handed in is kept by reference and read only when its data is wanted, each time from offset 0. It must be
//    seekable and stay unchanged until the last Save. A failure of it is the result of whoever reads.
//  - A stream handed out is read-only, seekable, at offset 0, with a position of its own.
//  - MIME_E_NOT_FOUND: no such body, row or parameter. MIME_E_BAD_DATE: the row holds no date. S_FALSE: "no", from questions
//    only. E_INVALIDARG: a null or senseless argument. E_HANDLE: a handle that names nothing. Broken content never makes
//    Load, Save or the reading of data fail.
//  - docs/mime.md tells which trees the operations make and what is text and what is attachment.
#pragma once

#include "nalvo/com.h"
#include "platform/com/prop_variant.h"

namespace nalvo::mime {

// A body of one message object; never used twice in it. HBODY_ROOT names the present root.
using HBODY = struct BodyHandleTag*;
inline const HBODY HBODY_ROOT = reinterpret_cast<HBODY>(std::intptr_t{-1});
// A row of the charset table (platform/text).
using HCHARSET = const struct CharsetHandleTag*;
// A row of a header table.
using HHEADERROW = struct HeaderRowHandleTag*;

// Headers that have a number.
enum class HeaderId : std::uint16_t {
  Subject = 5,
  MessageId = 7,
  ReturnPath = 8,
  Date = 12,
  XMailer = 15,
  MimeVersion = 17,
  ContentType = 18,
  ContentId = 20,
  ContentDisposition = 22,
  ContentBase = 23,
  ContentLocation = 24,
  Organization = 37,
  XPriority = 39,
  XMsMailPriority = 40,
  FileName = 41,  // "par:content-disposition:filename"
  Name = 44,      // "par:content-type:name"
};

// The name of a header: a HeaderId; a text, compared without case; "par:HEADER:PARAM", one parameter of a row; or
// "att:filename", the two file name parameters in one. Borrowed, never null.
class HeaderName {
 public:
  constexpr HeaderName(HeaderId id) : id_(id) {}           // NOLINT(google-explicit-constructor)
  constexpr HeaderName(const char* text) : text_(text) {}  // NOLINT(google-explicit-constructor)

  // Null for a name that is a number.
  constexpr const char* text() const { return text_; }
  constexpr HeaderId id() const { return id_; }
  constexpr bool isNull() const { return text_ == nullptr && id_ == HeaderId{}; }

 private:
  const char* text_ = nullptr;
  HeaderId id_{};
};

enum BodyLocation : std::uint32_t { IBL_ROOT = 0, IBL_PARENT = 1, IBL_FIRST = 2, IBL_LAST = 3, IBL_NEXT = 4, IBL_PREV = 5 };
enum BodyType : std::uint32_t { IBT_ATTACHMENT = 1, IBT_AUTOATTACH = 4 };
enum TextType : std::uint32_t { TXT_PLAIN = 1, TXT_HTML = 2 };
enum Encoding : std::uint32_t {
  IET_BINARY = 0,
  IET_BASE64 = 1,
  IET_UUENCODE = 2,
  IET_QP = 3,
  IET_7BIT = 4,
  IET_8BIT = 5,
  IET_UNICODE = 7,  // UTF-16, no mark
  IET_ENCODED = 9,  // bytes as they go out
};
inline constexpr DWORD CSET_APPLY_ALL = 1;
inline constexpr DWORD URL_ATTACH_GENERATE_CID = 2;

inline constexpr DWORD OID_HEADER_FOLD_COLUMN = 0x00020013;    // VT_UI4, 76
inline constexpr DWORD OID_CLEANUP_TREE_ON_SAVE = 0x000E000B;  // kept; false keeps multiparts with one child
inline constexpr DWORD OID_KEPT_41 = 0x0041000B;
inline constexpr DWORD OID_KEPT_38 = 0x0038000B;
inline constexpr DWORD OID_KEPT_40 = 0x0040000B;

// A search through the tree. `place` holds how far the walk has come; start with 0.
struct FINDBODY {
  const char* type;     // null: any
  const char* subtype;  // null: any
  std::uintptr_t place;
};

// Kinds of addresses, one bit each.
enum AddressKind : DWORD {
  IAT_FROM = 0x1,
  IAT_SENDER = 0x2,
  IAT_TO = 0x4,
  IAT_CC = 0x8,
  IAT_BCC = 0x10,
  IAT_REPLYTO = 0x20,
  IAT_RETURNRECEIPT = 0x80,
  IAT_DISPOSITION_NOTIFICATION = 0x400,
  IAT_ALL = 0xFFFFFFFF,
};

// Which fields of AddressProperties hold something.
inline constexpr DWORD IAP_ADRTYPE = 0x4;
inline constexpr DWORD IAP_EMAIL = 0x20;
inline constexpr DWORD IAP_ENCODING = 0x800;
inline constexpr DWORD IAP_FRIENDLYW = 0x2000;
inline constexpr DWORD IAP_NAME_AND_EMAIL = IAP_FRIENDLYW | IAP_EMAIL;

struct AddressProperties {
  DWORD properties;       // IAP_* bits
  DWORD kind;             // one AddressKind
  Encoding nameEncoding;  // IET_UNICODE
  char* email;            // raw bytes; null if none
  char16_t* name;         // decoded; null if none
};

struct AddressList {
  ULONG count;
  AddressProperties* addresses;
};

struct HeaderRowData {
  char* name;
  char* value;  // unfolded, no blank ahead, no line end
  ULONG valueBytes;
};

struct CharsetInfo {
  char name[64];  // as headers name it
  DWORD cpiWindows;
  DWORD cpiInternet;
  HCHARSET handle;
};

// Rows of a body. `SetProp` leaves a row untouched, bytes and all, when what is read from it equals the new value.
class IMimePropertySet : public IUnknown {
 public:
  static constexpr IID kIid{0xFD853CD7, 0x7F86, 0x11D0, {0x82, 0x52, 0x00, 0xC0, 0x4F, 0xD8, 0x5A, 0xB4}};

  // `value->vt` says the form wanted: VT_LPSTR, VT_LPWSTR, VT_UI4, VT_I4, VT_FILETIME.
  virtual HRESULT GetProp(HeaderName name, DWORD flags, PROPVARIANT* value) noexcept = 0;
  virtual HRESULT SetProp(HeaderName name, DWORD flags, const PROPVARIANT* value) noexcept = 0;
  virtual HRESULT DeleteProp(HeaderName name) noexcept = 0;
  // S_OK when the whole value equals `text` without case.
  virtual HRESULT QueryProp(HeaderName name, const char* text, BOOL substring, BOOL caseSensitive) noexcept = 0;
  virtual HRESULT IsContentType(const char* type, const char* subtype) noexcept = 0;
  // An unattached copy of all rows.
  virtual HRESULT Clone(IMimePropertySet** out) noexcept = 0;
  virtual HRESULT CopyProps(ULONG count, const char* const* names, IMimePropertySet* target) noexcept = 0;
  virtual HRESULT BindToObject(const IID& iid, void** out) noexcept = 0;
  virtual HRESULT GetCharset(HCHARSET* out) noexcept = 0;
  virtual HRESULT SetCharset(HCHARSET charset, DWORD apply) noexcept = 0;

 protected:
  ~IMimePropertySet() = default;
};

class IMimeBody : public IMimePropertySet {
 public:
  static constexpr IID kIid{0xFD853CD8, 0x7F86, 0x11D0, {0x82, 0x52, 0x00, 0xC0, 0x4F, 0xD8, 0x5A, 0xB4}};

  virtual HRESULT GetHandle(HBODY* out) noexcept = 0;
  // Rows only, raw, no empty line behind them, X-MAPI left out.
  virtual HRESULT Save(IStream* stream, BOOL clearDirty) noexcept = 0;
  virtual HRESULT SetData(Encoding encoding, const char* type, const char* subtype, const IID& iid,
                          void* object) noexcept = 0;
  virtual HRESULT GetData(Encoding encoding, IStream** out) noexcept = 0;
  virtual HRESULT GetDataHere(Encoding encoding, IStream* stream) noexcept = 0;
  virtual HRESULT GetCurrentEncoding(Encoding* out) noexcept = 0;
  virtual HRESULT SetCurrentEncoding(Encoding encoding) noexcept = 0;
  virtual HRESULT GetEstimatedSize(Encoding encoding, ULONG* out) noexcept = 0;
  virtual HRESULT GetDisplayName(char** out) noexcept = 0;
  virtual HRESULT GetDisplayNameW(char16_t** out) noexcept = 0;

 protected:
  ~IMimeBody() = default;
};

class IMimeHeaderTable : public IUnknown {
 public:
  static constexpr IID kIid{0xFD853CDA, 0x7F86, 0x11D0, {0x82, 0x52, 0x00, 0xC0, 0x4F, 0xD8, 0x5A, 0xB4}};

  virtual HRESULT Load(IStream* stream) noexcept = 0;
  virtual HRESULT Save(IStream* stream, BOOL clearDirty) noexcept = 0;
  // The first row of the name; a "par:" name is found if the parameter is there.
  virtual HRESULT FindFirst(HeaderName name, HHEADERROW* row) noexcept = 0;
  // The next row of the same name behind `row`.
  virtual HRESULT FindNext(HHEADERROW row, HHEADERROW* next) noexcept = 0;
  // `name` null: all rows.
  virtual HRESULT CountRows(const char* name, ULONG* out) noexcept = 0;
  // An empty row is a placeholder: it marks a place, and is not saved while it is empty.
  virtual HRESULT AppendRow(HeaderName name, DWORD flags, const char* value, ULONG valueBytes, HHEADERROW* row) noexcept = 0;
  // `number` at or above the count: last.
  virtual HRESULT SetRowNumber(HHEADERROW row, ULONG number) noexcept = 0;
  virtual HRESULT GetRowData(HHEADERROW row, HeaderRowData* out) noexcept = 0;
  // The row at a place, for walks; MIME_E_NOT_FOUND behind the last.
  virtual HRESULT GetRow(ULONG number, HHEADERROW* row) noexcept = 0;

 protected:
  ~IMimeHeaderTable() = default;
};

// The addresses of a message: one thing with the address rows of its root, seen another way.
class IMimeAddressTable : public IUnknown {
 public:
  static constexpr IID kIid{0xFD853CE0, 0x7F86, 0x11D0, {0x82, 0x52, 0x00, 0xC0, 0x4F, 0xD8, 0x5A, 0xB4}};

  // `position` (may be null) takes the number of the new address.
  virtual HRESULT Insert(const AddressProperties* address, ULONG* position) noexcept = 0;
  virtual HRESULT DeleteTypes(DWORD kinds) noexcept = 0;
  virtual HRESULT CountTypes(DWORD kinds, ULONG* out) noexcept = 0;

 protected:
  ~IMimeAddressTable() = default;
};

class IMimeMessageTree : public IUnknown {
 public:
  static constexpr IID kIid{0xFD853CD9, 0x7F86, 0x11D0, {0x82, 0x52, 0x00, 0xC0, 0x4F, 0xD8, 0x5A, 0xB4}};

  virtual HRESULT InitNew() noexcept = 0;
  virtual HRESULT Load(IStream* stream) noexcept = 0;
  virtual HRESULT Save(IStream* stream, BOOL clearDirty) noexcept = 0;
  virtual HRESULT IsDirty() noexcept = 0;
  virtual HRESULT SetOption(DWORD id, const PROPVARIANT* value) noexcept = 0;
  virtual HRESULT GetOption(DWORD id, PROPVARIANT* value) noexcept = 0;
  virtual HRESULT BindToObject(HBODY body, const IID& iid, void** out) noexcept = 0;
  virtual HRESULT GetBody(BodyLocation location, HBODY pivot, HBODY* out) noexcept = 0;
  virtual HRESULT InsertBody(BodyLocation location, HBODY pivot, HBODY* out) noexcept = 0;
  // `flags` 1: children move up into its place.
  virtual HRESULT DeleteBody(HBODY body, DWORD flags) noexcept = 0;
  virtual HRESULT CountBodies(HBODY parent, BOOL recurse, ULONG* out) noexcept = 0;
  virtual HRESULT SaveBody(HBODY body, DWORD flags, IStream* stream) noexcept = 0;
  virtual HRESULT FindFirst(FINDBODY* find, HBODY* out) noexcept = 0;
  virtual HRESULT FindNext(FINDBODY* find, HBODY* out) noexcept = 0;
  virtual HRESULT ToMultipart(HBODY body, const char* subtype, HBODY* out) noexcept = 0;
  virtual HRESULT IsBodyType(HBODY body, BodyType type) noexcept = 0;
  virtual HRESULT IsContentType(HBODY body, const char* type, const char* subtype) noexcept = 0;
  virtual HRESULT QueryBodyProp(HBODY body, HeaderName name, const char* text, BOOL substring,
                                BOOL caseSensitive) noexcept = 0;
  virtual HRESULT GetBodyProp(HBODY body, HeaderName name, DWORD flags, PROPVARIANT* value) noexcept = 0;
  virtual HRESULT SetBodyProp(HBODY body, HeaderName name, DWORD flags, const PROPVARIANT* value) noexcept = 0;
  virtual HRESULT GetCharset(HCHARSET* out) noexcept = 0;
  virtual HRESULT SetCharset(HCHARSET charset, DWORD apply) noexcept = 0;

 protected:
  ~IMimeMessageTree() = default;
};

class IMimeMessage : public IMimeMessageTree {
 public:
  static constexpr IID kIid{0xFD853CD5, 0x7F86, 0x11D0, {0x82, 0x52, 0x00, 0xC0, 0x4F, 0xD8, 0x5A, 0xB4}};

  // Rows of the present root.
  virtual HRESULT GetProp(HeaderName name, DWORD flags, PROPVARIANT* value) noexcept = 0;
  virtual HRESULT SetProp(HeaderName name, DWORD flags, const PROPVARIANT* value) noexcept = 0;
  virtual HRESULT DeleteProp(HeaderName name) noexcept = 0;
  virtual HRESULT QueryProp(HeaderName name, const char* text, BOOL substring, BOOL caseSensitive) noexcept = 0;
  // `stream` and `body` may be null.
  virtual HRESULT GetTextBody(TextType type, Encoding encoding, IStream** stream, HBODY* body) noexcept = 0;
  // `alternative` null: the text of the message; else beside that body under multipart/alternative. `out` may be null.
  virtual HRESULT SetTextBody(TextType type, Encoding encoding, HBODY alternative, IStream* stream, HBODY* out) noexcept = 0;
  // `iid` is that of IStream or IMimeMessage.
  virtual HRESULT AttachObject(const IID& iid, void* object, HBODY* out) noexcept = 0;
  virtual HRESULT AttachURL(const char* base, const char* url, DWORD flags, IStream* stream, char** contentUrl,
                            HBODY* out) noexcept = 0;
  virtual HRESULT GetAttachments(ULONG* count, HBODY** bodies) noexcept = 0;
  virtual HRESULT GetAddressTable(IMimeAddressTable** out) noexcept = 0;
  // Always a list, of count 0 if there is no such address.
  virtual HRESULT GetAddressTypes(DWORD kinds, DWORD properties, AddressList* out) noexcept = 0;

 protected:
  ~IMimeMessage() = default;
};

class IMimeAllocator : public IUnknown {
 public:
  static constexpr IID kIid{0xFD853CDC, 0x7F86, 0x11D0, {0x82, 0x52, 0x00, 0xC0, 0x4F, 0xD8, 0x5A, 0xB4}};

  virtual void Free(void* block) noexcept = 0;
  // Frees what the list holds and clears it.
  virtual void FreeAddressList(AddressList* list) noexcept = 0;
  virtual void FreeHeaderRowData(HeaderRowData* data) noexcept = 0;

 protected:
  ~IMimeAllocator() = default;
};

class IMimeInternational : public IUnknown {
 public:
  static constexpr IID kIid{0xFD853CDE, 0x7F86, 0x11D0, {0x82, 0x52, 0x00, 0xC0, 0x4F, 0xD8, 0x5A, 0xB4}};

  virtual HRESULT FindCharset(const char* name, HCHARSET* out) noexcept = 0;
  virtual HRESULT GetCharsetInfo(HCHARSET charset, CharsetInfo* out) noexcept = 0;

 protected:
  ~IMimeInternational() = default;
};

// Makes the objects of the layer. There is no class registry.
HRESULT createMimeMessage(IMimeMessage** out) noexcept;
HRESULT createMimeHeaderTable(IMimeHeaderTable** out) noexcept;
HRESULT createMimeAllocator(IMimeAllocator** out) noexcept;
HRESULT createMimeInternational(IMimeInternational** out) noexcept;

// An empty read and write stream.
HRESULT MimeOleCreateVirtualStream(IStream** out) noexcept;
// MIME_E_NOT_FOUND for a name that no row of the charset table has.
HRESULT MimeOleFindCharset(const char* name, HCHARSET* out) noexcept;
HRESULT MimeOleGetCharsetInfo(HCHARSET charset, CharsetInfo* out) noexcept;
// "Tue, 01 Jan 2008 09:00:00 +0000"; E_INVALIDARG when `bytes` is too small, terminator included.
HRESULT MimeOleFileTimeToInetDate(const FILETIME* time, char* buffer, ULONG bytes) noexcept;
// MIME_E_BAD_DATE for what is no date.
HRESULT MimeOleInetDateToFileTime(const char* text, FILETIME* out) noexcept;
// Reads `text` as a row of that kind.
HRESULT MimeOleParseRfc822AddressW(DWORD kind, const char16_t* text, AddressList* out) noexcept;

}  // namespace nalvo::mime
