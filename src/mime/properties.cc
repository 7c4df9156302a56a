#include "mime/properties.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

#include "diagnostics/hresult_exception.h"
#include "mime/body_context.h"
#include "mime/dates.h"
#include "platform/text/text.h"
#include "platform/time/file_time.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\MimeProperties"};

constexpr ParsedName kFileNameParameter{kContentDisposition, "filename", false};
constexpr ParsedName kNameParameter{kContentType, "name", false};

bool isStructured(std::string_view row) {
  return equalsIgnoreCase(row, kContentType) || equalsIgnoreCase(row, kContentDisposition);
}

// A value in both widths, made when it is asked for.
struct Found {
  const Body* body = nullptr;
  const HeaderRow* row = nullptr;     // of a whole row
  std::optional<std::string> narrow;  // already at hand
  std::optional<std::u16string> wide;

  std::string narrowText() const {
    return narrow           ? *narrow
           : row != nullptr ? body->rows.rawValue(*row, row->isLoaded() ? HeaderStyle() : headerStyle(*body))
                            : wideToAnsi(*wide);
  }
  std::u16string wideText() const {
    if (wide) {
      return *wide;
    }
    return row != nullptr ? body->rows.wideValue(*row, readingCharset(*body, *row)) : ansiToWide(*narrow);
  }
};

Found foundText(std::string text) {
  Found found;
  found.narrow = std::move(text);
  return found;
}

ParameterList parametersOf(const Body& body, std::size_t place) {
  return body.rows.parameters(body.rows[place], readingCharset(body, body.rows[place]));
}

std::optional<Found> findParameter(const Body& body, const ParsedName& name) {
  const std::size_t place = body.rows.find(name.header);
  if (place == HeaderRows::kNone || body.rows[place].isPlaceholder()) {
    return std::nullopt;
  }
  const ParameterList list = parametersOf(body, place);
  const Parameter* parameter = list.find(name.parameter);
  if (parameter == nullptr) {
    return std::nullopt;
  }
  Found found;
  found.wide = parameter->wide;
  return found;
}

// What Content-Type answers without a row: nothing when the name of the part can tell more.
std::optional<Found> missingType(const Body& body) {
  if (!dispositionOf(body).empty() || hasFileName(body)) {
    return std::nullopt;
  }
  const MediaType type = mediaTypeOf(body);
  return foundText(type.type + "/" + type.subtype);
}

std::optional<Found> find(const Body& body, const ParsedName& name) {
  if (name.isFileName) {
    std::optional<Found> found = findParameter(body, kFileNameParameter);
    return found ? found : findParameter(body, kNameParameter);
  }
  if (!name.parameter.empty()) {
    return findParameter(body, name);
  }
  if (equalsIgnoreCase(name.header, kContentDisposition) && isRescued(body)) {
    return foundText("attachment");
  }
  const std::size_t place = body.rows.find(name.header);
  const bool isType = equalsIgnoreCase(name.header, kContentType);
  if (place == HeaderRows::kNone) {
    if (isType) {
      return missingType(body);
    }
    return std::nullopt;
  }
  const HeaderRow& row = body.rows[place];
  if (row.isPlaceholder()) {
    return foundText({});
  }
  if (isType && body.span() != nullptr && hasMediaType(body, "text", "plain")) {
    // Also a multipart that was loaded without parts; its row would name what is not there.
    const std::string word(parametersOf(body, place).word());
    return foundText(splitMediaType(word).type == "multipart" ? "text/plain" : word);
  }
  if (isStructured(name.header)) {
    return foundText(std::string(parametersOf(body, place).word()));
  }
  Found found;
  found.body = &body;
  found.row = &row;
  return found;
}

std::uint32_t leadingNumber(std::string_view text, std::string_view header) {
  text = trim(text);
  std::size_t digits = 0;
  std::uint64_t number = 0;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
    number = std::min<std::uint64_t>(number * 10 + static_cast<unsigned>(text[digits] - '0'),
                                     std::numeric_limits<std::uint32_t>::max());
    ++digits;
  }
  if (digits == 0) {
    return equalsIgnoreCase(header, "X-Priority") ? 3 : 0;
  }
  return static_cast<std::uint32_t>(number);
}

constexpr std::string_view kIdRows[] = {"Message-ID", "In-Reply-To", "References"};

// An id is no text: blanks around it and control characters say nothing, and encoded words would make it another one.
bool isIdRow(std::string_view name) {
  return std::any_of(std::begin(kIdRows), std::end(kIdRows),
                     [name](std::string_view row) { return equalsIgnoreCase(row, name); });
}

std::u16string idOf(std::u16string text) {
  std::erase_if(text, [](char16_t c) { return c < 0x20 && c != u'\t'; });
  return std::u16string(trim(text));
}

std::u16string wideOf(const PROPVARIANT& value) {
  switch (value.vt) {
    case VT_LPWSTR:
      return value.pwszVal != nullptr ? value.pwszVal : u"";
    case VT_LPSTR: {
      const std::string_view text = value.pszVal != nullptr ? value.pszVal : "";
      return isAscii(text) ? decodeHeaderText(text, nullptr) : ansiToWide(text);
    }
    case VT_I4:
      return ansiToWide(std::to_string(value.lVal));
    case VT_UI4:
      return ansiToWide(std::to_string(value.ulVal));
    case VT_FILETIME:
      return ansiToWide(formatInetDate(value.filetime));
    default:
      throwHResult(E_INVALIDARG, kSource.at("MimeProperties::setProperty"));
  }
}

// Whether setting `value` would change nothing that a reader of the row sees.
bool readsAs(const Body& body, const HeaderRow& row, const PROPVARIANT& value) {
  if (row.isPlaceholder()) {
    return false;
  }
  if (value.vt == VT_FILETIME) {
    const std::optional<FILETIME> now = parseInetDate(body.rows.rawValue(row, {}));
    return now && unixSecondsOf(*now) == unixSecondsOf(value.filetime);
  }
  if (value.vt == VT_LPSTR && value.pszVal != nullptr && body.rows.rawValue(row, {}) == trim(value.pszVal)) {
    return true;
  }
  const std::u16string now = body.rows.wideValue(row, readingCharset(body, row));
  const std::u16string wanted = wideOf(value);
  if (equalsIgnoreCase(row.name, "X-Priority")) {
    return !trim(now).empty() && leadingNumber(wideToAnsi(now), row.name) == leadingNumber(wideToAnsi(wanted), row.name);
  }
  if (equalsIgnoreCase(row.name, "Importance") || equalsIgnoreCase(row.name, "X-MSMail-Priority")) {
    return equalsIgnoreCase(now, wanted);
  }
  if (isIdRow(row.name)) {
    return idOf(now) == idOf(wanted);
  }
  return now == wanted;
}

RowValue rowValueOf(std::string_view name, const PROPVARIANT& value) {
  std::u16string text = wideOf(value);
  if (addressKindOf(name) != 0) {
    const Charset* utf8 = findCodePage(kUtf8);
    return parseAddressList(wideToUtf8(text), utf8);
  }
  if (isIdRow(name)) {
    text = idOf(std::move(text));
    if (isAscii(text)) {
      return NarrowValue{wideToAnsi(text)};
    }
  }
  if (value.vt == VT_LPSTR && value.pszVal != nullptr && isAscii(std::string_view(value.pszVal))) {
    return NarrowValue{value.pszVal};
  }
  if (value.vt != VT_LPWSTR && value.vt != VT_LPSTR) {
    return NarrowValue{wideToAnsi(text)};
  }
  return WideValue{std::move(text)};
}

// The row gets the value and further ones of its name go; no row: appended.
HeaderRow& put(Body& body, std::string_view name, RowValue value) {
  const std::size_t place = body.rows.find(name);
  if (place == HeaderRows::kNone) {
    HeaderRow& row = body.rows.append(name, std::move(value));
    row.isFloating = equalsIgnoreCase(name, kContentType);
    return row;
  }
  body.rows.removeAll(name, place + 1);
  return body.rows.set(place, std::move(value));
}

// A part that others refer to is shown in its place, but text and messages would be taken for the text of the message.
void adaptDisposition(Body& body) {
  const std::size_t place = body.rows.find(kContentDisposition);
  if (place == HeaderRows::kNone || !body.rows[place].isDefault) {
    return;
  }
  const MediaType type = mediaTypeOf(body);
  ParameterList list = body.rows.parameters(body.rows[place], nullptr);
  list.setWord(type.type == "text" || type.type == "message" ? "attachment" : "inline");
  body.rows.set(place, std::move(list)).isDefault = true;
}

// The word that Content-Type takes when a caller sets `wanted`.
std::string allowedType(const Body& body, std::string_view wanted, std::string_view now) {
  const MediaType type = splitMediaType(wanted);
  if (body.isMultipart() && type.type != "multipart") {
    return std::string(now);
  }
  const bool isData = body.stream() != nullptr || body.embedded() != nullptr;
  if (type.type.empty() || (isData && type.type == "multipart")) {
    return "application/octet-stream";
  }
  return std::string(wanted);
}

// The row as a list, without a value if there is none to build on.
std::optional<ParameterList> listOf(const Body& body, std::string_view row) {
  const std::size_t place = body.rows.find(row);
  if (place == HeaderRows::kNone || body.rows[place].isPlaceholder()) {
    return std::nullopt;
  }
  return parametersOf(body, place);
}

bool setWord(Body& body, std::string_view row, const PROPVARIANT& value) {
  const ParameterList wanted = ParameterList::parse(wideToUtf8(wideOf(value)), findCodePage(kUtf8));
  std::optional<ParameterList> list = listOf(body, row);
  bool isChanged = !list;
  if (!list) {
    list.emplace();
  }
  const bool isType = equalsIgnoreCase(row, kContentType);
  const std::string word = isType ? allowedType(body, wanted.word(), list->word()) : std::string(wanted.word());
  if (word != list->word()) {
    list->setWord(word);
    isChanged = true;
  }
  for (const Parameter& parameter : wanted.all()) {
    const Parameter* now = list->find(parameter.name);
    if (now == nullptr || now->wide != parameter.wide) {
      list->set(parameter.name, parameter.wide);
      isChanged = true;
    }
  }
  if (isChanged) {
    put(body, row, std::move(*list));
  }
  if (isType && body.attached == Attached::Url) {
    adaptDisposition(body);
  }
  return isChanged;
}

bool setParameter(Body& body, const ParsedName& name, const PROPVARIANT& value) {
  const std::u16string wanted = wideOf(value);
  std::optional<ParameterList> list = listOf(body, name.header);
  if (list) {
    const Parameter* now = list->find(name.parameter);
    if (now != nullptr && now->wide == wanted) {
      return false;
    }
  } else {
    list.emplace();
    if (equalsIgnoreCase(name.header, kContentType)) {
      list->setWord("text/plain");
    } else if (equalsIgnoreCase(name.header, kContentDisposition)) {
      list->setWord(body.attached == Attached::Url ? "inline" : "attachment");
    }
  }
  list->set(name.parameter, wanted);
  const std::size_t place = body.rows.find(name.header);
  const bool isDefault = place != HeaderRows::kNone && body.rows[place].isDefault;
  put(body, name.header, std::move(*list)).isDefault = isDefault;
  return true;
}

// Content-ID as headers want it: the property that it comes from has no brackets.
bool setContentId(Body& body, const PROPVARIANT& value) {
  std::u16string text(trim(wideOf(value)));
  if (!text.empty() && text.front() != u'<') {
    text = u"<" + text + u">";
  }
  const std::size_t place = body.rows.find(kContentId);
  if (place != HeaderRows::kNone && !body.rows[place].isPlaceholder() &&
      body.rows.wideValue(body.rows[place], nullptr) == text) {
    return false;
  }
  put(body, kContentId, WideValue{std::move(text)});
  return true;
}

bool deleteParameter(Body& body, const ParsedName& name) {
  std::optional<ParameterList> list = listOf(body, name.header);
  if (!list || !list->erase(name.parameter)) {
    return false;
  }
  body.rows.set(body.rows.find(name.header), std::move(*list));
  return true;
}

template <typename Char>
Char* copyForTask(std::basic_string_view<Char> text) {
  auto* block = static_cast<Char*>(taskAlloc((text.size() + 1) * sizeof(Char)));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  std::memcpy(block, text.data(), text.size() * sizeof(Char));
  block[text.size()] = 0;
  return block;
}

}  // namespace

char* taskCopy(std::string_view text) { return copyForTask(text); }
char16_t* taskCopy(std::u16string_view text) { return copyForTask(text); }

HRESULT getProperty(const Body& body, const ParsedName& name, PROPVARIANT& value) {
  const std::optional<Found> found = find(body, name);
  if (!found) {
    return MIME_E_NOT_FOUND;
  }
  switch (value.vt) {
    case VT_LPSTR:
      value.pszVal = taskCopy(found->narrowText());
      return S_OK;
    case VT_LPWSTR:
      value.pwszVal = taskCopy(found->wideText());
      return S_OK;
    case VT_UI4:
      value.ulVal = leadingNumber(found->narrowText(), name.header);
      return S_OK;
    case VT_I4:
      value.lVal = static_cast<std::int32_t>(std::min<std::uint32_t>(leadingNumber(found->narrowText(), name.header),
                                                                     std::numeric_limits<std::int32_t>::max()));
      return S_OK;
    case VT_FILETIME: {
      const std::optional<FILETIME> time = parseInetDate(found->narrowText());
      if (!time) {
        return MIME_E_BAD_DATE;
      }
      value.filetime = *time;
      return S_OK;
    }
    default:
      return E_INVALIDARG;
  }
}

bool setProperty(Body& body, const ParsedName& name, const PROPVARIANT& value) {
  if (name.isFileName) {
    const bool isChanged = setParameter(body, kFileNameParameter, value);
    return setParameter(body, kNameParameter, value) || isChanged;
  }
  if (!name.parameter.empty()) {
    return setParameter(body, name, value);
  }
  if (isStructured(name.header)) {
    return setWord(body, name.header, value);
  }
  if (equalsIgnoreCase(name.header, kContentId)) {
    return setContentId(body, value);
  }
  const std::size_t place = body.rows.find(name.header);
  if (place != HeaderRows::kNone && readsAs(body, body.rows[place], value)) {
    return false;
  }
  put(body, name.header, rowValueOf(name.header, value));
  return true;
}

bool deleteProperty(Body& body, const ParsedName& name) {
  if (name.isFileName) {
    const bool isChanged = deleteParameter(body, kFileNameParameter);
    return deleteParameter(body, kNameParameter) || isChanged;
  }
  return name.parameter.empty() ? body.rows.removeAll(name.header) : deleteParameter(body, name);
}

bool queryProperty(const Body& body, const ParsedName& name, std::string_view text, bool substring, bool caseSensitive) {
  const std::optional<Found> found = find(body, name);
  if (!found) {
    return false;
  }
  std::string value = found->narrowText();
  std::string wanted(text);
  if (!caseSensitive) {
    value = toLowerAscii(value);
    wanted = toLowerAscii(wanted);
  }
  return substring ? value.find(wanted) != std::string::npos : value == wanted;
}

}  // namespace nalvo::mime
