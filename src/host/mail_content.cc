#include "host/mail_content.h"

#include "diagnostics/hresult_exception.h"
#include "host/base64.h"
#include "host/mail.h"
#include "host/mime_walk.h"
#include "mime/mime_utils.h"
#include "platform/com/prop_variant.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\MailContent"};
constexpr std::size_t kMostBytes = 16U << 20;

// Empty above the limit.
std::string bytesOf(IStream* stream) {
  std::string bytes;
  char buffer[65536];
  for (ULONG got = 1; got != 0 && bytes.size() <= kMostBytes;) {
    checkHResult(stream->Read(buffer, sizeof buffer, &got), kSource.at("host::bytesOf"));
    bytes.append(buffer, got);
  }
  return bytes.size() > kMostBytes ? std::string() : bytes;
}

std::string wideTextOf(IStream* stream) {
  const std::string bytes = bytesOf(stream);
  std::u16string wide(bytes.size() / sizeof(char16_t), u'\0');
  bytes.copy(reinterpret_cast<char*>(wide.data()), wide.size() * sizeof(char16_t));
  return wideToUtf8(wide);
}

std::string headerOf(mime::IMimeBody* body, const char* name) {
  ScopedPropVariant value(VT_LPSTR);
  return failed(body->GetProp(name, 0, &value)) || value.pszVal == nullptr ? std::string() : std::string(value.pszVal);
}

ComPtr<mime::IMimeBody> bodyOf(mime::IMimeMessage* mail, mime::HBODY handle) {
  ComPtr<mime::IMimeBody> body;
  checkHResult(mail->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at("host::bodyOf"));
  return body;
}

struct ItemType {
  const char* subtype;  // of text
  const char* extension;
};
constexpr ItemType kItemTypes[] = {
    {"calendar", ".ics"}, {"vcard", ".vcf"}, {"x-vcard", ".vcf"}, {"x-vcard-dl", ".vcf"}, {"x-stickynote", ".txt"}};

}  // namespace

std::string mailText(mime::IMimeMessage* mail, mime::TextType type) {
  ComPtr<IStream> stream;
  return failed(mail->GetTextBody(type, mime::IET_UNICODE, stream.put(), nullptr)) ? std::string()
                                                                                   : wideTextOf(stream.get());
}

Pictures::Pictures(mime::IMimeMessage* mail) : mail_(mail) {
  for (const mime::HBODY handle : bodiesOf(mail)) {
    if (mail->IsContentType(handle, "image", nullptr) == S_OK) {
      const std::string id = headerOf(bodyOf(mail, handle).get(), "Content-ID");
      bodies_.emplace(trim(id, "<> \t"), handle);
    }
  }
}

std::string Pictures::url(std::string_view contentId) {
  const auto found = bodies_.find(contentId);
  if (found == bodies_.end()) {
    return {};
  }
  const ComPtr<mime::IMimeBody> body = bodyOf(mail_, found->second);
  ComPtr<IStream> data;
  checkHResult(body->GetData(mime::IET_BINARY, data.put()), kSource.at("host::Pictures::url"));
  const std::string bytes = bytesOf(data.get());
  if (bytes.empty() || bytes.size() > left_) {
    bodies_.erase(found);  // not read again
    return {};
  }
  left_ -= bytes.size();
  const std::string type = toLowerAscii(headerOf(body.get(), "Content-Type"));
  return "data:" + type.substr(0, type.find(';')) + ";base64," + encodeBase64(bytes);
}

namespace {

// A card that stands alone holds its picture itself; in a mail it points to a part beside it.
std::string withPicture(std::string card, mime::IMimeMessage* mail) {
  constexpr std::string_view kReference = "\r\nPHOTO;VALUE=URI:", kFold = "\r\n ", kScheme = "cid:", kData = "data:image/",
                             kBase64 = ";base64,";
  const std::size_t begin = card.find(kReference);
  if (begin == std::string::npos) {
    return card;
  }
  std::string reference;
  std::size_t at = begin + kReference.size();
  std::size_t end = card.find("\r\n", at);
  for (; end != std::string::npos && card.compare(end, kFold.size(), kFold) == 0; end = card.find("\r\n", at)) {
    reference += card.substr(at, end - at);
    at = end + kFold.size();
  }
  reference += card.substr(at, end - at);
  const std::string url = reference.starts_with(kScheme)
                              ? Pictures(mail).url(std::string_view(reference).substr(kScheme.size()))
                              : std::string();
  const std::size_t data = url.find(kBase64);
  if (!url.starts_with(kData) || data == std::string::npos) {
    return card;
  }
  std::string line = "\r\nPHOTO;ENCODING=b;TYPE=";
  for (std::size_t i = kData.size(); i < data; ++i) {
    line += url[i] >= 'a' && url[i] <= 'z' ? static_cast<char>(url[i] - 'a' + 'A') : url[i];
  }
  line += ':';
  constexpr std::size_t kLine = 74;
  for (std::size_t i = data + kBase64.size(); i < url.size(); i += kLine) {
    line.append(kFold).append(url, i, kLine);
  }
  return card.replace(begin, end == std::string::npos ? end : end - begin, line);
}

}  // namespace

std::optional<ItemText> itemTextOf(MemoryMessage* message) {
  const MailFile file = writeMail(message, MailForm::Wire, nullptr);
  const ComPtr<mime::IMimeMessage> mail = loadMail(file.mail.get());
  for (const mime::HBODY handle : bodiesOf(mail.get())) {
    for (const ItemType& type : kItemTypes) {
      if (mail->IsContentType(handle, "text", type.subtype) != S_OK || MimeUtils::isBodyAttachment(mail.get(), handle)) {
        continue;
      }
      // The text of a sticky note has its position and colour in it; people want its words.
      if (std::string_view(type.subtype) == "x-stickynote") {
        return ItemText{type.extension, mailText(mail.get(), mime::TXT_PLAIN)};
      }
      ComPtr<IStream> data;
      checkHResult(bodyOf(mail.get(), handle)->GetData(mime::IET_UNICODE, data.put()), kSource.at("host::itemTextOf"));
      return ItemText{type.extension, withPicture(wideTextOf(data.get()), mail.get())};
    }
  }
  return std::nullopt;
}

}  // namespace nalvo::host
