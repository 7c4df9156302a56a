#include "mail/v_component.h"

#include <algorithm>

namespace nalvo::mail {
namespace {

// What look-ups that find nothing answer.
const Param kNoParam;
const PropertyValue kNoValue;
const Property kNoProperty;
const std::string kNoText;

template <typename Items>
auto findNamed(Items& items, std::string_view name) {
  return std::find_if(items.begin(), items.end(), [&](const auto& item) { return equalsIgnoreCase(item.name, name); });
}

bool holds(const std::vector<std::string>& values, std::string_view wanted) {
  return std::any_of(values.begin(), values.end(), [&](const auto& value) { return equalsIgnoreCase(value, wanted); });
}

}  // namespace

const Param& PropertyValue::findParam(std::string_view name) const {
  const auto found = findNamed(params, name);
  return found == params.end() ? kNoParam : *found;
}

Param& PropertyValue::getOrAddParam(std::string_view name) {
  const auto found = findNamed(params, name);
  return found == params.end() ? params.emplace_back(Param{std::string(name), {}}) : *found;
}

bool PropertyValue::removeParam(std::string_view name) {
  const auto found = findNamed(params, name);
  if (found == params.end()) {
    return false;
  }
  params.erase(found);
  return true;
}

void PropertyValue::setParam(std::string_view name, std::string_view value) {
  getOrAddParam(name).values.assign(1, std::string(value));
}

void PropertyValue::addParamValue(std::string_view name, std::string_view value) {
  Param& param = getOrAddParam(name);
  if (!holds(param.values, value)) {
    param.values.emplace_back(value);
  }
}

const std::string& PropertyValue::firstParamValue(std::string_view name) const {
  const Param& param = findParam(name);
  return param.values.empty() ? kNoText : param.values.front();
}

bool PropertyValue::hasType(std::string_view type) const {
  const std::vector<std::string>& types = findParam("TYPE").values;
  if (type.empty()) {
    return std::all_of(types.begin(), types.end(), [](const auto& value) { return equalsIgnoreCase(value, "PREF"); });
  }
  return holds(types, type) || findNamed(params, type) != params.end();
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
  properties_.push_back({std::string(propertyName), {}});
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

const Component* Component::findComponent(std::string_view componentName) const {
  const auto found = findNamed(children, componentName);
  return found == children.end() ? nullptr : &*found;
}

void Component::eraseComponents(std::string_view componentName) {
  std::erase_if(children, [&](const Component& child) { return equalsIgnoreCase(child.name, componentName); });
}

}  // namespace nalvo::mail
