// SPDX-License-Identifier: Apache-2.0
// The parameter and option types: totals counted independently of the rows, single rows, one object per default, and the
// defaults at work in a parameter.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "runtime/contract/host_access.h"
#include "runtime/contract/set_storage.h"
#include "types/catalogue.h"

using namespace quiver;

namespace {

struct Release {
  void operator()(QV_Type* type) const { type->Release(); }
};
std::unique_ptr<QV_Type, Release> New(const QV_OptionTypeRow& row) {
  QV_Type* const type = row.create();
  type->AddRef();
  return std::unique_ptr<QV_Type, Release>(type);
}
const std::vector<QV_OptionTypeRow>& Rows() {
  static const std::vector<QV_OptionTypeRow> rows = [] {
    long long count = 0;
    const QV_OptionTypeRow* first = OptionTypeRows(&count);
    return std::vector<QV_OptionTypeRow>(first, first + count);
  }();
  return rows;
}
using Operation = QV_Value* (QV_Type::*)();
constexpr Operation kOperations[] = {&QV_Type::QV_DefaultVALUE,       &QV_Type::QV_DefaultVALID,
                                     &QV_Type::QV_DefaultLOWER,       &QV_Type::QV_DefaultUPPER,
                                     &QV_Type::QV_DefaultBASEUOMNAME, &QV_Type::QV_DefaultPHYSICALQUANTITY};

std::string Text(const QV_Value* value) {
  if (!value) return "none";
  switch (HostAccess::KindOf(*value)) {
    case QV_Value::kReal:
      return fmt::format("real {:g}", HostAccess::Real(*value));
    case QV_Value::kInteger:
      return fmt::format("integer {}", HostAccess::Integer(*value));
    case QV_Value::kLogical:
      return HostAccess::Logical(*value) ? "true" : "false";
    case QV_Value::kText:
      return HostAccess::Text(*value);
    default:
      return fmt::format("{{{}}}", HostAccess::Set(*value)->Describe());
  }
}

TEST(OptionTypes, have_the_counted_totals) {
  EXPECT_EQ(Rows().size(), 78u);
  std::map<std::string, int> bases;
  std::set<std::string> names;
  int set_by[6] = {};
  for (const auto& row : Rows()) {
    ++bases[row.base];
    names.insert(row.name);
    const auto type = New(row);
    if (std::string(row.base) == "QV_VOLUME") {  // the rest is its base's
      EXPECT_NE(dynamic_cast<QV_VOLUME*>(type.get()), nullptr);
      ++set_by[0], ++set_by[2];
      continue;
    }
    for (int k = 0; k < 6; ++k) {
      const QV_Value* const value = (type.get()->*kOperations[k])();
      set_by[k] += value ? 1 : 0;
    }
  }
  EXPECT_EQ(names.size(), 78u);
  EXPECT_EQ(bases, (std::map<std::string, int>{{"QV_STRINGPARAMETER", 64},
                                               {"QV_INTEGERPARAMETER", 6},
                                               {"QV_REALPARAMETER", 6},
                                               {"QV_LOGICALPARAMETER", 1},
                                               {"QV_VOLUME", 1}}));
  EXPECT_THAT(set_by, testing::ElementsAre(74, 68, 9, 6, 6, 6));
}

TEST(OptionTypes, have_these_rows) {
  const struct {
    const char* name;
    const char* defaults[6];  // value, valid, lower, upper, unit, quantity
  } cases[] = {
      {"QV_CONNECTED_PSV_BASE",
       {"Connected", "{\"Connected\", \"Disconnected\"}", "none", "none", "none", "none"}},
      {"QV_CORRECTEDFLOWOPTION_COMPRPERFCURVE",
       {"Based on T and P", "{\"Based on P and V\", \"Based on T and P\"}", "none", "none", "none", "none"}},
      {"QV_INTERPOLATIONTYPE_COMPRPERFCURVE",
       {"Harwell", "{\"Harwell\", \"Hermite\", \"Linear\"}", "none", "none", "none", "none"}},
      {"QV_INTERPOLATIONTYPE_PUMPPERFCURVE",
       {"Hermite", "{\"Harwell\", \"Hermite\", \"Linear\"}", "none", "none", "none", "none"}},
      {"QV_FLOWVARTYPE_COMPRPERFCURVE",
       {"Vol-Flow", "{\"Flow-Coeff\", \"Mass-Flow\", \"Vol-Flow\", \"Vol-Flow/N\"}", "none", "none", "none",
        "none"}},
      {"QV_FLOWVARTYPE_PUMPPERFCURVE",
       {"Vol-Flow", "{\"Flow-Coef\", \"Mass-Flow\", \"Vol-Flow\", \"Vol-Flow/N\"}", "none", "none", "none",
        "none"}},
      {"QV_VALVECHAR_VALTYPE",
       {"LINEAR",
        "{\"EQUAL-PERCENTAGE\", \"HYPERBOLIC\", \"LINEAR\", \"NONE\", \"PARABOLIC\", \"QUICK-OPENING\", "
        "\"SQUARE-ROOT\", \"USRTAB\"}",
        "none", "none", "none", "none"}},
      {"QV_HOLDUPBASIS_STAGE", {"integer 1", "{1, 2, 3}", "none", "none", "none", "none"}},
      {"QV_RPHASETYP_USERREACTION", {"none", "{1, 2, 3}", "none", "none", "none", "none"}},
      {"QV_POLYPOINTSPARAM_DOMAINREV", {"integer 0", "none", "integer 0", "none", "none", "none"}},
      {"QV_DISCHARGEAREACALCTYPE_FIRECALCS", {"false", "none", "none", "none", "none", "none"}},
      {"QV_DUTY_PARAM_PVC", {"real 1", "none", "real -100000", "real 100000", "GJ/hr", "HeatFlow"}},
      {"QV_RPM_PARAM", {"real 100", "none", "real 0", "real 100000", "rpm", "AngularVelocityRPM"}},
      {"QV_VOLUME_HX_HEATXDYNVOL", {"real 1", "none", "real 1e-06", "real 1e+09", "m3", "Volume"}},
  };
  std::map<std::string, QV_OptionTypeRow> rows;
  for (const auto& row : Rows()) rows[row.name] = row;
  for (const auto& c : cases) {
    ASSERT_TRUE(rows.count(c.name)) << c.name;
    const auto type = New(rows[c.name]);
    for (int k = 0; k < 6; ++k)
      EXPECT_EQ(Text((type.get()->*kOperations[k])()), c.defaults[k]) << c.name << " " << k;
  }
}

TEST(OptionTypes, an_empty_list_is_there_and_admits_any_text) {
  QV_VALIDSTRING free(true);
  const QV_Value* valid = free.QV_DefaultVALID();
  ASSERT_NE(valid, nullptr);
  EXPECT_EQ(HostAccess::Set(*valid)->Count(), 0);
  EXPECT_EQ(free.QV_DefaultVALUE(), nullptr);
  EXPECT_EQ(free.SetCurrentValue("anything at all"), 0);
  QV_CONNECTED_PSV_BASE listed(true);
  EXPECT_LT(listed.SetCurrentValue("anything at all"), 0);
  EXPECT_EQ(listed.SetCurrentValue("disconnected"), 0);
  QV_HOLDUPBASIS_STAGE number(true);
  EXPECT_LT(number.SetCurrentValue(4), 0);
  EXPECT_EQ(number.SetCurrentValue(3), 0);
}

// Eight threads ask every type at once, for the first time in this process: the cases run in processes of their own.
TEST(OptionTypes, give_one_object_however_many_ask) {
  std::vector<std::vector<const QV_Value*>> answers(8);
  std::atomic<int> waiting = 8;
  std::vector<std::thread> threads;
  for (auto& mine : answers) {
    threads.emplace_back([&] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      for (const auto& row : Rows()) {
        const auto type = New(row);
        for (const Operation operation : kOperations) mine.push_back((type.get()->*operation)());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<const QV_Value*> distinct;
  for (const auto& mine : answers) EXPECT_EQ(mine, answers[0]);
  for (const QV_Value* value : answers[0]) {
    EXPECT_TRUE(!value || distinct.insert(value).second) << "two types share a default";
  }
  EXPECT_EQ(distinct.size(), 74u + 68 + 9 + 6 + 6 + 6 + 3)
      << "with the three that the volume takes from its base";
}

}  // namespace
