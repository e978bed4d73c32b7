// SPDX-License-Identifier: Apache-2.0
// Journals that are none, or that another sweep is writing to, are refused, and leave no file open.
#include "runtime/sweep/journal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "runtime/contract/error.h"

namespace quiver {
namespace {

// Windows removes no file that is open; Linux shows which are.
TEST(Journal, OneThatIsRefusedIsClosed) {
  const auto open_files = [] {
#if defined(__linux__)
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
#else
    return 0;
#endif
  };
  const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / "refused.journal";
  const auto before = open_files();
  for (const char* text : {"", "\n", "{}\n", "no header\nK 0 5 0\n"}) {
    std::ofstream(path) << text;
    EXPECT_THROW(Journal journal(path), Error) << text;
    EXPECT_NO_THROW(std::filesystem::remove(path)) << text;
  }
  EXPECT_EQ(open_files(), before);
}

TEST(Journal, HasOneWriterAtATimeAndGoesOnWithTheNext) {
  const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / "shared.journal";
  std::filesystem::remove(path);
  JournalHeader header;
  header.points = 8;
  header.chunk = 4;
  {
    Journal writer(path, header, false);
    writer.Append(0, "first\n");
    try {
      Journal(path, header, true);
      FAIL() << "two sweeps write to one journal";
    } catch (const Error& error) {
      EXPECT_NE(std::string(error.what()).find("another sweep is writing to it"), std::string::npos)
          << error.what();
    }
    EXPECT_EQ(Journal(path).Text(0), "first\n") << "a reader need not wait";
  }
  Journal next(path, header, true);
  EXPECT_TRUE(next.Has(0));
  next.Append(1, "second\n");
  EXPECT_EQ(next.Text(0) + next.Text(1), "first\nsecond\n");
}

}  // namespace
}  // namespace quiver
