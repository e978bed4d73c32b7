// SPDX-License-Identifier: Apache-2.0
// quiver sweep and merge: the same rows whatever the way to them; kills, crashes, hangs; requests that make no sense.
#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <map>
#include <sstream>

#include "tests/cli/program.h"
#include "tests/cli/system.h"

namespace quiver::testing {
namespace {

using ::testing::HasSubstr;

constexpr const char* kRelief = R"(title: Water through a nozzle
blocks:
  psv:
    model: PSV_SIMPLE
    fix: {P_DROP: 6 bar, RHO: 55.3, MW: 18.015, AREA_RATIO: 0}
    guess: {FLUX: 1e4}
report: [psv.FLUX]
)";
constexpr const char* kFittings = R"(blocks:
  fit:
    model: PIPEFITTINGS
    set: {ELBOWNO: 1, STRTEENO: 1, BRCHTEENO: 0, GATVALNO: 0, BUTVALNO: 0, LDIAM: 0, FITCONNECT: Screwed}
    fix: {DIAM: 0.1, L: 0}
report: [fit.XLENGTH, fit.XELBO]
)";

using Rows = std::vector<std::map<std::string, std::string>>;

// Of a CSV without cells in quotes; the lines that start with "#" are passed over.
Rows RowsOf(const std::string& csv) {
  Rows rows;
  std::vector<std::string> head;
  std::istringstream lines(csv);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("#")) continue;
    std::vector<std::string> cells(1);
    bool quoted = false;
    for (const char c : line) {
      if (c == '"')
        quoted = !quoted;
      else if (c == ',' && !quoted)
        cells.emplace_back();
      else
        cells.back() += c;
    }
    if (head.empty()) {
      head = cells;
      continue;
    }
    EXPECT_EQ(cells.size(), head.size()) << line;
    rows.emplace_back();
    for (size_t k = 0; k < std::min(cells.size(), head.size()); ++k) rows.back()[head[k]] = cells[k];
  }
  return rows;
}

Answer Sweep(const Scratch& scratch, std::vector<std::string> more) {
  more.insert(more.begin(), "sweep");
  return Quiver(more, scratch);
}

std::string File(const Scratch& scratch, const std::string& name) { return ReadText(scratch.path() / name); }

// G^2 = 2 rho dp, at every point, in the unit that the user varies in.
TEST(Sweep, EveryPointOfAGridHasItsOwnAnswer) {
  const Scratch scratch;
  scratch.Write("case.yaml", kRelief);
  const Answer answer = Sweep(
      scratch, {"case.yaml", "--vary", "psv.P_DROP=10..1000 kPa:3 log", "--vary", "psv.AREA_RATIO=0, 0.6"});
  ASSERT_EQ(answer.status, 0) << answer.err;
  const Rows rows = RowsOf(answer.out);
  ASSERT_EQ(rows.size(), 6u);
  const double drops[] = {10, 10, 100, 100, 1000, 1000};
  for (size_t i = 0; i < rows.size(); ++i) {
    auto row = rows[i];
    EXPECT_EQ(std::stod(row["psv.P_DROP [kPa]"]), drops[i]);
    const double beta = i % 2 ? 0.6 : 0;
    EXPECT_EQ(std::stod(row["psv.AREA_RATIO"]), beta);
    const double flux = std::sqrt(2 * 18.015 * 55.3 * drops[i] * 1000 / (1 - beta * beta));
    EXPECT_NEAR(std::stod(row["psv.FLUX [kg/m2/s]"]), flux, 1e-4 * flux);
    EXPECT_EQ(row["status"], "solved");
  }
}

// Options choose other equations: each point is what "quiver solve" makes of it alone.
TEST(Sweep, OptionsRebuildTheFlowsheet) {
  const Scratch scratch;
  scratch.Write("case.yaml", kFittings);
  const Answer answer =
      Sweep(scratch, {"case.yaml", "--vary", "fit.ELBOWNO=1..3:3", "--vary",
                      "fit.FITCONNECT=Screwed, Flanged-Welded", "--vary", "fit.DIAM=50, 100 mm"});
  ASSERT_EQ(answer.status, 0) << answer.err;
  const Rows rows = RowsOf(answer.out);
  ASSERT_EQ(rows.size(), 12u);
  for (auto row : rows) {
    std::string text = kFittings;
    const auto replace = [&](const std::string& from, const std::string& to) {
      text.replace(text.find(from), from.size(), to);
    };
    replace("ELBOWNO: 1", "ELBOWNO: " + row["fit.ELBOWNO"]);
    replace("FITCONNECT: Screwed", "FITCONNECT: " + row["fit.FITCONNECT"]);
    replace("DIAM: 0.1", "DIAM: " + row["fit.DIAM [mm]"] + " mm");
    const Json alone = SolveText(text, {"--json"}).Document();
    EXPECT_NEAR(std::stod(row["fit.XLENGTH [m]"]), alone["values"]["fit.XLENGTH"].get<double>(), 1e-9)
        << row["point"];
  }
}

TEST(Sweep, RowsDoNotDependOnJobsAndShards) {
  const Scratch scratch;
  scratch.Write("case.yaml", kRelief);
  const std::vector<std::string> sweep = {"case.yaml",
                                          "--sample",
                                          "sobol",
                                          "--points",
                                          "300",
                                          "--seed",
                                          "3",
                                          "--vary",
                                          "psv.P_DROP=0.01..100 bar log",
                                          "--vary",
                                          "psv.AREA_RATIO=0..0.99"};
  const auto run = [&](std::vector<std::string> more, int status = 0) {
    more.insert(more.begin(), sweep.begin(), sweep.end());
    const Answer answer = Sweep(scratch, more);
    EXPECT_EQ(answer.status, status) << answer.err;
  };
  for (const std::string kind : {".csv", ".jsonl"}) {
    for (const std::string jobs : {"1", "2", "3"}) run({"--jobs", jobs, "--output", "jobs" + jobs + kind});
    EXPECT_EQ(File(scratch, "jobs1" + kind), File(scratch, "jobs2" + kind));
    EXPECT_EQ(File(scratch, "jobs1" + kind), File(scratch, "jobs3" + kind));
    std::vector<std::string> merge = {"merge", "--output", "merged" + kind};
    for (const std::string shard : {"1", "2", "3"}) {
      run({"--shard", shard + "/3", "--output", "parts" + kind});
      merge.push_back("parts" + kind + ".shard-" + shard + "-of-3");
    }
    EXPECT_EQ(Quiver(merge, scratch).status, 0);
    EXPECT_EQ(File(scratch, "jobs1" + kind), File(scratch, "merged" + kind));
    merge.pop_back();
    const Answer incomplete = Quiver(merge, scratch);
    EXPECT_EQ(incomplete.status, 2);
    EXPECT_THAT(incomplete.err, HasSubstr("missing or were broken off: 3"));
  }
  EXPECT_EQ(RowsOf(File(scratch, "jobs1.csv")).size(), 300u);
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "jobs1.csv.journal"));
}

TEST(Sweep, ResumesAfterAKillWithTheSameRows) {
  const Scratch scratch;
  scratch.Write("case.yaml", kRelief);
  const std::vector<std::string> sweep = {"case.yaml", "--vary", "psv.P_DROP=0.1..10 bar:20000", "--jobs",
                                          "2"};
  const auto run = [&](std::vector<std::string> more) {
    more.insert(more.begin(), sweep.begin(), sweep.end());
    return Sweep(scratch, more);
  };
  const auto begun = std::chrono::steady_clock::now();
  ASSERT_EQ(run({"--output", "whole.csv"}).status, 0);
  const double whole = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
  for (const double share : {0.3, 0.4, 0.3, 0.5}) {
    std::vector<std::string> part = {"sweep", "--output", "out.csv", "--resume"};
    part.insert(part.begin() + 1, sweep.begin(), sweep.end());
    const bool was_killed = QuiverKilledAfter(share * whole, part, scratch).status != 0;
    if (!std::filesystem::exists(scratch.path() / "out.csv")) {
      EXPECT_TRUE(was_killed);
      continue;
    }
    // It was faster than the killer, who may have come while it ended: once more from the start.
    EXPECT_EQ(File(scratch, "out.csv"), File(scratch, "whole.csv")) << "written before all was done";
    std::filesystem::remove(scratch.path() / "out.csv");
  }
  EXPECT_EQ(run({"--output", "out.csv", "--resume"}).status, 0);
  EXPECT_EQ(File(scratch, "whole.csv"), File(scratch, "out.csv"));

  // Torn in the middle of a record, and in the middle of the header.
  ASSERT_EQ(run({"--shard", "2/2", "--output", "parts.csv"}).status, 0);
  ASSERT_EQ(run({"--shard", "1/2", "--output", "parts.csv"}).status, 0);
  const std::filesystem::path shard = scratch.path() / "parts.csv.shard-1-of-2";
  for (const double share : {0.9, 0.3, 0.0001}) {
    const double size = static_cast<double>(std::filesystem::file_size(shard));
    std::filesystem::resize_file(shard, static_cast<std::uintmax_t>(share * size));
    const Answer refused = run({"--shard", "1/2", "--output", "parts.csv"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("--resume"));
    EXPECT_EQ(run({"--shard", "1/2", "--output", "parts.csv", "--resume"}).status, 0);
    EXPECT_EQ(Quiver({"merge", "parts.csv.shard-1-of-2", "parts.csv.shard-2-of-2", "--output", "merged.csv"},
                     scratch)
                  .status,
              0);
    EXPECT_EQ(File(scratch, "whole.csv"), File(scratch, "merged.csv")) << share;
  }
  const Answer other = Sweep(scratch, {"case.yaml", "--vary", "psv.P_DROP=0.1..10 bar:19999", "--shard",
                                       "1/2", "--output", "parts.csv", "--resume"});
  EXPECT_EQ(other.status, 2) << "took up the journal of another sweep";
}

struct WrongRequest {
  const char* what;
  std::vector<std::string> arguments;
  const char* words;
};

TEST(Sweep, WrongRequestsAreRefusedWithARemedy) {
  const Scratch scratch;
  scratch.Write("case.yaml", kRelief);
  scratch.Write("short.csv", "psv.P_DROP [bar],psv.RHO\n1,55\n2\n");
  scratch.Write("unit.csv", "psv.P_DROP [bra]\n1\n");
  scratch.Write("text.csv", "psv.P_DROP [bar]\nmuch\n");
  const WrongRequest requests[] = {
      {"nothing varied", {}, "nothing to vary"},
      {"unknown property", {"--vary", "psv.PDROP=1..2:2"}, "did you mean P_DROP?"},
      {"unknown block", {"--vary", "pvs.P_DROP=1..2:2"}, "did you mean psv?"},
      {"no number of points", {"--vary", "psv.P_DROP=1..2 bar"}, "1..10 bar:10"},
      {"zero points", {"--vary", "psv.P_DROP=1..2 bar:0"}, "whole number, 1 or more"},
      {"logarithm of zero", {"--vary", "psv.P_DROP=0..2 bar:3 log"}, "above 0"},
      {"unknown unit", {"--vary", "psv.P_DROP=1..2 bra:3"}, "unit"},
      {"unit of something else", {"--vary", "psv.P_DROP=1..2 kg:3"}, "bar"},
      {"twice", {"--vary", "psv.P_DROP=1,2", "--vary", "psv.p_drop=3"}, "varied twice"},
      {"a value missing", {"--vary", "psv.P_DROP=1,,2"}, "a value is missing"},
      {"sample without size", {"--sample", "sobol", "--vary", "psv.P_DROP=1..2"}, "--points"},
      {"size of a range in a sample",
       {"--sample", "sobol", "--points", "4", "--vary", "psv.P_DROP=1..2:3"},
       "leave it out"},
      {"too many", {"--vary", "psv.P_DROP=1..2:100000", "--vary", "psv.RHO=1..2:100000"}, "1,000,000,000"},
      {"no table", {"--table", "none.csv"}, "cannot be opened"},
      {"short row", {"--table", "short.csv"}, "short.csv:3:1: the row has 1 cells, the header 2"},
      {"unit in a header", {"--table", "unit.csv"}, "unit.csv:1:1"},
      {"text under a unit", {"--table", "text.csv"}, "text.csv:2:1"},
      {"another ending", {"--vary", "psv.P_DROP=1,2", "--output", "out.xls"}, ".csv or .jsonl"},
      {"no folder", {"--vary", "psv.P_DROP=1,2", "--output", "no/out.csv"}, "folder that exists"},
      {"shard", {"--vary", "psv.P_DROP=1,2", "--output", "out.csv", "--shard", "3/2"}, "2/8"},
      {"resume without a file", {"--vary", "psv.P_DROP=1,2", "--resume"}, "--output"},
  };
  for (const WrongRequest& request : requests) {
    SCOPED_TRACE(request.what);
    std::vector<std::string> arguments = request.arguments;
    arguments.insert(arguments.begin(), "case.yaml");
    const Answer answer = Sweep(scratch, arguments);
    EXPECT_EQ(answer.status, 2);
    EXPECT_THAT(answer.err, HasSubstr(request.words));
    EXPECT_EQ(answer.out, "");
  }
}

// Values out of bounds, wrong options and points without solution keep their rows.
TEST(Sweep, PointsThatFailSayWhyAndCostNoOthers) {
  const Scratch scratch;
  scratch.Write("case.yaml", kFittings);
  const Answer answer = Sweep(scratch, {"case.yaml", "--vary", "fit.FITCONNECT=Screwed, Flanged", "--vary",
                                        "fit.DIAM=0.05, 1e9, 0.1"});
  EXPECT_EQ(answer.status, 1);
  std::string statuses, reasons;
  for (auto row : RowsOf(answer.out)) {
    statuses += row["status"] + " ";
    reasons += row["reason"] + "\n";
    EXPECT_EQ(row["fit.XLENGTH [m]"].empty(), row["status"] != "solved");
  }
  EXPECT_EQ(statuses, "solved refused solved failed refused failed ");
  EXPECT_THAT(reasons, HasSubstr("outside its bounds"));
  EXPECT_THAT(reasons, HasSubstr("XELBO"));
}

// A routine that crashes, ends the process, hangs or overruns its slots at some points costs those points and no others, and is
// named; the rows are the same for any number of workers.
TEST(Sweep, BadRoutinesCostTheirOwnPoints) {
#ifdef __SANITIZE_ADDRESS__  // which would take the crash for itself
  const char* const options = std::getenv("ASAN_OPTIONS");
  setenv("ASAN_OPTIONS", (std::string(options ? options : "") + ":handle_segv=0").c_str(), 1);
#endif
  const Scratch scratch;
  scratch.Write("case.yaml", kRelief);
  const auto run = [&](const std::string& jobs) {
    return Quiver({"--routines", QUIVER_BUILD_DIR "/tests/cli/bad_routine", "sweep", "case.yaml", "--vary",
                   "psv.P_DROP=1..9.5 bar:18", "--jobs", jobs, "--point-timeout", "2"},
                  scratch);
  };
  const Answer answer = run("1");
  EXPECT_EQ(answer.status, 1) << answer.err;
  const std::map<std::string, std::pair<std::string, std::string>> bad = {
      {"2", {"crashed", "a memory access that is not allowed"}},
      {"3", {"crashed", "it broke off itself"}},
      {"4", {"crashed", "exit status 7"}},
      {"5", {"timed-out", "within 2 s"}},
      {"6", {"failed", "nan"}},
      {"7", {"crashed", "wrote outside its arguments"}},
      {"8", {"failed", "failure 3"}}};
  Rows rows = RowsOf(answer.out);
  ASSERT_EQ(rows.size(), 18u);
  for (auto& row : rows) {
    const std::string drop = row["psv.P_DROP [bar]"];
    SCOPED_TRACE(drop);
    if (const auto found = bad.find(drop); found != bad.end()) {
      EXPECT_EQ(row["status"], found->second.first);
      EXPECT_THAT(row["reason"], HasSubstr(found->second.second));
      EXPECT_THAT(row["reason"], HasSubstr("ZX40RM_splimit of library Brisolt"));
      EXPECT_EQ(row["psv.FLUX [kg/m2/s]"], "");
    } else {
      const double flux = std::sqrt(2 * 18.015 * 55.3 * 1e5 * std::stod(drop));
      EXPECT_EQ(row["status"], "solved") << row["reason"];
      EXPECT_NEAR(std::stod(row["psv.FLUX [kg/m2/s]"]), flux, 1e-4 * flux);
    }
  }
  EXPECT_EQ(answer.out, run("3").out);
}

TEST(Sweep, RanksOfMpiWriteTheSameFile) {
  if (!std::filesystem::exists(QUIVER_BUILD_DIR "/lib/libquiver_mpi.so") ||
      std::system("command -v mpirun >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "no MPI here";
  const Scratch scratch;
  scratch.Write("case.yaml", kRelief);
  const std::string arguments =
      " sweep case.yaml --sample latin-hypercube --points 200 --vary 'psv.P_DROP=1..10 bar' --output ";
  const auto run = [&](const std::string& before, const std::string& after) {
    return std::system(("cd '" + scratch.path().string() + "' && " + before + QUIVER_BUILD_DIR "/bin/quiver" +
                        arguments + after + " >log.txt 2>&1")
                           .c_str());
  };
  ASSERT_EQ(run("", "alone.csv"), 0) << File(scratch, "log.txt");
  // What MPI's own libraries leave behind is theirs.
  ASSERT_EQ(
      run("LSAN_OPTIONS=detect_leaks=0 mpirun --allow-run-as-root --oversubscribe -n 2 ", "ranks.csv --mpi"),
      0)
      << File(scratch, "log.txt");
  EXPECT_EQ(File(scratch, "alone.csv"), File(scratch, "ranks.csv"));
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "ranks.csv.shard-1-of-2"));
}

// The rows of one sweep are the table of the next; the case's own section does without options.
TEST(Sweep, TablesAndTheSectionOfTheCase) {
  const Scratch scratch;
  scratch.Write("case.yaml",
                std::string(kRelief) + "sweep:\n  vary: {psv.P_DROP: '1..3 bar:3', psv.RHO: [50, 60]}\n");
  const Answer grid = Sweep(scratch, {"case.yaml"});
  ASSERT_EQ(grid.status, 0) << grid.err;
  const Answer points = Sweep(scratch, {"case.yaml", "--dry-run"});
  scratch.Write("points.csv", "# from elsewhere\npoint,psv.RHO,psv.P_DROP [kPa]\r\n7,50,100\n9,60,\"300\"\n");
  const Answer table = Sweep(scratch, {"case.yaml", "--table", "points.csv"});
  ASSERT_EQ(table.status, 0) << table.err;
  Rows all = RowsOf(grid.out), some = RowsOf(table.out);
  EXPECT_EQ(RowsOf(points.out).size(), 6u);
  ASSERT_EQ(all.size(), 6u);
  ASSERT_EQ(some.size(), 2u);
  EXPECT_EQ(some[0]["psv.P_DROP [kPa]"], "100");
  EXPECT_NEAR(std::stod(some[0]["psv.FLUX [kg/m2/s]"]), std::stod(all[0]["psv.FLUX [kg/m2/s]"]), 1e-6);
  EXPECT_NEAR(std::stod(some[1]["psv.FLUX [kg/m2/s]"]), std::stod(all[5]["psv.FLUX [kg/m2/s]"]), 1e-6);
}

}  // namespace
}  // namespace quiver::testing
