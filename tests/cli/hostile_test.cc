// SPDX-License-Identifier: Apache-2.0
// Input that nobody means: nested, huge, cyclic, endless, of the wrong kind. Each gets one refusal with place and remedy, status 2,
// and within the memory and the processor time that the shell grants. The case reader itself is tested in
// tests/runtime/io/hostile_test.cc.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <iterator>
#include <sstream>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

using ::testing::HasSubstr;

const std::string kRelief =
    "blocks:\n  psv: {model: PSV_SIMPLE, fix: {P_DROP: 6 bar, RHO: 55.3, MW: 18, AREA_RATIO: 0}}\n";
constexpr const char* kVessel =
    "components: [n-hexane]\nblocks:\n  vessel: {{model: VESSEL, fix: {{DIAM: 2.5 m, HEIGHT: 6 m, P_RESEAT: "
    "5.5 bar, Q: 1}}}}\n"
    "simulate:\n  end: {}\n  step: {}\n  tolerance: {}\n  initial: {{vessel.T: 25 degC, vessel.LEVEL: 4 "
    "m}}\n";

std::string Block(const std::string& content) { return fmt::format("blocks:\n  b: {{{}}}\n", content); }

std::string Lines(const char* pattern, int count) {
  std::string text;
  for (int k = 0; k < count; ++k) text += fmt::format(fmt::runtime(pattern), k);
  return text;
}

struct Hostile {
  const char* what;
  std::string command;  // in a folder with case.yaml and table.csv
  std::string text;     // of case.yaml
  std::vector<std::string> words;
  std::string table = {};
};

// Without a shell there are no limits to grant and no endless files.
bool CanRun(const Hostile& hostile) {
  return kHasShell || hostile.command.find("/dev/zero") == hostile.command.npos;
}

// ulimit counts processor time, which no busy machine stretches. A sanitizer needs more address space than there is.
Answer Limited(const Hostile& hostile) {
  const Scratch scratch;
  scratch.Write("case.yaml", hostile.text);
  scratch.Write("table.csv", hostile.table);
  if (!kHasShell) {
    std::istringstream words(hostile.command);
    return Quiver({std::istream_iterator<std::string>(words), {}}, scratch);
  }
#if defined(__SANITIZE_ADDRESS__)
  const std::string limits = "ulimit -t 60";
#else
  const std::string limits = "ulimit -t 10 -v 1000000";
#endif
  return Shell(fmt::format("{}; '{}/bin/quiver' {} </dev/null", limits, QUIVER_BUILD_DIR, hostile.command),
               scratch);
}

void ExpectRefused(const Hostile& hostile) {
  if (!CanRun(hostile)) return;
  SCOPED_TRACE(hostile.what);
  const Answer answer = Limited(hostile);
  EXPECT_EQ(answer.status, 2) << answer.err.substr(0, 2000);
  EXPECT_EQ(answer.out, "");
  EXPECT_LT(answer.err.size(), 10000u);
  for (const std::string& word : hostile.words) EXPECT_THAT(answer.err, HasSubstr(word));
}

TEST(Hostile, Cases) {
  for (const Hostile& hostile : std::vector<Hostile>{
           {"two blocks that letter case alone tells apart",
            "solve case.yaml",
            "blocks:\n  a: {model: PSV_SIMPLE}\n  A: {model: PSV_SIMPLE}\n",
            {"case.yaml:3:3", "there is a block A already", "name of its own"}},
           {"a number for an array of models",
            "solve case.yaml",
            Block("model: FEED, set: {PFLASH2: 3}"),
            {"case.yaml:2:26", "PFLASH2 of block b takes no value", "PFLASH2(1).NAME"}},
           {"a list for an array of models",
            "solve case.yaml",
            Block("model: FEED, set: {PFLASH2: [1]}"),
            {"case.yaml:2:26", "takes no value"}},
           {"a global in a unit that it has not",
            "solve case.yaml",
            "globals: {EPS: 3 degF}\n" + Block("model: PSV_VAP"),
            {"case.yaml:1:16", "global EPS", "give the number alone"}},
           {"a range of 2 000 000 000",
            "solve case.yaml",
            Block("model: COMPRPERFCURVE, set: {NCURVE: 2000000000}"),
            {"b: a set of integers", "to 2000000000", "at most 100000"}},
           {"a table of 10000 by 10000",
            "solve case.yaml",
            Block("model: COMPRPERFCURVE, set: {NCURVE: 10000, NPOINT: 10000}"),
            {"b.", "elements", "at most 100000"}},
           {"100000 sub-models",
            "solve case.yaml",
            Block("model: COMPRINTEGRATION, set: {NINTERVALS: 99000}"),
            {"b.PFLASH2", "elements", "at most 10000"}},
           {"cycles of connections",
            "solve case.yaml",
            kRelief + "connect: [psv.FLUX = psv.FLUX]\n",
            {"case.yaml:3:11", "connected to itself", "name another"}},
           {"a bomb of aliases",
            "solve case.yaml",
            "a: &a [1,1,1,1,1,1,1,1,1,1]\n" + Lines("b{0}: &b{0} [*a,*a,*a,*a,*a,*a,*a,*a,*a,*a]\n", 1) +
                "c: &c [*b0,*b0,*b0,*b0,*b0,*b0,*b0,*b0,*b0,*b0]\nd: &d [*c,*c,*c,*c,*c,*c,*c,*c,*c,*c]\n"
                "e: &e [*d,*d,*d,*d,*d,*d,*d,*d,*d,*d]\nf: &f [*e,*e,*e,*e,*e,*e,*e,*e,*e,*e]\n",
            {"case.yaml:6:", "more than 1000000 values", "fewer or smaller aliases"}},
           {"an endless file", "solve /dev/zero", "", {"/dev/zero", "more than 16 MB"}},
           {"no case", "solve case.yaml", "", {"case.yaml:1:1", "holds no case"}}})
    ExpectRefused(hostile);
}

TEST(Hostile, Sweeps) {
  const std::string vary = "sweep case.yaml --vary ";
  const std::string table = "sweep case.yaml --table table.csv";
  for (const Hostile& hostile : std::vector<Hostile>{
           {"a grid of 10^18",
            vary + "psv.P_DROP=1..2:1000000000 --vary psv.RHO=1..2:1000000000",
            kRelief,
            {"case.yaml", "more than 1,000,000,000 points", "fewer values"}},
           {"a range beyond counting",
            vary + "psv.P_DROP=1..2:99999999999999999999",
            kRelief,
            {"psv.P_DROP", "no sound number of points"}},
           {"an endless table",
            "sweep case.yaml --table /dev/zero",
            kRelief,
            {"/dev/zero", "more than 128 MB", "in parts"}},
           {"a folder for a table", "sweep case.yaml --table .", kRelief, {".: the table cannot be opened"}},
           {"ragged rows",
            table,
            kRelief,
            {"table.csv:3:1", "the row has 1 cells"},
            "psv.P_DROP,psv.RHO\n1,2\n3\n"},
           {"bytes for a header",
            table,
            kRelief,
            {"table.csv:1:1", "\\xff", "BLOCK.NAME"},
            "\xff\xfe\x01,\x1b[31m\n1,2\n"},
           {"a number out of range",
            table,
            kRelief,
            {"table.csv:3:1", "1e999", "range"},
            "psv.P_DROP\n1\n1e999\n"},
           {"more columns than values",
            table,
            kRelief,
            {"table.csv:1:1", "5000 columns", "at most 1000"},
            Lines("psv.X{},", 4999) + "psv.Y\n1\n"},
           {"many things varied",
            "sweep case.yaml",
            kRelief + "sweep:\n  vary:\n" + Lines("    psv.X{}: [1, 2]\n", 5000),
            {"case.yaml:1005:", "5000 values are varied", "at most 1000"}},
           {"an endless journal",
            "merge /dev/zero --output x.csv",
            kRelief,
            {"/dev/zero", "no part of a sweep"}}})
    ExpectRefused(hostile);
}

TEST(Hostile, RunsAndStates) {
  const auto vessel = [](const char* end, const char* step, const char* tolerance) {
    return fmt::format(fmt::runtime(kVessel), end, step, tolerance);
  };
  for (const Hostile& hostile :
       std::vector<Hostile>{{"time that runs backwards",
                             "simulate case.yaml",
                             vessel("-5 min", "1 min", "1e-6"),
                             {"case.yaml:5:8", "ends before it begins"}},
                            {"10^15 rows of output",
                             "simulate case.yaml",
                             vessel("2 hr", "1e-12 s", "1e-6"),
                             {"case.yaml:6:9", "more than 1000000 rows", "longer step"}},
                            {"a tolerance that no number meets",
                             "simulate case.yaml",
                             vessel("2 hr", "1 min", "1e-300"),
                             {"case.yaml:5:3", "tolerance is not between 1e-12 and 1"}},
                            {"a folder for a state",
                             "solve case.yaml --start-from .",
                             kRelief,
                             {"cannot be opened", "--save-state"}},
                            {"a state nested 100000 deep",
                             "solve case.yaml --start-from table.csv",
                             kRelief,
                             {"table.csv", "not a JSON document"},
                             std::string(100000, '[')}})
    ExpectRefused(hostile);
}

}  // namespace
}  // namespace quiver::testing
