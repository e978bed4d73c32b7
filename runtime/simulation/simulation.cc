// SPDX-License-Identifier: Apache-2.0
#include "runtime/simulation/simulation.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_map>

#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"
#include "runtime/io/suggest.h"
#include "runtime/simulation/dynamic_flowsheet.h"
#include "runtime/simulation/integrator.h"
#include "runtime/system/describe.h"

namespace quiver {
namespace {

constexpr int kMostEvents = 10000;
constexpr double kMostRows = 1e6;    // of output
constexpr double kTightest = 1e-12;  // tolerance that doubles can meet

std::string Upper(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

// What the section says, with numbers of variables for names and the models' units.
class Plan {
 public:
  Plan(CaseRun& run, EquationSystem& system) : run_(run), system_(system) {
    for (int n = 0; n < system.VariableCount(); ++n)
      if (system.TakesPart(n)) numbers_.emplace(Upper(system.VariableName(n)), n);
    const SimulateSection& section = run.description().simulate;
    unit_name = section.end.unit.empty() ? "hr" : section.end.unit;
    end = Hours(section.end);
    step = section.step.IsNumber() ? Hours(section.step) : end / 100;
    if (!(end > 0)) Fault(section.end.location, "the run ends before it begins", "give an end after 0");
    if (!(step > 0))
      Fault(section.step.location, "the step of output is not above 0", "give one, as in 1 min");
    else if (end / step > kMostRows)
      Fault(section.step.location, fmt::format("the output would have more than {} rows", kMostRows),
            "give a longer step, or an earlier end");
    if (!(section.tolerance >= kTightest && section.tolerance < 1))
      Fault(section.location, fmt::format("the tolerance is not between {} and 1", kTightest),
            "1e-6 is a good one");
    for (const Assignment& known : section.initial) {
      const int variable = NumberOf(known.name, known.location);
      if (variable >= 0) initial.insert(variable);
    }
    for (const TimeInput& input : section.inputs) ReadInput(input);
    for (const TimeEvent& event : section.events) ReadEvent(event);
    if (!faults_.empty()) throw CaseError(run.description().name, faults_);
  }

  struct Event {
    std::string text;
    Threshold threshold;
    std::vector<std::pair<int, double>> values;
  };
  double end = 0, step = 0;
  std::string unit_name;
  std::set<int> initial;
  std::vector<InputCourse> inputs;
  std::vector<Event> events;

 private:
  void Fault(Location at, std::string message, std::string remedy) {
    AddFault(faults_, at, std::move(message), std::move(remedy));
  }

  int NumberOf(const PropertyPath& path, Location at) {
    const auto found = numbers_.find(Upper(path.Text()));
    if (found != numbers_.end()) return found->second;
    std::vector<std::string> names;
    for (const auto& [upper, number] : numbers_) names.push_back(system_.VariableName(number));
    Fault(at, fmt::format("no equation names a variable {}", path.Text()), Suggest(path.Text(), names));
    return -1;
  }

  double In(const CaseValue& value, const std::string& unit) {
    try {
      return RealIn(value, unit);
    } catch (const UnitError& error) {
      Fault(value.location, error.what(), "give another unit");
      return std::nan("");
    }
  }
  double Hours(const CaseValue& value) { return In(value, "hr"); }
  double InUnitOf(int variable, const CaseValue& value) {
    return In(value, UnitOf(*run_.flowsheet().scope().Holder(variable)));
  }

  bool ExpectGiven(int variable, Location at) {
    if (!system_.IsFree(variable)) return true;
    Fault(at, system_.VariableName(variable) + " is computed",
          "fix it in its block, then it can change over time");
    return false;
  }

  void ReadInput(const TimeInput& input) {
    const int variable = NumberOf(input.name, input.location);
    if (variable < 0 || !ExpectGiven(variable, input.location)) return;
    InputCourse course{variable, {}};
    for (const TimeInput::Point& point : input.points) {
      const double hours = Hours(point.time);
      if (!course.points.empty() && hours < course.points.back().first)
        Fault(point.time.location, "this time is before the one above", "put the points in order");
      course.points.emplace_back(hours, InUnitOf(variable, point.value));
    }
    inputs.push_back(std::move(course));
  }

  void ReadEvent(const TimeEvent& event) {
    const int variable = NumberOf(event.name, event.location);
    if (variable < 0) return;
    Event read{event.text, {variable, event.upwards, InUnitOf(variable, event.threshold)}, {}};
    for (const Assignment& assignment : event.set) {
      const int target = NumberOf(assignment.name, assignment.location);
      if (target < 0 || !ExpectGiven(target, assignment.location)) continue;
      read.values.emplace_back(target, InUnitOf(target, assignment.value));
    }
    events.push_back(std::move(read));
  }

  CaseRun& run_;
  EquationSystem& system_;
  std::unordered_map<std::string, int> numbers_;
  std::vector<CaseFault> faults_;
};

// The run itself, after the start was solved.
class Course {
 public:
  Course(CaseRun& run, const Plan& plan, EquationSystem& system, std::vector<DynamicState> states,
         const std::function<void(double)>& row, SimulationSummary& summary)
      : run_(run),
        plan_(plan),
        system_(system),
        flowsheet_(system, states, Thresholds(plan)),
        integrator_(flowsheet_, {.tolerance = run.description().simulate.tolerance}),
        states_(std::move(states)),
        row_(row),
        summary_(summary) {
    flowsheet_.inputs = plan.inputs;
  }

  void Go() {
    for (const Plan::Event& event : plan_.events) {
      const double value = flowsheet_.x()[static_cast<size_t>(event.threshold.variable)];
      if (event.threshold.upwards ? value >= event.threshold.value : value <= event.threshold.value)
        Fire(event, 0);
    }
    if (!Restart(0)) return;
    Row(0);
    double next = plan_.step, jump = NextJump(0);
    while (integrator_.t() < plan_.end) {
      // A row so near the end, or a jump, that only rounding parts them is the one there.
      double row = next > plan_.end * (1 - 1e-9) ? plan_.end : next;
      if (std::abs(row - jump) < 1e-9 * plan_.end) row = jump;
      const double until = std::min(row, jump);
      const Integrator::Stop stop = integrator_.Advance(until);
      summary_.hours = integrator_.t();
      summary_.steps = integrator_.steps();
      flowsheet_.Spread(integrator_.t(), integrator_.y().data());
      if (stop == Integrator::kFailed) {
        const bool after_restart =
            !restarts_.empty() && integrator_.t() - restarts_.back() < 1e-4 * plan_.end;
        return Fail((after_restart ? Crowding() + "; " : "") + integrator_.failure());
      }
      if (stop == Integrator::kRoot && !PassRoot()) return;
      if (stop != Integrator::kReached) continue;
      Row(until);
      if (until == row) next = plan_.step * (std::floor(row / plan_.step * (1 + 1e-12)) + 1);
      if (until == jump) {
        if (!Restart(jump)) return;
        jump = NextJump(jump);
      }
    }
    summary_.finished = true;
  }

 private:
  static std::vector<Threshold> Thresholds(const Plan& plan) {
    std::vector<Threshold> thresholds;
    for (const Plan::Event& event : plan.events) thresholds.push_back(event.threshold);
    return thresholds;
  }

  double NextJump(double after) const {
    double jump = 2 * plan_.end;
    for (const InputCourse& input : plan_.inputs)
      for (const auto& [hours, value] : input.points)
        if (hours > after) jump = std::min(jump, hours);
    return jump;
  }

  void Fire(const Plan::Event& event, double hours) {
    bool changed = false;
    for (const auto& [variable, value] : event.values) {
      double& current = flowsheet_.x()[static_cast<size_t>(variable)];
      changed = changed || current != value;
      current = value;
    }
    if (changed) summary_.events.push_back({hours, event.text});
  }

  // Events and branches at a root. False when the run cannot go on.
  bool PassRoot() {
    const double t = integrator_.t();
    const bool any_event = [&] {
      for (size_t i = 0; i < plan_.events.size(); ++i)
        if (integrator_.roots()[i] > 0) return true;
      return false;
    }();
    const bool branch = integrator_.roots().size() > plan_.events.size() && integrator_.roots().back() < 0;
    if (!any_event && !branch) return true;
    if (any_event) Row(t);
    for (size_t i = 0; i < plan_.events.size(); ++i)
      if (integrator_.roots()[i] > 0) Fire(plan_.events[i], t);
    if (summary_.restarts > kMostEvents || Crowded(t)) {
      Fail(Crowding());
      return false;
    }
    if (!Restart(t)) return false;
    if (any_event) Row(t);
    return true;
  }

  std::string Crowding() const {
    return fmt::format(
        "events and changes of branches follow each other too fast{}: put the thresholds further apart",
        summary_.events.empty() ? "" : ", the last \"" + summary_.events.back().text + "\"");
  }

  // Twenty restarts within half a percent of the run.
  bool Crowded(double t) {
    restarts_.push_back(t);
    return restarts_.size() > 20 && t - restarts_[restarts_.size() - 20] < 5e-3 * plan_.end;
  }

  // Solves all equations for the states as they are, and starts the integrator from there.
  bool Restart(double t) {
    flowsheet_.SetStartOfStep(t);
    for (const InputCourse& input : plan_.inputs)
      flowsheet_.x()[static_cast<size_t>(input.variable)] = input.At(t, true);
    const SolveSummary solved = quiver::Solve(system_, SolveOptions(), flowsheet_.x());
    if (solved.outcome != SolveOutcome::kConverged) {
      Fail(solved.failures.empty() ? "the equations have no solution there" : solved.failures.front().reason);
      return false;
    }
    flowsheet_.Decide();
    std::vector<double> y, slope;
    flowsheet_.Collect(y, slope);
    integrator_.Start(t, y, slope);
    ++summary_.restarts;
    return true;
  }

  void Fail(const std::string& reason) {
    summary_.hours = integrator_.t();
    summary_.failure =
        fmt::format("at {:.6g} {}: {}", integrator_.t() * summary_.unit, summary_.unit_name, reason);
    if (const EvaluationFault fault = system_.FirstFault(); fault.equation >= 0)
      summary_.failure += fmt::format("; {}: {}", system_.EquationName(fault.equation), fault.reason);
  }

  void Row(double hours) {
    const std::vector<double>& x = flowsheet_.x();
    system_.Store(x);
    const auto store = [&](int variable) {
      SetFromValue(*run_.flowsheet().scope().Holder(variable), QV_Value(x[static_cast<size_t>(variable)]),
                   Origin::kUser);
    };
    for (const DynamicState& state : states_) store(state.variable);
    for (const InputCourse& input : plan_.inputs) store(input.variable);
    for (const Plan::Event& event : plan_.events)
      for (const auto& [variable, value] : event.values) store(variable);
    row_(hours);
  }

  CaseRun& run_;
  const Plan& plan_;
  EquationSystem& system_;
  DynamicFlowsheet flowsheet_;
  Integrator integrator_;
  std::vector<DynamicState> states_;
  const std::function<void(double)>& row_;
  SimulationSummary& summary_;
  std::vector<double> restarts_;
};

}  // namespace

SimulationSummary Simulate(CaseRun& run, const std::function<void(double hours)>& row) {
  if (run.description().simulate.location.line == 0) {
    std::vector<CaseFault> faults;
    AddFault(faults, {}, "the case has no section \"simulate\"",
             "add one with the end of the run, simulate: {end: 1 hr}");
    throw CaseError(run.description().name, std::move(faults));
  }
  SimulationSummary summary;
  const Plan plan(run, run.System());
  summary.unit_name = plan.unit_name;
  summary.unit = ConvertUnit(1.0, "hr", plan.unit_name, UnitUse::kDifference);
  summary.start = run.Solve();
  if (summary.start.outcome != SolveOutcome::kConverged) {
    summary.failure = "the start is not solved: " +
                      (summary.start.failures.empty() ? "" : summary.start.failures.front().reason);
    return summary;
  }

  // From here on the states are what is known.
  const std::vector<DynamicState> states = FindStates(run.System());
  Scope& scope = run.flowsheet().scope();
  for (const int variable : plan.initial) HostAccess::SetSpec(*scope.Holder(variable), QV_SPEC_COMPUTED);
  for (const DynamicState& state : states) HostAccess::SetSpec(*scope.Holder(state.variable), QV_SPEC_GIVEN);
  EquationSystem& system = run.Reassemble();
  summary.states = static_cast<int>(states.size());
  summary.equations = system.EquationCount();
  const StructureReport structure = AnalyseStructure(system);
  if (!structure.is_well_posed) {
    summary.failure =
        fmt::format("with {} states known and what \"initial\" names left free, ", states.size()) +
        (structure.messages.empty() ? "the equations are not well posed" : structure.messages.front());
    return summary;
  }
  Course(run, plan, system, states, row, summary).Go();
  return summary;
}

}  // namespace quiver
