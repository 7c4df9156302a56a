// The tree of calendar and card text: components, their properties, the values of these and the parameters of each value.
// Nothing here knows what a property means. All text is UTF-8; names compare without case, and the first form of a name is
// the one that is written.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mail/date_time.h"
#include "mail/v_folded_index.h"

namespace nalvo::mail {

class HeaderLex;
class NTimeZone;

// Zones by TZID.
using Zones = std::map<std::string, std::shared_ptr<const NTimeZone>, std::less<>>;

struct Param {
  std::string name;
  std::vector<std::string> values;  // no two alike without case; none for a bare parameter (";HOME"), which is never written
};

// What one line says of a property.
struct PropertyValue {
  std::string text;  // its escapes are resolved; those of the fields of ADR, N and ORG are kept
  std::vector<Param> params;

  // An empty one when it isn't there.
  const Param& findParam(std::string_view name) const;
  Param& getOrAddParam(std::string_view name);
  // Whether it was there.
  bool removeParam(std::string_view name);
  void clearParams() { params.clear(); }
  // Exactly this value.
  void setParam(std::string_view name, std::string_view value);
  // Adds the value unless the parameter holds it.
  void addParamValue(std::string_view name, std::string_view value);
  // Empty when there is none.
  const std::string& firstParamValue(std::string_view name) const;

  // TYPE holds it, or a bare parameter has this name. With an empty `type`: TYPE holds nothing but "PREF".
  bool hasType(std::string_view type) const;
  bool isPreferred() const { return hasType("PREF"); }
  void setPreferred() { addParamValue("TYPE", "PREF"); }

  // VALUE says DATE, or the text has no time.
  bool isDate() const;
  // Nothing to write: no text, or separators alone.
  bool isEmptyValue() const;

  // Replaces text and parameters: VALUE=DATE for a whole day, TZID for a date in a zone, which then goes without an offset.
  // `flags` as of DateTime::toString.
  void setDateTime(const DateTime& date, unsigned flags = 0);
  // In the zone of TZID; a whole day is at offset zero. Null when it can't be read.
  DateTime getDateTime(const Zones& zones) const;
  // The same for each of the texts parted by ",".
  std::vector<DateTime> getDateTimes(const Zones& zones) const;
  // What `item` says in the place of `text`. `zone` is that of TZID, as resolveZone gives it.
  DateTime readDate(std::string_view item, const std::shared_ptr<const NTimeZone>& zone) const;
  // The zone of TZID: of `zones`, else one of that very name of the library's own, else UTC. Null without a TZID.
  std::shared_ptr<const NTimeZone> resolveZone(const Zones& zones) const;
};

// All lines of one name. They are written together, at the place of the first.
struct Property {
  std::string name;
  std::vector<PropertyValue> values;

  // Empty when there is no value.
  const std::string& firstText() const { return firstValue().text; }
  const PropertyValue& firstValue() const;
  PropertyValue& addValue() { return values.emplace_back(); }
  // Makes one when there is none.
  PropertyValue& firstValueForWrite() { return valueAt(0); }
  // Makes those that are missing up to this one.
  PropertyValue& valueAt(std::size_t index);
  void clearValues() { values.clear(); }
  // The text of the first value; its parameters stay.
  void setValue(std::string_view text) { firstValueForWrite().text = text; }
};

// References to properties hold until another is added or removed, to children likewise.
class Component {
 public:
  // Deeper ones are passed over when reading: each level costs stack when a tree is copied or written.
  static constexpr int kMostDepth = 100;

  Component() = default;
  explicit Component(std::string_view componentName) : name(componentName) {}

  std::string name;
  std::vector<Component> children;

  void clear() { *this = Component(); }

  const std::vector<Property>& properties() const { return properties_; }
  bool hasProperty(std::string_view propertyName) const;
  // An empty one when it isn't there.
  const Property& findProperty(std::string_view propertyName) const;
  // Gets it, or makes it behind all others.
  Property& addProperty(std::string_view propertyName);
  void removeProperty(std::string_view propertyName);

  // The text of the first value.
  const std::string& getPropertyText(std::string_view propertyName) const { return findProperty(propertyName).firstText(); }
  void setPropertyText(std::string_view propertyName, std::string_view text) { addProperty(propertyName).setValue(text); }
  void addValueText(std::string_view propertyName, std::string text) {
    addProperty(propertyName).addValue().text = std::move(text);
  }

  // Null when there is none.
  const Component* findComponent(std::string_view componentName) const;
  Component& addComponent(std::string_view componentName) { return children.emplace_back(componentName); }
  // All children of that name.
  void eraseComponents(std::string_view componentName);

  // Replaces this by the first component that `lexer` gives, or the first named `wantedName` when that isn't empty. False
  // when there is none. Lines that make no sense are dropped, what is cut off at the end stands.
  bool read(HeaderLex& lexer, std::string_view wantedName);

  // Appends the text, or nothing when no property has a value. `firstChildren` are written ahead of the children.
  void print(std::string& out, std::span<const Component> firstChildren = {}) const;

 private:
  std::vector<Property> properties_;
  FoldedIndex index_;
};

}  // namespace nalvo::mail
