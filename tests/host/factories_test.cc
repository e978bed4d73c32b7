// SPDX-License-Identifier: Apache-2.0
// What the model library exports, and what its factories make.
#include <set>

#include "runtime/contract/names.h"
#include "runtime/plugin/shared_library.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::HasSubstr;

namespace {
const char kNames[] =
    "QV_VFC_RPLUG_COOLANT1 QV_VFH_RPLUG_COOLANT1 QV_VH_RPLUG_COOLANT1 QV_VP_RPLUG_COOLANT1 QV_VSECTION "
    "QV_VXLEN_RPLUG_COOLANT1 "
    "BATCHOP BBH COMPRINTEGRATION COMPRPERFCURVE CONDENSER CONDENSERPET CUSTOMREACTION DECANTERRAD "
    "DISTRIBUTION1DREV "
    "DOMAINREV FIRECALCS FREERADICAL FREERADICAL2 FRGLOBAL FRGLOBAL2 FRMECH FRMECH2 FURNACE HEATXDYNVOL "
    "HEATXSIDE INLETMIXER "
    "INLETMIXERFWD LENGTHDOMAINREV LHHW MATERIALSTREAMRAD MCOMPRCOOLER MHEATXSTREAM PACK_FLOOD PIPEFITTINGS "
    "PIPEPRESCALC "
    "PIPE_CDP PIPE_CDP2 PIPE_CDP3 PIPE_INT PIPE_INT2 POLPLUG POLPLUGPDE POWERLAW PSV_BASE PSV_DIENER "
    "PSV_HEMD PSV_HEMS "
    "PSV_HFF PSV_SIMPLE PSV_SPECVOLC PSV_SUBCOOLED PSV_SW PSV_VAP PUMPAROUND PUMPPERFCURVE PVC "
    "PVC_FREERADICAL PVC_FRMECH "
    "REACTORBASE REACTORBASE2 REBOILERPET REFLUXDRUM RPLUG_COOLANT RPLUG_COOLANT1 RPLUG_TCOOL RPLUG_TCOOL1 "
    "RPLUG_USERREACTION "
    "STAGE STAGEPET STRIPPER TEEMIXER TEESPLITTER THERMOSYPHON TRAY_FLOOD USERREACTION VALTYPE ZIEGLERNATTA4 "
    "ZNGLOBAL ";

std::vector<std::string> Names() {
  std::vector<std::string> names(1);
  for (const char* c = kNames; *c; ++c) *c == ' ' ? names.emplace_back() : names.back() += *c;
  names.pop_back();
  return names;
}
}  // namespace

TEST(Factories, MakeEveryTypeAndSayWhatItIs) {
  const std::vector<std::string> names = Names();
  ASSERT_EQ(names.size(), 79u);
  EXPECT_EQ(TheLibrary().models().size(), 79u);
  const SharedLibrary library(TheLibrary().path());
  std::set<const void*> information_blocks;
  for (const std::string& name : names) {
    const QV_ModelRow* row = TheLibrary().Find(name);
    ASSERT_TRUE(row) << name;
    const bool structure = name == "FRGLOBAL" || name == "FRGLOBAL2" || name == "ZNGLOBAL";
    const std::string identity = fmt::format("{} {}\tV11", structure ? "Structure" : "Model", name);
    EXPECT_EQ(row->identity, identity);

    QV_ModelType* model = TheLibrary().Create(name);
    EXPECT_EQ(model->AddRef(), 2u) << "a factory hands out one reference: " << name;
    model->Release();
    EXPECT_EQ(TypeName(typeid(*model)), "QV_" + name);
    EXPECT_EQ(dynamic_cast<QV_StructureType*>(model) != nullptr, structure) << name;
    EXPECT_EQ(model->QV_DefaultDESCRIPTION(), identity);
    EXPECT_EQ(model->Enclosing(), nullptr);
    std::string lower = identity;
    for (char& c : lower) c = static_cast<char>(std::tolower(c));
    EXPECT_TRUE(model->ContainerDerivesFrom(lower.c_str())) << name;
    EXPECT_FALSE(model->ContainerDerivesFrom(name.c_str())) << name;
    EXPECT_FALSE(model->ContainerDerivesFrom((identity + " ").c_str())) << name;
    EXPECT_FALSE(model->ContainerDerivesFrom(nullptr)) << name;
    double residual = 7;
    int i = 3;
    EXPECT_EQ(model->Residuals(&residual, i) + model->Jacobian(&residual, i), 0);
    EXPECT_EQ(residual + i, 10);
    EXPECT_EQ(model->Release(), 0u);

    auto* information = static_cast<char*>(
        reinterpret_cast<QV_PropertyInfoFunction>(library.Find((name + "PropertyInfo").c_str()))());
    EXPECT_TRUE(information_blocks.insert(information).second) << name;
    EXPECT_TRUE(std::all_of(information, information + kQvPropertyInfoBytes, [](char c) { return c == 0; }))
        << name;
    std::fill_n(information, kQvPropertyInfoBytes, '\x5a');  // a neighbour's block would show it
    const auto* block =
        static_cast<const QV_CompatibilityBlock*>(library.Find(("_Compatibility" + name).c_str()));
    ASSERT_TRUE(block) << name;
    EXPECT_EQ(block->version, 6);
    EXPECT_EQ(sizeof *block, 64u);
    for (const int reserved : block->reserved) EXPECT_EQ(reserved, 0);
  }
  for (const std::string& name : names) {
    auto* information =
        reinterpret_cast<QV_PropertyInfoFunction>(library.Find((name + "PropertyInfo").c_str()))();
    std::memset(information, 0, kQvPropertyInfoBytes);
  }
}

// Alone and as a block: every type is built, sized, set up, emitted and taken down.
TEST(Factories, MakeWhatTheHostCanDrive) {
  for (const std::string& name : Names()) {
    TestSheet sheet;
    sheet.sheet.SetComponents({"water", "air"});
    Instance& instance = sheet.sheet.AddBlock("b", name);
    sheet.Size();
    EXPECT_THAT(sheet.faults(), testing::IsEmpty()) << name;
    const auto all = DescribeEquations(instance);
    EXPECT_THAT(sheet.faults(), testing::IsEmpty()) << name;
    for (const auto& p : DescribeProperties(instance))
      EXPECT_FALSE(p.description && !*p.description) << name << " " << p.name;
    const bool specified = std::string(TheLibrary().Find(name)->specified) != "false";
    EXPECT_TRUE(specified || (all.equations.empty() && instance.type().properties.empty())) << name;
  }
}

TEST(Factories, UnknownNamesAreRefusedWithASuggestion) {
  EXPECT_THAT([] { TheLibrary().Create("PSV_SIMPL"); },
              testing::ThrowsMessage<Error>(HasSubstr("PSV_SIMPLE")));
  TestSheet sheet;
  sheet.sheet.AddBlock("psv", "psv_simple");
  EXPECT_THAT([&] { sheet.sheet.AddBlock("PSV", "PSV_SIMPLE"); },
              testing::ThrowsMessage<Error>(HasSubstr("PSV")));
  EXPECT_THAT([] { ModelLibrary("/nonexistent.so"); },
              testing::ThrowsMessage<Error>(HasSubstr("/nonexistent.so")));
}

// PSV_SIMPLE declares: globals, then its own, with the descriptions that its text gives and no others.
TEST(Factories, DeclarationsOfPsvSimple) {
  TestSheet sheet;
  const Instance& psv = sheet.sheet.AddBlock("psv", "PSV_SIMPLE");
  std::vector<std::string> lines;
  for (const auto& p : psv.type().properties) {
    lines.push_back(fmt::format("{}{} {}", p.kind == PropertyKind::kGlobal ? "global " : "", p.name,
                                p.description ? p.description : "-"));
    EXPECT_EQ(p.direction, QV_DIRECTION_NONE);
    EXPECT_FALSE(p.flag);
  }
  EXPECT_THAT(
      lines, testing::ElementsAre("global DPMAX Pressure drop upper limit (bar)", "global DPMIN -",
                                  "global EPS -", "global UCF8 -", "P_DROP -", "PDROPC Limited pressure drop",
                                  "FLUX -", "MW -", "RHO -", "AREA_RATIO -"));
}
