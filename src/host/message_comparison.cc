// Two messages, property by property.
#include <algorithm>
#include <map>

#include "host/comparison.h"
#include "host/json.h"
#include "platform/mapi/tags.h"

namespace nalvo::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kShownLength = 200;

struct Property {
  std::string shown;  // "PR_SUBJECT", or what else tells it
  std::string value;
};
// By the name that holds in every file: the tag, or the set and name with the type.
using Properties = std::map<std::string, Property>;

Properties propertiesOf(const PropertyBag& bag) {
  Properties properties;
  for (const ULONG tag : bag.tags()) {
    const Json json = toJson(bag, tag, false);
    const std::string key = json.contains("named") ? json["named"].get<std::string>() : json["tag"].get<std::string>();
    properties[key] = {json.contains("name") ? json["name"].get<std::string>() : key,
                       json["value"].dump(-1, ' ', false, Json::error_handler_t::replace)};
  }
  return properties;
}

std::string shown(const std::string& value) {
  return value.size() <= kShownLength ? value : value.substr(0, kShownLength) + "...";
}

void compareBags(const std::string& where, const PropertyBag& before, const PropertyBag& after, Comparison& result) {
  const Properties old = propertiesOf(before);
  const Properties now = propertiesOf(after);
  for (const auto& [key, property] : old) {
    ++result.compared;
    const auto found = now.find(key);
    if (found != now.end() && found->second.value == property.value) {
      ++result.same;
    } else {
      result.note({where, property.shown, shown(property.value), found == now.end() ? "" : shown(found->second.value), {}});
    }
  }
  for (const auto& [key, property] : now) {
    if (!old.contains(key)) {
      ++result.compared;
      result.note({where, property.shown, {}, shown(property.value), {}});
    }
  }
}

// How much of an attachment's content and names two have in common; what has most belongs together.
int likeness(const MemoryAttachment& a, const MemoryAttachment& b) {
  const Properties first = propertiesOf(a.bag());
  const Properties second = propertiesOf(b.bag());
  int points = 0;
  for (const auto& [key, property] : first) {
    const auto found = second.find(key);
    if (found != second.end() && found->second.value == property.value) {
      points += key.starts_with("3701") ? 100 : 1;
    }
  }
  return points + (static_cast<bool>(a.embedded()) == static_cast<bool>(b.embedded()) ? 10 : 0);
}

void compare(const std::string& where, const MemoryMessage& before, const MemoryMessage& after, Comparison& result) {
  const std::string prefix = where == "message" ? "" : where + "/";
  compareBags(where, before.bag(), after.bag(), result);
  const auto& old = before.parts().recipients;
  const auto& now = after.parts().recipients;
  for (std::size_t i = 0; i < std::max(old.size(), now.size()); ++i) {
    const std::string place = prefix + "recipient " + std::to_string(i);
    if (i >= old.size() || i >= now.size()) {
      ++result.compared;
      result.note({place, "recipient", i < old.size() ? "there" : "", i < now.size() ? "there" : "", {}});
    } else {
      compareBags(place, old[i]->bag(), now[i]->bag(), result);
    }
  }
  std::vector<ComPtr<MemoryAttachment>> rest = after.parts().attachments;
  for (std::size_t i = 0; i < before.parts().attachments.size(); ++i) {
    const ComPtr<MemoryAttachment>& attachment = before.parts().attachments[i];
    const std::string place = prefix + "attachment " + std::to_string(i);
    if (rest.empty()) {
      ++result.compared;
      result.note({place, "attachment", "there", "", {}});
      continue;
    }
    const auto match = std::max_element(rest.begin(), rest.end(), [&](const auto& a, const auto& b) {
      return likeness(*attachment, *a) < likeness(*attachment, *b);
    });
    compareBags(place, attachment->bag(), (*match)->bag(), result);
    if (attachment->embedded() && (*match)->embedded()) {
      compare(place + "/message", *attachment->embedded(), *(*match)->embedded(), result);
    }
    rest.erase(match);
  }
  for (std::size_t i = 0; i < rest.size(); ++i) {
    ++result.compared;
    result.note({where, "attachment", "", "there", {}});
  }
}

}  // namespace

Comparison compareMessages(const MemoryMessage& before, const MemoryMessage& after) {
  Comparison result;
  compare("message", before, after, result);
  return result;
}

}  // namespace nalvo::host
