// What a save settles before it writes: encodings, charsets, boundaries.
#pragma once

#include <unordered_map>

#include "mime/body.h"
#include "mime/byte_filters.h"

namespace nalvo::mime {

struct BodyPlan {
  // Of content that is a stream or a message: the transfer encoding that its part names.
  Encoding encoding = IET_7BIT;
  // The charset that the part names; null: none.
  const Charset* label = nullptr;
  // The bytes are encoded on their way; else they go out as they are.
  bool isEncoded = false;
  // UTF-16 goes through this charset first.
  const Charset* convertTo = nullptr;
  // What goes out holds 8-bit bytes. Known below an embedded message and below a root with a stored encoding.
  bool isEightBit = false;
  std::string boundary;
  // A root that is written as its only attachment.
  Body* flattened = nullptr;
  // The encoding row of a stored block that still holds.
  bool keepsStoredEncoding = false;
};

class SavePlan {
 public:
  // Plans the body, what is below it, and messages within. Reads the texts once, to see what they hold.
  explicit SavePlan(Body& top);

  const BodyPlan& of(const Body& body) const;

 private:
  struct Step {
    Body* body;
    bool countsBytes;  // whether it matters if 8-bit bytes go out
  };

  void plan(const Step& step);
  void planStream(Body& body, BodyPlan& plan);
  void planParts(Body& body, BodyPlan& plan);
  void planStoredEncoding(Body& body, BodyPlan& plan);
  void settleStoredBoundaries(Body& top);

  std::unordered_map<const Body*, BodyPlan> plans_;
  std::vector<Body*> storedBoundaries_;  // roots that would be parted as they were
};

// The filters that the content of a planned stream goes through.
FilterChain outgoingChain(const StreamContent& stream, const BodyPlan& plan);

// The writer makes type, encoding and MIME-Version of this body; of others the rows stand as they are.
bool isManaged(const Body& body);

}  // namespace nalvo::mime
