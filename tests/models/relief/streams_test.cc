// SPDX-License-Identifier: Apache-2.0
// Every equation of the relief methods and of the fire model, token by token, for every choice of their options.
#include <cmath>
#include <limits>

#include "tests/models/relief/stream_table.h"

using namespace quiver;
using namespace quiver::tests;

TEST(ReliefStreams, AreThoseOfTheTables) {
  for (const char* model : {"psv_simple", "psv_vap", "psv_sw", "psv_subcooled", "psv_hemd"}) {
    const StreamTable table(fmt::format("relief/streams/{}.txt", model));
    ASSERT_FALSE(table.cases.empty());
    for (const StreamCase& c : table.cases) table.Check(c);
  }
}

// Vessel, head, standard and the five credits in all combinations: 960 settings.
TEST(FireStreams, FollowVesselStandardAndCredits) {
  const StreamTable table("relief/streams/firecalcs.txt");
  for (const std::string vessel : {"Vertical", "Horizontal"})
    for (const std::string head : {"Elliptical", "Hemispherical", "Torispherical", "Conical", "Flat"})
      for (const std::string standard : {"API-521", "API-2000", "NFPA-30"})
        for (int credits = 0; credits < 32; ++credits) {
          const auto yes = [&](int k) { return (credits >> k & 1) != 0; };
          const bool drained = yes(0), spray = yes(1), insulated = yes(2), portable = yes(3);
          const bool api_521 = standard == "API-521";
          StreamCase c;
          c.model = "FIRECALCS";
          c.settings = fmt::format(
              "ORIENTATION: {}, H_TYPE: {}, FIRESTANDARD: {}, DRAINCREDIT: {:d}, WATERSPRAYCREDIT: {:d}, "
              "INSULCREDIT: {:d}, "
              "PORTABLETANK: {:d}, REFRIGERATEDTANK: {:d}",
              vessel, head, standard, drained, spray, insulated, portable, yes(4));
          for (size_t at; (at = c.settings.find(": 0")) != std::string::npos;)
            c.settings.replace(at, 3, ": No");
          for (size_t at; (at = c.settings.find(": 1")) != std::string::npos;)
            c.settings.replace(at, 3, ": Yes");

          if (vessel == "Horizontal")
            c.fragments = {api_521 ? "horizontal_521" : "horizontal"};
          else
            c.fragments = {std::string(api_521 ? "vertical_521_" : "vertical_") +
                           (head == "Elliptical" ? "elliptical" : "other")};
          if (standard == "NFPA-30") {
            c.fragments.push_back(portable                        ? "nfpa_portable"
                                  : drained && spray && insulated ? "nfpa_all_credits"
                                  : drained && spray              ? "nfpa_drainage_and_spray"
                                  : insulated                     ? "nfpa_insulated"
                                                                  : "nfpa_bare");
          } else if (standard == "API-2000") {
            c.fragments.push_back(drained ? "api2000_drained" : "api2000_not_drained");
            c.fragments.push_back(insulated ? "api2000_insulated" : "api2000_bare");
          } else {
            c.fragments.push_back(insulated ? "api521_insulated" : "api521_bare");
            c.fragments.push_back(drained ? "api521_drained" : "api521_not_drained");
          }
          if (!api_521) c.fragments.push_back("load_by_area");
          // Vessel 3; factor 1, or 2 with a drainage factor of its own; heat load 1.
          c.equations = standard == "API-2000" ? 6 : 5;
          table.Check(c);
          if (HasFailure()) return;
        }
}

// Defaults and bounds that are not those of the types.
TEST(ReliefProperties, HaveTheirDefaultsAndBounds) {
  struct Row {
    const char *model, *name;
    double value, lower, upper;
  };
  const double any = std::numeric_limits<double>::quiet_NaN();
  for (const Row& row :
       {Row{"PSV_SIMPLE", "DPMAX", 5000, any, any},  Row{"PSV_SIMPLE", "UCF8", 1e-5, any, any},
        Row{"PSV_VAP", "K", any, 1.00001, any},      Row{"PSV_VAP", "T", any, -253.15, 9726.85},
        Row{"PSV_VAP", "Y", 0.5, any, any},          Row{"PSV_VAP", "CP_V", 1, any, any},
        Row{"PSV_VAP", "ETA", any, 0.0001, any},     Row{"PSV_VAP", "ETA_CRIT", 1, 0.0001, any},
        Row{"PSV_SW", "T0", any, 20, 10000},         Row{"PSV_SW", "MJ_TO_J", 1e6, any, any},
        Row{"PSV_SW", "ETA_CRIT_2P", 1, any, any},   Row{"PSV_SW", "ETA_CRIT", 1, 0.0001, any},
        Row{"PSV_SW", "LARGE", 1e30, any, any},      Row{"PSV_SUBCOOLED", "GC", any, 0, any},
        Row{"PSV_SUBCOOLED", "G2", any, 0, any},     Row{"PSV_SUBCOOLED", "X2", 0.5, any, any},
        Row{"FIRECALCS", "PI", 3.141593, any, any},  Row{"FIRECALCS", "T", any, -253.15, 9726.85},
        Row{"FIRECALCS", "PAMB", 1.01325, any, any}, Row{"FIRECALCS", "V_HEEL", -0.001, any, any},
        Row{"FIRECALCS", "P_MIN", 1e-5, any, any},   Row{"PIPEFITTINGS", "L", 0, any, any}}) {
    ModelRun run(row.model, {"water", "propane"}, "");
    int found = 0;
    for (const PropertyDescription& p : DescribeProperties(*run.flowsheet().blocks().front())) {
      if (p.name != row.name) continue;
      ++found;
      const auto check = [&](double expected, double value) {
        EXPECT_TRUE(std::isnan(expected) || expected == value)
            << row.model << " " << row.name << ": " << value;
      };
      check(row.value, std::isnan(row.value) ? 0 : std::get<double>(p.values.at(0)));
      check(row.lower, std::isnan(row.lower) ? 0 : p.lower.at(0));
      check(row.upper, std::isnan(row.upper) ? 0 : p.upper.at(0));
    }
    EXPECT_EQ(found, 1) << row.name;
  }
}
