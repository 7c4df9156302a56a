#include "frame/folder_conversion.h"

#include <vector>

#include "diagnostics/hresult_exception.h"
#include "properties/annotation_reader.h"
#include "properties/annotation_saver.h"
#include "properties/no_convert.h"

namespace nalvo::Conversion {
namespace {

constexpr SourceFile kSource{".\\Conversion"};

void checkArguments(const IConvertObject* object, const IAnnotations* annotations, DWORD flags, const char* function) {
  if (object == nullptr || annotations == nullptr || flags != 0) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
}

}  // namespace

bool detail::propsToAnnotations(IConvertObject* object, IAnnotations* annotations, const IID& kind) {
  checkArguments(object, annotations, 0, "Conversion::detail::propsToAnnotations");
  if (!NoConvert::hasConvertableChanges(object, kind)) {
    return false;
  }
  const std::vector<ULONG> tags = NoConvert::getConvertableProps(object, kind);
  if (tags.empty()) {
    return false;
  }
  AnnotationSaver saver(object, annotations);
  for (const ULONG tag : tags) {
    saver.addProperty(tag);
  }
  return true;
}

void detail::propsFromAnnotations(IAnnotations* annotations, IConvertObject* object, const IID& kind) {
  checkArguments(object, annotations, 0, "Conversion::detail::propsFromAnnotations");
  AnnotationReader::read(annotations, object, kind);
}

bool folderFromMapiToMime(IConvertFolder* folder, IAnnotations* annotations, DWORD flags) {
  checkArguments(folder, annotations, flags, "Conversion::folderFromMapiToMime");
  return detail::propsToAnnotations(folder, annotations, IConvertFolder::kIid);
}

void folderFromMimeToMapi(IAnnotations* annotations, IConvertFolder* folder, DWORD flags) {
  checkArguments(folder, annotations, flags, "Conversion::folderFromMimeToMapi");
  detail::propsFromAnnotations(annotations, folder, IConvertFolder::kIid);
}

bool storeFromMapiToMime(IConvertStore* store, IAnnotations* annotations, DWORD flags) {
  checkArguments(store, annotations, flags, "Conversion::storeFromMapiToMime");
  return detail::propsToAnnotations(store, annotations, IConvertStore::kIid);
}

void storeFromMimeToMapi(IAnnotations* annotations, IConvertStore* store, DWORD flags) {
  checkArguments(store, annotations, flags, "Conversion::storeFromMimeToMapi");
  detail::propsFromAnnotations(annotations, store, IConvertStore::kIid);
}

}  // namespace nalvo::Conversion
