// The stored header block, and headers that have a property of their own.
#include "convert/note_convert.h"
#include "diagnostics/hresult_exception.h"
#include "diagnostics/module_version.h"
#include "properties/address_maker.h"
#include "streams/coder.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\NoteHeaders"};

// Rows that get a place at the end of a stored block that lacks them.
constexpr const char* kPredefinedHeaders[] = {"Subject", "Date", "MIME-Version", "Content-Type", "X-MimeOLE"};

constexpr std::string_view kReportTagPrefix = "<!~!";

ComPtr<mime::IMimeHeaderTable> rootHeaders(mime::IMimeMessage* message, const char* function) {
  ComPtr<mime::IMimeHeaderTable> table;
  checkHResult(message->BindToObject(mime::HBODY_ROOT, mime::IMimeHeaderTable::kIid, table.putVoid()), kSource.at(function));
  return table;
}

}  // namespace

namespace toMime {

void MessageConvert::setTransportMessageHeaders() {
  constexpr const char* kWhere = "toMime::MessageConvert::setTransportMessageHeaders";
  // A message that goes out has no received headers.
  const bool goesOut = hasFlag(ToMimeFlags::ForSend) && !hasFlag(ToMimeFlags::ToAttachment);
  if (goesOut || !exists(PR_TRANSPORT_MESSAGE_HEADERS)) {
    return;
  }
  const ComPtr<IStream> block = openForReading(PR_TRANSPORT_MESSAGE_HEADERS_A);
  const ComPtr<mime::IMimeHeaderTable> table = rootHeaders(data().getMimeMessage(), kWhere);
  checkHResult(table->Load(block.get()), kSource.at(kWhere));
  movePredefinedHeadersToEnd(table.get());
}

void MessageConvert::movePredefinedHeadersToEnd(mime::IMimeHeaderTable* table) {
  constexpr const char* kWhere = "toMime::MessageConvert::movePredefinedHeadersToEnd";
  for (const char* name : kPredefinedHeaders) {
    mime::HHEADERROW row = nullptr;
    const HRESULT found = table->FindFirst(name, &row);
    if (found == MIME_E_NOT_FOUND) {
      ULONG count = 0;
      checkHResult(table->AppendRow(name, 0, "", 0, nullptr), kSource.at(kWhere));
      checkHResult(table->CountRows(nullptr, &count), kSource.at(kWhere));
      checkHResult(table->FindFirst(name, &row), kSource.at(kWhere));
      checkHResult(table->SetRowNumber(row, count), kSource.at(kWhere));
    } else {
      checkHResult(found, kSource.at(kWhere));
    }
  }
}

void NoteConvert::setXMailer() {
  if (hasFlag(ToMimeFlags::ForSend) && !hasFlag(ToMimeFlags::ToAttachment)) {
    setHeader(mime::HeaderId::XMailer, std::u16string_view(detail::getXMailerHeader()));
  }
}

}  // namespace toMime

namespace toMapi {

void NoteConvert::setDispositionNotification() {
  constexpr const char* kWhere = "toMapi::NoteConvert::setDispositionNotification";
  if (!headerExists("Disposition-Notification-To")) {
    return;
  }
  setBool(PR_READ_RECEIPT_REQUESTED, true);
  ScopedAddressList list;
  list.load(data().getMimeMessage(), mime::IAT_DISPOSITION_NOTIFICATION);
  if (list.empty()) {
    throwHResult(E_FAIL, kSource.at(kWhere));
  }
  const mime::AddressProperties& first = *list.begin();
  AddressMaker maker(data().getAllocator(), first.email == nullptr ? "" : first.email,
                     first.name == nullptr ? u"" : first.name, AddressMaker::Make::OnRequest);
  const SBinary& entryId = maker.getEntryId();
  const SBinary& searchKey = maker.getSearchKey();
  MapiPropUtils::setBinary(data().getMapiMessage(), PR_READ_RECEIPT_ENTRYID, entryId.lpb, entryId.cb);
  MapiPropUtils::setBinary(data().getMapiMessage(), PR_READ_RECEIPT_SEARCH_KEY, searchKey.lpb, searchKey.cb);
}

void NoteConvert::setReportTag() {
  if (!getHeaderIfExists(PR_INTERNET_MESSAGE_ID, mime::HeaderId::MessageId)) {
    return;
  }
  const std::string messageId = getHeaderAnsiString(mime::HeaderId::MessageId);
  std::string tag;
  if (detail::extractReportTag(messageId.c_str(), &tag) && !tag.empty()) {
    MapiPropUtils::setBinary(data().getMapiMessage(), PR_REPORT_TAG, tag);
  }
}

void MessageConvert::setTransportMessageHeader() {
  constexpr const char* kWhere = "toMapi::MessageConvert::setTransportMessageHeader";
  const ComPtr<mime::IMimeHeaderTable> table = rootHeaders(data().getMimeMessage(), kWhere);
  const ComPtr<IStream> block = openForWriting(PR_TRANSPORT_MESSAGE_HEADERS_A);
  checkHResult(table->Save(block.get(), 0), kSource.at(kWhere));
  checkHResult(block->Commit(0), kSource.at(kWhere));
}

}  // namespace toMapi

bool detail::extractReportTag(const char* messageId, std::string* out) {
  constexpr const char* kWhere = "detail::extractReportTag";
  if (messageId == nullptr || out == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  const std::string_view text = messageId;
  const std::size_t at = text.rfind('@');
  if (!text.starts_with(kReportTagPrefix) || at == std::string_view::npos || at < kReportTagPrefix.size() ||
      !text.ends_with('>')) {
    return false;
  }
  const std::string_view encoded = text.substr(kReportTagPrefix.size(), at - kReportTagPrefix.size());
  checkHResult(Coder::decodeBase64(encoded.data(), static_cast<ULONG>(encoded.size()), *out), kSource.at(kWhere));
  return true;
}

const std::u16string& detail::getXMailerHeader() {
  static const std::u16string text = [] {
    const ModuleVersion version;
    const std::vector<std::uint32_t> translations = version.getTranslations();
    if (translations.empty()) {
      throwHResult(E_UNEXPECTED, kSource.at("detail::getXMailerHeader"), "No version resource translations");
    }
    return version.getFileInfoString(u"ProductName", translations.front()) + u" (" +
           version.getFileInfoString(u"ProductVersion", translations.front()) + u")";
  }();
  return text;
}

}  // namespace nalvo
