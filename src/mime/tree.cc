#include "mime/tree.h"

#include "diagnostics/hresult_exception.h"
#include "mime/header_names.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\MimeTree"};

std::string multipartWord(std::string_view subtype) { return "multipart/" + toLowerAscii(subtype); }

// Moves the content rows of `from` to `to`. The Content-Type row of `from` stays in its place, to be filled anew; rows that
// a stored block brought stay where they are unless they speak for the content that goes.
void moveContentRows(Body& from, Body& to) {
  to.rows.clear();
  to.rows.setSource(from.rows.source(), from.rows.storedWithBareLineFeed());
  const std::size_t place = from.rows.find(kContentType);
  const bool isStoredType =
      from.stored != nullptr && place != HeaderRows::kNone && !from.rows[place].isPlaceholder() &&
      equalsIgnoreCase(from.rows.parameters(from.rows[place], nullptr).word(), from.stored->type.word());
  if (place != HeaderRows::kNone && !from.rows[place].isPlaceholder()) {
    const HeaderRow& row = from.rows[place];
    to.rows.append(kContentType, row.isLoaded() ? RowValue(RawRow{from.rows.rowText(row, {})}) : *row.own);
    HeaderRow& left = from.rows.set(place, Placeholder{});
    left.isFloating = row.isFloating;
  }
  from.rows.moveRowsTo(to.rows, [&](const HeaderRow& row) {
    return isContentRow(row.name) && !equalsIgnoreCase(row.name, kContentType) && !row.isPlaceholder() &&
           (!row.isStored || isStoredType);
  });
}

}  // namespace

void setMediaType(Body& body, std::string_view word) {
  ParameterList list;
  list.setWord(word);
  const std::size_t place = body.rows.find(kContentType);
  if (place == HeaderRows::kNone) {
    body.rows.append(kContentType, std::move(list)).isFloating = true;
    return;
  }
  const HeaderRow& row = body.rows[place];
  if (!row.isPlaceholder() && equalsIgnoreCase(body.rows.parameters(row, nullptr).word(), word)) {
    return;
  }
  body.rows.set(place, std::move(list));
}

void Tree::letGo() {
  for (const std::shared_ptr<Body>& body : bodies_) {
    if (body != nullptr) {
      body->message = nullptr;
      body->parent = body->first = body->last = body->previous = body->next = nullptr;
      body->childCount = 0;
    }
  }
  firstNumber_ += bodies_.size();
  bodies_.clear();
}

void Tree::reset() {
  letGo();
  root_ = &create();
}

void Tree::load(const std::shared_ptr<Source>& source) {
  std::vector<ScannedBody> scanned = scanMessage(source);
  letGo();
  bodies_.reserve(scanned.size());
  for (ScannedBody& found : scanned) {
    Body& body = create();
    body.rows = std::move(found.rows);
    body.spans = found.spans;
    body.boundary = std::move(found.boundary);
    body.isLoaded = true;
    if (found.hasParts) {
      body.content = PartsContent{true};
    } else {
      body.content = SpanContent{found.spans.content};
    }
    if (found.parent >= 0) {
      Body& parent = *bodies_[static_cast<std::size_t>(found.parent)];
      body.delimiterOwner = parent.handle;
      link(body, parent, nullptr);
    }
  }
  root_ = bodies_.front().get();
}

Body& Tree::create() {
  auto body = std::make_shared<Body>();
  body->handle = reinterpret_cast<HBODY>((firstNumber_ + bodies_.size()) * kHandleStep);
  body->message = owner_;
  return *bodies_.emplace_back(std::move(body));
}

Body& Tree::at(HBODY handle) const {
  if (handle == HBODY_ROOT) {
    return *root_;
  }
  if (handle == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("MimeTree::at"));
  }
  const std::size_t place = placeOf(handle);
  if (reinterpret_cast<std::uintptr_t>(handle) % kHandleStep != 0 || place >= bodies_.size() || bodies_[place] == nullptr) {
    throwHResult(E_HANDLE, kSource.at("MimeTree::at"));
  }
  return *bodies_[place];
}

void Tree::link(Body& child, Body& parent, Body* before) {
  child.parent = &parent;
  child.next = before;
  child.previous = before != nullptr ? before->previous : parent.last;
  (child.previous != nullptr ? child.previous->next : parent.first) = &child;
  (before != nullptr ? before->previous : parent.last) = &child;
  ++parent.childCount;
}

void Tree::unlink(Body& child) {
  Body& parent = *child.parent;
  (child.previous != nullptr ? child.previous->next : parent.first) = child.next;
  (child.next != nullptr ? child.next->previous : parent.last) = child.previous;
  child.parent = child.previous = child.next = nullptr;
  --parent.childCount;
}

void Tree::drop(Body& body) {
  body.message = nullptr;
  body.parent = body.first = body.last = body.previous = body.next = nullptr;
  body.childCount = 0;
  bodies_[placeOf(body.handle)].reset();
}

void Tree::removeChildren(Body& body) {
  // The order that the walk needs no link of a body that is gone: deepest last child first.
  while (body.last != nullptr) {
    Body* leaf = body.last;
    while (leaf->last != nullptr) {
      leaf = leaf->last;
    }
    unlink(*leaf);
    drop(*leaf);
  }
}

Body& Tree::insert(Body& parent, Body* before) {
  Body& body = create();
  link(body, parent, before);
  return body;
}

void Tree::move(Body& body, Body& parent, Body* before) {
  unlink(body);
  link(body, parent, before);
}

// `replacement` is linked nowhere; `old` comes out of the tree.
void Tree::putInPlaceOf(Body& old, Body& replacement) {
  if (&old == root_) {
    root_ = &replacement;
    return;
  }
  link(replacement, *old.parent, &old);
  unlink(old);
}

Body& Tree::wrap(Body& body, std::string_view subtype) {
  Body& multipart = create();
  if (&body == root_) {
    // The new root takes the whole table and gives the content rows back, so that the rows of the message keep their order.
    multipart.rows = std::move(body.rows);
    multipart.stored = std::move(body.stored);
    moveContentRows(multipart, body);
    multipart.charset = body.charset;
  }
  putInPlaceOf(body, multipart);
  link(body, multipart, nullptr);
  multipart.content = PartsContent{};
  setMediaType(multipart, multipartWord(subtype));
  return multipart;
}

Body& Tree::open(Body& leaf, std::string_view subtype) {
  Body& child = insert(leaf, nullptr);
  moveContentRows(leaf, child);
  child.content = std::move(leaf.content);
  child.isLoaded = leaf.isLoaded;
  child.spans = leaf.spans;
  child.attached = leaf.attached;
  leaf.isLoaded = false;
  leaf.attached = Attached::No;
  leaf.content = PartsContent{};
  setMediaType(leaf, multipartWord(subtype));
  return child;
}

void Tree::becomeMultipart(Body& body, std::string_view subtype) {
  body.content = PartsContent{};
  setMediaType(body, multipartWord(subtype));
}

void Tree::remove(Body& body) {
  if (&body == root_) {
    removeChildren(body);
    body.content = std::monostate{};
    body.boundary.clear();
    HeaderRows gone;
    body.rows.moveRowsTo(gone, [](const HeaderRow& row) { return isContentRow(row.name); });
    return;
  }
  Body& parent = *body.parent;
  while (body.first != nullptr) {
    move(*body.first, parent, &body);
  }
  unlink(body);
  drop(body);
}

void Tree::replaceParent(Body& body) {
  Body& parent = *body.parent;
  unlink(body);
  removeChildren(parent);
  if (&parent != root_) {
    putInPlaceOf(parent, body);
    drop(parent);
    return;
  }
  // The rows of the message move to the new root; its Content-Type stands where that of the multipart stood.
  HeaderRows own = std::move(body.rows);
  HeaderRows gone;
  body.rows = std::move(parent.rows);
  body.rows.moveRowsTo(gone, [](const HeaderRow& row) {
    return isContentRow(row.name) && !row.isStored && !equalsIgnoreCase(row.name, kContentType);
  });
  const std::size_t type = own.find(kContentType);
  const std::size_t place = body.rows.find(kContentType);
  if (type != HeaderRows::kNone && place != HeaderRows::kNone) {
    const HeaderRow& row = own[type];
    body.rows.set(place, row.isLoaded() ? RowValue(RawRow{own.rowText(row, {})}) : *row.own);
    own.remove(type);
  }
  own.moveRowsTo(body.rows, [](const HeaderRow&) { return true; });
  body.stored = std::move(parent.stored);
  root_ = &body;
  drop(parent);
}

}  // namespace nalvo::mime
