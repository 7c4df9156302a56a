// Puts back what a mail carries beside it.
#include <algorithm>
#include <unordered_map>

#include "host/carried.h"
#include "host/carried_value.h"
#include "host/digest.h"
#include "host/json.h"
#include "host/little_endian.h"
#include "host/msg_layout.h"
#include "host/series.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"

namespace nalvo::host {
namespace {

constexpr std::size_t kDigestLength = 16;
// A mark has to tell parts of one message from each other, no more.
constexpr std::size_t kMarkLength = 16;
// Bits of PR_RECIPIENT_TYPE that tell how far a mail that was sent in pieces has got.
constexpr std::int32_t kResendBits = static_cast<std::int32_t>(0x90000000);

std::u16string answeredText(const PropertyBag& bag, ULONG tag) { return bag.text(changePropType(tag, PT_UNICODE)); }

std::string words(std::u16string_view text) { return wideToUtf8(wordsOf(text)); }

std::string digestOfWords(std::u16string_view text) { return sha256(words(text)).substr(0, kDigestLength); }

std::string digestOfMessage(const MemoryMessage& message) {
  const std::string text = toJson(message, false).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  return sha256(text).substr(0, kDigestLength);
}

// A header block without the values of boundary parameters.
std::u16string withoutBoundaries(std::u16string_view block) {
  constexpr std::u16string_view kParameter = u"boundary=";
  std::u16string result;
  while (!block.empty()) {
    const std::size_t at = std::min(block.find(kParameter), block.size());
    result += block.substr(0, at);
    block.remove_prefix(at);
    block.remove_prefix(std::min(block.find_first_of(u";\r\n"), block.size()));
  }
  return result;
}

std::string digestOfHeaders(const PropertyRecord& record) {
  return sha256(wideToUtf8(withoutBoundaries(textOf(record)))).substr(0, kDigestLength);
}

std::string digestOfSeries(const std::vector<std::uint32_t>& meaning) {
  std::string bytes;
  for (const std::uint32_t number : meaning) {
    appendTo(bytes, number);
  }
  return sha256(bytes).substr(0, kDigestLength);
}

bool isSeries(const PropertyRecord& record, const Guard& guard) {
  const auto kind = static_cast<SeriesKind>(guard.tag);
  return record.type == PT_BINARY && digestOfSeries(seriesMeaning(bytesOf(record), kind)) == guard.digest;
}

bool isText(const PropertyRecord& record) { return record.type == PT_UNICODE || record.type == PT_STRING8; }

ULONG nameTagOf(ULONG addressTag) {
  return addressTag == PR_SENDER_EMAIL_ADDRESS ? PR_SENDER_NAME : PR_SENT_REPRESENTING_NAME;
}

bool holds(const Guard& guard, const PropertyBag& bag, ULONG tag, const MemoryAttachment* attachment) {
  switch (guard.kind) {
    case Guard::Kind::Always:
      return true;
    case Guard::Kind::Absent:
      return bag.findListed(tag) == nullptr;
    case Guard::Kind::Value: {
      const PropertyRecord* record = bag.findListed(tag);
      return record != nullptr && digestOf(*record) == guard.digest;
    }
    case Guard::Kind::Words: {
      const PropertyRecord* record = bag.answer(guard.tag);
      return (record == nullptr || isText(*record)) &&
             guard.digest.find(digestOfWords(answeredText(bag, guard.tag))) != std::string::npos;
    }
    case Guard::Kind::Person:
      return digestOfWords(answeredText(bag, guard.tag)) == guard.digest ||
             digestOfWords(answeredText(bag, nameTagOf(guard.tag))) == guard.digest;
    case Guard::Kind::Headers: {
      const PropertyRecord* record = bag.findListed(tag);
      return record != nullptr && isText(*record) && digestOfHeaders(*record) == guard.digest;
    }
    case Guard::Kind::Series: {
      const PropertyRecord* record = bag.findListed(tag);
      return record != nullptr && isSeries(*record, guard);
    }
    case Guard::Kind::Message:
      return attachment != nullptr && attachment->embedded() && digestOfMessage(*attachment->embedded()) == guard.digest;
  }
  return false;
}

// Nothing happens unless the narrow bytes give the same text again.
void narrow(PropertyBag& bag, ULONG tag, CodePage codePage) {
  const PropertyRecord* record = bag.findListed(tag);
  if (record == nullptr || findCodePage(codePage) == nullptr) {
    return;
  }
  if (record->type == PT_UNICODE) {
    const std::u16string text = textOf(*record);
    std::string bytes = encodeText(text, codePage);
    if (decodeText(bytes, codePage) == text) {
      bag.restore(tag, {PT_STRING8, std::move(bytes), codePage});
    }
  } else if (record->type == PT_MV_UNICODE) {
    const std::vector<std::u16string> texts = textsOf(*record);
    std::vector<std::string> bytes;
    for (const std::u16string& text : texts) {
      bytes.push_back(encodeText(text, codePage));
      if (decodeText(bytes.back(), codePage) != text) {
        return;
      }
    }
    bag.restore(tag, {PT_MV_STRING8, std::move(bytes), codePage});
  }
}

void applyValues(const std::vector<CarriedValue>& values, PropertyBag& bag, MemoryAttachment* attachment) {
  // A value that is put back must not decide about another.
  std::vector<std::pair<ULONG, const CarriedValue*>> fitting;
  for (const CarriedValue& value : values) {
    const std::optional<ULONG> tag = tagOf(value.key, bag);
    if (tag && holds(value.guard, bag, *tag, attachment)) {
      fitting.emplace_back(*tag, &value);
    }
  }
  for (const auto& [tag, value] : fitting) {
    switch (value->action) {
      case CarriedValue::Action::Set:
        bag.restore(tag, value->record);
        if (attachment != nullptr && tag == PR_ATTACH_DATA_BIN && attachment->embedded()) {
          attachment->setEmbedded({});
          bag.take(PR_ATTACH_DATA_OBJ);
        }
        break;
      case CarriedValue::Action::Remove:
        bag.take(tag);
        break;
      case CarriedValue::Action::Narrow:
        narrow(bag, tag, value->record.codePage);
        break;
    }
  }
}

void applyTo(const CarriedPart& part, MemoryRecipient& recipient) { applyValues(part.values, recipient.bag(), nullptr); }
void applyTo(const CarriedPart& part, MemoryAttachment& attachment) {
  applyValues(part.values, attachment.bag(), &attachment);
}

void applyParts(const std::vector<CarriedPart>& carried, MemoryMessage& message, auto& there, const auto& addOne) {
  if (carried.empty()) {
    return;
  }
  std::vector<std::vector<std::string>> wanted;
  std::vector<std::vector<std::string>> marks;
  for (const CarriedPart& part : carried) {
    wanted.push_back(part.marks);
  }
  for (std::size_t i = 0; i < there.size(); ++i) {
    marks.push_back(marksOf(*there[i]));
    marks.back().push_back(placeMark(i, there.size()));
  }
  const Pairing partners = pair(wanted, marks);
  std::size_t found = 0;
  bool complete = true;
  for (std::size_t i = 0; i < carried.size(); ++i) {
    if (partners[i]) {
      applyTo(carried[i], *there[*partners[i]]);
      ++found;
    } else {
      complete = complete && carried[i].marks.empty();
    }
  }
  if (!complete || found != there.size()) {
    return;
  }
  std::remove_reference_t<decltype(there)> ordered;
  for (std::size_t i = 0; i < carried.size(); ++i) {
    if (partners[i] && !carried[i].isExtra) {
      ordered.push_back(there[*partners[i]]);
    } else if (!partners[i]) {
      applyTo(carried[i], addOne(message));
      ordered.push_back(there.back());
    }
  }
  there = std::move(ordered);
}

std::vector<std::string> marksFrom(std::initializer_list<std::string> texts) {
  std::vector<std::string> marks;
  for (const std::string& text : texts) {
    if (!text.empty()) {
      marks.push_back(sha256(text).substr(0, kMarkLength));
    }
  }
  return marks;
}

}  // namespace

Guard Guard::value(const PropertyRecord& record) { return {Kind::Value, 0, digestOf(record)}; }
Guard Guard::words(ULONG tag, std::u16string_view text) { return {Kind::Words, tag, digestOfWords(text)}; }
Guard Guard::person(ULONG addressTag, std::u16string_view addressOrName) {
  return {Kind::Person, addressTag, digestOfWords(addressOrName)};
}
Guard Guard::headers(const PropertyRecord& record) { return {Kind::Headers, 0, digestOfHeaders(record)}; }
Guard Guard::words(ULONG tag, std::u16string_view text, std::u16string_view otherText) {
  return {Kind::Words, tag, digestOfWords(text) + " " + digestOfWords(otherText)};
}
Guard Guard::series(const std::vector<std::uint32_t>& meaning, SeriesKind kind) {
  return {Kind::Series, static_cast<ULONG>(kind), digestOfSeries(meaning)};
}
Guard Guard::message(const MemoryMessage& message) { return {Kind::Message, 0, digestOfMessage(message)}; }

std::vector<std::string> marksOf(const MemoryRecipient& recipient) {
  const PropertyBag& bag = recipient.bag();
  const std::int32_t kind = bag.number(PR_RECIPIENT_TYPE).value_or(1) & ~kResendBits;
  const std::string group = kind == 2 ? "cc " : kind == 3 ? "bcc " : "to ";
  const std::u16string type = answeredText(bag, PR_ADDRTYPE);
  // An address of another system is in no mail.
  const bool isSmtp = type.empty() || equalsIgnoreCase(type, u"SMTP");
  const std::string address = isSmtp ? words(answeredText(bag, PR_EMAIL_ADDRESS)) : std::string();
  const std::string name = words(answeredText(bag, PR_DISPLAY_NAME));
  return marksFrom({address.empty() ? "" : group + name + " <" + address + ">",
                    address.empty() ? "" : group + "<" + address + ">", name.empty() ? "" : group + name});
}

std::vector<std::string> marksOf(const MemoryAttachment& attachment) {
  const PropertyBag& bag = attachment.bag();
  std::u16string name;
  for (const ULONG tag : {PR_ATTACH_LONG_FILENAME, PR_ATTACH_FILENAME, PR_DISPLAY_NAME}) {
    name = name.empty() ? answeredText(bag, tag) : name;
  }
  const std::string named = name.empty() ? std::string() : "name " + words(name);
  if (attachment.embedded()) {
    const std::string subject = "message " + words(answeredText(attachment.embedded()->bag(), PR_SUBJECT));
    return marksFrom({subject + named, subject, named, "message"});
  }
  const PropertyRecord* ole = bag.find(msg::kTagOleData);
  const PropertyRecord* data = ole != nullptr ? ole : bag.find(PR_ATTACH_DATA_BIN);
  const std::uint64_t size = data == nullptr ? 0 : contentSize(*data);
  const std::string content = (ole != nullptr ? "object " : "file ") + std::to_string(size);
  const std::u16string path = answeredText(bag, PR_ATTACH_LONG_PATHNAME);
  return marksFrom({content + named, size == 0 ? "" : content, path.empty() ? "" : "path " + words(path), named,
                    ole != nullptr ? "object" : "file"});
}

std::string placeMark(std::size_t index, std::size_t count) {
  return "#" + std::to_string(index) + "/" + std::to_string(count);
}

Pairing pair(const std::vector<std::vector<std::string>>& wanted, const std::vector<std::vector<std::string>>& there) {
  struct Candidates {
    std::vector<std::size_t> indices;
    std::size_t next = 0;
  };
  std::unordered_map<std::string_view, Candidates> byMark;
  for (std::size_t i = 0; i < there.size(); ++i) {
    for (const std::string& mark : there[i]) {
      byMark[mark].indices.push_back(i);
    }
  }
  std::size_t levels = 0;
  for (const auto& marks : wanted) {
    levels = std::max(levels, marks.size());
  }
  Pairing partners(wanted.size());
  std::vector<bool> taken(there.size(), false);
  for (std::size_t level = 0; level < levels; ++level) {
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      const auto found = partners[i] || level >= wanted[i].size() ? byMark.end() : byMark.find(wanted[i][level]);
      if (found == byMark.end()) {
        continue;
      }
      Candidates& candidates = found->second;
      while (candidates.next < candidates.indices.size() && taken[candidates.indices[candidates.next]]) {
        ++candidates.next;
      }
      if (candidates.next < candidates.indices.size()) {
        partners[i] = candidates.indices[candidates.next];
        taken[*partners[i]] = true;
      }
    }
  }
  return partners;
}

void apply(const Carried& carried, MemoryMessage& message) {
  for (const CarriedLayer& layer : carried) {
    applyValues(layer.values, message.bag(), nullptr);
    applyParts(layer.recipients, message, message.parts().recipients,
               [](MemoryMessage& to) -> MemoryRecipient& { return to.addRecipient(); });
    applyParts(layer.attachments, message, message.parts().attachments,
               [](MemoryMessage& to) -> MemoryAttachment& { return to.addAttachment(); });
  }
}

}  // namespace nalvo::host
