// SPDX-License-Identifier: Apache-2.0
// Libraries that are not ours: what does not fit is refused before it is called, what takes the program down is named.
// What routines do wrong under a sweep is in sweep_test.cc, what they write outside their slots in tests/procedures.
#include <gmock/gmock.h>

#include "tests/cli/program.h"
#include "tests/cli/system.h"

namespace quiver::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

TEST(ForeignCode, LibrariesOfAnotherVersionAreRefusedBeforeTheyAreCalled) {
  const std::string folder = QUIVER_BUILD_DIR "/tests/cli/";
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"list", "models"}, {"solve", "STRANGER"}}) {
    std::vector<std::string> arguments = {"--library", folder + SharedLibraryName("wrong_version")};
    arguments.insert(arguments.end(), command.begin(), command.end());
    const Answer answer = Quiver(arguments);
    EXPECT_EQ(answer.status, 2);
    EXPECT_EQ(answer.out, "");
    EXPECT_THAT(answer.err, AllOf(HasSubstr("model STRANGER of"),
                                  HasSubstr(SharedLibraryName("wrong_version") + " was built for version 7"),
                                  HasSubstr("this host has version 6"), HasSubstr("Build the library")));
  }
  const Answer answer = Quiver({"--library", folder + SharedLibraryName("no_block"), "list", "models"});
  EXPECT_EQ(answer.status, 2);
  EXPECT_THAT(answer.err, HasSubstr(SharedLibraryName("no_block") +
                                    " lists model STRANGER but does not export its compatibility block"));
}

// The system's loader would find this one by its name.
TEST(ForeignCode, ALibraryWithoutAFolderIsLookedForHereAndNowhereElse) {
  const Answer answer = Quiver({"--library", kHasShell ? "libm.so.6" : "kernel32.dll", "list", "models"});
  EXPECT_EQ(answer.status, 2);
  EXPECT_THAT(answer.err, AllOf(HasSubstr("cannot open the library"),
                                HasSubstr(kHasShell ? "No such file" : "error 126 of the system")));
}

#if !defined(__SANITIZE_ADDRESS__)
TEST(ForeignCode, ARoutineThatTakesTheProgramDownIsNamed) {
  for (const auto& [drop, words] : std::vector<std::pair<std::string, std::string>>{
           {"2", "crashed (signal 11)"},
           {"3", kHasShell ? "crashed (signal 06)" : "crashed (signal 22)"},
           {"4", "ended the program"}}) {
    const Answer answer =
        Quiver({"--routines", QUIVER_BUILD_DIR "/tests/cli/bad_routine", "solve", "PSV_SIMPLE", "--fix",
                "P_DROP=" + drop, "--fix", "RHO=55", "--fix", "MW=18", "--fix", "AREA_RATIO=0"});
    EXPECT_NE(answer.status, 0);
    EXPECT_THAT(answer.err, HasSubstr("quiver: routine ZX40RM_splimit of library Brisolt " + words)) << drop;
  }
}
#endif

}  // namespace
}  // namespace quiver::testing
