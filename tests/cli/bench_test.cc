// SPDX-License-Identifier: Apache-2.0
// quiver bench: the counts of repeated cases, stages that add up, the exit status of what cannot be solved.
#include <gmock/gmock.h>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

using ::testing::HasSubstr;

const char* const kTwoNozzles = R"(
blocks:
  a: {model: PSV_SIMPLE, fix: {P_DROP: 6 bar, RHO: 55.3, MW: 18.015, AREA_RATIO: 0}}
  b: {model: PSV_SIMPLE, fix: {RHO: 50, MW: 18.015, AREA_RATIO: 0}}
connect: ["a.P_DROP = b.P_DROP"]
)";

Json Bench(const char* text, std::vector<std::string> more, int status = 0) {
  const Scratch scratch;
  scratch.Write("case.yaml", text);
  more.insert(more.begin(), {"bench", "case.yaml", "--json"});
  const Answer answer = Quiver(more, scratch);
  EXPECT_EQ(answer.status, status) << answer.err;
  return answer.Document();
}

// Copies are joined as the case is, each by itself: all counts grow alike, and all but two of each block take over.
TEST(Bench, CopiesOfACaseCountAsManyTimes) {
  const Json one = Bench(kTwoNozzles, {}), many = Bench(kTwoNozzles, {"--repeat", "30", "--workers", "2"});
  for (const char* count : {"equations", "blocks", "iterations", "evaluations"})
    EXPECT_EQ(many[count], 30 * one[count].get<int>()) << count;
  EXPECT_EQ(one["equations"], 5);
  EXPECT_EQ(many["instances"], 60);
  EXPECT_EQ(many["instances_written_out"], 2);
  EXPECT_EQ(many["status"], "converged");
  double sum = 0;
  for (const auto& [stage, seconds] : many["seconds"].items())
    if (stage != "all") sum += seconds.get<double>();
  EXPECT_NEAR(sum, many["seconds"]["all"].get<double>(), 1e-9);
  EXPECT_GT(many["seconds"]["evaluation"].get<double>(), 0);
}

TEST(Bench, WhatCannotBeSolvedIsSaid) {
  const char* const text = "blocks: {a: {model: PSV_SIMPLE, fix: {P_DROP: 6, MW: 18, AREA_RATIO: 0}}}\n";
  EXPECT_EQ(Bench(text, {"--repeat", "20"}, 1)["status"], "failed");
  const Answer missing = Quiver({"bench", "nowhere.yaml"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.err, HasSubstr("nowhere.yaml"));
  EXPECT_EQ(Quiver({"bench", "case.yaml", "--repeat", "0"}).status, 2);
}

}  // namespace
}  // namespace quiver::testing
