// SPDX-License-Identifier: Apache-2.0
// What junctions set up and emit: which equations under which options, and their streams token by token.
#include <set>

#include "tests/models/junctions/sheet.h"

namespace quiver::tests {
namespace {

std::set<std::string> Words(const std::string& text) {
  std::istringstream in(text);
  return {std::istream_iterator<std::string>(in), {}};
}
std::set<std::string> LabelsOf(const EquationsDescription& description) {
  std::set<std::string> labels;
  for (const EquationDescription& equation : description.equations) labels.insert(equation.name);
  return labels;
}

struct Labels {
  const char* model;
  std::string all, by_mode[3];
};
const Labels kTees[] = {
    {"TEEMIXER",
     "Pintee OutPP outPT OutPFout OutPFvol OutPFmass OutFvlstd OutFmass molarvol zlegforw hlegforw ",
     {"QV_Eqn82 QV_Eqn83 QV_Eqn84 QV_Eqn85 QV_Eqn86 QV_Eqn87 QV_Eqn92 QV_Eqn93 QV_Eqn94 QV_Eqn95 OutPAvFD "
      "FDPdrop FDPleg "
      "FDPstraight FDPin khflow ",
      "QV_Eqn82 QV_Eqn83 QV_Eqn84 QV_Eqn85 QV_Eqn86 QV_Eqn87 QV_Eqn92 QV_Eqn93 QV_Eqn94 QV_Eqn95 OutPAvFD "
      "PDInP PDInlegP "
      "khflow Area Vel_eq Pdrop_corr P_dropC_eq ",
      "QV_Eqn77 QV_Eqn78 QV_Eqn79 QV_Eqn80 QV_Eqn81 QV_Eqn88 QV_Eqn89 QV_Eqn90 QV_Eqn91 InFTrev InlegTrev "
      "InAvPD InlegAvPD "
      "OutPAvrevPD AvPD InAvrevPD InlegAvrevPD OutPAvPD PDInP PDInlegP Khforw Khrev zlegrev hlegrev Area "
      "Vel_eq Pdrop_corr "
      "P_dropC_eq_rflow "}},
    {"TEESPLITTER",
     "Fineq zineq sigmasf InFP Pin OutPP OutlegP outPT OutlegT OutPvol OutlegVol OutPFout OutlegFout "
     "OutPFmass OutlefFmass "
     "FvlPFmass FvllegFmass FvlPRho FvllegRho OutPFvol OutlegFvol zlegforw hlegforw ",
     {"sfPFD sflegFD zin outPzin outlegzin hinFD hinFD2 outPh outlegH OutPAvFD OutlegAvFD khflow ",
      "sfPPD sflegPD zin outPzin outlegzin hinFD hinFD2 outPh outlegH OutPAvFD OutlegAvFD khflow Area Vel_eq "
      "Pdrop_corr PdropC ",
      "overallbal sfPPD QV_Eqn77 outPz inFzrev OutLegz meanh OUthPD OutlegPD InfhrevPD InFTrev InAvPD "
      "OutPAvrevPD OutlegAvrevPD "
      "AvPD InAvrevPD OutPAvPD OutlegAvPD Khforw Khrev zlegrev hlegrev Area Vel_eq Pdrop_corr PdropC "}}};

// Of the mixture and of the leg; the sub-model that is asked gives its name to what ties it.
std::string PhaseLabels(const std::string& phases, bool mixer) {
  if (phases == "Vapor-Only") return "PVAP PVAPLEG RhoVeq MwVeq MwlegV RholegV";
  if (phases == "Liquid-Only") return "PLIQ PLIQLEG RhoLeq MwLeq RhomLeq MwlegL RholegL RhomlegL";
  if (phases == "Vapor-Liquid")
    return fmt::format("PFLASH2 PFLASH2LEG RhoVLeq MwVLeq RhomlVLeq RholegVL {} RhomllegVL",
                       mixer ? "MwlegVL" : "MwlegVLeq");
  return "PFLASH3 PFLASH3LEG RhoVLLeq MwVLLeq Rhoml1VLLeq Rhoml2VLLeq RholegVLL MwlegVLL Rhoml1legVLL "
         "Rhoml2legVLL";
}

TEST(Tees, every_choice_of_options_has_its_equations_and_no_other) {
  for (const Labels& tee : kTees)
    for (const Mode mode : kModes)
      for (const std::string phases : kPhases) {
        const auto equations = EquationsOf(tee.model, mode, "VALIDPHASES: " + phases);
        EXPECT_EQ(LabelsOf(equations), Words(tee.all + tee.by_mode[static_cast<int>(mode)] +
                                             PhaseLabels(phases, tee.model[3] == 'M')))
            << tee.model << " " << static_cast<int>(mode) << " " << phases;
      }
}

TEST(Tees, both_switches_make_pressures_drive) {
  EXPECT_TRUE(LabelsOf(EquationsOf("TEEMIXER", Mode::kReversible, "PDRIVEN: false")).contains("FDPin"));
  EXPECT_TRUE(LabelsOf(EquationsOf("TEEMIXER", Mode::kFlowDriven, "PDRIVEN: true")).contains("FDPin"));
}

struct Stream {
  const char* model;
  Mode mode;
  const char* set;
  const char* label;
  const char* tokens;
};
const Stream kStreams[] = {
    {"TEEMIXER", Mode::kReversible, "", "QV_Eqn77",
     "20 21 Z(nitrogen) 20 19 98 22 EPS NS IN_F.F 98 22 EPS NS IN_LEG.F 99 22 15 EPS NS OUT_P.F "
     "20 19 21 98 22 EPS NS IN_F.F IN_F.Z(nitrogen) 21 98 22 EPS NS IN_LEG.F IN_LEG.Z(nitrogen) "
     "21 99 22 15 EPS NS OUT_P.F OUT_P.ZREV(nitrogen)"},
    {"TEEMIXER", Mode::kReversible, "", "QV_Eqn88",
     "20 21 H 20 19 98 22 EPS NS IN_F.F 98 22 EPS NS IN_LEG.F 99 22 15 EPS NS OUT_P.F "
     "20 19 21 98 22 EPS NS IN_F.F IN_F.H 21 98 22 EPS NS IN_LEG.F IN_LEG.H 21 99 22 15 EPS NS OUT_P.F "
     "OUT_P.HREV"},
    {"TEEMIXER", Mode::kReversible, "", "QV_Eqn78", "20 19 IN_F.F IN_LEG.F OUT_P.F"},
    {"TEEMIXER", Mode::kReversible, "", "AvPD", "20 AV 98 98 IN_F_AV IN_LEG_AV OUT_P_AVREV"},
    {"TEEMIXER", Mode::kReversible, "", "Area", "20 A 21 21 0.25 PI 40 DIAM"},
    {"TEEMIXER", Mode::kReversible, "", "Vel_eq", "20 IN_LEG.F 21 21 21 VEL A RHO_LEG UCF1"},
    {"TEEMIXER", Mode::kReversible, "", "Pdrop_corr",
     "20 21 i2 P_DROPC 21 21 21 21 21 RHO_LEG MW_LEG KH VEL 19 39 VEL EPS UCF8"},
    {"TEEMIXER", Mode::kReversible, "", "OutFvlstd",
     "20 FVLSTD 21 FOUT 44 21 Z(nitrogen) VLSTDC(nitrogen) 21 Z(oxygen) VLSTDC(oxygen) 0"},
    {"TEEMIXER", Mode::kReversible, "", "molarvol", "20 1.0 21 OUT_P.V RHO"},
    {"TEEMIXER", Mode::kReversible, "", "RhoVLeq", "20 1.0 21 RHO 19 22 LF RHOL 22 VF RHOV"},
    {"TEEMIXER", Mode::kReversible, "", "MwlegVL", "20 MW_LEG 19 21 LF MWL_LEG 21 VF_LEG MWV_LEG"},
    {"TEESPLITTER", Mode::kReversible, "", "MwlegVLeq", "20 MW_LEG 19 21 LF MWL_LEG 21 VF_LEG MWV_LEG"},
    {"TEEMIXER", Mode::kFlowDriven, "", "QV_Eqn83",
     "20 21 F_IN Z_IN(nitrogen) 19 21 IN_F.F IN_F.Z(nitrogen) 21 IN_LEG.F IN_LEG.Z(nitrogen)"},
    {"TEEMIXER", Mode::kFlowDriven, "", "QV_Eqn84",
     "20 21 i2 Z_IN(nitrogen) 19 IN_F.Z(nitrogen) IN_LEG.Z(nitrogen)"},
    {"TEEMIXER", Mode::kFlowDriven, "", "FDPin", "20 P_IN 99 PLEG PSTRAIGHT"},
    {"TEEMIXER", Mode::kFlowDriven, "", "FDPleg", "20 19 PLEG P_DROP IN_LEG.P"},
    {"TEESPLITTER", Mode::kReversible, "", "sfPPD", "20 21 OUT_P.F 44 SF 0 21 SF(1) F_IN"},
    {"TEESPLITTER", Mode::kReversible, "", "sigmasf", "19 -1.0 44 SF 0"},
    {"TEESPLITTER", Mode::kReversible, "", "meanh",
     "20 21 H 20 20 98 22 EPS NS IN_F.F 99 22 15 EPS NS OUT_P.F 99 22 15 EPS NS OUT_LEG.F "
     "20 20 21 98 22 EPS NS IN_F.F IN_F.H 21 99 22 15 EPS NS OUT_P.F OUT_P.HREV "
     "21 99 22 15 EPS NS OUT_LEG.F OUT_LEG.HREV"},
    {"TEESPLITTER", Mode::kFlowDriven, "", "sflegFD", "20 OUT_LEG.F 21 SF(2) F_IN"},
    {"TEESPLITTER", Mode::kFlowDriven, "", "FvllegFmass", "20 21 FVLSTD(2) RHOML_STD(2) FMASS(2)"},
    {"INLETMIXER", Mode::kFlowDriven, "", "QV_Eqn1", "20 FIN 44 IN_F.F 0"},
    {"INLETMIXER", Mode::kFlowDriven, "", "QV_Eqn2", "20 ZIN(nitrogen) IN_F.Z(nitrogen)"},
    {"INLETMIXER", Mode::kFlowDriven, "", "QV_Eqn10", "20 PIN 47 IN_F.P 0"},
    {"INLETMIXER", Mode::kFlowDriven, "IN_F.connections: 2", "QV_Eqn10", "20 PIN 47 IN_F(1).P IN_F(2).P 0"},
    {"INLETMIXERFWD", Mode::kFlowDriven, "IN_F.connections: 2", "QV_Eqn9", "20 PIN 47 IN_F(1).P IN_F(2).P 0"},
    {"INLETMIXER", Mode::kReversible, "IN_F.connections: 2", "QV_Eqn8", "20 IN_F(1).P PIN"},
    {"INLETMIXER", Mode::kForward, "IN_F.connections: 2", "QV_Eqn9", "20 IN_F(1).P PIN"},
    {"INLETMIXERFWD", Mode::kReversible, "IN_F.connections: 2", "QV_Eqn8", "20 IN_F(1).P PIN"},
    {"INLETMIXER", Mode::kFlowDriven, "IN_F.connections: 2", "QV_Eqn6",
     "20 21 FIN HIN 44 21 IN_F(1).F IN_F(1).H 21 IN_F(2).F IN_F(2).H 0"},
    {"INLETMIXER", Mode::kFlowDriven, "IN_F.connections: 2", "QV_Eqn7",
     "20 21 NC HIN 44 IN_F(1).H IN_F(2).H 0"},
    {"INLETMIXER", Mode::kFlowDriven, "IN_F.connections: 2", "QV_Eqn11",
     "20 DUMMYVAR 44 19 IN_F(1).V IN_F(1).T 19 IN_F(2).V IN_F(2).T 0"},
};
TEST(Junctions, streams_are_as_written) {
  for (const Stream& stream : kStreams) {
    std::string found = "no such equation";
    for (const EquationDescription& equation : EquationsOf(stream.model, stream.mode, stream.set).equations)
      if (equation.name == stream.label && found.starts_with("no ")) found = Tokens(equation.tokens);
    EXPECT_EQ(found, stream.tokens) << stream.model << " " << stream.label;
  }
}

TEST(Junctions, conditions_compare_as_written) {
  const Stream conditions[] = {
      {"TEEMIXER", Mode::kForward, "", "QV_Eqn83", "9 F_IN EPS"},
      {"TEEMIXER", Mode::kForward, "", "QV_Eqn92", "9 F_IN EPS"},
      {"TEEMIXER", Mode::kReversible, "", "Khforw", "11 IN_LEG.F i0"},
      {"TEESPLITTER", Mode::kReversible, "", "Khforw", "11 OUT_LEG.F i0"},
      {"INLETMIXERFWD", Mode::kForward, "IN_F.connections: 2", "QV_Eqn3", "9 FIN EPS"},
      {"TEEMIXER", Mode::kReversible, "", "Khrev", ""},
  };
  for (const Stream& stream : conditions)
    for (const EquationDescription& equation : EquationsOf(stream.model, stream.mode, stream.set).equations)
      if (equation.name == stream.label) {
        EXPECT_EQ(Tokens(equation.conditions.at(0).tokens), stream.tokens)
            << stream.model << " " << stream.label;
      }
}

TEST(InletMixer, the_number_of_connections_chooses_the_equations_and_gives_nc) {
  EXPECT_EQ(LabelsOf(EquationsOf("INLETMIXERFWD", Mode::kForward)), Words("QV_Eqn1 QV_Eqn2 QV_Eqn5 QV_Eqn8"));
  EXPECT_EQ(LabelsOf(EquationsOf("INLETMIXER", Mode::kFlowDriven, "IN_F.connections: 3")),
            Words("QV_Eqn1 QV_Eqn3 QV_Eqn4 QV_Eqn6 QV_Eqn7 QV_Eqn10 QV_Eqn11"));
  const auto run =
      RunOf("components: [nitrogen]\nblocks:\n  m: {model: INLETMIXER, set: {IN_F.connections: 3}}\n");
  const Instance& mixer = *run->flowsheet().blocks().front();
  EXPECT_EQ(dynamic_cast<QV_VarParam&>(*mixer.Object(mixer.type().Find("NC"))).IntegerValue(), 3);
}

TEST(TeeMixer, catalyst_attributes_appear_with_their_sets) {
  const std::string sets =
      "CATALYST: [oxygen], SITES: [1, 2], CATATTSET: [FRAC], CATSITEATTSET: [CPS, DSITE]";
  int sites = 0, scalars = 0;
  for (const EquationDescription& equation : EquationsOf("TEEMIXER", Mode::kForward, sets).equations) {
    sites += equation.name == "QV_Eqn165" && !equation.conditions.at(0).otherwise;
    scalars += equation.name == "QV_Eqn166" && !equation.conditions.at(0).otherwise;
  }
  EXPECT_EQ(sites, 4);
  EXPECT_EQ(scalars, 1);
}

TEST(Tees, texts_are_kept_with_their_slips) {
  std::map<std::string, std::string> texts;
  const auto run = RunOf("components: [nitrogen]\nblocks: {s: {model: TEESPLITTER}, m: {model: TEEMIXER}}\n");
  for (const Instance* block : run->flowsheet().blocks())
    for (const PropertyDescription& property : DescribeProperties(*block))
      if (property.description) texts[std::string(block->name) + "." + property.name] = property.description;
  EXPECT_EQ(texts["s.IN_F"], "Feed (Required");
  EXPECT_EQ(texts["m.IN_LEG"], "Feed to leg (Required)");
  EXPECT_EQ(texts["m.LF_LEG"], "Inlet liquid molar fraction");
  EXPECT_EQ(texts["s.LF_LEG"], "leg liquid molar fraction");
  EXPECT_EQ(texts["s.PDRIVEN"], "Model is pressure driven?");
}

}  // namespace
}  // namespace quiver::tests
