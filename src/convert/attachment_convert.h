// One attachment, either way.
#pragma once

#include <string>

#include "convert/base_convert.h"

namespace nalvo {

// PR_ATTACH_METHOD.
enum class AttachMethod : std::uint32_t {
  None = 0,
  ByValue = 1,
  ByReference = 4,
  EmbeddedMessage = 5,
  Ole = 6,
};

namespace toMime {

class AttachmentConvert : public BaseConvert<kAttachmentLevel> {
 public:
  explicit AttachmentConvert(ConvertorDataAttachment* data) : BaseConvert(data) {}

  // Runs the level for one attachment of `message`. The flags of the run already say ToAttachment.
  void convert();

 private:
  // Makes the body, unless the attachment is the whole text of a signed message: then the message becomes that text.
  void makeBody();
  void onProp(ULONG tag);
  void mapiToMimeEnd();

  AttachMethod method() const;
  mime::HBODY initAttachmentBody(AttachMethod method);
  mime::HBODY attachByValue();
  mime::HBODY attachEmbeddedMessage();
  mime::HBODY attachStream(IStream* stream);
  void setAttachHeaders(AttachMethod method);
  void setAttachHeadersByValue();
  void setAttachHeadersByReference();
  void setPhotoContentId(IContentIdSource* source);
  // The text that stands for a file elsewhere.
  ComPtr<IStream> createExternalMessageFakeBody() const;
  bool isSignedAttachment() const;
  void processSignedAttachment();
  // The first of the file's names; empty if it has none.
  std::u16string fileName() const;
};

}  // namespace toMime

namespace toMapi {

class AttachmentConvert : public BaseConvert<kAttachmentLevel> {
 public:
  explicit AttachmentConvert(ConvertorDataAttachment* data) : BaseConvert(data) {}

  void convertMimeToMapi();

 private:
  void setProps();
  void setFileName();
  void setMethod(AttachMethod method);
  // True for a body that stands for a file elsewhere, whose path it writes.
  bool processExternalBody();
  bool isContentTypeToEmbed() const;
  bool isContentType(const char* type, const char* subtype) const;
  void loadData();
  void loadBytes(AttachMethod method);
  void loadEmbeddedMessage();
  ComPtr<IStream> createPropertyStream(AttachMethod method);
  ComPtr<mime::IMimeBody> body() const;
};

}  // namespace toMapi
}  // namespace nalvo
