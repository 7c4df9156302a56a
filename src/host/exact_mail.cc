#include "host/exact_mail.h"

#include <algorithm>
#include <set>

#include "host/carried_value.h"
#include "host/msg_layout.h"
#include "platform/mapi/tags.h"
#include "properties/tag_names.h"

namespace nalvo::host {
namespace {

// The properties of an object by what holds in every file.
struct Held {
  PropertyKey key;
  const PropertyRecord* record;
};
using HeldValues = std::map<std::string, Held>;

std::string shown(const PropertyKey& key) {
  char number[9];
  std::snprintf(number, sizeof number, "%08x", key.tag);
  const std::string_view name = key.name ? std::string_view("a named property") : tagName(key.tag);
  return std::string(name) + " " + number;
}

Guard guardOf(const PropertyRecord& record, const PropertyKey& key) {
  return key.tag == PR_TRANSPORT_MESSAGE_HEADERS ? Guard::headers(record) : Guard::value(record);
}

HeldValues valuesOf(const PropertyBag& bag) {
  HeldValues values;
  for (const ULONG tag : bag.tags()) {
    if (propType(tag) == PT_OBJECT) {
      continue;  // says that there is a part, which is looked at on its own
    }
    PropertyKey key = keyOf(bag, tag).value_or(PropertyKey{tag, {}});
    std::string text(reinterpret_cast<const char*>(&key.tag), sizeof key.tag);
    if (key.name) {
      text.append(reinterpret_cast<const char*>(&key.name->set), sizeof key.name->set);
      text.append(reinterpret_cast<const char*>(&key.name->id), sizeof key.name->id);
      text.append(reinterpret_cast<const char*>(key.name->name.data()), key.name->name.size() * sizeof(char16_t));
    }
    values.insert_or_assign(std::move(text), Held{std::move(key), bag.findListed(tag)});
  }
  return values;
}

class Differ {
 public:
  explicit Differ(CarriedTree* tree) : tree_(tree) {}

  void compare(const MemoryMessage& before, const MemoryMessage& after, const std::string& prefix) {
    CarriedLayer layer;
    layer.values = differences(before.bag(), after.bag(), prefix + "message");
    layer.recipients = compareParts(before.parts().recipients, after.parts().recipients, prefix + "recipient ");
    layer.attachments = compareParts(before.parts().attachments, after.parts().attachments, prefix + "attachment ");
    if (tree_ != nullptr && !layer.empty()) {
      (*tree_)[&before].push_back(std::move(layer));
    }
  }

  std::vector<std::string> hopeless;

 private:
  void note(const std::string& where, const std::string& what) { hopeless.push_back(where + ": " + what); }

  // An identifier that no other file knows can't be carried.
  bool canCarry(const PropertyKey& key) const { return tree_ != nullptr && (key.name || propId(key.tag) < 0x8000); }

  std::vector<CarriedValue> differences(const PropertyBag& before, const PropertyBag& after, const std::string& where) {
    std::vector<CarriedValue> result;
    const HeldValues old = valuesOf(before);
    const HeldValues now = valuesOf(after);
    const auto add = [&](const PropertyKey& key, Guard guard, CarriedValue::Action action, PropertyRecord record) {
      if (canCarry(key)) {
        result.push_back({key, std::move(guard), action, std::move(record)});
      } else {
        note(where, shown(key));
      }
    };
    for (const auto& [text, held] : old) {
      const auto found = now.find(text);
      if (found == now.end()) {
        add(held.key, {Guard::Kind::Absent, 0, {}}, CarriedValue::Action::Set, *held.record);
      } else if (digestOf(*held.record) != digestOf(*found->second.record)) {
        add(held.key, guardOf(*found->second.record, held.key), CarriedValue::Action::Set, *held.record);
      }
    }
    for (const auto& [text, held] : now) {
      if (!old.contains(text)) {
        add(held.key, guardOf(*held.record, held.key), CarriedValue::Action::Remove, {});
      }
    }
    return result;
  }

  std::vector<CarriedValue> differencesOf(const MemoryRecipient& before, const MemoryRecipient& after,
                                          const std::string& where) {
    return differences(before.bag(), after.bag(), where);
  }
  std::vector<CarriedValue> differencesOf(const MemoryAttachment& before, const MemoryAttachment& after,
                                          const std::string& where) {
    std::vector<CarriedValue> values = differences(before.bag(), after.bag(), where);
    if (before.embedded() && after.embedded()) {
      compare(*before.embedded(), *after.embedded(), where + "/");
    } else if (before.embedded()) {
      note(where, "the message inside");
    } else if (after.embedded()) {
      const auto data = std::find_if(values.begin(), values.end(),
                                     [](const CarriedValue& value) { return value.key.tag == PR_ATTACH_DATA_BIN; });
      if (data == values.end()) {
        note(where, "a message that was not there");
      } else {
        data->guard = Guard::message(*after.embedded());
      }
    }
    return values;
  }

  std::vector<CarriedValue> valuesOfNew(const MemoryRecipient& part, const std::string& where) {
    return differences(part.bag(), PropertyBag(part.context(), part.bag().nameMap()), where);
  }
  std::vector<CarriedValue> valuesOfNew(const MemoryAttachment& part, const std::string& where) {
    if (part.embedded()) {
      note(where, "the message inside");
    }
    return differences(part.bag(), PropertyBag(part.context(), part.bag().nameMap()), where);
  }

  template <typename T>
  static Pairing pairOf(const std::vector<ComPtr<T>>& before, const std::vector<ComPtr<T>>& after) {
    std::vector<std::vector<std::string>> wanted;
    std::vector<std::vector<std::string>> there;
    for (const auto& part : before) {
      wanted.push_back(marksOf(*part));
    }
    for (const auto& part : after) {
      there.push_back(marksOf(*part));
    }
    Pairing partners = pair(wanted, there);
    // Those that nothing ties together go by their order.
    std::vector<bool> taken(after.size(), false);
    for (const auto& partner : partners) {
      if (partner) {
        taken[*partner] = true;
      }
    }
    std::size_t next = 0;
    for (auto& partner : partners) {
      while (next < taken.size() && taken[next]) {
        ++next;
      }
      if (!partner && next < taken.size()) {
        partner = next++;
      }
    }
    return partners;
  }

  // Empty if there is nothing to put back.
  template <typename T>
  std::vector<CarriedPart> compareParts(const std::vector<ComPtr<T>>& before, const std::vector<ComPtr<T>>& after,
                                        const std::string& prefix) {
    const Pairing partners = pairOf(before, after);
    std::vector<CarriedPart> parts;
    std::set<std::size_t> found;
    bool differs = false;
    for (std::size_t i = 0; i < before.size(); ++i) {
      const std::string where = prefix + std::to_string(i);
      CarriedPart& part = parts.emplace_back();
      differs = differs || partners[i] != i;
      if (partners[i]) {
        found.insert(*partners[i]);
        part.marks.push_back(placeMark(*partners[i], after.size()));
        part.values = differencesOf(*before[i], *after[*partners[i]], where);
        differs = differs || !part.values.empty();
      } else {
        part.values = valuesOfNew(*before[i], where);
      }
    }
    for (std::size_t i = 0; i < after.size(); ++i) {
      if (!found.contains(i)) {
        parts.push_back({{placeMark(i, after.size())}, true, {}});
        differs = true;
      }
    }
    if (tree_ == nullptr && differs) {
      note(prefix + "list", "order or number");
    }
    return differs ? parts : std::vector<CarriedPart>();
  }

  CarriedTree* tree_;
};

}  // namespace

std::vector<std::string> addDifferences(const MemoryMessage& before, const MemoryMessage& after, CarriedTree* tree) {
  Differ differ(tree);
  differ.compare(before, after, "");
  return std::move(differ.hopeless);
}

std::vector<MemoryMessage*> messagesOf(MemoryMessage& message) {
  std::vector<MemoryMessage*> messages{&message};
  for (std::size_t i = 0; i < messages.size(); ++i) {
    for (const auto& attachment : messages[i]->parts().attachments) {
      if (attachment->embedded()) {
        messages.push_back(attachment->embedded().get());
      }
    }
  }
  return messages;
}

}  // namespace nalvo::host
