#include "mail/v_component.h"

#include <algorithm>

#include "mail/v_text.h"

namespace nalvo::mail {
namespace {

// What look-ups that find nothing answer.
const PropertyValue kNoValue;
const Property kNoProperty;

template <typename Items>
auto findNamed(Items& items, std::string_view name) {
  return std::find_if(items.begin(), items.end(), [&](const auto& item) { return equalsIgnoreCase(item.name, name); });
}

bool holds(const std::vector<std::string>& values, std::string_view wanted) {
  return std::any_of(values.begin(), values.end(), [&](const auto& value) { return equalsIgnoreCase(value, wanted); });
}

// Newer cards quote the whole list: TYPE="work,voice".
bool listHolds(std::string_view list, std::string_view wanted) {
  const std::vector<std::string_view> items = split(list, ",");
  return std::any_of(items.begin(), items.end(), [wanted](auto item) { return equalsIgnoreCase(trim(item), wanted); });
}

Param& getOrAdd(std::vector<Param>& params, std::string_view name) {
  const auto found = findNamed(params, name);
  return found == params.end() ? params.emplace_back(Param{std::string(name), {}}) : *found;
}

}  // namespace

Param PropertyValue::findParam(std::string_view name) const {
  Param param;
  bool found = false;
  for (const auto& [isName, item] : params) {
    if (isName && found) {
      break;
    }
    if (isName) {
      found = equalsIgnoreCase(item, name);
      param.name = found ? item : std::string_view();
    } else if (found) {
      param.values.emplace_back(item);
    }
  }
  return param;
}

bool PropertyValue::removeParam(std::string_view name) {
  std::vector<Param> all = params.all();
  const auto found = findNamed(all, name);
  if (found == all.end()) {
    return false;
  }
  all.erase(found);
  params = Params(all);
  return true;
}

void PropertyValue::setParam(std::string_view name, std::string_view value) {
  std::vector<Param> all = params.all();
  getOrAdd(all, name).values.assign(1, std::string(value));
  params = Params(all);
}

void PropertyValue::addParamValue(std::string_view name, std::string_view value) {
  std::vector<Param> all = params.all();
  Param& param = getOrAdd(all, name);
  if (!holds(param.values, value)) {
    param.values.emplace_back(value);
    params = Params(all);
  }
}

std::string_view PropertyValue::firstParamValue(std::string_view name) const {
  bool found = false;
  for (const auto& [isName, item] : params) {
    if (found) {
      return isName ? std::string_view() : item;
    }
    found = isName && equalsIgnoreCase(item, name);
  }
  return {};
}

bool PropertyValue::hasType(std::string_view type) const {
  bool inType = false, onlyPreferred = true;
  for (const auto& [isName, item] : params) {
    if (isName) {
      inType = equalsIgnoreCase(item, "TYPE");
    }
    if ((isName || inType) && !type.empty() && listHolds(item, type)) {
      return true;
    }
    onlyPreferred = onlyPreferred && (isName || !inType || equalsIgnoreCase(item, "PREF"));
  }
  return type.empty() && onlyPreferred;
}

bool PropertyValue::isDate() const {
  return equalsIgnoreCase(firstParamValue("VALUE"), "DATE") ||
         (!text.empty() && text.find_first_of("Tt") == std::string::npos);
}

bool PropertyValue::isEmptyValue() const {
  // Carriage returns are never written.
  return text.find_first_not_of(";\r") == std::string::npos;
}

const PropertyValue& Property::firstValue() const { return values.empty() ? kNoValue : values.front(); }

PropertyValue& Property::valueAt(std::size_t index) {
  if (values.size() <= index) {
    values.resize(index + 1);
  }
  return values[index];
}

bool Component::hasProperty(std::string_view propertyName) const {
  return index_.find(propertyName, properties_) != FoldedIndex::kNone;
}

const Property& Component::findProperty(std::string_view propertyName) const {
  const std::size_t found = index_.find(propertyName, properties_);
  return found == FoldedIndex::kNone ? kNoProperty : properties_[found];
}

Property& Component::addProperty(std::string_view propertyName) {
  const std::size_t found = index_.find(propertyName, properties_);
  if (found != FoldedIndex::kNone) {
    return properties_[found];
  }
  properties_.push_back({Name(propertyName), {}});
  index_.appended(properties_);
  return properties_.back();
}

void Component::removeProperty(std::string_view propertyName) {
  const std::size_t found = index_.find(propertyName, properties_);
  if (found != FoldedIndex::kNone) {
    properties_.erase(properties_.begin() + static_cast<std::ptrdiff_t>(found));
    index_.renew(properties_);
  }
}

void Component::dropEmptyValues() {
  for (Property& property : properties_) {
    const auto isEmpty = [](const PropertyValue& value) { return value.isEmptyValue(); };
    property.values.erase(std::remove_if(property.values.begin(), property.values.end(), isEmpty), property.values.end());
  }
}

const Component* Component::findComponent(std::string_view componentName) const {
  const auto found = findNamed(children, componentName);
  return found == children.end() ? nullptr : &*found;
}

void Component::eraseComponents(std::string_view componentName) {
  std::erase_if(children, [&](const Component& child) { return equalsIgnoreCase(child.name, componentName); });
}

}  // namespace nalvo::mail
