#include "convert/dsn_fields.h"

#include <algorithm>
#include <iterator>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"
#include "streams/stream_utils.h"

namespace nalvo::detail {
namespace {

constexpr SourceFile kSource{".\\DsnFields"};

constexpr std::size_t kReadSize = 32768;
constexpr std::string_view kEmptyLine = "\r\n\r\n";
// What is cut off a type and a value.
constexpr std::string_view kMargin = " \t;";

struct ActionRow {
  std::string_view word;
  DeliveryAction action;
};

constexpr ActionRow kActions[] = {{"delayed", DeliveryAction::Pending},     {"relayed", DeliveryAction::Pending},
                                  {"delivered", DeliveryAction::Delivered}, {"expanded", DeliveryAction::Delivered},
                                  {"failed", DeliveryAction::Failed},       {"failure", DeliveryAction::Failed}};

}  // namespace

// What is left of the buffer, with more of the source behind it. False at the end of the source.
bool ParagraphReader::fill() {
  buffer_.erase(0, position_);
  position_ = 0;
  const std::size_t have = buffer_.size();
  buffer_.resize(have + kReadSize);
  ULONG read = 0;
  const HRESULT hr = source_->Read(buffer_.data() + have, static_cast<ULONG>(kReadSize), &read);
  buffer_.resize(have + std::min<std::size_t>(read, kReadSize));
  checkHResult(hr, kSource.at("detail::getParagraph"));
  return read != 0;
}

ComPtr<IStream> ParagraphReader::getParagraph() {
  ComPtr<IStream> paragraph;
  const auto take = [&](std::size_t count) {
    std::string_view piece = std::string_view(buffer_).substr(position_, count);
    position_ += count;
    if (!paragraph) {
      piece = trimLeft(piece, "\r\n");
    }
    if (!piece.empty()) {
      paragraph = paragraph ? paragraph : streamUtils::createStream();
      streamUtils::detail::writeStr(paragraph.get(), piece);
    }
  };
  bool isEnd = false;
  while (!isEnd) {
    const std::size_t end = buffer_.find(kEmptyLine, position_);
    if (end != std::string::npos) {
      take(end + kEmptyLine.size() - position_);
      isEnd = static_cast<bool>(paragraph);
      continue;
    }
    // The empty line may begin in what was read so far.
    const std::size_t left = buffer_.size() - position_;
    take(left - std::min(left, kEmptyLine.size() - 1));
    if (!fill()) {
      take(buffer_.size() - position_);
      isEnd = true;
    }
  }
  if (paragraph) {
    streamUtils::rewind(paragraph.get());
  }
  return paragraph;
}

HeadersLoader::HeadersLoader(IStream* stream) {
  constexpr const char* kWhere = "detail::HeadersLoader::HeadersLoader";
  checkHResult(mime::createMimeAllocator(allocator_.put()), kSource.at(kWhere));
  checkHResult(mime::createMimeHeaderTable(table_.put()), kSource.at(kWhere));
  checkHResult(table_->Load(stream), kSource.at(kWhere));
}

bool HeadersLoader::read(const char* name, std::string& value) const {
  constexpr const char* kWhere = "detail::HeadersLoader::read";
  mime::HHEADERROW row = nullptr;
  const HRESULT found = table_->FindFirst(name, &row);
  if (found == MIME_E_NOT_FOUND) {
    return false;
  }
  checkHResult(found, kSource.at(kWhere));
  mime::HeaderRowData data{};
  checkHResult(table_->GetRowData(row, &data), kSource.at(kWhere));
  std::string text(data.value == nullptr ? std::string_view() : std::string_view(data.value, data.valueBytes));
  allocator_->FreeHeaderRowData(&data);
  value = trimRight(text, "\r\n");
  return true;
}

TypedField typedField(std::string_view text) {
  const std::size_t semicolon = std::min(text.find(';'), text.size());
  const std::string_view type = trim(text.substr(0, semicolon), kMargin);
  const std::string_view value = trim(text.substr(semicolon), kMargin);
  return value.empty() ? TypedField{{}, std::string(type)} : TypedField{std::string(type), std::string(value)};
}

DeliveryAction deliveryAction(std::string_view word) {
  const auto* row = std::find_if(std::begin(kActions), std::end(kActions),
                                 [word](const ActionRow& r) { return equalsIgnoreCase(r.word, word); });
  return row == std::end(kActions) ? DeliveryAction::Other : row->action;
}

void VerdictMaker::add(const HeadersLoader& recipient) {
  std::string text;
  const TypedField finalRecipient = recipient.read("Final-Recipient", text) ? typedField(text) : TypedField{};
  const DeliveryAction action = recipient.read("Action", text) ? deliveryAction(text) : DeliveryAction::Other;
  const bool hasStatus = recipient.read("Status", text) && !text.empty();
  if (finalRecipient.type.empty() || finalRecipient.value.empty() || !hasStatus) {
    ++other_;
  } else if (action == DeliveryAction::Delivered) {
    ++delivered_;
  } else if (action == DeliveryAction::Failed) {
    ++failed_;
  } else {
    ++other_;
  }
}

Verdict VerdictMaker::verdict() const {
  if (other_ == 0 && delivered_ != 0 && failed_ == 0) {
    return Verdict::Delivered;
  }
  if (other_ == 0 && failed_ != 0 && delivered_ == 0) {
    return Verdict::Failed;
  }
  return Verdict::Unclear;
}

}  // namespace nalvo::detail
