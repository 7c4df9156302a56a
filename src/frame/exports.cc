// The exports and their constants. Nothing thrown leaves a function of this file.
#include <initializer_list>
#include <optional>

#include "diagnostics/boundary.h"
#include "diagnostics/logger.h"
#include "frame/conversion.h"
#include "frame/folder_conversion.h"
#include "nalvo/convert.h"
#include "streams/stream_utils.h"

using nalvo::Converted;
using nalvo::DWORD;
using nalvo::HRESULT;
using nalvo::ToMapiFlags;
using nalvo::ToMimeFlags;

extern "C" {

const DWORD CONVERT_NORMAL = 0;
const DWORD CONVERT_FOR_SEND = static_cast<DWORD>(ToMimeFlags::ForSend);
const DWORD CONVERT_TO_ATTACHMENT = static_cast<DWORD>(ToMimeFlags::ToAttachment);
const DWORD CONVERT_NO_MIME_STREAM = static_cast<DWORD>(ToMimeFlags::NoMimeStream);
const DWORD CONVERT_JUST_CHANGED = static_cast<DWORD>(ToMimeFlags::JustChanged);
const DWORD CONVERT_NO_ATTACHMENT = static_cast<DWORD>(ToMapiFlags::NoAttachment);
const DWORD CONVERT_FROM_ATTACHMENT = static_cast<DWORD>(ToMapiFlags::FromAttachment);
const DWORD CONVERT_WITHOUT_BODY = static_cast<DWORD>(ToMapiFlags::WithoutBody);
const DWORD CONVERT_JUST_FLAGS = static_cast<DWORD>(ToMapiFlags::JustFlags);
const DWORD CONVERT_EMBED_AS_NORMAL = static_cast<DWORD>(ToMapiFlags::EmbedAsNormal);
const DWORD CONVERT_INSIDE_MAPI = static_cast<DWORD>(ToMimeFlags::InsideMapi);
const DWORD CONVERTED_NOTHING = static_cast<DWORD>(Converted::Nothing);
const DWORD CONVERTED_FLAGS = static_cast<DWORD>(Converted::Flags);
const DWORD CONVERTED_BODY = static_cast<DWORD>(Converted::Body);
const DWORD CONVERTED_ANNOTATIONS = static_cast<DWORD>(Converted::Annotations);
}

static_assert(ToMimeFlags::InsideMapi == static_cast<ToMimeFlags>(ToMapiFlags::InsideMapi));

namespace {

// Runs an export. A failure is logged, if there is a log, and its code returned.
template <typename Body>
HRESULT runExport(nalvo::ILog* log, const char* function, Body&& body, int line = __builtin_LINE()) noexcept {
  try {
    return body();
  } catch (...) {
    return nalvo::reportFailure(log, {2, ".\\Exports", line, function});
  }
}

HRESULT answer(bool yes) { return yes ? nalvo::S_OK : nalvo::S_FALSE; }

// Gives the parts of a run back to the caller on every path.
class PartsOut {
 public:
  explicit PartsOut(DWORD* out) : out_(out) {}
  ~PartsOut() {
    if (out_ != nullptr) {
      *out_ = static_cast<DWORD>(parts_);
    }
  }
  PartsOut(const PartsOut&) = delete;
  PartsOut& operator=(const PartsOut&) = delete;
  // Null when the caller asked for none.
  Converted* get() { return out_ != nullptr ? &parts_ : nullptr; }

 private:
  DWORD* out_;
  Converted parts_ = Converted::Nothing;
};

}  // namespace

extern "C" {

HRESULT createStream(nalvo::IStream** out) noexcept {
  return out == nullptr ? nalvo::E_INVALIDARG : nalvo::atBoundary([&] { nalvo::streamUtils::createStream(out); });
}

HRESULT mapiToMime(nalvo::IConvertMessage* message, nalvo::IAnnotations* annotations, nalvo::IStream* stream,
                   nalvo::IMimeFlags* mimeFlags, nalvo::IMapiAllocator* allocator, DWORD flags, DWORD* converted,
                   nalvo::ILog* log) noexcept {
  return runExport(log, "mapiToMime", [&] {
    PartsOut parts(converted);
    nalvo::Conversion::mapiToMime(message, annotations, stream, mimeFlags, allocator, static_cast<ToMimeFlags>(flags),
                                  parts.get());
    return nalvo::S_OK;
  });
}

HRESULT mimeToMapi(nalvo::IAnnotations* annotations, nalvo::IStream* stream, nalvo::IMimeFlags* mimeFlags,
                   nalvo::IConvertMessage* message, nalvo::IMapiAllocator* allocator, DWORD flags,
                   nalvo::ILog* log) noexcept {
  return runExport(log, "mimeToMapi", [&] {
    nalvo::Conversion::mimeToMapi(annotations, stream, mimeFlags, message, allocator, static_cast<ToMapiFlags>(flags));
    return nalvo::S_OK;
  });
}

HRESULT mimeToMapiSupportNoBody(const char16_t* messageClass, nalvo::ILog* log) noexcept {
  return runExport(log, "mimeToMapiSupportNoBody",
                   [&] { return answer(nalvo::Conversion::mimeToMapiSupportNoBody(messageClass)); });
}

HRESULT folderFromMapiToMime(nalvo::IConvertFolder* folder, nalvo::IAnnotations* annotations, DWORD flags,
                             nalvo::ILog* log) noexcept {
  return runExport(log, "folderFromMapiToMime",
                   [&] { return answer(nalvo::Conversion::folderFromMapiToMime(folder, annotations, flags)); });
}

HRESULT folderFromMimeToMapi(nalvo::IAnnotations* annotations, nalvo::IConvertFolder* folder, DWORD flags,
                             nalvo::ILog* log) noexcept {
  return runExport(log, "folderFromMimeToMapi", [&] {
    nalvo::Conversion::folderFromMimeToMapi(annotations, folder, flags);
    return nalvo::S_OK;
  });
}

HRESULT storeFromMapiToMime(nalvo::IConvertStore* store, nalvo::IAnnotations* annotations, DWORD flags,
                            nalvo::ILog* log) noexcept {
  return runExport(log, "storeFromMapiToMime",
                   [&] { return answer(nalvo::Conversion::storeFromMapiToMime(store, annotations, flags)); });
}

HRESULT storeFromMimeToMapi(nalvo::IAnnotations* annotations, nalvo::IConvertStore* store, DWORD flags,
                            nalvo::ILog* log) noexcept {
  return runExport(log, "storeFromMimeToMapi", [&] {
    nalvo::Conversion::storeFromMimeToMapi(annotations, store, flags);
    return nalvo::S_OK;
  });
}
}
