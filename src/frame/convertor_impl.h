// Joins a class of each direction into a convertor and fixes the order of the stages.
#pragma once

#include <concepts>

#include "diagnostics/boundary.h"
#include "diagnostics/hresult_exception.h"
#include "frame/conversion_state.h"
#include "frame/convertor.h"
#include "frame/part_tags.h"
#include "platform/com/unknown_impl.h"
#include "platform/mapi/property_types.h"
#include "properties/no_convert.h"

namespace nalvo {

// A class that reads MAPI and writes MIME. A class overrides a stage of its base by hiding it; the driver alone calls
// stages, on the concrete type.
template <typename T>
concept ToMimeStages = std::constructible_from<T, ConvertorDataMessage*> &&
    requires(T convert, ULONG tag, IConvertMessage* m) {
  { convert.getPartTags(m) } -> std::same_as<PartTags>;
  convert.mapiToMimeStart();
  convert.onProp(tag);
  convert.mapiToMimeEnd();
};

// A class that reads MIME and writes MAPI.
template <typename T>
concept ToMapiStages = std::constructible_from<T, ConvertorDataMessage*> && requires(T convert) {
  { T::kSupportsNoBody } -> std::convertible_to<bool>;
  convert.convertMimeToMapi();
  convert.mimeToMapiEnd();
};

namespace detail {

// Throws E_INVALIDARG at the named function if `argument` is null.
void checkArgument(const void* argument, const char* function);
// The arguments that a run to MIME needs with these flags.
void checkMapiToMimeParams(ToMimeFlags flags, const IConvertMessage* message, const IAnnotations* annotations,
                           const IStream* stream, const IMimeFlags* mimeFlags, const IMapiAllocator* allocator,
                           const Converted* converted);

}  // namespace detail

template <ToMimeStages ToMime, ToMapiStages ToMapi>
class ConvertorImpl final : public IUnknownImpl<IConvertor> {
 public:
  // A CreateConvertor.
  static HRESULT create(IConvertor** out) noexcept {
    return atBoundary([&] {
      detail::checkArgument(out, "ConvertorImpl::create");
      *out = makeCom<ConvertorImpl>().detach();
    });
  }

  bool mimeToMapiSupportNoBody() override { return ToMapi::kSupportsNoBody; }

  void mimeToMapi(IStream* stream, IConvertMessage* message, IMapiAllocator* allocator, ToMapiFlags flags) override {
    detail::checkArgument(message, "ConvertorImpl::mimeToMapi");
    detail::checkArgument(stream, "ConvertorImpl::mimeToMapi");
    data_.reset(true);
    data_.setMimeToMapi(stream, message, allocator, flags);
    runToMapi();
  }

  void mimeToMapi(IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags, IConvertMessage* message,
                  IMapiAllocator* allocator, ToMapiFlags flags) override {
    detail::checkArgument(message, "ConvertorImpl::mimeToMapi");
    detail::checkArgument(stream, "ConvertorImpl::mimeToMapi");
    data_.reset(true);
    data_.setMimeToMapi(stream, annotations, mimeFlags, message, allocator, flags);
    runToMapi();
  }

  void mapiToMime(IConvertMessage* message, IMapiAllocator* allocator, ToMimeFlags flags,
                  mime::IMimeMessage** result) override {
    detail::checkArgument(message, "ConvertorImpl::mapiToMime");
    detail::checkArgument(allocator, "ConvertorImpl::mapiToMime");
    detail::checkArgument(result, "ConvertorImpl::mapiToMime");
    data_.reset(true);
    ToMime convert(&data_);
    detail::checkMapiToMimeParams(flags, message, nullptr, nullptr, nullptr, allocator, nullptr);
    data_.setMapiToMime(message, allocator, flags, nullptr, nullptr, nullptr, Converted::All);
    runStages(convert, message);
    ComPtr<mime::IMimeMessage> made = ComPtr<mime::IMimeMessage>::retain(data_.getMimeMessage());
    data_.reset(false);
    *result = made.detach();
  }

  void mapiToMime(IConvertMessage* message, IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags,
                  IMapiAllocator* allocator, ToMimeFlags flags, Converted* converted) override {
    detail::checkArgument(message, "ConvertorImpl::mapiToMime");
    detail::checkArgument(stream, "ConvertorImpl::mapiToMime");
    detail::checkArgument(allocator, "ConvertorImpl::mapiToMime");
    data_.reset(true);
    ToMime convert(&data_);
    detail::checkMapiToMimeParams(flags, message, annotations, stream, mimeFlags, allocator, converted);
    const Converted parts = flags == ToMimeFlags::JustChanged
                                ? convert.getPartTags(message).doCheckPartsToConvert(allocator, message)
                                : Converted::All;
    if (converted != nullptr) {
      *converted = parts;
    }
    data_.setMapiToMime(message, allocator, flags, annotations, stream, mimeFlags, parts);
    runStages(convert, message);
    data_.reset(false);
  }

 private:
  static void runStages(ToMime& convert, IConvertMessage* message) {
    convert.mapiToMimeStart();
    for (const ULONG tag : NoConvert::getConvertableProps(message, IConvertMessage::kIid)) {
      if (propType(tag) != PT_OBJECT) {
        convert.onProp(tag);
      }
    }
    convert.mapiToMimeEnd();
  }

  void runToMapi() {
    {
      ToMapi convert(&data_);
      convert.convertMimeToMapi();
      convert.mimeToMapiEnd();
    }
    data_.reset(false);
  }

  ConvertorDataMessage data_;
};

}  // namespace nalvo
