// SPDX-License-Identifier: Apache-2.0
// The exported files in other hands: the solver library of the format's authors reads them, an interior-point solver that
// knows nothing of us finds the solution, and it is ours. Built where both are installed.
#include <coin/IpStdCInterface.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>

#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/export/nl_writer.h"

// Its macros hide common words, so it comes last.
#include <ampl-netlib-solvers/asl.h>
#undef filename

namespace {

struct Problem {
  ASL* reader;
  std::vector<int> rows, columns;  // of the Jacobian's entries
};

Bool Objective(Index, Number*, Bool, Number* value, UserDataPtr) {
  *value = 0;
  return TRUE;
}
Bool Gradient(Index n, Number*, Bool, Number* gradient, UserDataPtr) {
  std::fill_n(gradient, n, 0.0);
  return TRUE;
}
Bool Constraints(Index, Number* x, Bool, Index, Number* values, UserDataPtr data) {
  ASL* asl = static_cast<Problem*>(data)->reader;
  fint failed = 0;
  conval(x, values, &failed);
  return failed == 0;
}
Bool Jacobian(Index, Number* x, Bool, Index, Index entries, Index* rows, Index* columns, Number* values,
              UserDataPtr data) {
  Problem& problem = *static_cast<Problem*>(data);
  ASL* asl = problem.reader;
  if (!values) {
    std::copy_n(problem.rows.begin(), entries, rows);
    std::copy_n(problem.columns.begin(), entries, columns);
    return TRUE;
  }
  fint failed = 0;
  jacval(x, values, &failed);
  return failed == 0;
}
Bool NoHessian(Index, Number*, Bool, Number, Index, Number*, Bool, Index, Index*, Index*, Number*,
               UserDataPtr) {
  return FALSE;  // approximated
}

// Reads and solves the file; status of the solver, and the solution in `x`.
int SolveElsewhere(const std::string& stub, std::vector<double>& x) {
  ASL* asl = ASL_alloc(ASL_read_fg);
  FILE* nl = jac0dim(const_cast<char*>(stub.c_str()), static_cast<fint>(stub.size()));
  X0 = static_cast<real*>(M1alloc(n_var * sizeof(real)));
  if (!nl || fg_read(nl, ASL_return_read_err) != 0) return -1000;
  Problem problem{asl, {}, {}};
  const auto entries = static_cast<size_t>(nzc);
  problem.rows.resize(entries), problem.columns.resize(entries);
  for (int row = 0; row < n_con; ++row)
    for (const cgrad* one = Cgrad[row]; one; one = one->next) {
      problem.rows[static_cast<size_t>(one->goff)] = row;
      problem.columns[static_cast<size_t>(one->goff)] = one->varno;
    }
  std::vector<double> lower, upper, left, right;
  for (int v = 0; v < n_var; ++v) lower.push_back(LUv[2 * v]), upper.push_back(LUv[2 * v + 1]);
  for (int c = 0; c < n_con; ++c) left.push_back(LUrhs[2 * c]), right.push_back(LUrhs[2 * c + 1]);
  x.assign(X0, X0 + n_var);
  IpoptProblem solver =
      CreateIpoptProblem(n_var, lower.data(), upper.data(), n_con, left.data(), right.data(), nzc, 0, 0,
                         Objective, Constraints, Gradient, Jacobian, NoHessian);
  AddIpoptIntOption(solver, const_cast<char*>("print_level"), 0);
  AddIpoptStrOption(solver, const_cast<char*>("sb"), const_cast<char*>("yes"));
  AddIpoptStrOption(solver, const_cast<char*>("hessian_approximation"), const_cast<char*>("limited-memory"));
  AddIpoptNumOption(solver, const_cast<char*>("tol"), 1e-9);
  AddIpoptNumOption(solver, const_cast<char*>("bound_relax_factor"), 0);
  double objective;
  const int status = IpoptSolve(solver, x.data(), nullptr, &objective, nullptr, nullptr, nullptr, &problem);
  FreeIpoptProblem(solver);
  ASL_free(&asl);
  return status;
}

}  // namespace

namespace quiver {
namespace {

// Solves the example elsewhere and compares. With `expand` the routines without a formula are expanded at our solution,
// and the start lies beside it.
void ExpectSolvedElsewhere(const std::string& example, bool expand) {
  SCOPED_TRACE(example);
  CaseRun run(UseLibraries(), ReadCaseFile(QUIVER_SOURCE_DIR "/examples/" + example + "/case.yaml"));
  EquationSystem& system = run.System();
  ExportOptions options;
  options.linearise_procedures = options.current_only = expand;
  ExportedSystem exported;
  if (!expand) exported = Express(system, system.StartValues(), options);
  ASSERT_EQ(run.Solve().outcome, SolveOutcome::kConverged);
  if (expand) {
    exported = Express(system, system.StartValues(), options);
    for (ExportedVariable& variable : exported.variables) {
      variable.value *= 1.02;
      // An interior-point method keeps away from bounds, and a pure component's fraction lies on one.
      variable.lower = -HUGE_VAL, variable.upper = HUGE_VAL;
    }
  }
  const auto stub = std::filesystem::temp_directory_path() /
                    (example + "-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
                     std::to_string(getpid()) + ".nl");
  NlNames names;
  {
    std::ofstream file(stub, std::ios::binary);
    names = WriteNl(exported, {expand}, file);  // one of them in binary
  }
  std::vector<double> x;
  const int status = SolveElsewhere(stub.string(), x);
  std::filesystem::remove(stub);
  EXPECT_TRUE(status == 0 || status == 1) << "status " << status;
  ASSERT_EQ(x.size(), names.columns.size());
  std::map<std::string, double> ours;
  for (const NamedValue& value : run.Values()) ours[value.name] = value.value;
  for (size_t k = 0; k < x.size(); ++k) {
    ASSERT_TRUE(ours.contains(names.columns[k])) << names.columns[k];
    const double value = ours[names.columns[k]];
    EXPECT_NEAR(x[k], value, 1e-5 * std::max(1e-3, std::abs(value))) << names.columns[k];
  }
}

TEST(IndependentSolver, FindsOurSolutionOfTheExamples) {
  ExpectSolvedElsewhere("liquid_relief", false);
  ExpectSolvedElsewhere("pipe_fittings", false);
}

TEST(IndependentSolver, FindsOurSolutionBesideExpandedRoutines) {
  ExpectSolvedElsewhere("relief_pool_fire", true);
  ExpectSolvedElsewhere("relief_liquid", true);
}

}  // namespace
}  // namespace quiver
