// SPDX-License-Identifier: Apache-2.0
// Wrong requests: exit status 2, nothing on standard output, and a message that names what, where and what to do.
#include <gmock/gmock.h>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

using ::testing::HasSubstr;

void ExpectRefusal(const Answer& answer, const std::vector<std::string>& words) {
  EXPECT_EQ(answer.status, 2) << answer.err;
  EXPECT_EQ(answer.out, "");
  for (const std::string& word : words) EXPECT_THAT(answer.err, HasSubstr(word));
  EXPECT_LT(answer.err.size(), 10000u) << "nobody reads more";
}

struct WrongCommand {
  std::vector<std::string> arguments;
  std::vector<std::string> words;
};

TEST(BadInput, OnTheCommandLine) {
  const WrongCommand wrong[] = {
      {{"frobnicate"}, {"--help"}},
      {{"list", "modles"}, {"modles", "models"}},
      {{"show", "PSV_SIMPEL", "--json"}, {"PSV_SIMPEL", "did you mean PSV_SIMPLE?"}},
      {{"equations", "PIPEFITTING", "--json"}, {"PIPEFITTING", "did you mean PIPEFITTINGS?"}},
      {{"equations", "PIPEFITTINGS", "--json", "--set", "FITCONECT=Screwed"},
       {"FITCONECT", "did you mean FITCONNECT?"}},
      {{"solve", "PIPEFITTINGS", "--set", "ELBOWN0=2", "--json"},
       {"unknown option ELBOWN0", "did you mean ELBOWNO?"}},
      {{"solve", "PIPEFITTINGS", "--set", "FITCONNECT=Screwed", "--fix", "DIAM=0.1", "--json"},
       {"ELBOWNO has no value", "LDIAM has no value", "set it"}},
      {{"solve", "PSV_SIMPLE", "--fix", "P_DRPO=6", "--json"}, {"P_DRPO", "did you mean P_DROP?"}},
      {{"solve", "PSV_SIMPLE", "--fix", "P_DROP=6 degC", "--json"}, {"P_DROP", "degC", "bar"}},
      {{"solve", "PSV_SIMPLE", "--fix", "P_DROP=6 bra", "--json"}, {"P_DROP", "bra", "bar"}},
      {{"solve", "PSV_SIMPLE", "--fix", "P_DROP", "--json"}, {"P_DROP", "NAME=VALUE"}},
      {{"solve", "PSV_SIMPLE", "--fix", "P_DROP=", "--json"}, {"P_DROP", "NAME=VALUE"}},
      {{"solve", "PSV_SIMPLE", "--fix", "P_DROP=six", "--json"}, {"P_DROP", "six", "number"}},
      {{"solve", "PSV_SIMPLE", "--fix", "P_DROP=nan", "--json"}, {"P_DROP", "nan"}},
      {{"solve", "PSV_SIMPLE", "--fix", "RHO=-55", "--json"}, {"RHO", "-55", "bounds", "100000"}},
      {{"solve", "no_such.yaml", "--json"}, {"no_such.yaml", "no such file"}},
      {{"solve", ".", "--json"}, {"folder"}},
      {{"solve", "case.yaml", "--fix", "P_DROP=6"}, {"P_DROP=6", "case.yaml is a case file"}},
      {{"sweep", "case.yaml", "--components", "water"}, {"components: [water]"}},
      {{"--library", "./no_such.so", "list", "models"}, {"no_such.so"}},
  };
  for (const WrongCommand& one : wrong) {
    std::string command = "quiver";
    for (const std::string& argument : one.arguments) command += " " + argument;
    SCOPED_TRACE(command);
    ExpectRefusal(Quiver(one.arguments), one.words);
  }
}

struct WrongCase {
  const char* text;
  const char* place;  // line and column
  std::vector<std::string> words;
};

TEST(BadInput, InCaseFiles) {
  const WrongCase wrong[] = {
      {"blocks:\n  psv: {model: PSV_SIMPEL}\n",
       "2:16",
       {"PSV_SIMPEL of block psv", "did you mean PSV_SIMPLE?"}},
      {"blocks:\n  psv: {modle: PSV_SIMPLE}\n", "2:9", {"unknown key \"modle\"", "did you mean \"model\"?"}},
      {"blocks:\n  psv:\n    model: PSV_SIMPLE\n    fix:\n      P_DRPO: 6 bar\n",
       "5:7",
       {"P_DRPO", "did you mean P_DROP?"}},
      {"blocks:\n  psv:\n    model: PSV_SIMPLE\n    fix:\n      P_DROP: 6 m\n",
       "5:15",
       {"P_DROP of block psv", "\"m\"", "bar"}},
      {"blocks:\n  psv:\n    model: PSV_SIMPLE\n    fix:\n      P_DROP:\n", "5:7", {"P_DROP", "no value"}},
      {"blocks:\n  psv:\n    model: PSV_SIMPLE\n    fix: {P_DROP: 1, P_DROP: 2}\n",
       "4:22",
       {"P_DROP", "again", "4:11"}},
      {"blocks:\n  psv:\n    model: PSV_SIMPLE\n    fix: {P_DROP: 1e400}\n", "4:19", {"1e400", "range"}},
      {"blocks:\n  psv: {model: PSV_SIMPLE}\nconnect: [psv.FLUX = psw.FLUX]\n",
       "3:11",
       {"psw", "did you mean psv?"}},
      {"blocks:\n  psv: {model: PSV_SIMPLE}\nsolver: newton\n", "3:1", {"solver"}},
      {"blocks: {}\n", "1:1", {"blocks", "at least one"}},
      {"title: nothing\n", "1:1", {"blocks"}},
      {"", "1:1", {"blocks"}},
      {"blocks:\n  psv: {model: PSV_SIMPLE\n", "", {}},
      {"blocks:\n\tpsv: 1\n", "2:", {}},
      {"\x7f\x45\x4c\x46\x02\x01\x01\xff\xfe garbage", "1:", {}},
  };
  for (const WrongCase& one : wrong) {
    SCOPED_TRACE(one.text);
    std::vector<std::string> words = one.words;
    words.push_back(std::string("case.yaml:") + one.place);
    ExpectRefusal(SolveText(one.text, {"--json"}), words);
  }
}

TEST(BadInput, AllFaultsOfACaseAtOnce) {
  const Answer answer = SolveText(
      "blocks:\n  psv:\n    model: PSV_SIMPLE\n    fix: {P_DRPO: 6 bar, RHO: 55 m, MW: 18}\n  line: {model: "
      "PIPEFITTINGS, set: {ELBOWN0: 1}}\n");
  ExpectRefusal(answer, {"4:11", "P_DRPO", "4:31", "RHO", "5:", "ELBOWN0"});
}

TEST(BadInput, HugeFilesEndInAMessage) {
  std::string many = "blocks:\n  psv:\n    model: PSV_SIMPLE\n    fix:\n";
  // The heap of wine, where Windows programs are tested, takes minutes over more.
  const int lines = kHasShell ? 200000 : 50000;
  for (int i = 0; i < lines; ++i) many += "      X" + std::to_string(i) + ": 1\n";
  ExpectRefusal(SolveText(many), {"case.yaml:"});
  ExpectRefusal(SolveText("blocks: " + std::string(100000, '[')), {"case.yaml:1:"});
  ExpectRefusal(SolveText(std::string(3000000, 'x')), {"case.yaml:1:"});
}

// On Windows, too, where the system's own code page knows few letters.
TEST(BadInput, NamesOfFilesHaveAnyLetters) {
  Scratch scratch;
  scratch.Write(
      "\u00dcberstr\u00f6mventil \u03b1.yaml",
      "blocks:\n  psv:\n    model: PSV_SIMPLE\n    fix: {P_DROP: 6, RHO: 55, MW: 18, AREA_RATIO: 0}\n");
  EXPECT_EQ(Quiver({"solve", "\u00dcberstr\u00f6mventil \u03b1.yaml"}, scratch).status, 0);
  ExpectRefusal(Quiver({"solve", "k\u00f6ln/\u03b1.yaml"}),
                {"k\u00f6ln", "\u03b1.yaml: there is no such file"});
}

TEST(BadInput, ALibraryThatIsNoModelLibrary) {
  Scratch scratch;
  scratch.Write("text.so", "no library");
  ExpectRefusal(Quiver({"--library", "./text.so", "list", "models"}, scratch), {"text.so"});
  ExpectRefusal(Quiver({"--library", QUIVER_ROUTINE_LIBRARY, "list", "models"}),
                {"brisolt", "no model library"});
}

}  // namespace
}  // namespace quiver::testing
