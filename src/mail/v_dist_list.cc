// The members of a distribution list, which are children of its card.
#include <algorithm>
#include <charconv>

#include "mail/v_card.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

constexpr std::string_view kItem = "X-DL-ITEM";
constexpr std::string_view kListReference = "LISTREFERENCE";
constexpr std::string_view kReference = "REFERENCE";
constexpr std::string_view kOpaque = "OPAQUE";

std::string hexadecimal(std::uint32_t number) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text(8, '0');
  for (auto digit = text.rbegin(); number != 0; ++digit, number >>= 4) {
    *digit = kDigits[number & 0xF];
  }
  return text;
}

// The number that `text` begins with; the highest when it doesn't fit.
std::uint32_t readHexadecimal(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  return error == std::errc::result_out_of_range ? 0xFFFFFFFFU : number;
}

bool isBase64(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '+' || c == '/' || c == '=';
  });
}

DistItem readItem(const Component& component) {
  DistItem item;
  const std::string& type = component.getPropertyText("TYPE");
  item.isList = equalsIgnoreCase(type, kListReference);
  item.kind = item.isList || equalsIgnoreCase(type, kReference) ? DistItem::Kind::Reference
              : equalsIgnoreCase(type, kOpaque)                 ? DistItem::Kind::Opaque
                                                                : DistItem::Kind::Unknown;
  item.name = component.getPropertyText("NAME");
  item.email = component.getPropertyText("EMAIL");
  const std::string& data = component.getPropertyText("DATA");
  if (item.kind == DistItem::Kind::Reference) {
    const std::size_t slash = data.rfind('/');
    item.data = data.substr(0, slash);
    if (slash != std::string::npos) {
      item.number = readHexadecimal(std::string_view(data).substr(slash + 1));
    }
    item.messageGuid = component.getPropertyText("MESSAGEGUID");
  } else if (isBase64(data)) {
    item.data = data;
  }
  return item;
}

}  // namespace

std::vector<DistItem> VCard::getDistItems() const {
  std::vector<DistItem> items;
  for (const Component& child : root().children) {
    if (equalsIgnoreCase(child.name, kItem)) {
      items.push_back(readItem(child));
    }
  }
  return items;
}

void VCard::addDistItem(const DistItem& item) {
  Component& component = rootForWrite().addComponent(kItem);
  if (item.kind != DistItem::Kind::Unknown) {
    component.setPropertyText("TYPE", item.kind == DistItem::Kind::Opaque ? kOpaque
                                      : item.isList                       ? kListReference
                                                                          : kReference);
  }
  component.setPropertyText("NAME", item.name);
  component.setPropertyText("EMAIL", item.email);
  if (item.kind == DistItem::Kind::Opaque) {
    component.setPropertyText("DATA", item.data);
  } else if (item.kind == DistItem::Kind::Reference && !item.data.empty()) {
    component.setPropertyText("DATA", item.data + '/' + hexadecimal(item.number));
    if (!item.messageGuid.empty()) {
      component.setPropertyText("MESSAGEGUID", item.messageGuid);
    }
  }
}

void VCard::removeDistItems() { rootForWrite().eraseComponents(kItem); }

}  // namespace nalvo::mail
