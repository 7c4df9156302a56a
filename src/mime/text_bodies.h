// Which bodies are the text of a message and which are attachments.
#pragma once

#include "mime/tree.h"

namespace nalvo::mime {

// Calendars, cards, lists and sticky notes: what becomes an item of its own.
bool isItemType(const MediaType& type);

struct TextBodies {
  Body* plain = nullptr;
  Body* html = nullptr;

  bool any() const { return plain != nullptr || html != nullptr; }
};

// Works out the texts, and the role of every body (Body::role). Linear in the number of bodies; reads no content but the
// first bytes of texts that may turn out blank.
TextBodies assignRoles(Tree& tree);

}  // namespace nalvo::mime
