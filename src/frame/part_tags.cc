#include "frame/part_tags.h"

#include "platform/mapi/tags.h"
#include "properties/mapi_prop_utils.h"
#include "properties/no_convert.h"

namespace nalvo {
namespace {

// What the sync engine notes about a message: all of it is new, or something of it changed.
constexpr std::uint32_t kStateAllNew = 0xC;
constexpr std::uint32_t kStateChanged = 0x1;

}  // namespace

PartTags PartTags::extend(const PartTags& base, std::initializer_list<ULONG> flags, std::initializer_list<ULONG> annotations,
                          std::initializer_list<ULONG> body, std::initializer_list<ULONG> ignored) {
  PartTags result;
  if (!base.allParts) {
    result = base;
  }
  result.allParts = false;
  result.noOtherTags = false;
  result.flagTags.insert(flags);
  result.annotationTags.insert(annotations);
  result.bodyTags.insert(body);
  result.ignoredTags.insert(ignored);
  return result;
}

Converted PartTags::doCheckPartsToConvert(IMapiAllocator* allocator, IConvertMessage* message) const {
  if (allParts) {
    return Converted::All;
  }
  const std::uint32_t state = MapiPropUtils::propULong(message, kTagChangeState, allocator);
  if ((state & kStateAllNew) != 0) {
    return Converted::All;
  }
  if ((state & kStateChanged) == 0) {
    return Converted::Nothing;
  }
  Converted result = Converted::Nothing;
  const auto lacks = [&result](Converted part) { return !hasAny(result, part); };
  for (const ULONG tag : NoConvert::getConvertableChangedProps(message)) {
    if (result == Converted::All) {
      break;
    }
    if (annotationTags.contains(tag)) {
      result |= Converted::Annotations;
    }
    if ((lacks(Converted::Flags) || lacks(Converted::Annotations)) && flagTags.contains(tag)) {
      result |= Converted::Flags;
      continue;
    }
    if (lacks(Converted::Body) || lacks(Converted::Annotations)) {
      if (bodyTags.contains(tag)) {
        result |= Converted::Body;
      } else if (!noOtherTags && !ignoredTags.contains(tag)) {
        result |= Converted::Annotations;
      }
    }
  }
  return result;
}

}  // namespace nalvo
