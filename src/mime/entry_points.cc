// The functions that make the objects of the layer, and the helpers beside them.
#include <algorithm>
#include <cstring>

#include "diagnostics/boundary.h"
#include "mime/address_book.h"
#include "mime/body_object.h"
#include "mime/dates.h"
#include "mime/header_names.h"
#include "mime/properties.h"
#include "mime/read_only_stream.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

class AllocatorObject final : public IUnknownImpl<IMimeAllocator> {
 public:
  void Free(void* block) noexcept override { taskFree(block); }
  void FreeAddressList(AddressList* list) noexcept override { freeAddressList(list); }
  void FreeHeaderRowData(HeaderRowData* data) noexcept override {
    if (data != nullptr) {
      taskFree(data->name);
      taskFree(data->value);
      *data = {};
    }
  }
};

class InternationalObject final : public IUnknownImpl<IMimeInternational> {
 public:
  HRESULT FindCharset(const char* name, HCHARSET* out) noexcept override { return MimeOleFindCharset(name, out); }
  HRESULT GetCharsetInfo(HCHARSET charset, CharsetInfo* out) noexcept override {
    return MimeOleGetCharsetInfo(charset, out);
  }
};

template <typename Object, typename Interface>
HRESULT create(Interface** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  return atBoundary([&] { *out = new Object(); });
}

}  // namespace

HRESULT createMimeMessage(IMimeMessage** out) noexcept { return create<MessageObject>(out); }
HRESULT createMimeAllocator(IMimeAllocator** out) noexcept { return create<AllocatorObject>(out); }
HRESULT createMimeInternational(IMimeInternational** out) noexcept { return create<InternationalObject>(out); }

HRESULT createMimeHeaderTable(IMimeHeaderTable** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  return atBoundary([&] {
    void* table = nullptr;
    const HRESULT hr = bindBody(nullptr, std::make_shared<Body>(), IMimeHeaderTable::kIid, &table);
    *out = static_cast<IMimeHeaderTable*>(table);
    return hr;
  });
}

HRESULT MimeOleCreateVirtualStream(IStream** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  return atBoundary([&] { *out = makeScratchStream().detach(); });
}

HRESULT MimeOleFindCharset(const char* name, HCHARSET* out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  if (name == nullptr) {
    return E_INVALIDARG;
  }
  *out = reinterpret_cast<HCHARSET>(findCharset(name));
  return *out != nullptr ? S_OK : MIME_E_NOT_FOUND;
}

HRESULT MimeOleGetCharsetInfo(HCHARSET charset, CharsetInfo* out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = {};
  if (charset == nullptr) {
    return E_INVALIDARG;
  }
  const auto& row = *reinterpret_cast<const Charset*>(charset);
  row.name.copy(out->name, sizeof out->name - 1);
  out->cpiWindows = row.windowsCodePage;
  out->cpiInternet = row.codePage;
  out->handle = charset;
  return S_OK;
}

HRESULT MimeOleFileTimeToInetDate(const FILETIME* time, char* buffer, ULONG bytes) noexcept {
  if (time == nullptr || buffer == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&]() -> HRESULT {
    const std::string text = formatInetDate(*time);
    if (text.empty() || text.size() >= bytes) {
      return E_INVALIDARG;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return S_OK;
  });
}

HRESULT MimeOleInetDateToFileTime(const char* text, FILETIME* out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = {};
  if (text == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&]() -> HRESULT {
    const std::optional<FILETIME> time = parseInetDate(text);
    if (!time) {
      return MIME_E_BAD_DATE;
    }
    *out = *time;
    return S_OK;
  });
}

HRESULT MimeOleParseRfc822AddressW(DWORD kind, const char16_t* text, AddressList* out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = {};
  if (text == nullptr || addressRowName(kind).empty()) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    std::vector<std::pair<DWORD, Address>> found;
    for (Address& address : parseAddressList(wideToUtf8(text), findCodePage(kUtf8))) {
      found.emplace_back(kind, std::move(address));
    }
    fillAddressList(found, out);
  });
}

}  // namespace nalvo::mime
