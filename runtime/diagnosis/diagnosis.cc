// SPDX-License-Identifier: Apache-2.0
#include "runtime/diagnosis/diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "runtime/diagnosis/jacobian_check.h"
#include "runtime/solve/messages.h"

namespace quiver {
namespace {

constexpr double kTrialChange = 1e-3;  // relative, to see how a condition's margin moves
constexpr int kMostUndefinedToTell = 10;

class Diagnostician {
 public:
  Diagnostician(EquationSystem& system, std::vector<double> start, const DiagnosisOptions& options)
      : system_(system), options_(options) {
    d_.x = std::move(start);
  }

  Diagnosis Run() {
    d_.structure = AnalyseStructure(system_);
    TellStructure();
    for (Finding& finding : CheckUnits(system_, &d_)) d_.findings.push_back(std::move(finding));
    CheckBoundsAtStart();
    if (!d_.structure.is_well_posed) return std::move(d_);
    if (!options_.solve) {
      AddJacobian("at the start");
      return std::move(d_);
    }
    const std::vector<double> start = d_.x;
    FaultRecorder recorder(system_);
    d_.solved = Climb(recorder, d_.structure, options_.ladder, d_.x);
    TellRungs();
    if (d_.solved->outcome == SolveOutcome::kConverged) {
      AddJacobian("at the solution");
      CheckBoundsAtSolution();
      CheckSwitches();
      for (const SolveFailure& note : d_.solved->notes)
        Add({Severity::kNote, "solution", Equation(note.equation), note.reason, "", {}, {}});
    } else {
      TellFailure(recorder);
      std::vector<double> reached = start;
      std::swap(reached, d_.x);
      AddJacobian("at the start");
      std::swap(reached, d_.x);
      AddJacobian("where it stopped");
    }
    return std::move(d_);
  }

 private:
  void Add(Finding finding) { d_.findings.push_back(std::move(finding)); }
  std::string Equation(int equation) const { return equation < 0 ? "" : system_.EquationName(equation); }
  std::string Variable(int variable) const { return system_.VariableName(variable); }
  double Magnitude(int variable) const {
    return std::max(std::abs(d_.x[static_cast<size_t>(variable)]), system_.Scale(variable));
  }

  void TellStructure() {
    const auto names = [](const std::vector<int>& of, auto name) {
      std::vector<std::string> list;
      for (const int one : of) list.push_back(name(one));
      return list;
    };
    const auto equation = [this](int e) { return Equation(e); };
    const auto variable = [this](int v) { return Variable(v); };
    // The messages come part by part: over-determined parts first, then under-determined ones.
    size_t message = 0;
    const auto tell = [&](const StructuralPart& part, const std::string& where) {
      Add({Severity::kFault, "structure", where,
           message < d_.structure.messages.size() ? d_.structure.messages[message] : "", "",
           names(part.rows, equation), names(part.columns, variable)});
      ++message;
    };
    for (const StructuralPart& part : d_.structure.over_determined)
      tell(part, fmt::format("{} too many", Counted(part.rows.size() - part.columns.size(), "equation")));
    for (const StructuralPart& part : d_.structure.under_determined)
      if (!part.rows.empty())
        tell(part, fmt::format("{} too few", Counted(part.columns.size() - part.rows.size(), "equation")));
    for (; message < d_.structure.messages.size(); ++message)
      Add({Severity::kFault,
           "structure",
           "no equation",
           d_.structure.messages[message],
           "",
           {},
           names(d_.structure.variables_without_equation, variable)});
  }

  template <class Visit>
  void ForUnknowns(Visit visit) const {
    for (int v = 0; v < system_.VariableCount(); ++v)
      if (system_.TakesPart(v) && system_.IsFree(v)) visit(v, d_.x[static_cast<size_t>(v)]);
  }

  void CheckBoundsAtStart() {
    for (int v = 0; v < system_.VariableCount(); ++v) {
      if (!system_.TakesPart(v)) continue;
      const double value = d_.x[static_cast<size_t>(v)], lower = system_.Lower(v), upper = system_.Upper(v);
      if (value >= lower && value <= upper) continue;
      if (system_.IsFree(v) && lower <= upper) {
        Add({Severity::kNote,
             "bounds",
             Variable(v),
             fmt::format("It starts from {:.6g}, outside its bounds {:.6g} to {:.6g}.", value, lower, upper),
             "The solver moves it to the nearer bound first; give it a start value within.",
             {},
             {Variable(v)}});
      } else if (system_.IsFree(v)) {
        Add({Severity::kFault,
             "bounds",
             Variable(v),
             fmt::format("Its lower bound {:.6g} is above its upper bound {:.6g}.", lower, upper),
             "Look at what is assigned to the bounds.",
             {},
             {Variable(v)}});
      } else if (system_.CanBeFreed(v)) {
        Add({Severity::kWarning,
             "bounds",
             Variable(v),
             fmt::format("It is fixed at {:.6g}, outside its bounds {:.6g} to {:.6g}.", value, lower, upper),
             "The model is not meant for such a value; check its unit.",
             {},
             {Variable(v)}});
      }
    }
  }

  void CheckBoundsAtSolution() {
    std::vector<int> at_bound;
    ForUnknowns([&](int v, double value) {
      const double near = options_.bound_share * Magnitude(v);
      if (value - system_.Lower(v) <= near || system_.Upper(v) - value <= near) at_bound.push_back(v);
    });
    if (at_bound.empty()) return;
    Finding finding{
        Severity::kNote,
        "bounds",
        JoinNames(at_bound, [this](int v) { return Variable(v); }),
        fmt::format("The solution has {} at a bound.", Counted(at_bound.size(), "variable")),
        "That may be meant, as with a fraction of 0 or 1; if not, widen the bound or look at what is "
        "fixed.",
        {},
        {}};
    for (const int v : at_bound) finding.variables.push_back(Variable(v));
    Add(std::move(finding));
  }

  void AddJacobian(const std::string& when) {
    for (Finding& finding : CheckJacobian(system_, d_.x, when)) Add(std::move(finding));
  }

  // One condition usually chooses for several equations: it is told once.
  void CheckSwitches() {
    std::set<std::pair<std::string, int>> told;
    std::vector<double> x = d_.x;
    for (int e = 0; e < system_.EquationCount(); ++e) {
      if (!system_.HasAlternatives(e)) continue;
      const std::vector<EquationSystem::Margin> margins = system_.MarginsOf(e, x);
      for (size_t m = 0; m < margins.size(); ++m) {
        int nearest = -1;
        double share = options_.switch_share;
        for (const int v : margins[m].variables) {
          if (!system_.CanBeFreed(v)) continue;
          const auto place = static_cast<size_t>(v);
          const double value = std::abs(x[place]);
          x[place] += kTrialChange * (value > 0 ? value : system_.Scale(v));
          const double moved = system_.MarginsOf(e, x)[m].margin - margins[m].margin;
          x[place] = d_.x[place];
          const double needed = std::abs(kTrialChange * margins[m].margin / moved);
          if (!(needed < share)) continue;  // also where it does not move at all
          share = needed;
          nearest = v;
        }
        if (nearest < 0 || !told.insert({margins[m].label, nearest}).second) continue;
        Add({Severity::kNote,
             "switch",
             Equation(e),
             fmt::format("Condition \"{}\" {} at the solution; a change of {} by {:.2g} % would turn it.",
                         margins[m].label, margins[m].margin >= 0 ? "holds" : "does not hold",
                         Variable(nearest), 100 * share),
             "Results may jump or kink there; look at both sides before relying on a slope.",
             {Equation(e)},
             {Variable(nearest)}});
      }
    }
  }

  void TellRungs() {
    if (d_.solved->rungs.size() < 2 || !d_.solved->rungs.back().solved) return;
    for (const RungReport& rung : d_.solved->rungs) {
      if (rung.solved) continue;
      Add({Severity::kNote,
           "solution",
           "",
           fmt::format("{} did not solve it: {}", rung.name, rung.text),
           fmt::format("{} did; start from its result next time.", d_.solved->rungs.back().name),
           {},
           {}});
    }
  }

  void TellFailure(const FaultRecorder& recorder) {
    for (const SolveFailure& failure : d_.solved->failures) {
      Finding finding{Severity::kFault, "solution", Equation(failure.equation), failure.reason, "", {}, {}};
      const RecordedFault* fault = nullptr;
      for (int block = 0; block < d_.structure.blocks.Count(); ++block) {
        const std::span<const int> rows = d_.structure.blocks.Rows(block);
        if (std::find(rows.begin(), rows.end(), failure.equation) == rows.end()) continue;
        for (const int e : rows) {
          finding.equations.push_back(Equation(e));
          const RecordedFault* candidate = recorder.FirstOf(e);
          if (candidate && (!fault || candidate->evaluation < fault->evaluation)) fault = candidate;
        }
        for (const int v : d_.structure.blocks.Columns(block)) finding.variables.push_back(Variable(v));
      }
      if (finding.equations.size() > 1)
        finding.what +=
            fmt::format(" It belongs to a block of {}.", Counted(finding.equations.size(), "equation"));
      Add(std::move(finding));
      if (fault) {
        if (!d_.first_undefined || fault->evaluation < d_.first_undefined->evaluation)
          d_.first_undefined = *fault;
        TellUndefined(*fault, recorder.evaluations());
      }
    }
    if (d_.solved->blocks_skipped > 0)
      Add({Severity::kNote,
           "solution",
           "",
           d_.solved->blocks_skipped == 1
               ? "1 block that needs what failed was not tried."
               : fmt::format("{} blocks that need what failed were not tried.", d_.solved->blocks_skipped),
           "",
           {},
           {}});
  }

  void TellUndefined(const RecordedFault& fault, long evaluations) {
    if (++undefined_told_ > kMostUndefinedToTell) return;
    std::string what =
        fmt::format("{}; first at evaluation {} of {}, {} in all.", fault.reason, fault.evaluation,
                    evaluations, Counted(static_cast<size_t>(fault.times), "time"));
    Finding finding{Severity::kWarning,         "undefined", Equation(fault.equation), std::move(what), "",
                    {Equation(fault.equation)}, {}};
    if (fault.moved >= 0) {
      finding.what +=
          fmt::format(" {} had gone from {:.6g} to {:.6g}.", Variable(fault.moved), fault.from, fault.to);
      finding.variables.push_back(Variable(fault.moved));
      finding.remedy = fmt::format("Set a bound on {}, or start from another value.", Variable(fault.moved));
    } else {
      finding.remedy = "It was so from the start: look at what is fixed and at the start values.";
    }
    Add(std::move(finding));
  }

  EquationSystem& system_;
  const DiagnosisOptions& options_;
  int undefined_told_ = 0;
  Diagnosis d_;
};

}  // namespace

bool Diagnosis::HasFaults() const {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.severity == Severity::kFault; });
}

Diagnosis Diagnose(EquationSystem& system, std::vector<double> start, const DiagnosisOptions& options) {
  return Diagnostician(system, std::move(start), options).Run();
}

}  // namespace quiver
