// The bodies of a message and how they hang together.
#pragma once

#include <string_view>

#include "mime/body.h"

namespace nalvo::mime {

// Owns the bodies. There is always a root. Handles are counted up and never used again, also after `reset`.
class Tree {
 public:
  explicit Tree(MessageObject* owner) : owner_(owner) { reset(); }
  ~Tree() { letGo(); }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  // A root without rows and content.
  void reset();
  void load(const std::shared_ptr<Source>& source);

  Body& root() const { return *root_; }
  // HBODY_ROOT names the root. Throws E_HANDLE for what names nothing.
  Body& at(HBODY handle) const;
  // The same, sharing the ownership.
  std::shared_ptr<Body> share(const Body& body) const { return bodies_[placeOf(body.handle)]; }

  // A new body below `parent`: in front of `before`, or last when that is null.
  Body& insert(Body& parent, Body* before);

  // Wrap: a new multipart takes the place of `body`, which becomes its child and keeps its handle. At the root the rows of
  // the message move up.
  Body& wrap(Body& body, std::string_view subtype);
  // Open: what `leaf` holds moves to a new child, and it becomes a multipart itself.
  Body& open(Body& leaf, std::string_view subtype);
  // Nothing to wrap: a body without content becomes a multipart.
  void becomeMultipart(Body& body, std::string_view subtype);

  // Drops all bodies below.
  void removeChildren(Body& body);
  // Drops the body. Its children, if it has any, move up into its place. At the root content and content rows go.
  void remove(Body& body);
  // `body` takes the place of its parent; the parent and its other children go.
  void replaceParent(Body& body);
  // Moves `body` to another parent, last if `before` is null.
  void move(Body& body, Body& parent, Body* before);

 private:
  std::size_t placeOf(HBODY handle) const { return reinterpret_cast<std::uintptr_t>(handle) / kHandleStep - firstNumber_; }
  Body& create();
  void link(Body& child, Body& parent, Body* before);
  void unlink(Body& child);
  void putInPlaceOf(Body& old, Body& replacement);
  void drop(Body& body);
  void letGo();

  // Handles look like addresses of aligned objects, so that nobody takes one for a small number.
  static constexpr std::uintptr_t kHandleStep = 16;

  MessageObject* owner_;
  std::vector<std::shared_ptr<Body>> bodies_;  // by handle; null for one that is gone
  std::uintptr_t firstNumber_ = 1;             // of the handle of bodies_[0]
  Body* root_ = nullptr;
};

// Sets the type of a body: in place of its Content-Type row or its placeholder, else at the end. The same type keeps its
// parameters, another loses them. "multipart/mixed" and so on.
void setMediaType(Body& body, std::string_view word);

}  // namespace nalvo::mime
