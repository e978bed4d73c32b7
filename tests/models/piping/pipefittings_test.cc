// SPDX-License-Identifier: Apache-2.0
// Fittings as lengths of pipe: the equations of both connections, and the lengths they give.
#include <cmath>

#include "tests/models/relief/stream_table.h"

using namespace quiver;
using namespace quiver::tests;

namespace {
const char kNoFittings[] = "BRCHTEENO: 0, BUTVALNO: 0, GATVALNO: 0, STRTEENO: 0, LDIAM: 0";

double Length(const char* connection, const char* fittings, double diameter, double pipe = 0) {
  return Solved("PIPEFITTINGS", "XLENGTH", {}, fmt::format("FITCONNECT: {}, {}", connection, fittings),
                {{"DIAM", diameter}, {"L", pipe}});
}
}  // namespace

TEST(PipeFittings, EquationsAreThoseOfTheTable) {
  const StreamTable table("piping/streams/pipefittings.txt");
  for (const StreamCase& c : table.cases) table.Check(c);
}

TEST(PipeFittings, OfABarePipeOfNoLengthAreNothing) {
  EXPECT_EQ(
      Length("Screwed", "ELBOWNO: 0, BRCHTEENO: 0, BUTVALNO: 0, GATVALNO: 0, STRTEENO: 0, LDIAM: 0", 0.1), 0);
}

// The screwed elbow in closed form; each kind of fitting by its share of the base length; the pipe adds its own.
TEST(PipeFittings, EachKindHasItsShareOfTheBaseLength) {
  const double base = 2.4051 * (1 + 39.372 * 0.1) * std::pow(0.1, 0.1975);
  EXPECT_NEAR(Length("Screwed", fmt::format("ELBOWNO: 1, {}", kNoFittings).c_str(), 0.1), 0.45 * base, 1e-12);
  EXPECT_NEAR(Length("Flanged-Welded", fmt::format("ELBOWNO: 1, {}", kNoFittings).c_str(), 0.1), 0.18 * base,
              1e-12);
  const char* all = "ELBOWNO: 1, BRCHTEENO: 2, STRTEENO: 3, GATVALNO: 4, BUTVALNO: 5, LDIAM: 30";
  EXPECT_NEAR(Length("Screwed", all, 0.1, 7), 7 + (0.45 + 2 * 0.7 + 3 * 0.15 + 4 * 0.1 + 5 * 0.8) * base + 3,
              1e-11);
  EXPECT_NEAR(Length("Flanged-Welded", all, 0.1, 7),
              7 + (0.18 + 2 * 0.45 + 3 * 0.1 + 4 * 0.1 + 5 * 0.8) * base + 3, 1e-11);
}

// Another connection leaves three lengths without equations, and the host says which.
TEST(PipeFittings, OfAnUnknownConnectionAreThreeEquationsShort) {
  ModelRun run("PIPEFITTINGS", {}, fmt::format("FITCONNECT: Flanged, ELBOWNO: 1, {}", kNoFittings),
               {{"DIAM", 0.1}, {"L", 0}});
  EXPECT_FALSE(run.Solve());
  for (const char* name : {"XELBO", "XSTRTEEO", "XBRHTEEO"})
    EXPECT_NE(run.Why().find(name), std::string::npos) << run.Why();
}
