// Two messages, property by property.
#include <algorithm>

#include "host/comparison.h"
#include "host/digest.h"
#include "host/json.h"
#include "host/mail.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

using Json = nlohmann::ordered_json;

struct Property {
  std::string shown;  // "PR_SUBJECT", or what else tells it
  std::string value;  // as JSON
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

Facts factsOf(const Properties& properties) {
  Facts facts;
  for (const auto& [key, property] : properties) {
    facts[property.shown] = property.value;
  }
  return facts;
}

void compareBags(Place place, const std::string& where, const Properties& before, const Properties& after, const Facts& old,
                 const Facts& now, Comparison& result) {
  for (const auto& [key, property] : before) {
    const auto found = after.find(key);
    if (found != after.end() && found->second.value == property.value) {
      result.noteSame();
    } else {
      result.note(place, {where, property.shown, property.value, found == after.end() ? "" : found->second.value, {}}, old,
                  now);
    }
  }
  for (const auto& [key, property] : after) {
    if (!before.contains(key)) {
      result.note(place, {where, property.shown, {}, property.value, {}}, old, now);
    }
  }
}

std::string valueOf(const Properties& properties, ULONG tag) {
  char key[9];
  std::snprintf(key, sizeof key, "%08x", tag);
  const auto found = properties.find(key);
  return found == properties.end() ? std::string() : found->second.value;
}

// A row of the recipient table that did not come back, or came out of nothing.
void noteRow(const std::string& where, const char* what, const Properties& row, bool lost, Comparison& result) {
  std::string told = valueOf(row, PR_DISPLAY_NAME) + " " + valueOf(row, PR_EMAIL_ADDRESS);
  const Facts facts = factsOf(row);
  static const Facts kNone;
  result.note(Place::Recipient, {where, what, lost ? told : std::string(), lost ? std::string() : told, {}},
              lost ? facts : kNone, lost ? kNone : facts);
}

// A mail has the recipients in the order To, Cc, Bcc, each kind in the order of its rows.
std::vector<Properties> rowsInMailOrder(const MemoryMessage& message) {
  std::vector<Properties> rows;
  for (const auto& recipient : message.parts().recipients) {
    rows.push_back(propertiesOf(recipient->bag()));
  }
  const auto rank = [](const Properties& row) {
    const std::string type = valueOf(row, PR_RECIPIENT_TYPE);
    return type == "2" ? 2 : type == "3" ? 3 : 1;
  };
  std::stable_sort(rows.begin(), rows.end(),
                   [&rank](const Properties& a, const Properties& b) { return rank(a) < rank(b); });
  return rows;
}

// Neither name nor address: such a row has nothing that a mail could say.
bool isBlank(const Properties& row) {
  const auto blank = [&row](ULONG tag) {
    const std::string value = valueOf(row, tag);
    return value.empty() || value == "\"\"";
  };
  return blank(PR_DISPLAY_NAME) && blank(PR_EMAIL_ADDRESS);
}

void compareRecipients(const std::string& prefix, const MemoryMessage& before, const MemoryMessage& after,
                       Comparison& result) {
  const std::vector<Properties> old = rowsInMailOrder(before);
  const std::vector<Properties> now = rowsInMailOrder(after);
  std::size_t next = 0;
  for (std::size_t i = 0; i < old.size(); ++i) {
    const std::string place = prefix + "recipient " + std::to_string(i);
    if (next < now.size() && (!isBlank(old[i]) || isBlank(now[next]))) {
      compareBags(Place::Recipient, place, old[i], now[next], factsOf(old[i]), factsOf(now[next]), result);
      ++next;
    } else {
      noteRow(place, isBlank(old[i]) ? "blank recipient" : "recipient", old[i], true, result);
    }
  }
  for (; next < now.size(); ++next) {
    noteRow(prefix + "recipient " + std::to_string(next), "recipient", now[next], false, result);
  }
}

struct Part {
  const MemoryAttachment* attachment;
  Properties properties;
};

std::vector<Part> partsOf(const MemoryMessage& message) {
  std::vector<Part> parts;
  for (const auto& attachment : message.parts().attachments) {
    parts.push_back({attachment.get(), propertiesOf(attachment->bag())});
  }
  return parts;
}

Facts factsOf(const Part& part) {
  Facts facts = factsOf(part.properties);
  const PropertyRecord* data = part.attachment->bag().find(PR_ATTACH_DATA_BIN);
  if (data != nullptr && toLowerAscii(valueOf(part.properties, PR_ATTACH_MIME_TAG)) == "\"multipart/signed\"") {
    const std::string bytes = bytesOf(*data);
    const std::size_t end = bytes.find("\r\n\r\n");
    facts.emplace(kSignedTextFact, sha256(end == std::string::npos ? bytes : bytes.substr(end)));
  }
  return facts;
}

// The message that an attachment holds, or that its data become when they are a mail in a file.
ComPtr<MemoryMessage> messageOf(const MemoryAttachment& attachment) {
  const PropertyRecord* data = attachment.bag().find(PR_ATTACH_DATA_BIN);
  if (attachment.embedded() || data == nullptr) {
    return attachment.embedded();
  }
  ComPtr<IStream> mail;
  if (failed(openRecord(*data, PT_BINARY, mail.put()))) {
    return {};
  }
  ComPtr<MemoryMessage> message = readMail(mail.get(), attachment.context(), FILETIME{}, nullptr);
  // What a server would tell of a mail that is no attachment.
  for (const ULONG tag :
       {PR_MESSAGE_DELIVERY_TIME, PR_MESSAGE_SIZE, PR_HASATTACH, PR_CREATION_TIME, PR_LAST_MODIFICATION_TIME}) {
    message->bag().take(tag);
  }
  return message;
}

// How much of content and names two attachments have in common; what has most belongs together.
int likeness(const Part& a, const Part& b) {
  constexpr int kSameData = 100;
  constexpr int kSameKind = 10;
  int points = static_cast<bool>(a.attachment->embedded()) == static_cast<bool>(b.attachment->embedded()) ? kSameKind : 0;
  for (const auto& [key, property] : a.properties) {
    const auto found = b.properties.find(key);
    if (found != b.properties.end() && found->second.value == property.value) {
      points += property.shown == "PR_ATTACH_DATA_BIN" ? kSameData : 1;
    }
  }
  return points;
}

void compare(const std::string& where, const MemoryMessage& before, const MemoryMessage& after, Comparison& result) {
  const std::string prefix = where == "message" ? "" : where + "/";
  const Properties oldOwn = propertiesOf(before.bag());
  const Properties nowOwn = propertiesOf(after.bag());
  compareBags(Place::Message, where, oldOwn, nowOwn, factsOf(oldOwn), factsOf(nowOwn), result);
  compareRecipients(prefix, before, after, result);
  const std::vector<Part> old = partsOf(before);
  std::vector<Part> rest = partsOf(after);
  static const Facts kNone;
  for (std::size_t i = 0; i < old.size(); ++i) {
    const std::string place = prefix + "attachment " + std::to_string(i);
    if (rest.empty()) {
      result.note(Place::Attachment,
                  {place, "attachment", valueOf(old[i].properties, PR_ATTACH_LONG_FILENAME) + " ", {}, {}},
                  factsOf(old[i].properties), kNone);
      continue;
    }
    const auto match = std::max_element(
        rest.begin(), rest.end(), [&](const Part& a, const Part& b) { return likeness(old[i], a) < likeness(old[i], b); });
    compareBags(Place::Attachment, place, old[i].properties, match->properties, factsOf(old[i]), factsOf(*match), result);
    const ComPtr<MemoryMessage> inner = match->attachment->embedded();
    if (const ComPtr<MemoryMessage> expected = inner ? messageOf(*old[i].attachment) : ComPtr<MemoryMessage>()) {
      compare(place + "/message", *expected, *inner, result);
    }
    rest.erase(match);
  }
  for (const Part& part : rest) {
    result.note(Place::Attachment, {where, "attachment", {}, valueOf(part.properties, PR_ATTACH_LONG_FILENAME) + " ", {}},
                kNone, factsOf(part.properties));
  }
}

}  // namespace

Comparison compareMessages(const MemoryMessage& before, const MemoryMessage& after) {
  Comparison result;
  compare("message", before, after, result);
  return result;
}

}  // namespace nalvo::host
