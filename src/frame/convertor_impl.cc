#include "frame/convertor_impl.h"

namespace nalvo::detail {
namespace {

constexpr SourceFile kSource{".\\ConvertorImpl"};

}  // namespace

void checkArgument(const void* argument, const char* function) {
  if (argument == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
}

void checkMapiToMimeParams(ToMimeFlags flags, const IConvertMessage* message, const IAnnotations* annotations,
                           const IStream* stream, const IMimeFlags* mimeFlags, const IMapiAllocator* allocator,
                           const Converted* converted) {
  constexpr const char* kWhere = "ConvertorImpl::checkMapiToMimeParams";
  checkArgument(message, kWhere);
  checkArgument(allocator, kWhere);
  if (!hasAny(flags, ToMimeFlags::NoMimeStream)) {
    checkArgument(stream, kWhere);
  }
  if (!hasAny(flags, ToMimeFlags::ForSend | ToMimeFlags::ToAttachment)) {
    checkArgument(annotations, kWhere);
    checkArgument(mimeFlags, kWhere);
  }
  if (flags == ToMimeFlags::JustChanged) {
    checkArgument(converted, kWhere);
  }
}

}  // namespace nalvo::detail
