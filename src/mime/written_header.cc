#include "mime/written_header.h"

#include "mime/body_context.h"
#include "mime/body_data.h"
#include "mime/header_names.h"
#include "mime/stored_block.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

// Whether some child of a related body has the id that its "start" names.
bool hasPartNamed(const Body& body, std::string_view id) {
  for (const Body* child = body.first; child != nullptr; child = child->next) {
    const std::size_t place = child->rows.find(kContentId);
    if (place != HeaderRows::kNone && child->rows.rawValue(child->rows[place], {}) == id) {
      return true;
    }
  }
  return false;
}

bool sameParameters(const ParameterList& a, const ParameterList& b) {
  if (a.all().size() != b.all().size()) {
    return false;
  }
  for (const Parameter& parameter : a.all()) {
    const Parameter* other = b.find(parameter.name);
    if (other == nullptr || other->wide != parameter.wide) {
      return false;
    }
  }
  return true;
}

class HeaderWriter {
 public:
  HeaderWriter(const Body& body, const BodyPlan& plan, Output& output)
      : body_(body),
        plan_(plan),
        output_(output),
        style_(headerStyle(body)),
        content_(plan.flattened ? *plan.flattened : body) {}

  void run() {
    if (!isManaged(body_)) {
      writeAsTheyStand();
      return;
    }
    holdsStoredType_ = holdsStoredType(body_, content_);
    holdsStoredRows_ = holdsStoredType_ || (content_.isMultipart() && body_.stored != nullptr &&
                                            splitMediaType(body_.stored->type.word()).type == "multipart");
    const bool hasContent = content_.hasContent() && (!content_.isMultipart() || content_.childCount > 0 || !body_.isRoot());
    writesType_ = hasContent;
    if (hasContent) {
      type_ = typeList();
    }
    for (std::size_t i = 0; i < body_.rows.size(); ++i) {
      writeManaged(body_.rows[i]);
    }
    writeType();
    if (plan_.flattened != nullptr) {
      writeFlattened();
    }
    if (const Body* root = body_.parent;
        root != nullptr && root->childCount == 1 && !holdsStoredType(*root) && holdsStoredType(*root, body_)) {
      writeInherited(*root);
    }
  }

 private:
  void writeAsTheyStand() {
    if (body_.isLoaded && body_.rows.isIntact()) {
      if (!body_.spans.header.empty()) {
        output_.copy(*body_.rows.source(), body_.spans.header);
      }
      return;
    }
    for (std::size_t i = 0; i < body_.rows.size(); ++i) {
      const HeaderRow& row = body_.rows[i];
      if (row.isPlaceholder() && equalsIgnoreCase(row.name, kMimeVersion)) {
        write(kMimeVersion, NarrowValue{"1.0"});
      } else if (!row.isLoaded() && equalsIgnoreCase(row.name, kContentType) && body_.hasLoadedParts()) {
        ParameterList list = body_.rows.parameters(row, nullptr);
        list.set("boundary", ansiToWide(plan_.boundary));
        write(kContentType, std::move(list));
      } else {
        writeRow(row);
      }
    }
  }

  void write(std::string_view name, const RowValue& value) { output_.write(nalvo::mime::writeRow(name, value, style_)); }

  // A row that needs no thought. Placeholders and lines that are no rows would end the block or say nothing.
  void writeRow(const HeaderRow& row) {
    if (row.isPlaceholder() || (row.name.empty() && !row.isLoaded())) {
      return;
    }
    if (row.isLoaded()) {
      output_.copy(*body_.rows.source(), row.span);
    } else {
      output_.write(nalvo::mime::writeRow(row.name, *row.own, style_));
    }
    if (!output_.isAtLineStart()) {
      output_.write(style_.lineEnd);
    }
  }

  void writeManaged(const HeaderRow& row) {
    if (equalsIgnoreCase(row.name, kContentType)) {
      if (!row.isFloating || !body_.isRoot()) {
        writeType();
      }
    } else if (equalsIgnoreCase(row.name, kMimeVersion) && row.isPlaceholder()) {
      write(kMimeVersion, NarrowValue{"1.0"});
    } else if (equalsIgnoreCase(row.name, kTransferEncoding)) {
      if (writesType_ && row.isStored && plan_.keepsStoredEncoding) {
        writeRow(row);
      }
    } else if (!row.isStored || (writesType_ && holdsStoredRows_) || equalsIgnoreCase(row.name, kContentLanguage)) {
      // Rows apart from a run of loaded ones break the copy; that costs nothing that is seen.
      writeRow(row);
    }
  }

  void writeType() {
    if (!writesType_ || typeIsWritten_) {
      return;
    }
    typeIsWritten_ = true;
    if (body_.isRoot() && !body_.isLoaded && body_.rows.find(kMimeVersion) == HeaderRows::kNone) {
      write(kMimeVersion, NarrowValue{"1.0"});
    }
    if (holdsStoredType_ && sameParameters(type_, body_.stored->type)) {
      output_.write(body_.stored->typeRow);
      if (!output_.isAtLineStart()) {
        output_.write(style_.lineEnd);
      }
    } else if (!type_.word().empty()) {
      write(kContentType, type_);
    }
    if (!content_.isMultipart() && !plan_.keepsStoredEncoding) {
      write(kTransferEncoding, NarrowValue{std::string(encodingName(plan_.encoding))});
    }
  }

  // The type with its parameters as they are true now.
  ParameterList typeList() const {
    ParameterList now;
    const std::size_t place = content_.rows.find(kContentType);
    if (place != HeaderRows::kNone && !content_.rows[place].isPlaceholder()) {
      now = content_.rows.parameters(content_.rows[place], nullptr);
    }
    if (now.word().empty() && content_.embedded() != nullptr) {
      now.setWord("message/rfc822");
    }
    ParameterList list = now;
    if (holdsStoredType_) {
      list = body_.stored->type;
      // The one attachment that is the message itself has a name for want of another.
      for (const Parameter& parameter : plan_.flattened == nullptr ? now.all() : std::vector<Parameter>()) {
        const Parameter* stored = list.find(parameter.name);
        if (stored == nullptr || parameter.name != "report-type" || !equalsIgnoreCase(stored->wide, parameter.wide)) {
          list.set(parameter.name, parameter.wide);
        }
      }
    }
    if (content_.isMultipart()) {
      list.set("boundary", ansiToWide(plan_.boundary));
      const Parameter* start = list.find("start");
      if (start != nullptr && !hasPartNamed(content_, trim(start->value))) {
        list.erase("start");
      }
    }
    setCharset(list);
    return list;
  }

  void setCharset(ParameterList& list) const {
    if (plan_.label == nullptr) {
      return;
    }
    const Parameter* named = list.find("charset");
    const Charset* now = named != nullptr ? findCharset(named->value) : nullptr;
    const bool isSame = now != nullptr && now->codePage == plan_.label->codePage;
    const bool isOddWord = list.word().find('/') == std::string::npos;  // whose parameters nobody reads
    const bool needsNone = named == nullptr && holdsStoredType_ && (plan_.label->codePage == kUsAscii || isOddWord);
    if (!isSame && !needsNone) {
      list.set("charset", ansiToWide(plan_.label->name));
    }
  }

  // The rows of the one attachment that is the message itself.
  void writeFlattened() {
    for (std::size_t i = 0; i < content_.rows.size(); ++i) {
      const HeaderRow& row = content_.rows[i];
      const bool isMade = equalsIgnoreCase(row.name, kContentType) || equalsIgnoreCase(row.name, kTransferEncoding);
      const std::size_t own = body_.rows.find(row.name);
      const bool rootHasIt = own != HeaderRows::kNone && (!body_.rows[own].isStored || holdsStoredType_);
      const bool isToldByRoot = holdsStoredType_ && isContentRow(row.name);
      if (!isMade && !rootHasIt && !isToldByRoot) {
        writeRow(row);
      }
    }
  }

  // A message that was one attachment holds it as a part now; what the stored block says of it goes with it.
  void writeInherited(const Body& root) {
    for (std::size_t i = 0; i < root.rows.size(); ++i) {
      const HeaderRow& row = root.rows[i];
      const bool isMade = equalsIgnoreCase(row.name, kContentType) || equalsIgnoreCase(row.name, kTransferEncoding) ||
                          equalsIgnoreCase(row.name, kContentLanguage);
      if (row.isStored && !isMade && body_.rows.find(row.name) == HeaderRows::kNone) {
        writeRow(row);
      }
    }
  }

  const Body& body_;
  const BodyPlan& plan_;
  Output& output_;
  HeaderStyle style_;
  const Body& content_;  // whose content it is: the body's, or that of its one attachment
  ParameterList type_;
  bool holdsStoredType_ = false;
  bool holdsStoredRows_ = false;  // those beside the type; a multipart of another kind is still what they speak of
  bool writesType_ = false;
  bool typeIsWritten_ = false;
};

}  // namespace

void writeHeader(const Body& body, const BodyPlan& plan, Output& output) { HeaderWriter(body, plan, output).run(); }

}  // namespace nalvo::mime
