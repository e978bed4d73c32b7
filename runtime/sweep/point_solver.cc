// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/point_solver.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "runtime/cases/value_giver.h"
#include "runtime/contract/error.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/solve/structure_report.h"
#include "runtime/sweep/sampling.h"

namespace quiver {
namespace {

constexpr size_t kKeptNumbers = 4'000'000;  // of all solutions kept to start from
constexpr size_t kKeptBuilds = 32;          // flowsheets with options of points that alternate between them
constexpr int kSteps = 8;                   // towards a point that is not reached at once

}  // namespace

struct PointSolver::Build {
  std::string key;  // the values that it was built with, those of plain variables left out
  std::unique_ptr<CaseRun> run;
  StructureReport structure;
  BlockSolver solver;
  std::vector<double> start;            // values of all variables before anything was solved
  std::vector<char> is_variable;        // by axis: its value can be changed without a new build
  std::vector<std::vector<int>> given;  // by axis: the numbers of the variables it gives
  std::vector<NamedValue> report;
  std::vector<ResultColumn> columns;
  std::uint64_t unknowns = 0;  // hash of their names: solutions of builds with the same can start each other
};

struct PointSolver::Solution {
  long long point;
  std::uint64_t unknowns;
  std::vector<double> place, x;
};

PointSolver::PointSolver(const ModelSource& library, const SweepPlan& plan)
    : library_(library), plan_(plan) {}
PointSolver::~PointSolver() = default;

// Coordinates whose differences tell how far points are apart: shares of an axis for numbers, and the value's hash, large
// against any share, for all else.
std::vector<double> PointSolver::PlaceOf(const std::vector<CaseValue>& values) const {
  std::vector<double> place(values.size());
  for (size_t k = 0; k < values.size(); ++k) {
    const SweepAxis& axis = plan_.axes()[k];
    if (!values[k].IsNumber()) {
      place[k] = 10.0 + static_cast<double>(std::hash<std::string>()(ValueText(values[k])) % 1'000'003);
    } else if (axis.high > axis.low) {
      place[k] = axis.logarithmic ? std::log(values[k].real / axis.low) / std::log(axis.high / axis.low)
                                  : (values[k].real - axis.low) / (axis.high - axis.low);
    }
  }
  return place;
}

// Ties go to the later point: its solution is the fresher one along a grid.
const PointSolver::Solution* PointSolver::Nearest(const Build& build, const std::vector<double>& place,
                                                  long long except) const {
  const Solution* nearest = nullptr;
  double least = INFINITY;
  for (const Solution& solution : solutions_) {
    if (solution.unknowns != build.unknowns || solution.point == except ||
        solution.x.size() != build.start.size())
      continue;
    double distance = 0;
    for (size_t k = 0; k < place.size(); ++k)
      distance += (place[k] - solution.place[k]) * (place[k] - solution.place[k]);
    if (!(distance <= least)) continue;
    least = distance;
    nearest = &solution;
  }
  return nearest;
}

namespace {

// The variables that a name stands for; empty unless all are single reals of kind variable.
std::vector<QV_VarParam*> VariablesOf(QV_Type* object) {
  std::vector<QV_VarParam*> variables;
  const auto add = [&](QV_Type* one) {
    auto* holder = dynamic_cast<QV_VarParam*>(one);
    if (!holder || HostAccess::KindOf(*holder) != HostAccess::kReal || !holder->IsVariable()) return false;
    variables.push_back(holder);
    return true;
  };
  if (auto* array = dynamic_cast<QV_ArrayBase*>(object)) {
    for (long long e = 0; e < array->Count(); ++e)
      if (!add(&array->At(e))) return {};
    return variables;
  }
  if (!add(object)) return {};
  return variables;
}

ValueGiver::Purpose PurposeOf(const SweepAxis& axis) {
  return axis.section == SweepAxis::kSet   ? ValueGiver::kSet
         : axis.section == SweepAxis::kFix ? ValueGiver::kFix
                                           : ValueGiver::kGuess;
}

std::string UnitIn(const QV_VarParam& holder) {
  const QV_Value* unit = const_cast<QV_VarParam&>(holder).QV_DefaultBASEUOMNAME();
  return unit ? HostAccess::Text(*unit) : "";
}

}  // namespace

PointSolver::Build& PointSolver::BuildFor(long long point, const std::vector<CaseValue>& values,
                                          PointSink& sink) {
  const auto key_of = [&](const std::vector<char>& is_variable) {
    std::string key;
    for (size_t k = 0; k < values.size(); ++k) {
      if (is_variable[k]) continue;
      key += ValueText(values[k]) + '\n';
    }
    return key;
  };
  const auto tell = [&](Build& build) -> Build& {
    if (told_ != build.columns) sink.Columns(told_ = build.columns);
    return build;
  };
  for (auto build = builds_.begin(); build != builds_.end(); ++build) {
    if ((*build)->key != key_of((*build)->is_variable)) continue;
    std::rotate(build, build + 1, builds_.end());
    return tell(*builds_.back());
  }
  if (builds_.size() >= kKeptBuilds) builds_.erase(builds_.begin());
  auto build = std::make_unique<Build>();
  build->run = std::make_unique<CaseRun>(library_, plan_.CaseAt(point), plan_.qualified());
  EquationSystem& system = build->run->System();
  build->start = system.StartValues();
  for (const SweepAxis& axis : plan_.axes()) {
    build->is_variable.push_back(0);
    build->given.emplace_back();
    if (axis.section == SweepAxis::kGlobal) continue;
    // A connection may have handed the value on to a parameter while the flowsheet was built.
    const auto connected = [&](const Connection& connection) {
      return EqualIgnoringCase(connection.left.Text(), axis.name.Text()) ||
             EqualIgnoringCase(connection.right.Text(), axis.name.Text());
    };
    const auto& connections = plan_.description().connect;
    if (std::any_of(connections.begin(), connections.end(), connected)) continue;
    std::vector<CaseFault> faults;
    const Assignment assignment = plan_.AssignmentOf(axis, {});
    const std::string& block = plan_.description().blocks[static_cast<size_t>(axis.block)].name;
    Instance& instance = *build->run->flowsheet().FindBlock(block);
    for (QV_VarParam* holder : VariablesOf(FindNamed(instance, assignment.name, 0, block, {}, faults).object))
      if (const int number = HostAccess::Number(*holder); number >= 0 && number < system.VariableCount())
        build->given.back().push_back(number);
    build->is_variable.back() = !build->given.back().empty();
  }
  build->structure = AnalyseStructure(system);
  build->unknowns = Mixed(build->start.size());
  for (int n = 0; n < system.VariableCount(); ++n)
    if (system.IsFree(n))
      build->unknowns = Mixed(build->unknowns ^ std::hash<std::string>()(system.VariableName(n)));
  for (NamedValue& value : build->run->Report()) {
    const auto varied = [&](const SweepAxis& axis) {
      return EqualIgnoringCase(axis.name.Text(), value.name);
    };
    if (std::any_of(plan_.axes().begin(), plan_.axes().end(), varied)) continue;
    build->columns.push_back({value.name, value.unit});
    build->report.push_back(std::move(value));
  }
  build->key = key_of(build->is_variable);
  builds_.push_back(std::move(build));
  return tell(*builds_.back());
}

// Gives a built flowsheet the point's values of variables. False, with the reason, when one is not admitted.
bool PointSolver::Give(Build& build, const std::vector<CaseValue>& values, PointResult& result) {
  std::vector<CaseFault> faults;
  for (size_t k = 0; k < values.size(); ++k) {
    if (!build.is_variable[k]) continue;
    const SweepAxis& axis = plan_.axes()[k];
    const std::string& block = plan_.description().blocks[static_cast<size_t>(axis.block)].name;
    const std::vector<Assignment> one = {plan_.AssignmentOf(axis, values[k])};
    ValueGiver giver(*build.run->flowsheet().FindBlock(block), block, one, PurposeOf(axis));
    giver.Give(faults);
    giver.Finish(faults);
  }
  if (faults.empty()) return true;
  result.status = PointStatus::kRefused;
  result.reason = CaseError(plan_.description().name, {faults.front()}).what();
  return false;
}

// One attempt from x. Thorough: with all that the program has; else with what is quick from a good start.
bool PointSolver::Attempt(Build& build, std::vector<double>& x, bool thorough, PointResult& result) {
  EquationSystem& system = build.run->System();
  SolveSummary summary;
  if (thorough) {
    system.Store(x);
    // Neighbours are this sweep's way to a hard point: no homotopy, which would pass through points of its own.
    LadderOptions options;
    options.most_rungs = 2;
    summary = build.run->Solve(options);
    x = system.StartValues();
  } else {
    summary = build.solver.Solve(system, build.structure, {}, x);
  }
  result.iterations += summary.iterations;
  if (summary.outcome == SolveOutcome::kConverged) {
    result.status = PointStatus::kSolved;
    result.reason.clear();
    result.iterations = summary.iterations;
    return true;
  }
  result.status = PointStatus::kFailed;
  result.reason = summary.failures.empty() ? "not solved" : summary.failures.front().reason;
  return false;
}

// The neighbour's solution is carried along a straight line from its values to the point's.
bool PointSolver::InSteps(Build& build, const Solution& from, const std::vector<CaseValue>& values,
                          std::vector<double>& x, PointResult& result) {
  std::vector<double> target = x;
  const EquationSystem& system = build.run->System();
  std::vector<double> at = from.x;
  std::vector<char> is_given(x.size());
  for (size_t k = 0; k < values.size(); ++k)
    for (const int n : build.given[k]) is_given[static_cast<size_t>(n)] = 1;
  for (int step = 1; step <= kSteps; ++step) {
    for (size_t n = 0; n < at.size(); ++n) {
      if (system.IsFree(static_cast<int>(n))) continue;
      at[n] = is_given[n] && step < kSteps ? from.x[n] + (target[n] - from.x[n]) * step / kSteps : target[n];
    }
    if (!Attempt(build, at, false, result)) return false;
  }
  x = at;
  return true;
}

PointResult PointSolver::SolvePoint(long long point, PointSink& sink, bool last_resort) {
  PointResult result;
  result.point = point;
  result.start = -1;
  ClearProcedureFault();
  try {
    const std::vector<CaseValue> values = plan_.Values(point);
    Build& build = BuildFor(point, values, sink);
    EquationSystem& system = build.run->System();
    if (!Give(build, values, result)) return result;
    std::vector<double> cold = build.start;
    const std::vector<double> now = system.StartValues();
    for (const std::vector<int>& numbers : build.given)
      for (const int n : numbers) cold[static_cast<size_t>(n)] = now[static_cast<size_t>(n)];
    const std::vector<double> place = PlaceOf(values);
    const Solution* neighbour = Nearest(build, place, point);
    std::vector<double> x;
    bool solved = false;
    if (neighbour) {
      x = cold;
      for (size_t n = 0; n < x.size(); ++n)
        if (system.IsFree(static_cast<int>(n))) x[n] = neighbour->x[n];
      result.start = neighbour->point;
      solved = Attempt(build, x, false, result);
      if (!solved && last_resort) solved = InSteps(build, *neighbour, values, x = cold, result);
    }
    if (!solved && !last_resort) {
      x = cold;
      result.start = -1;
      solved = Attempt(build, x, true, result);
    }
    if (solved) {
      system.Store(x);
      for (const NamedValue& value : build.report) result.values.push_back(value.holder->RealValue());
      const size_t most = std::max<size_t>(4, kKeptNumbers / (x.size() + 1));
      if (solutions_.size() >= most) solutions_.erase(solutions_.begin());
      solutions_.push_back({point, build.unknowns, place, std::move(x)});
    }
  } catch (const CaseError& error) {
    result.status = PointStatus::kRefused;
    result.reason = error.what();
  } catch (const Error& error) {
    result.status = PointStatus::kRefused;
    result.reason = error.what();
  }
  if (LastProcedureFault().code == kMemoryOverrun) {
    // Its memory can be trusted no more, though the equations may have been satisfied.
    result.status = PointStatus::kCrashed;
    result.reason = LastProcedureFault().sentence;
    result.values.clear();
    result.spoilt = true;
  }
  return result;
}

void PointSolver::Solve(long long first, long long last, PointSink& sink) {
  builds_.clear();
  told_.clear();
  solutions_.clear();
  std::vector<long long> failed;
  for (long long point = first; point < last; ++point) {
    sink.Starting(point);
    const PointResult result = SolvePoint(point, sink, false);
    if (result.status == PointStatus::kFailed) failed.push_back(point);
    if (!sink.Finished(result)) return;
  }
  if (solutions_.empty()) return;
  for (const long long point : failed) {
    sink.Starting(point);
    const PointResult result = SolvePoint(point, sink, true);
    if (result.status != PointStatus::kFailed && !sink.Finished(result)) return;
  }
}

std::vector<std::string> PointSolver::AxisUnits(long long point) {
  struct Ignore : PointSink {
    void Starting(long long) override {}
    void Columns(const std::vector<ResultColumn>&) override {}
    bool Finished(const PointResult&) override { return true; }
  } ignore;
  const std::vector<CaseValue> values = plan_.Values(point);
  builds_.clear();
  Build& build = BuildFor(point, values, ignore);
  PointResult unused;
  if (!Give(build, values, unused)) throw Error(unused.reason);
  std::vector<std::string> units;
  for (const SweepAxis& axis : plan_.axes()) {
    units.push_back(axis.unit);
    if (!axis.unit.empty() || axis.section == SweepAxis::kGlobal) continue;
    std::vector<CaseFault> faults;
    const std::string& block = plan_.description().blocks[static_cast<size_t>(axis.block)].name;
    QV_Type* object = FindNamed(*build.run->flowsheet().FindBlock(block), plan_.AssignmentOf(axis, {}).name,
                                0, block, {}, faults)
                          .object;
    auto* array = dynamic_cast<QV_ArrayBase*>(object);
    if (array && array->Count() > 0) object = &array->At(0);
    auto* holder = dynamic_cast<QV_VarParam*>(object);
    if (holder && HostAccess::KindOf(*holder) == HostAccess::kReal) units.back() = UnitIn(*holder);
  }
  builds_.clear();
  return units;
}

}  // namespace quiver
