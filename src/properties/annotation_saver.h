// Writes properties as annotations, for what MIME has no place for.
#pragma once

#include <string_view>

#include "nalvo/interfaces.h"
#include "platform/com/com_ptr.h"

namespace nalvo {

// Lives as long as one message, attachment, folder or store is converted.
class AnnotationSaver {
 public:
  // Into the caller's set, with names under the vendor's path. Throws E_INVALIDARG for null and the object's code.
  AnnotationSaver(IConvertObject* object, IAnnotations* annotations);
  // Into a stream at its position, with short names. Writes the marker at once. Throws also the stream's code. The stream is
  // neither rewound nor committed.
  AnnotationSaver(IConvertObject* object, IStream* stream);

  // Adds the property as the object has it. Objects (PT_OBJECT) are passed over untouched. Throws the codes of getProp,
  // MAPI_E_NOT_FOUND among them, of the annotations and of the stream, and what Serializer::toString throws; an entry that
  // the stream took in part stays there.
  void addProperty(ULONG tag);
  // Adds a value that the caller has. E_INVALIDARG for null.
  void addProperty(const SPropValue* value);

 private:
  void addToAnnotations(const SPropValue& value);
  void addToStream(const SPropValue& value);
  void write(std::string_view bytes);
  // Writes what stands between two quotes.
  void writeQuoted(std::string_view text);

  ComPtr<IConvertObject> object_;
  ComPtr<IStream> stream_;            // null: annotations
  ComPtr<IAnnotations> annotations_;  // null: stream
  ComPtr<IMapiAllocator> allocator_;
  bool notFirst_ = false;
};

}  // namespace nalvo
