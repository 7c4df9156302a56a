// Which properties feed which part of a conversion to MIME.
#pragma once

#include <initializer_list>
#include <set>

#include "frame/flags.h"
#include "nalvo/interfaces.h"

namespace nalvo {

struct PartTags {
  std::set<ULONG> flagTags;
  std::set<ULONG> annotationTags;
  std::set<ULONG> bodyTags;
  std::set<ULONG> ignoredTags;
  // Any change means all parts.
  bool allParts = true;
  // A tag in no set means nothing; otherwise it counts for the annotations.
  bool noOtherTags = false;

  // These tags on top of those of a base class. A base with allParts adds nothing.
  static PartTags extend(const PartTags& base, std::initializer_list<ULONG> flags, std::initializer_list<ULONG> annotations,
                         std::initializer_list<ULONG> body, std::initializer_list<ULONG> ignored);

  // The parts that a message's changes call for. Throws what reading the message throws.
  Converted doCheckPartsToConvert(IMapiAllocator* allocator, IConvertMessage* message) const;
};

}  // namespace nalvo
