// The tree of calendar and card text: components, their properties, the values of these and the parameters of each value.
// Nothing here knows what a property means. All text is UTF-8; names compare without case, and the first form of a name is
// the one that is written.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "mail/date_time.h"
#include "mail/v_folded_index.h"
#include "mail/v_name.h"
#include "mail/v_params.h"

namespace nalvo::mail {

class HeaderLex;
class NTimeZone;

// Zones by TZID.
using Zones = std::map<std::string, std::shared_ptr<const NTimeZone>, std::less<>>;

// What one line says of a property.
struct PropertyValue {
  std::string text;  // its escapes are resolved; those of the fields of ADR, N and ORG are kept
  Params params;

  // An empty one when it isn't there.
  Param findParam(std::string_view name) const;
  // Whether it was there.
  bool removeParam(std::string_view name);
  void clearParams() { params = {}; }
  // Exactly this value.
  void setParam(std::string_view name, std::string_view value);
  // Adds the value unless the parameter holds it.
  void addParamValue(std::string_view name, std::string_view value);
  // Empty when there is none. Good until the parameters change.
  std::string_view firstParamValue(std::string_view name) const;

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
struct Property {  // NOLINT(bugprone-exception-escape): a small_vector that moves allocates nothing
  Name name;
  boost::container::small_vector<PropertyValue, 1> values;  // nearly always one

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

// Takes the next piece of a text, and answers whether it wants more.
using Sink = std::function<bool(std::string_view)>;

// All that `print` gives to a sink. It may be called twice, for a string that grows takes several times its size.
std::string collectText(const std::function<void(const Sink&)>& print);

// References to properties and their values hold until a property is added or removed, to children likewise.
class Component {
 public:
  // Deeper ones are passed over when reading: each level costs stack when a tree is copied or written.
  static constexpr int kMostDepth = 100;

  Component() = default;
  explicit Component(std::string_view componentName) : name(componentName) {}

  Name name;
  std::vector<Component> children;

  void clear() { *this = Component(); }

  const std::vector<Property>& properties() const { return properties_; }
  bool hasProperty(std::string_view propertyName) const;
  // An empty one when it isn't there.
  const Property& findProperty(std::string_view propertyName) const;
  // Gets it, or makes it behind all others.
  Property& addProperty(std::string_view propertyName);
  void removeProperty(std::string_view propertyName);
  // Those of the properties of this component, which are never written anyway: what is first now is so in the text too.
  void dropEmptyValues();

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

  // Gives the text to `sink`, or nothing when no property has a value. `firstChildren` are written ahead of the children.
  void print(const Sink& sink, std::span<const Component> firstChildren = {}) const;
  std::string toText() const;

 private:
  std::vector<Property> properties_;
  FoldedIndex index_;
};

// What the text of a value is after it was written and read again: blanks in front go, what looks like an encoded word is
// decoded, carriage returns go, and separators alone are nothing.
std::string rereadValue(std::string_view text);

}  // namespace nalvo::mail
