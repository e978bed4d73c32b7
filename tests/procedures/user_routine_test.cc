// SPDX-License-Identifier: Apache-2.0
// The example of a user's own routine, found beside the library that its procedure names and called through the wrapper.
#include <gtest/gtest.h>

#include <cmath>
#include <deque>

#include "host/modeller/variable_types.h"
#include "procedures/catalogue.h"
#include "runtime/contract/procedure_access.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/plugin/routine_library.h"

namespace quiver {
namespace {

// The 25 inputs and the output of PRKUSR over two components, filled by their place in the signature.
struct UserRateCall {
  UserRateCall() {
    components.SetCurrentValue(0);
    for (int pass = 0; pass < 2; ++pass) {
      size_t next = 0;
      const auto element = [&](double value) -> QV_REALVARIABLE& {
        if (pass == 0) elements.emplace_back(true).SetCurrentValue(value);
        return elements[next++];
      };
      for (int k = 0; k < 26; ++k) {
        const int type = k < 25 ? wrapper.Type(k) : kQvReal, rank = wrapper.Dimensions(k);
        if (rank == 0) {
          if (type == kQvText)
            wrapper.Argument("");
          else if (type == kQvReal)
            wrapper.Argument(element(k == 2 ? 26.85 : 1.0));
          else
            wrapper.Argument(1);
          continue;
        }
        wrapper.Argument();
        for (int d = 0; d < rank; ++d) wrapper.SetDimensionSize(2);
        const double values[] = {k == 6 ? 3.0 : k == 14 ? 2.0e3 : 0.5, k == 6 ? 1.0 : k == 14 ? 2.0e4 : 0.25};
        for (int e = 0; e < (rank == 2 ? 4 : 2); ++e) {
          if (type == kQvReal) {
            wrapper.Element(element(values[e % 2]));
          } else {
            if (pass == 0) integers.emplace_back(true).SetCurrentValue(1);
            wrapper.Element(integers[0]);
          }
        }
      }
      wrapper.LastArgument();
    }
  }
  QV_COMPONENTLISTNAME components{true};
  std::deque<QV_REALVARIABLE> elements;
  std::deque<QV_INTEGERPARAMETER> integers;
  QVProc_PRKUSR wrapper{true, 0, &components};
};

class UserRoutine : public ::testing::Test {
 protected:
  void Use(std::vector<std::string> folders) {
    libraries = std::make_unique<RoutineLibraries>(std::move(folders));
    before = InstallRoutineProvider(libraries.get());
  }
  void TearDown() override { InstallRoutineProvider(before); }
  std::unique_ptr<RoutineLibraries> libraries;
  RoutineProvider* before = nullptr;
};

TEST_F(UserRoutine, gives_the_rate_of_its_own_formula) {
  Use({QUIVER_LIBRARY_DIR, QUIVER_BUILD_DIR "/examples/user_routine"});
  UserRateCall call;
  double residuals[2];
  ASSERT_TRUE(EvaluateProcedure(call.wrapper, residuals, nullptr)) << LastProcedureFault().sentence;
  const double rate = 2.0e3 * std::exp(-2.0e4 / (8.31446261815324 * 300.0)) * 3.0;
  const ProcedureElements elements = ElementsOf(call.wrapper);
  const double outputs[] = {elements.elements[elements.inputs]->RealValue(),
                            elements.elements[elements.inputs + 1]->RealValue()};
  EXPECT_NEAR(outputs[0] - residuals[0], -rate, 1e-12 * rate);
  EXPECT_NEAR(outputs[1] - residuals[1], rate, 1e-12 * rate);
}

TEST_F(UserRoutine, is_missed_by_name_where_its_folder_is_not_configured) {
  Use({QUIVER_LIBRARY_DIR});
  UserRateCall call;
  double residuals[2];
  EXPECT_FALSE(EvaluateProcedure(call.wrapper, residuals, nullptr));
  EXPECT_NE(LastProcedureFault().sentence.find("ZX40RM_sprkusr"), std::string::npos)
      << LastProcedureFault().sentence;
}

}  // namespace
}  // namespace quiver
