// What a sweep of faults over a conversion must show.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "host/fault_sweep.h"
#include "tests/support/caller.h"

namespace nalvo::test {

// Calls whose failure means that something is not known, which a run may go on without.
inline const std::vector<std::string> kMayBeUnknown = {
    // the class of the message
    "IMapiAllocator::getAllocators", "getProp", "allocateBuffer", "allocateMore",
    // what the server does not tell
    "IMimeFlags::hasAttachments", "IMimeFlags::getMessageSize", "IAddressBook::getEntryProp", "IAddressBook::getFolderGuid",
    "IConvertAttachment::getContentIdSource",
    // the folder of an item
    "IConvertMessage::getAddressBook"};

inline void expectClean(const host::SweepResult& result, std::size_t mostSwallowed, std::uint64_t leastRuns = 100) {
  for (const std::string& complaint : result.complaints) {
    ADD_FAILURE() << complaint;
  }
  EXPECT_GE(result.runs, leastRuns);
  EXPECT_LE(result.swallowed.size(), mostSwallowed);
  for (const std::string& call : result.swallowed) {
    EXPECT_NE(std::find(kMayBeUnknown.begin(), kMayBeUnknown.end(), call), kMayBeUnknown.end()) << call;
  }
}

}  // namespace nalvo::test
