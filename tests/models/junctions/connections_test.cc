// SPDX-License-Identifier: Apache-2.0
// Streams between blocks of a case: what is tied, how ports for several streams are filled, and what is refused.
#include "runtime/cases/standard_volumes.h"
#include "tests/models/junctions/sheet.h"

namespace quiver::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kFeed = "IN_F.F: 100, IN_F.Z: [0.5, 0.5], IN_F.H: -0.01, IN_F.P: 10, IN_F.AV: 1";

std::string Header(Mode mode) { return "components: [nitrogen, methane]\n" + Globals(mode) + "blocks:\n"; }
std::string Tee(const char* name, const char* model, const std::string& fix) {
  return fmt::format("  {}: {{model: {}, set: {{VALIDPHASES: Vapor-Only}}, fix: {{{}}}}}\n", name, model,
                     fix);
}

// A splitter whose two products a mixer joins again.
std::string Loop(Mode mode, const std::string& split_fix, const std::string& join_fix) {
  return Header(mode) + Tee("split", "TEESPLITTER", std::string(kFeed) + split_fix) +
         Tee("join", "TEEMIXER", join_fix) +
         "connect: [\"split.OUT_P -> join.IN_F\", \"join.IN_LEG = split.OUT_LEG\"]\n";
}

TEST(Connections, a_divided_stream_comes_together_as_it_was) {
  const auto run = RunOf(Loop(Mode::kFlowDriven, ", \"SF(1)\": 0.3, P_DROP: 0.5", "P_DROPR: 0.25"));
  const Values v = Solved(*run);
  EXPECT_NEAR(v.at("join.OUT_P.F"), 100, 1e-9);
  EXPECT_NEAR(v.at("join.OUT_P.H"), -0.01, 1e-12);
  EXPECT_NEAR(v.at("join.OUT_P.P"), 9.25, 1e-9);  // the leg is the lower: 10 - 0.5 - 0.25
  EXPECT_EQ(v.at("join.IN_LEG.V"), v.at("split.OUT_LEG.V"));
  EXPECT_EQ(v.at("join.IN_LEG.AV"), 1);

  std::vector<std::string> names;
  for (const StreamState& stream : run->Streams()) names.push_back(stream.name);
  EXPECT_THAT(names, ElementsAre("-> split.IN_F", "split.OUT_P -> join.IN_F", "split.OUT_LEG -> join.IN_LEG",
                                 "join.OUT_P ->"));
}

// Two legs in a row between equal pressures: nothing drives a flow through them, and nothing flows.
TEST(Connections, no_flow_without_head_through_two_legs) {
  const Values v =
      Solved(Loop(Mode::kReversible, "", "OUT_P.ZREV: [0.5, 0.5], OUT_P.HREV: -0.01, OUT_P.AVREV: 0"));
  EXPECT_NEAR(v.at("join.IN_LEG.F"), 0, 0.05);
  EXPECT_NEAR(v.at("split.OUT_P.F"), 100, 0.05);
  // What would flow back is tied against the direction of the stream.
  EXPECT_EQ(v.at("split.OUT_P.HREV"), v.at("join.H"));
  EXPECT_EQ(v.at("split.OUT_LEG.TREV"), v.at("join.T"));
}

TEST(Connections, a_port_for_several_streams_is_filled_in_order) {
  const std::string text =
      Header(Mode::kFlowDriven) + Tee("a", "TEESPLITTER", std::string(kFeed) + ", \"SF(1)\": 0.3") +
      Tee("b", "TEEMIXER",
          std::string(kFeed) + ", IN_LEG.F: 7, IN_LEG.Z: [1, 0], IN_LEG.H: 0, IN_LEG.P: 9, IN_LEG.AV: 1") +
      "  mix: {model: INLETMIXERFWD}\nconnect:\n";
  const auto run =
      RunOf(text + "  - a.OUT_P -> mix.IN_F\n  - a.OUT_LEG -> mix.IN_F(1)\n  - mix.IN_F = b.OUT_P\n");
  const Values v = Solved(*run);
  EXPECT_NEAR(v.at("mix.IN_F(1).F"), 70, 1e-9);
  EXPECT_NEAR(v.at("mix.IN_F(2).F"), 30, 1e-9);
  EXPECT_NEAR(v.at("mix.IN_F(3).F"), 107, 1e-9);
  EXPECT_NEAR(v.at("mix.FIN"), 207, 1e-9);
  EXPECT_NEAR(v.at("mix.PIN"), 9, 1e-9);

  const Values one = Solved(text + "  - a.OUT_P -> mix.IN_F\n");
  EXPECT_NEAR(one.at("mix.IN_F.F"), 30, 1e-9);
  EXPECT_EQ(one.count("mix.IN_F(1).F"), 0U);
}

TEST(Connections, a_stream_that_flows_back_shows_what_it_carries) {
  const auto run =
      RunOf(Header(Mode::kReversible) +
            Tee("t", "TEEMIXER",
                std::string(kFeed) + ", IN_LEG.P: 9.99, IN_LEG.Z: [1, 0], IN_LEG.H: 0, IN_LEG.AV: 1, "
                                     "OUT_P.ZREV: [0, 1], OUT_P.HREV: -0.07, OUT_P.AVREV: 1"));
  Solved(*run);
  for (const StreamState& stream : run->Streams())
    if (stream.to == "t.IN_LEG") {
      EXPECT_TRUE(stream.reversed);
      EXPECT_LT(stream.F, -10);
      EXPECT_LT(stream.Z[0], 0.6);  // of the mixture, not the nitrogen that waits outside
    }
}

TEST(Connections, what_does_not_fit_is_refused_with_a_remedy) {
  const struct {
    const char* connect;
    const char* message;
  } cases[] = {
      {"join.IN_F -> split.OUT_P", "write split.OUT_P -> join.IN_F."},
      {"split.IN_F -> join.IN_F", "both are inlets: a stream leads from an outlet"},
      {"split.OUT_P = join.OUT_P", "both are outlets"},
      {"split.OUT_P -> join.H", "single real values of a block, or material ports"},
      {"split.OUT_Q -> join.IN_F", "unknown option OUT_Q: did you mean OUT_P"},
      {"split.OUT_P -> join.IN_F(2)", "IN_F of block join is no array: write it without brackets."},
      {"split.OUT_LEG -> join.IN_LEG", "join.IN_LEG has a stream already"},
      {"join.OUT_P -> split.IN_F",
       "join.OUT_P.F and split.IN_F.F are both fixed, and connected: fix one of them."},
      {"split.OUT_LEG -> mix.IN_F(7)", "block mix has no element IN_F(7)"},
  };
  for (const auto& one : cases) {
    const std::string text = Header(Mode::kFlowDriven) + Tee("split", "TEESPLITTER", kFeed) +
                             Tee("join", "TEEMIXER", "OUT_P.F: 3") +
                             "  mix: {model: INLETMIXER, set: {IN_F.connections: 2}}\n" +
                             "connect:\n  - split.OUT_P -> join.IN_LEG\n  - " + one.connect + "\n";
    std::string found = "nothing";
    try {
      RunOf(text)->System();
    } catch (const std::exception& error) {
      found = error.what();
    }
    EXPECT_THAT(found, HasSubstr(one.message)) << one.connect;
    EXPECT_THAT(found, HasSubstr("test.yaml:")) << one.connect;
  }
}

// Describing a block makes it tell its equations anew; what was told before must not be used any more.
TEST(Connections, a_case_is_solved_again_after_its_equations_were_described) {
  const auto run = RunOf(Header(Mode::kFlowDriven) +
                         Tee("split", "TEESPLITTER", std::string(kFeed) + ", \"SF(1)\": 0.3, P_DROP: 0.1"));
  const auto first = run->Solve();
  EXPECT_FALSE(run->System().IsStale());
  for (Instance* instance : run->flowsheet().Instances()) DescribeEquations(*instance);
  EXPECT_TRUE(run->System().IsStale());
  const auto second = run->Solve();
  EXPECT_EQ(first.outcome, SolveOutcome::kConverged);
  EXPECT_EQ(second.outcome, SolveOutcome::kConverged);
  EXPECT_FALSE(run->System().IsStale());
}

// Liquid volumes at 15 C by densities of the handbooks, 999.1 kg/m3 of water and 706 of n-octane; of methane, which is no liquid
// there, at its boiling point, 422.4 kg/m3. What the user gives stays.
TEST(Connections, standard_liquid_volumes_are_supplied) {
  const auto values = Solved(
      "components: [water, n-octane, methane]\nblocks:\n  join:\n    model: TEEMIXER\n    fix: {P_DROPR: 0, "
      "IN_F.F: 2, IN_F.P: 10, "
      "IN_LEG.P: 10, IN_LEG.F: 2, IN_F.AV: 1, IN_LEG.AV: 1, IN_F.Z: {water: 1, n-octane: 0, methane: 0}, "
      "IN_LEG.Z: {water: 0, "
      "n-octane: 0.5, methane: 0.5}, IN_F.H: -0.285, IN_LEG.H: -0.15, VLSTDC(n-octane): 0.2}\n");
  EXPECT_NEAR(values.at("join.VLSTDC(water)"), 18.015 / 999.1, 2e-4);
  EXPECT_NEAR(values.at("join.VLSTDC(methane)"), 16.043 / 422.4, 2e-4);
  EXPECT_EQ(values.at("join.VLSTDC(n-octane)"), 0.2);
  EXPECT_NEAR(values.at("join.FVLSTD"), 2 * 18.015 / 999.1 + 0.2 + 16.043 / 422.4, 1e-3);
  EXPECT_NEAR(StandardLiquidVolume(FindComponent("n-octane")), 114.23 / 706, 5e-4);
}

TEST(Connections, components_must_agree) {
  const auto run =
      RunOf(Header(Mode::kFlowDriven) + Tee("a", "TEESPLITTER", kFeed) + Tee("b", "TEEMIXER", ""));
  QV_MATERIALPORTRPREV* ports[2];
  for (int k = 0; k < 2; ++k) {
    Instance* block = run->flowsheet().blocks()[static_cast<size_t>(k)];
    ports[k] = dynamic_cast<QV_MATERIALPORTRPREV*>(block->Object(block->type().Find(k ? "IN_F" : "OUT_P")));
  }
  QV_StrSetValue others("nitrogen\"oxygen\"");
  SetFromValue(ports[1]->ComponentList, QV_Value(others), Origin::kUser);
  Connection connection;
  connection.left = ParsePropertyPath("a.OUT_P");
  connection.right = ParsePropertyPath("b.IN_F");
  std::vector<Tie> ties;
  std::vector<CaseFault> faults;
  EXPECT_FALSE(StreamConnector().Connect(connection, *ports[0], *ports[1], ties, faults));
  ASSERT_EQ(faults.size(), 1U);
  EXPECT_THAT(
      faults[0].message,
      HasSubstr("the components of a.OUT_P are nitrogen, methane; those of b.IN_F are nitrogen, oxygen"));
}

}  // namespace
}  // namespace quiver::tests
