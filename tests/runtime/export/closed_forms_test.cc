// SPDX-License-Identifier: Apache-2.0
// Every closed form gives the routine's own values, on both sides of each bend and on the bends themselves.
#include "runtime/export/closed_forms.h"

#include <gtest/gtest.h>

#include <map>

#include "tests/routines/routine_call.h"

namespace quiver::routines {
DECLARE_ROUTINE(ZX40RM_spcopy1);
DECLARE_ROUTINE(ZX40RM_spdivi);
DECLARE_ROUTINE(ZX40RM_splim_abs);
DECLARE_ROUTINE(ZX40RM_splimit);
DECLARE_ROUTINE(ZX40RM_spmatr);
DECLARE_ROUTINE(ZX40RM_spminarm);
DECLARE_ROUTINE(ZX40RM_spminrmp);
DECLARE_ROUTINE(ZX40RM_sppmin);
DECLARE_ROUTINE(ZX40RM_spprd1);
DECLARE_ROUTINE(ZX40RM_spprod);
DECLARE_ROUTINE(ZX40RM_spramp);
DECLARE_ROUTINE(ZX40RM_spsqrt);
DECLARE_ROUTINE(ZX40RM_spvisccorr);
namespace {

struct Row {
  const char* name;
  QV_Routine routine;
  std::vector<std::vector<Argument>> calls;
  Argument output = Output();
};

std::vector<std::vector<Argument>> At(const std::vector<double>& points, const std::vector<Argument>& more) {
  std::vector<std::vector<Argument>> calls;
  for (const double point : points) {
    calls.push_back({Argument(point)});
    calls.back().insert(calls.back().end(), more.begin(), more.end());
  }
  return calls;
}

const std::vector<double> kAround0 = {-3,    -1.0001, -1,    -0.5, -1e-10, -4e-11, 0,
                                      3e-11, 1e-10,   2e-10, 0.5,  1,      2,      7};

std::vector<Row> Rows() {
  std::vector<std::vector<Argument>> quotients;
  for (const double divisor : kAround0) quotients.push_back({Argument(2.5), Argument(divisor)});
  const std::vector<Argument> product = {Matrix(2, 3, {1, -2, 3, 0.5, 4, -1}), Vector({2, 3, 5})};
  return {
      {"ZX40RM_spcopy1", ZX40RM_spcopy1, At(kAround0, {})},
      {"ZX40RM_spdivi", ZX40RM_spdivi, quotients},
      {"ZX40RM_splim_abs", ZX40RM_splim_abs, At(kAround0, {0.5, 2.0})},
      {"ZX40RM_splimit", ZX40RM_splimit, At(kAround0, {-1.0, 2.0})},
      {"ZX40RM_spmatr", ZX40RM_spmatr, {product}, Output(2)},
      {"ZX40RM_spminarm", ZX40RM_spminarm, At(kAround0, {-1.0, 2.0, -4.0})},
      {"ZX40RM_spminarm", ZX40RM_spminarm, At(kAround0, {-1.0, 0.0, -4.0})},
      {"ZX40RM_spminrmp", ZX40RM_spminrmp, At(kAround0, {-1.0, 2.0})},
      {"ZX40RM_spminrmp", ZX40RM_spminrmp, At(kAround0, {-1.0, 0.0})},
      {"ZX40RM_sppmin", ZX40RM_sppmin, {{Vector({3, 2, 1}), Whole(2)}, {Vector({3, 2, 1}), Whole(3)}}},
      {"ZX40RM_spprd1", ZX40RM_spprd1, {{Vector({1, 2, 3}), Vector({4, -5, 6})}}},
      {"ZX40RM_spprod", ZX40RM_spprod, {{Vector({2, 3}), product[0]}}, Output(3)},
      {"ZX40RM_spramp", ZX40RM_spramp, At(kAround0, {-1.0, 2.0, 10.0, 4.0})},
      {"ZX40RM_spsqrt", ZX40RM_spsqrt, At(kAround0, {})},
      {"ZX40RM_spvisccorr", ZX40RM_spvisccorr, At({0, 10, 300, 1e4, 1.9e5, 2e5, 1e7}, {})},
  };
}

TEST(ClosedForms, AgreeWithTheRoutines) {
  std::map<std::string, int> checked;
  for (const Row& row : Rows()) {
    const ClosedForm* form = FindClosedForm(row.name);
    ASSERT_NE(form, nullptr) << row.name;
    for (const std::vector<Argument>& inputs : row.calls) {
      RoutineTest routine(row.routine, inputs, {row.output});
      ASSERT_EQ(routine.Call(0), 0) << row.name;
      std::vector<std::vector<NlFormula>> known;
      for (const Argument& input : inputs) {
        known.emplace_back(input.reals.begin(), input.reals.end());
        known.back().insert(known.back().end(), input.wholes.begin(), input.wholes.end());
      }
      for (long long k = 0; k < row.output.Values(); ++k) {
        // All inputs are known, so that the formula folds to its value.
        const NlFormula value = form->value(known, static_cast<int>(k));
        ASSERT_TRUE(value.IsNumber()) << row.name;
        EXPECT_NEAR(value.value(), routine.Value(k), 1e-14 * std::max(1.0, std::abs(routine.Value(k))))
            << row.name << " at " << (inputs[0].reals.empty() ? 0 : inputs[0].reals[0]);
      }
    }
    ++checked[row.name];
  }
  for (const ClosedForm& form : AllClosedForms()) EXPECT_GT(checked[form.routine], 0) << form.routine;
}

}  // namespace
}  // namespace quiver::routines
