#include "mime/mime_utils.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "diagnostics/hresult_exception.h"
#include "platform/com/com_ptr.h"

namespace nalvo::MimeUtils {
namespace {

using namespace mime;

constexpr SourceFile kSource{".\\MimeUtils"};

// S_OK is yes, any other success no.
bool yes(HRESULT hr, const char* function) {
  checkHResult(hr, kSource.at(function));
  return hr == S_OK;
}

HBODY neighbour(IMimeMessageTree* tree, BodyLocation location, HBODY pivot, const char* function) {
  HBODY found = nullptr;
  const HRESULT hr = tree->GetBody(location, pivot, &found);
  if (hr != MIME_E_NOT_FOUND) {
    checkHResult(hr, kSource.at(function));
  }
  return found;
}

bool isItem(IMimeMessageTree* tree, HBODY body, const char* function) {
  constexpr const char* kItems[] = {"vcard", "x-vcard", "calendar", "x-vcard-dl", "x-stickynote"};
  return std::any_of(std::begin(kItems), std::end(kItems),
                     [&](const char* subtype) { return yes(tree->IsContentType(body, "text", subtype), function); });
}

}  // namespace

bool isBodyAttachment(IMimeMessageTree* tree, HBODY body) {
  constexpr const char* kWhere = "MimeUtils::isBodyAttachment";
  if (tree == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  if (!yes(tree->IsBodyType(body, IBT_ATTACHMENT), kWhere) && !yes(tree->IsBodyType(body, IBT_AUTOATTACH), kWhere)) {
    return false;
  }
  const auto hasDisposition = [&](const char* word) {
    return yes(tree->QueryBodyProp(body, HeaderId::ContentDisposition, word, 0, 0), kWhere);
  };
  const HBODY parent = neighbour(tree, IBL_PARENT, body, kWhere);
  if (parent == nullptr) {
    return hasDisposition("attachment");
  }
  const auto isMultipart = [&](const char* subtype) {
    return yes(tree->IsContentType(parent, "multipart", subtype), kWhere);
  };
  const bool related = isMultipart("related");
  const bool alternative = isMultipart("alternative");
  const bool mixed = isMultipart("mixed");
  if (!(related || alternative || mixed) || hasDisposition("attachment") || hasDisposition("inline")) {
    return true;
  }
  if (mixed) {
    // A first part of a groupware type is the item itself.
    return !(isItem(tree, body, kWhere) && neighbour(tree, IBL_PREV, body, kWhere) == nullptr);
  }
  if (alternative) {
    return false;
  }
  ScopedPropVariant contentId(VT_LPSTR);
  return tree->GetBodyProp(body, HeaderId::ContentId, 0, &contentId) != MIME_E_NOT_FOUND;
}

void enumAttachments(IMimeMessage* message, const std::function<void(HBODY)>& callback) {
  constexpr const char* kWhere = "MimeUtils::enumAttachments";
  if (message == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  ComPtr<IMimeAllocator> allocator;
  checkHResult(createMimeAllocator(allocator.put()), kSource.at(kWhere));
  ULONG count = 0;
  HBODY* handles = nullptr;
  checkHResult(message->GetAttachments(&count, &handles), kSource.at(kWhere));
  const auto free = [&allocator](HBODY* list) { allocator->Free(list); };
  const std::unique_ptr<HBODY, decltype(free)> owned(handles, free);
  // Asked for once: the walk for it costs the length of the message.
  FINDBODY find{"multipart", "alternative", 0};
  HBODY firstAlternative = nullptr;
  const HRESULT found = message->FindFirst(&find, &firstAlternative);
  if (found != MIME_E_NOT_FOUND) {
    checkHResult(found, kSource.at(kWhere));
  }
  for (ULONG i = 0; i < count; ++i) {
    const HBODY body = handles[i];
    const HBODY parent = neighbour(message, IBL_PARENT, body, kWhere);
    const bool looseInAlternative = !yes(message->IsBodyType(body, IBT_ATTACHMENT), kWhere) && parent != nullptr &&
                                    firstAlternative != nullptr &&
                                    yes(message->IsContentType(parent, "multipart", "alternative"), kWhere);
    if (looseInAlternative ? parent != firstAlternative : isBodyAttachment(message, body)) {
      callback(body);
    }
  }
}

void extractData(IMimeBody* body, Encoding encoding, IStream* stream) {
  constexpr const char* kWhere = "MimeUtils::extractData";
  if (body == nullptr || stream == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  // The layer decodes piece by piece, whatever the size.
  checkHResult(body->GetDataHere(encoding, stream), kSource.at(kWhere));
}

}  // namespace nalvo::MimeUtils
