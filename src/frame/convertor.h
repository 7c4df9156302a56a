// What turns one kind of item into MIME text and back.
#pragma once

#include "frame/flags.h"
#include "mime/mime.h"
#include "nalvo/interfaces.h"

namespace nalvo {

// One object serves one call. Failures are thrown; E_INVALIDARG for a null argument that the form needs.
class IConvertor : public IUnknown {
 public:
  static constexpr IID kIid{0x6AD8E250, 0xEE48, 0x45F5, {0xAE, 0x16, 0x1A, 0x6C, 0x98, 0x9B, 0xBA, 0x4C}};

  // True if an item can be converted from annotations and flags alone.
  virtual bool mimeToMapiSupportNoBody() = 0;
  // For a message that lies inside another one.
  virtual void mimeToMapi(IStream* stream, IConvertMessage* message, IMapiAllocator* allocator, ToMapiFlags flags) = 0;
  virtual void mimeToMapi(IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags, IConvertMessage* message,
                          IMapiAllocator* allocator, ToMapiFlags flags) = 0;
  // For a message that lies inside another one; `result` takes a reference of its MIME object.
  virtual void mapiToMime(IConvertMessage* message, IMapiAllocator* allocator, ToMimeFlags flags,
                          mime::IMimeMessage** result) = 0;
  virtual void mapiToMime(IConvertMessage* message, IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags,
                          IMapiAllocator* allocator, ToMimeFlags flags, Converted* converted) = 0;

 protected:
  ~IConvertor() = default;
};

// Makes a convertor with one reference.
using CreateConvertor = HRESULT (*)(IConvertor** out) noexcept;

}  // namespace nalvo
