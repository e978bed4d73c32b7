// SPDX-License-Identifier: Apache-2.0
// The exported equations are ours: an independent reader of the file finds the same residuals, the same unknowns in the same
// rows, the same start and bounds.
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <numeric>
#include <set>
#include <sstream>

#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/contract/error.h"
#include "runtime/export/nl_writer.h"
#include "tests/runtime/export/nl_reader.h"

namespace quiver {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using tests::NlProblem;

const std::filesystem::path kExamples = std::filesystem::path(QUIVER_SOURCE_DIR) / "examples";

CaseRun Example(const std::string& name) {
  return CaseRun(UseLibraries(), ReadCaseFile((kExamples / name / "case.yaml").string()));
}
CaseRun Case(const std::string& text) { return CaseRun(UseLibraries(), ReadCaseText(text, "test.yaml")); }

struct Written {
  std::string bytes;
  NlNames names;
  std::vector<std::string> equations;  // names in the system's order
};
Written Nl(const ExportedSystem& exported, bool binary = false) {
  std::ostringstream out;
  Written written;
  written.names = WriteNl(exported, {binary}, out);
  written.bytes = out.str();
  for (const ExportedEquation& equation : exported.equations) written.equations.push_back(equation.name);
  return written;
}

// By name, because the file has an order of its own.
std::map<std::string, int> Places(const std::vector<std::string>& names) {
  std::map<std::string, int> places;
  for (size_t i = 0; i < names.size(); ++i) places[names[i]] = static_cast<int>(i);
  return places;
}

void ExpectSameResiduals(EquationSystem& system, const std::vector<double>& x, const Written& written) {
  const NlProblem problem(written.bytes);
  const auto rows = Places(written.names.rows), columns = Places(written.names.columns);
  ASSERT_EQ(rows.size(), static_cast<size_t>(system.EquationCount()));
  std::vector<double> point(static_cast<size_t>(problem.columns));
  std::vector<int> column_of(x.size(), -1);
  for (size_t v = 0; v < x.size(); ++v) {
    const auto found = columns.find(system.VariableName(static_cast<int>(v)));
    if (found == columns.end()) continue;
    column_of[v] = found->second;
    point[static_cast<size_t>(found->second)] = x[v];
    if (!system.IsFree(static_cast<int>(v))) continue;
    EXPECT_EQ(problem.lower[static_cast<size_t>(found->second)], system.Lower(static_cast<int>(v)));
    EXPECT_EQ(problem.upper[static_cast<size_t>(found->second)], system.Upper(static_cast<int>(v)));
  }
  std::vector<int> all(rows.size());
  std::iota(all.begin(), all.end(), 0);
  system.DecideAlternatives(all, x.data());
  for (const int e : all) {
    const int one[] = {e};
    double ours = 0;
    if (!system.Evaluate(one, x.data(), &ours, nullptr)) continue;
    const auto row = static_cast<size_t>(rows.at(written.equations[static_cast<size_t>(e)]));
    double size = 1;
    for (const int v : system.ResidualVariables(e))
      size = std::max(size, std::abs(x[static_cast<size_t>(v)]));
    EXPECT_NEAR(problem.Residual(row, point), ours, 1e-12 * size) << system.EquationName(e);
    // Whatever the row depends on stands in its J segment, and nothing that is no unknown of the equation.
    std::set<int> unknowns, written_columns;
    for (const int v : system.ResidualVariables(e)) unknowns.insert(column_of[static_cast<size_t>(v)]);
    for (const int v : system.ConditionVariables(e)) unknowns.insert(column_of[static_cast<size_t>(v)]);
    for (const auto& [column, coefficient] : problem.jacobian[row]) written_columns.insert(column);
    EXPECT_TRUE(
        std::includes(unknowns.begin(), unknowns.end(), written_columns.begin(), written_columns.end()));
    for (const int column : unknowns) {
      if (column < 0 || written_columns.contains(column)) continue;
      std::vector<double> moved = point;
      moved[static_cast<size_t>(column)] +=
          0.01 * std::max(1.0, std::abs(moved[static_cast<size_t>(column)]));
      EXPECT_EQ(problem.Residual(row, moved), problem.Residual(row, point)) << system.EquationName(e);
    }
  }
}

TEST(Nl, EveryExampleHasOurResidualsAtStartAndAtItsSolution) {
  int examples = 0;
  for (const auto& folder : std::filesystem::directory_iterator(kExamples)) {
    if (!std::filesystem::exists(folder.path() / "case.yaml")) continue;
    SCOPED_TRACE(folder.path().filename());
    ++examples;
    CaseRun run = Example(folder.path().filename().string());
    ASSERT_EQ(run.Solve().outcome, SolveOutcome::kConverged);
    EquationSystem& system = run.System();
    const std::vector<double> x = system.StartValues();
    ExportOptions options;
    options.linearise_procedures = true;
    options.current_only = true;
    const Written current = Nl(Express(system, x, options));
    ExpectSameResiduals(system, x, current);
    const NlProblem problem(current.bytes);
    EXPECT_EQ(problem.rows, problem.columns) << "a solved case is square";
  }
  EXPECT_GE(examples, 9);
}

// All alternatives in one file: the formulas hold on both sides of the switch, at points of our choosing.
TEST(Nl, AlternativesAreConditionsOfTheFile) {
  CaseRun run = Case(R"(
components: [nitrogen]
blocks:
  v:
    model: PSV_VAP
    fix: {T: 25 C, P: 10 bar, ETA_A: 0.3, RHO: 0.4, MW: 28, AREA_RATIO: 0, Y: {nitrogen: 1}}
)");
  EquationSystem& system = run.System();
  ExportOptions options;
  options.linearise_procedures = options.keep_given = true;  // ETA_A remains a variable
  std::vector<double> x = system.StartValues();
  const Written written = Nl(Express(system, x, options));
  EXPECT_THAT(written.bytes, HasSubstr("\no35\n"));
  int found = 0;
  for (size_t v = 0; v < x.size(); ++v) {
    if (system.VariableName(static_cast<int>(v)) != "v.ETA_A") continue;
    for (const double ratio : {0.1, 0.5, 0.6, 0.9, 1.0}) {
      ++found;
      x[v] = ratio;
      ExpectSameResiduals(system, x, written);
    }
  }
  EXPECT_EQ(found, 5);
}

TEST(Nl, BinaryAndTextAreOneProblem) {
  CaseRun run = Example("pipe_fittings");
  EquationSystem& system = run.System();
  const std::vector<double> x = system.StartValues();
  for (const bool keep_given : {false, true}) {
    ExportOptions options;
    options.keep_given = keep_given;
    const ExportedSystem exported = Express(system, x, options);
    const NlProblem text(Nl(exported).bytes), binary(Nl(exported, true).bytes);
    EXPECT_EQ(text.columns - text.rows, keep_given ? 2 : 0) << "L and DIAM are given";
    EXPECT_EQ(binary.start, text.start);
    EXPECT_EQ(binary.right, text.right);
    EXPECT_EQ(binary.lower, text.lower);
    EXPECT_EQ(binary.upper, text.upper);
    EXPECT_EQ(binary.jacobian, text.jacobian);
    EXPECT_EQ(binary.column_sums, text.column_sums);
    int nonzeros = 0;
    std::vector<int> counts(static_cast<size_t>(text.columns));
    for (const auto& row : text.jacobian)
      for (const auto& [column, coefficient] : row) ++nonzeros, ++counts[static_cast<size_t>(column)];
    EXPECT_EQ(nonzeros, text.nonzeros);
    std::partial_sum(counts.begin(), counts.end(), counts.begin());
    counts.pop_back();
    EXPECT_EQ(text.column_sums, counts);
    std::vector<double> point = text.start;
    for (double& one : point) one += 0.25;
    for (int r = 0; r < text.rows; ++r) {
      const auto row = static_cast<size_t>(r);
      EXPECT_EQ(binary.Residual(row, point), text.Residual(row, point));
      // Behind the nonlinear rows the coefficients of J are all there is.
      if (r >= text.nonlinear_rows) {
        EXPECT_EQ(text.bodies[row](point), 0);
      }
    }
  }
}

TEST(Nl, WhatCannotBeExpressedIsNamedWithItsRoutine) {
  CaseRun run = Example("relief_gas");
  try {
    Express(run.System(), run.System().StartValues());
    FAIL() << "property procedures have no formula";
  } catch (const Error& error) {
    EXPECT_THAT(error.what(), AllOf(HasSubstr("diener."), HasSubstr("compressible."),
                                    HasSubstr("ZX40RM_pcp_mol_vap"), HasSubstr("--linearise-procedures")));
  }
}

TEST(MatrixMarket, TheMatrixIsTheSlopeOfTheResiduals) {
  CaseRun run = Example("liquid_relief");
  run.Solve();
  EquationSystem& system = run.System();
  std::vector<double> x = system.StartValues();
  const ExportedJacobian jacobian = JacobianAt(system, x);
  std::stringstream file;
  WriteMatrixMarket(jacobian, file);
  std::string banner;
  std::getline(file, banner);
  EXPECT_EQ(banner, "%%MatrixMarket matrix coordinate real general");
  size_t rows, columns, entries;
  file >> rows >> columns >> entries;
  ASSERT_EQ(rows, jacobian.rows.size());
  ASSERT_EQ(columns, 2u);
  const auto residual = [&](size_t row) {
    const int one[] = {static_cast<int>(row)};
    double value = 0;
    system.Evaluate(one, x.data(), &value, nullptr);
    return value;
  };
  int read = 0;
  for (size_t row, column; file >> row >> column; ++read) {
    double slope;
    file >> slope;
    const auto v =
        static_cast<size_t>(std::find_if(x.begin(), x.end(),
                                         [&](double& one) {
                                           return system.VariableName(static_cast<int>(&one - x.data())) ==
                                                  jacobian.columns[column - 1];
                                         }) -
                            x.begin());
    const double at = x[v], step = 1e-6 * std::abs(at);
    x[v] = at + step;
    const double above = residual(row - 1);
    x[v] = at - step;
    EXPECT_NEAR((above - residual(row - 1)) / (2 * step), slope, 1e-6 * std::max(1.0, std::abs(slope)));
    x[v] = at;
  }
  EXPECT_EQ(static_cast<size_t>(read), entries);
}

}  // namespace
}  // namespace quiver
