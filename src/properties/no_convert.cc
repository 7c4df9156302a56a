#include "properties/no_convert.h"

#include <algorithm>
#include <span>

#include "diagnostics/hresult_exception.h"
#include "properties/mapi_alloc.h"
#include "properties/mapi_prop_utils.h"
#include "properties/named_properties.h"

namespace nalvo::NoConvert {
namespace {

constexpr SourceFile kSource{".\\NoConvert"};

constexpr ULONG kCommon[] = {0x0FF40003, 0x0FF70003, 0x0FF80102, 0x0FFE0003, 0x0FF90102, 0x0FFF0102,
                             0x66700102, 0x0E090102, 0x0FFB0102, 0x0FFA0102, 0x340D0003, 0x34140102,
                             0xAF01000B, 0xAF070003, 0xAF120003, 0xAF0D000B, 0xAF190003};

constexpr ULONG kStore[] = {0x35E00102, 0x3A00001F, 0x660B001F, 0x6603001F, 0x6602001F, 0x35DF0003, 0x340E0003,
                            0x35E20102, 0x35E40102, 0x35E30102, 0x35E70102, 0x35E50102, 0x35E60102, 0x36D00102,
                            0x36D10102, 0x36D70102, 0x36D20102, 0x36D30102, 0x36D40102, 0x661C001F, 0xAF050003,
                            0x3001001F, 0xAF11101F, 0xAF1C001F, 0xAF1D001F, 0xAF1E001F, 0xAF1F001F, 0xAF23000B};
constexpr const NamedProperty* kStoreNamed[] = {
    &named::kStoreTypePrivate, &named::kInboxEntryId,      &named::kJunkEntryId,
    &named::kSieveRules,       &named::kSieveRulesTime,    &named::kReceiveFolders,
    &named::kConflictsGuid,    &named::kLocalFailuresGuid, &named::kServerFailuresGuid};

constexpr ULONG kFolder[] = {0x360E000D, 0x360F000D, 0x36010003, 0x36170003, 0x3610000D, 0x36020003,
                             0x36030003, 0x360A000B, 0x3001001F, 0xAF060003, 0xAF08000B, 0xAF050003,
                             0xAF090003, 0xAF0A0003, 0xAF0C001F, 0xAF13000B, 0xAF1A000B, 0x36D50102};
constexpr ULONG kFolderExtra[] = {0xAF0B101F};
constexpr const NamedProperty* kFolderNamed[] = {&named::kOwnFolder, &named::kCollblob, &named::kBackupCollblob};

constexpr ULONG kMessage[] = {0xAF000102, 0xAF0E0040, 0xAF020003, 0xAF030003, 0xAF040003,
                              0xAF16000B, 0x00360003, 0x0002000B, 0x002B000B, 0xAF18000B};
constexpr const NamedProperty* kMessageNamed[] = {&named::kSideEffectsState};

constexpr ULONG kAttachment[] = {0x0E210003, 0xAF020003, 0xAF030003, 0xAF040003, 0xAF1B0102};

struct KindRow {
  IID kind;
  std::span<const ULONG> tags;
  std::span<const ULONG> extra;
  std::span<const NamedProperty* const> named;
};

const KindRow kKinds[] = {
    {IConvertStore::kIid, kStore, {}, kStoreNamed},
    {IConvertFolder::kIid, kFolder, kFolderExtra, kFolderNamed},
    {IConvertMessage::kIid, kMessage, {}, kMessageNamed},
    {IConvertAttachment::kIid, kAttachment, {}, {}},
    {IConvertRecipient::kIid, {}, {}, {}},
};

using ListCall = HRESULT (IConvertObject::*)(ULONG*, ULONG**);

// What `list` gives without the tags that stay behind. An object that lists nothing is not asked for names.
std::vector<ULONG> travelling(IConvertObject* object, const IID& kind, ListCall list, bool withExtra, const char* function) {
  if (object == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
  FreeBuffer freeBuffer = nullptr;
  checkHResult(MapiPropUtils::detail::getAllocator(nullptr, object)->getAllocators(nullptr, nullptr, &freeBuffer),
               kSource.at(function));
  if (freeBuffer == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
  ULONG count = 0;
  MapiBuffer<ULONG> listed(freeBuffer);
  checkHResult((object->*list)(&count, listed.put()), kSource.at(function));
  if (count == 0 || !listed) {
    return {};
  }
  std::vector<ULONG> tags(listed.get(), listed.get() + count);
  std::vector<ULONG> excluded = detail::getNonConvertedProps(kind, object, withExtra);
  std::sort(tags.begin(), tags.end());
  std::sort(excluded.begin(), excluded.end());
  std::vector<ULONG> result;
  std::set_difference(tags.begin(), tags.end(), excluded.begin(), excluded.end(), std::back_inserter(result));
  return result;
}

}  // namespace

std::vector<ULONG> detail::getNonConvertedProps(const IID& kind, IConvertObject* object, bool withExtra) {
  const auto row = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const KindRow& r) { return r.kind == kind; });
  if (object == nullptr || row == std::end(kKinds)) {
    throwHResult(E_INVALIDARG, kSource.at("NoConvert::detail::getNonConvertedProps"));
  }
  std::vector<ULONG> tags(std::begin(kCommon), std::end(kCommon));
  tags.insert(tags.end(), row->tags.begin(), row->tags.end());
  if (withExtra) {
    tags.insert(tags.end(), row->extra.begin(), row->extra.end());
  }
  const MapiName::NamedTag tagOf(object);
  for (const NamedProperty* property : row->named) {
    tags.push_back(tagOf(MapiName(*property)));
  }
  return tags;
}

std::vector<ULONG> getNonConvertedProps(IConvertObject* object, const IID& kind) {
  return detail::getNonConvertedProps(kind, object, true);
}

std::vector<ULONG> getConvertableProps(IConvertObject* object, const IID& kind) {
  return travelling(object, kind, &IConvertObject::getPropList, true, "NoConvert::getConvertableProps");
}

std::vector<ULONG> detail::getConvertableChangedTags(IConvertObject* object, const IID& kind, bool withExtra) {
  return travelling(object, kind, &IConvertObject::getChangedPropList, withExtra,
                    "NoConvert::detail::getConvertableChangedTags");
}

std::vector<ULONG> getConvertableChangedProps(IConvertObject* message) {
  if (message == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("NoConvert::getConvertableChangedProps"));
  }
  return detail::getConvertableChangedTags(message, IConvertMessage::kIid, true);
}

bool hasConvertableChanges(IConvertObject* object, const IID& kind) {
  return !detail::getConvertableChangedTags(object, kind, false).empty();
}

}  // namespace nalvo::NoConvert
