#include "properties/annotation_reader.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "properties/annotation_name.h"
#include "properties/annotation_stream.h"
#include "properties/lexical.h"
#include "properties/mapi_alloc.h"
#include "properties/mapi_prop_utils.h"
#include "properties/no_convert.h"
#include "properties/serializer.h"

namespace nalvo::AnnotationReader {
namespace {

constexpr SourceFile kSource{".\\Annotations"};

// The value that asks for a property to be deleted.
constexpr std::string_view kNil = "nil";
constexpr ULONG kReadSize = 65536;
// Room made ahead for what a stream says it holds, which may be a lie.
constexpr std::uint64_t kReserveAtMost = 64U << 20;

// A text of the caller.
class TaskText {
 public:
  ~TaskText() { taskFree(text_); }
  TaskText() = default;
  TaskText(const TaskText&) = delete;
  TaskText& operator=(const TaskText&) = delete;
  char** put() { return &text_; }
  bool isNull() const { return text_ == nullptr; }
  std::string_view get() const { return text_; }

 private:
  char* text_ = nullptr;
};

// Writes entries to one object, past its tags that never travel.
class Target {
 public:
  Target(IConvertObject* object, const IID& kind)
      : object_(object),
        allocator_(MapiPropUtils::detail::getAllocator(nullptr, object)),
        kept_(NoConvert::getNonConvertedProps(object, kind)) {
    std::sort(kept_.begin(), kept_.end());
  }

  // The tag that an entry may be applied to; no value if it is to be passed over.
  std::optional<ULONG> tagOf(std::string_view name, AnnotationPath path) const {
    const std::optional<ULONG> tag = tagFromAnnotationName(name, path, object_);
    return tag && !std::binary_search(kept_.begin(), kept_.end(), *tag) ? tag : std::nullopt;
  }

  void setOneProp(ULONG tag, std::string_view text) const {
    const MapiAlloc alloc = MapiAlloc::getAlloc(allocator_.get());
    void* block = nullptr;
    nalvo::detail::rawAlloc(alloc, sizeof(SPropValue), nullptr, &block);
    const MapiBuffer<SPropValue> value(static_cast<SPropValue*>(block), alloc.freeBuffer);
    value->ulPropTag = tag;
    Serializer::fromString(text, allocator_.get(), value.get());
    MapiPropUtils::detail::setPropInternal(object_->setProp(value.get()));
  }

  void deleteProp(ULONG tag) const {
    const HRESULT hr = object_->deleteProp(tag);
    if (hr != MAPI_E_NOT_FOUND) {
      checkHResult(hr, kSource.at("AnnotationReader::detail::deleteProp"));
    }
  }

 private:
  IConvertObject* object_;
  ComPtr<IMapiAllocator> allocator_;
  std::vector<ULONG> kept_;
};

void applyAnnotation(const Target& target, const TaskText& name, const TaskText& value) {
  if (name.isNull() || value.isNull()) {
    return;
  }
  const std::optional<ULONG> tag = target.tagOf(name.get(), AnnotationPath::Vendor);
  if (!tag) {
    return;
  }
  if (value.get() == kNil) {
    target.deleteProp(*tag);
  } else {
    target.setOneProp(*tag, value.get());
  }
}

std::string takeText(LexicalParser& in) { return annotation_stream::desanitise(in.getString()); }

void readOld(std::string_view body, const Target& target) {
  LexicalParser in(body);
  while (!in.atEnd()) {
    const std::string name = takeText(in);
    const std::string value = takeText(in);
    if (const std::optional<ULONG> tag = target.tagOf(name, AnnotationPath::Short)) {
      target.setOneProp(*tag, value);
    }
  }
}

// The next line that is not empty; an empty text at the end.
std::string_view takeLine(std::string_view& body) {
  body.remove_prefix(std::min(body.find_first_not_of('\n'), body.size()));
  const std::string_view line = body.substr(0, body.find('\n'));
  body.remove_prefix(line.size());
  return line;
}

void readLines(std::string_view body, const Target& target) {
  for (std::string_view name = takeLine(body); !name.empty(); name = takeLine(body)) {
    const std::string_view value = takeLine(body);
    if (value.empty()) {
      throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("detail::corruptedData"));
    }
    if (const std::optional<ULONG> tag = target.tagOf(name, AnnotationPath::Short)) {
      target.setOneProp(*tag, value);
    }
  }
}

// What lies behind the stream's position.
std::string restOf(IStream* stream) {
  std::string text;
  STATSTG stat{};
  std::uint64_t position = 0;
  if (succeeded(stream->Stat(&stat, STATFLAG_NONAME)) && succeeded(stream->Seek(0, STREAM_SEEK_CUR, &position)) &&
      stat.cbSize > position) {
    text.reserve(std::min(stat.cbSize - position, kReserveAtMost));
  }
  std::vector<char> buffer(kReadSize);
  for (;;) {
    ULONG count = 0;
    if (failed(stream->Read(buffer.data(), kReadSize, &count)) || count == 0) {
      return text;
    }
    text.append(buffer.data(), std::min(count, kReadSize));
  }
}

}  // namespace

void read(IAnnotations* annotations, IConvertObject* object, const IID& kind) {
  constexpr const char* kWhere = "AnnotationReader::read";
  if (annotations == nullptr || object == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  ComPtr<IEnumAnnotations> entries;
  checkHResult(annotations->enumAnnotations(entries.put()), kSource.at(kWhere));
  if (!entries) {
    throwHResult(E_POINTER, kSource.at(kWhere));
  }
  const Target target(object, kind);
  for (;;) {
    TaskText name;
    TaskText value;
    const HRESULT hr = entries->nextAnnotation(name.put(), value.put());
    checkHResult(hr, kSource.at(kWhere));
    if (hr == S_FALSE) {
      return;
    }
    try {
      applyAnnotation(target, name, value);
    } catch (const HResultException&) {
      // What one client could not read must not keep the rest from a message.
    }
  }
}

void read(IStream* stream, IConvertObject* object, const IID& kind) {
  if (stream == nullptr || object == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("AnnotationReader::read"));
  }
  const std::string text = restOf(stream);
  if (text.empty()) {
    return;
  }
  const Target target(object, kind);
  const std::string_view body(text);
  using namespace annotation_stream;
  try {
    if (body.substr(0, kMarker.size()) == kMarker) {
      readOld(body.substr(kMarker.size()), target);
    } else if (body.substr(0, kLinesMarker.size()) == kLinesMarker) {
      readLines(body.substr(kLinesMarker.size()), target);
    }
  } catch (const HResultException&) {
    // The end of what can be read; a damaged tail costs no message.
  }
}

}  // namespace nalvo::AnnotationReader
