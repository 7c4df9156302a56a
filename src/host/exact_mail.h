// What a journey through a mail changes in a message, value by value and bit by bit.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/carried.h"

namespace nalvo::host {

// What each message of a tree carries.
using CarriedTree = std::map<const MemoryMessage*, Carried>;

// Adds to `tree`, for each message in `before`, a layer that makes the one of `after` the same: type, stored width, value,
// order of parts, messages inside. Answers what no layer can put back, one line for each, and all that differs when
// `tree` is null.
std::vector<std::string> addDifferences(const MemoryMessage& before, const MemoryMessage& after, CarriedTree* tree);

// The messages of a tree, each ahead of those that are attached to it.
std::vector<MemoryMessage*> messagesOf(MemoryMessage& message);

}  // namespace nalvo::host
