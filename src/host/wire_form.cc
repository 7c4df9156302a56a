#include "host/wire_form.h"

#include "diagnostics/hresult_exception.h"
#include "host/mime_walk.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\WireForm"};
constexpr const char* kWhere = "host::withoutXMapi";
constexpr int kMaxDepth = 100;
constexpr const char* kXMapi = "X-MAPI";

// Rows of a part that say how it is called and shown; they go when its data is set.
constexpr const char* kKeptRows[] = {"Content-Type", "Content-Disposition", "Content-Description", "Content-ID"};

bool isMail(mime::IMimeMessage* mail, mime::HBODY body) { return mail->IsContentType(body, "message", "rfc822") == S_OK; }

void setMail(mime::IMimeMessage* mail, mime::HBODY handle, IStream* data) {
  ComPtr<mime::IMimeBody> body;
  checkHResult(mail->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at(kWhere));
  ComPtr<mime::IMimePropertySet> rows;
  checkHResult(body->Clone(rows.put()), kSource.at(kWhere));
  checkHResult(body->SetData(mime::IET_BINARY, "message", "rfc822", IStream::kIid, data), kSource.at(kWhere));
  for (const char* name : kKeptRows) {
    const HRESULT hr = rows->CopyProps(1, &name, body.get());
    if (hr != MIME_E_NOT_FOUND) {
      checkHResult(hr, kSource.at(kWhere));
    }
  }
}

ComPtr<IStream> strip(const ComPtr<IStream>& source, int depth) {
  const ComPtr<mime::IMimeMessage> mail = loadMail(source.get());
  bool touched = false;
  for (const mime::HBODY handle : bodiesOf(mail.get())) {
    ComPtr<mime::IMimePropertySet> rows;
    checkHResult(mail->BindToObject(handle, mime::IMimePropertySet::kIid, rows.putVoid()), kSource.at(kWhere));
    touched = rows->DeleteProp(kXMapi) == S_OK || touched;
    if (depth < kMaxDepth && isMail(mail.get(), handle)) {
      ComPtr<mime::IMimeBody> body;
      ComPtr<IStream> data;
      checkHResult(mail->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at(kWhere));
      checkHResult(body->GetData(mime::IET_BINARY, data.put()), kSource.at(kWhere));
      const ComPtr<IStream> stripped = strip(data, depth + 1);
      if (stripped != data) {
        setMail(mail.get(), handle, stripped.get());
        touched = true;
      }
    }
  }
  if (!touched) {
    return source;
  }
  ComPtr<IStream> result = streamUtils::createStream();
  checkHResult(mail->Save(result.get(), 0), kSource.at(kWhere));
  streamUtils::rewind(result.get());
  return result;
}

}  // namespace

ComPtr<IStream> withoutXMapi(const ComPtr<IStream>& mail) {
  ComPtr<IStream> result = strip(mail, 0);
  streamUtils::rewind(result.get());
  return result;
}

}  // namespace nalvo::host
