#include "host/mime_walk.h"

#include "diagnostics/hresult_exception.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\MimeWalk"};

// The body behind `body` and all that it holds; null at the end.
mime::HBODY afterwards(mime::IMimeMessage* mail, mime::HBODY body) {
  mime::HBODY next = nullptr;
  while (failed(mail->GetBody(mime::IBL_NEXT, body, &next))) {
    mime::HBODY parent = nullptr;
    if (failed(mail->GetBody(mime::IBL_PARENT, body, &parent))) {
      return nullptr;
    }
    body = parent;
  }
  return next;
}

}  // namespace

ComPtr<mime::IMimeMessage> loadMail(IStream* stream) {
  ComPtr<mime::IMimeMessage> mail;
  streamUtils::rewind(stream);
  checkHResult(mime::createMimeMessage(mail.put()), kSource.at("host::loadMail"));
  checkHResult(mail->Load(stream), kSource.at("host::loadMail"));
  return mail;
}

std::vector<mime::HBODY> bodiesOf(mime::IMimeMessage* mail) {
  std::vector<mime::HBODY> bodies;
  mime::HBODY body = nullptr;
  checkHResult(mail->GetBody(mime::IBL_ROOT, nullptr, &body), kSource.at("host::bodiesOf"));
  while (body != nullptr) {
    bodies.push_back(body);
    mime::HBODY child = nullptr;
    body = succeeded(mail->GetBody(mime::IBL_FIRST, body, &child)) ? child : afterwards(mail, body);
  }
  return bodies;
}

}  // namespace nalvo::host
