// The fields of a delivery status: paragraphs of rows that empty lines part.
#pragma once

#include <string>
#include <string_view>

#include "mime/mime.h"
#include "platform/com/com_ptr.h"

namespace nalvo::detail {

// Cuts a status into its paragraphs. An empty line is CR LF directly behind CR LF; the paragraph keeps it. Further ones say
// nothing. A new stream each, at its start; null behind the last.
class ParagraphReader {
 public:
  // Reads from the stream's position on. The stream has to outlive the reader.
  explicit ParagraphReader(IStream* source) : source_(source) {}
  ComPtr<IStream> getParagraph();

 private:
  bool fill();

  IStream* source_;
  std::string buffer_;
  std::size_t position_ = 0;
};

// The rows of one paragraph.
class HeadersLoader {
 public:
  explicit HeadersLoader(IStream* stream);
  // False, and `value` is left alone, when there is no such row.
  bool read(const char* name, std::string& value) const;

 private:
  ComPtr<mime::IMimeHeaderTable> table_;
  ComPtr<mime::IMimeAllocator> allocator_;
};

// A field of a type and a value: "rfc822; someone@example.org". Without a value the text stands for the value.
struct TypedField {
  std::string type;
  std::string value;
};
TypedField typedField(std::string_view text);

enum class DeliveryAction { Other, Pending, Delivered, Failed };
DeliveryAction deliveryAction(std::string_view word);

// What a delivery status says of all its recipients.
enum class Verdict { Delivered, Failed, Unclear };

// Counts recipients.
class VerdictMaker {
 public:
  void add(const HeadersLoader& recipient);
  Verdict verdict() const;

 private:
  std::size_t delivered_ = 0;
  std::size_t failed_ = 0;
  std::size_t other_ = 0;
};

}  // namespace nalvo::detail
