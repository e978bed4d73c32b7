// SPDX-License-Identifier: Apache-2.0
// Journals that are none are refused, and leave no file open.
#include "runtime/sweep/journal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "runtime/contract/error.h"

namespace quiver {
namespace {

TEST(Journal, OneThatIsRefusedIsClosed) {
  const std::filesystem::path descriptors = "/proc/self/fd";
  if (!std::filesystem::exists(descriptors)) GTEST_SKIP() << "counts the process's open files";
  const auto open_files = [&] { return std::distance(std::filesystem::directory_iterator(descriptors), {}); };
  const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / "refused.journal";
  const auto before = open_files();
  for (const char* text : {"", "\n", "{}\n", "no header\nK 0 5 0\n"}) {
    std::ofstream(path) << text;
    EXPECT_THROW(Journal journal(path), Error) << text;
  }
  std::filesystem::remove(path);
  EXPECT_EQ(open_files(), before);
}

}  // namespace
}  // namespace quiver
