// Real calendars and cards: all can be read as some object, and what was written once is written the same again.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "mail/v_card.h"
#include "mail/v_event.h"
#include "mail/v_journal.h"
#include "mail/v_todo.h"
#include "platform/text/text.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"

namespace nalvo::mail {
namespace {

// Reads and writes the files of a folder twice as an `Object`, and answers how many held one.
template <typename Object>
int holdStill(const char* folder) {
  const char* corpus = std::getenv("NALVO_CORPUS");
  const ScopedClock clock(*fileTimeOfUnix(1'167'652'800));
  int files = 0, read = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(std::filesystem::path(corpus) / folder)) {
    if (!entry.is_regular_file()) {
      continue;
    }
    SCOPED_TRACE(entry.path().filename());
    ++files;
    std::ifstream in(entry.path(), std::ios::binary);
    Object first, second;
    if (!first.read(in)) {
      continue;
    }
    ++read;
    const std::string once = first.toText();
    EXPECT_TRUE(isValidUtf8(once));
    std::istringstream again(once);
    // A component of empty properties alone is not written.
    EXPECT_EQ(second.read(again), once.find(first.current().name) != std::string::npos);
    EXPECT_EQ(second.toText(), once);
  }
  EXPECT_GT(files, 0) << folder;
  return read;
}

TEST(ObjectCorpus, IsWrittenTheSameAgain) {
  if (std::getenv("NALVO_CORPUS") == nullptr) {
    return;
  }
  EXPECT_GT(holdStill<VEvent>("ics"), 500);
  EXPECT_GT(holdStill<VTodo>("ics"), 10);
  EXPECT_GT(holdStill<VJournal>("ics"), 0);
  EXPECT_GT(holdStill<VCard>("vcf"), 100);
}

}  // namespace
}  // namespace nalvo::mail
