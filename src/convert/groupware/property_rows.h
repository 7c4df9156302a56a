// Tables of what becomes of the properties of a kind of item.
#pragma once

#include <array>
#include <iterator>
#include <span>
#include <unordered_map>
#include <utility>  // index_sequence

#include "frame/conversion_state.h"
#include "frame/part_tags.h"
#include "platform/mapi/tags.h"
#include "properties/map_name.h"

namespace nalvo {

// A property by its tag, or by a name whose tag each object gives anew.
class PropertyKey {
 public:
  constexpr PropertyKey(ULONG tag) : tag_(tag) {}
  constexpr PropertyKey(const NamedProperty& property) : named_(&property) {}

  ULONG tagOn(IConvertMessage* message, ConvertorDataBase& data) const {
    return named_ == nullptr ? tag_ : data.tagOf(*named_, message);
  }
  ULONG tagOn(IConvertMessage* message) const {
    return named_ == nullptr ? tag_ : MapiName(*named_).getPropertyTag(message);
  }

 private:
  const NamedProperty* named_ = nullptr;
  ULONG tag_ = 0;
};

// Which part of a conversion a change of the property calls for.
enum class ChangeOf : std::uint8_t { Annotations, Body, Nothing };

template <typename Convert>
struct PropertyRow {
  PropertyKey property;
  ChangeOf part;
  // What the pass over the properties does with it; null for one that another stage deals with.
  void (Convert::*apply)(ULONG tag) = nullptr;
};

// The rich text of an item, which is made anew of what its text says.
inline constexpr ULONG kRichTextTags[] = {
    PR_RTF_IN_SYNC,    PR_RTF_SYNC_BODY_CRC,     PR_RTF_SYNC_BODY_COUNT,     PR_RTF_SYNC_BODY_TAG,
    PR_RTF_COMPRESSED, PR_RTF_SYNC_PREFIX_COUNT, PR_RTF_SYNC_TRAILING_COUNT,
};

// The rows of a kind of item whose rich text calls for nothing.
template <typename Convert, std::size_t N>
constexpr auto withRichText(const PropertyRow<Convert> (&own)[N]) {
  const auto join = [&own]<std::size_t... I, std::size_t... J>(std::index_sequence<I...>, std::index_sequence<J...>) {
    return std::array{own[I]..., PropertyRow<Convert>{kRichTextTags[J], ChangeOf::Nothing}...};
  };
  return join(std::make_index_sequence<N>(), std::make_index_sequence<std::size(kRichTextTags)>());
}

// The rows of a class by the tags of one message. These hold within one run.
template <typename Convert>
class PropertyRows {
 public:
  explicit PropertyRows(std::span<const PropertyRow<Convert>> rows) : rows_(rows) {}

  // False for a tag without a row.
  bool apply(Convert& convert, ULONG tag, ConvertorDataMessage& data) {
    if (byTag_.empty()) {
      for (const PropertyRow<Convert>& row : rows_) {
        byTag_.emplace(row.property.tagOn(data.getMapiMessage(), data), &row);
      }
    }
    const auto found = byTag_.find(tag);
    if (found == byTag_.end()) {
      return false;
    }
    if (found->second->apply != nullptr) {
      (convert.*found->second->apply)(tag);
    }
    return true;
  }

  // Adds what these rows call for to that of a base class.
  static PartTags extend(const PartTags& base, std::span<const PropertyRow<Convert>> rows, IConvertMessage* message) {
    PartTags result = PartTags::extend(base, {}, {}, {}, {});
    for (const PropertyRow<Convert>& row : rows) {
      if (row.part != ChangeOf::Annotations) {
        (row.part == ChangeOf::Body ? result.bodyTags : result.ignoredTags).insert(row.property.tagOn(message));
      }
    }
    return result;
  }

 private:
  std::span<const PropertyRow<Convert>> rows_;
  std::unordered_map<ULONG, const PropertyRow<Convert>*> byTag_;
};

}  // namespace nalvo
