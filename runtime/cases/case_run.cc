// SPDX-License-Identifier: Apache-2.0
#include "runtime/cases/case_run.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>

#include "host/extensions.h"
#include "runtime/cases/standard_volumes.h"
#include "runtime/cases/value_giver.h"
#include "runtime/contract/error.h"
#include "runtime/contract/names.h"
#include "runtime/contract/set_storage.h"
#include "runtime/io/suggest.h"
#include "runtime/system/describe.h"

namespace quiver {

CaseRun::CaseRun(const ModelSource& library, CaseFile description, bool qualified)
    : description_(std::move(description)), qualified_(qualified), flowsheet_(library) {
  flowsheet_.SetComponents(description_.components);
  std::vector<CaseFault> faults;
  std::vector<ValueGiver> givers;
  const auto start = std::chrono::steady_clock::now();
  for (const CaseBlock& block : description_.blocks) {
    if (!library.Find(block.model)) {
      AddFault(faults, block.model_location,
               fmt::format("unknown model {} of block {}", block.model, block.name),
               Suggest(block.model, library.ModelNames()));
      continue;
    }
    if (flowsheet_.FindBlock(block.name)) {
      AddFault(faults, block.location, fmt::format("there is a block {} already", block.name),
               "give each block a name of its own; letter case makes no difference.");
      continue;
    }
    Instance& instance = flowsheet_.AddBlock(block.name, block.model);
    givers.emplace_back(instance, block.name, block.set, ValueGiver::kSet);
    givers.emplace_back(instance, block.name, block.fix, ValueGiver::kFix);
    givers.emplace_back(instance, block.name, block.guess, ValueGiver::kGuess);
  }
  if (!faults.empty()) Fail(std::move(faults));
  NumberStreams(flowsheet_, description_.connect);
  const auto created = std::chrono::steady_clock::now();
  flowsheet_.SizeAndAssign([&] {
    if (!faults.empty()) return;  // told once is enough
    GiveGlobals(flowsheet_.scope(), description_.globals, faults);
    for (ValueGiver& giver : givers) giver.Give(faults);
    PassStarts(flowsheet_, description_.connect);
  });
  if (faults.empty())
    for (ValueGiver& giver : givers) giver.Finish(faults);
  build_times_.create = std::chrono::duration<double>(created - start).count();
  build_times_.assign = std::chrono::duration<double>(std::chrono::steady_clock::now() - created).count();
  if (!faults.empty()) Fail(std::move(faults));
  flowsheet_.ThrowFaults();
  SupplyStandardVolumes(flowsheet_);
}

void CaseRun::Fail(std::vector<CaseFault> faults) const {
  throw CaseError(description_.name, std::move(faults));
}

std::vector<Tie> CaseRun::Connect() {
  std::vector<Tie> ties;
  std::vector<CaseFault> faults;
  std::vector<std::string> blocks;
  for (const CaseBlock& block : description_.blocks) blocks.push_back(block.name);
  const auto find = [&](const PropertyPath& path, Location location) -> QV_Type* {
    const std::string& name = path.parts.front().name;
    Instance* instance = flowsheet_.FindBlock(name);
    if (!instance) {
      AddFault(faults, location, fmt::format("there is no block {}", name), Suggest(name, blocks));
      return nullptr;
    }
    if (path.parts.size() < 2) {
      AddFault(faults, location, fmt::format("{} is a whole block", name),
               "name one of its properties, with a point between.");
      return nullptr;
    }
    const NamedObject named = FindNamed(*instance, path, 1, name, location, faults);
    if (!named.missing_element.empty())
      AddFault(faults, location, fmt::format("block {} has no element {}", name, named.missing_element),
               "name one that its sets have.");
    return named.object;
  };
  for (const Connection& connection : description_.connect) {
    QV_Type* left = find(connection.left, connection.location);
    QV_Type* right = find(connection.right, connection.location);
    if (!left || !right) continue;
    auto* left_port = dynamic_cast<QV_MATERIALPORTRPREV*>(left);
    auto* right_port = dynamic_cast<QV_MATERIALPORTRPREV*>(right);
    if (left_port && right_port) {
      streams_.Connect(connection, *left_port, *right_port, ties, faults);
      continue;
    }
    auto* a = dynamic_cast<QV_VarParam*>(left);
    auto* b = dynamic_cast<QV_VarParam*>(right);
    const std::string text = fmt::format("{} = {}", connection.left.Text(), connection.right.Text());
    if (!a || !b || HostAccess::KindOf(*a) != HostAccess::kReal ||
        HostAccess::KindOf(*b) != HostAccess::kReal) {
      AddFault(faults, connection.location, fmt::format("cannot connect {}", text),
               "both sides must be single real values of a block, or material ports.");
      continue;
    }
    if (!a->IsVariable()) {  // a parameter takes the other side's value, which must be known
      std::swap(a, b);
    }
    if (!b->IsVariable()) {
      const bool known = !a->IsVariable() ? HasValue(*a) : HostAccess::SpecOf(*a) == QV_SPEC_GIVEN;
      if (!known) {
        AddFault(faults, connection.location, fmt::format("cannot connect {}", text),
                 "one side is a parameter, so the other must be given.");
        continue;
      }
      SetFromValue(*b, QV_Value(a->RealValue()), Origin::kUser);
      continue;
    }
    ties.push_back({a, b, text});
  }
  if (!faults.empty()) Fail(std::move(faults));
  return ties;
}

EquationSystem& CaseRun::System() {
  if (!system_) {
    ties_ = Connect();
    system_ = std::make_unique<EquationSystem>(flowsheet_, ties_);
  }
  return *system_;
}

EquationSystem& CaseRun::Reassemble() {
  System();
  system_.reset();
  system_ = std::make_unique<EquationSystem>(flowsheet_, ties_);
  return *system_;
}

EquationSystem& CaseRun::FreshSystem() { return system_ && system_->IsStale() ? Reassemble() : System(); }

SolveSummary CaseRun::Solve(LadderOptions options) {
  EquationSystem& system = FreshSystem();
  std::vector<double> x = system.StartValues();
  for (NearbyCase& nearby : NearbyCases()) options.nearby.push_back(std::move(nearby));
  SolveSummary summary = Climb(system, options, x);
  system.Store(x);
  return summary;
}

std::vector<NearbyCase> CaseRun::NearbyCases() {
  EquationSystem& system = System();
  std::vector<NearbyCase> nearby;
  std::vector<double> defaults = system.DefaultValues();
  if (from_) nearby.push_back({fmt::format("the state of {}", from_->name), StateValues()});
  if (defaults != system.StartValues()) nearby.push_back({"the models' defaults", std::move(defaults)});
  return nearby;
}

SolveSummary CaseRun::Solve(BlockSolver& solver, const SolveOptions& options) {
  EquationSystem& system = FreshSystem();
  std::vector<double> x = system.StartValues();
  SolveSummary summary = solver.Solve(system, AnalyseStructure(system), options, x);
  system.Store(x);
  return summary;
}

void CaseRun::ForVariables(Instance& instance, const VisitVariable& visit) {
  for (size_t i = 0; i < instance.type().properties.size(); ++i) {
    const DeclaredProperty& property = instance.type().properties[i];
    if (property.kind == PropertyKind::kGlobal || property.kind == PropertyKind::kStructureReference)
      continue;
    const auto look_at = [&](QV_Type* object) {
      auto* holder = dynamic_cast<QV_VarParam*>(object);
      if (holder && holder->IsVariable()) visit(*holder, property.description);
    };
    QV_Type* object = instance.Object(static_cast<int>(i));
    if (property.kind == PropertyKind::kExternal) {  // the owner's own is told with the owner
      auto* holder = dynamic_cast<QV_VarParam*>(object);
      const Instance* holding = holder ? InstanceHolding(*holder) : nullptr;
      if (holding && holding != &instance) continue;
    }
    if (auto* array = dynamic_cast<QV_ArrayBase*>(object)) {
      for (long long e = 0; e < array->Count(); ++e) look_at(&array->At(e));
    } else {
      look_at(object);
    }
  }
  for (Instance* child : SubInstances(instance)) ForVariables(*child, visit);
}

std::vector<NamedValue> CaseRun::Values() {
  const CurrentGuard guard({&flowsheet_.scope(), nullptr, nullptr, nullptr});
  const Instance* within = qualified_ ? nullptr : flowsheet_.blocks().front();
  std::vector<NamedValue> values;
  for (Instance* block : flowsheet_.blocks())
    ForVariables(*block, [&](QV_VarParam& holder, const char* description) {
      const int number = HostAccess::Number(holder);
      values.push_back({HolderName(holder, within), holder.RealValue(), UnitOf(holder),
                        description ? description : "", HostAccess::SpecOf(holder) == QV_SPEC_GIVEN,
                        system_ && number < system_->VariableCount() && system_->TakesPart(number), &holder});
    });
  return values;
}

SavedState CaseRun::State(bool converged) {
  SavedState state;
  state.converged = converged;
  for (const NamedValue& value : Values()) state.values[value.name] = value.value;
  return state;
}

void CaseRun::StartFrom(SavedState state) {
  const CurrentGuard guard({&flowsheet_.scope(), nullptr, nullptr, nullptr});
  const Instance* within = qualified_ ? nullptr : flowsheet_.blocks().front();
  size_t used = 0;
  for (Instance* block : flowsheet_.blocks())
    ForVariables(*block, [&](QV_VarParam& holder, const char*) {
      const auto found = state.values.find(HolderName(holder, within));
      if (found == state.values.end()) return;
      ++used;
      if (HostAccess::SpecOf(holder) != QV_SPEC_GIVEN) HostAccess::Real(holder) = found->second;
    });
  if (used == 0)
    throw Error(
        fmt::format("{}: none of its {} values has the name of a variable of this case. Start from a state "
                    "of the same case, or of one with the same block names.",
                    state.name, state.values.size()));
  if (used < state.values.size())
    flowsheet_.scope().notes.push_back(
        fmt::format("{}: {} of its {} values belong to no variable of this case.", state.name,
                    state.values.size() - used, state.values.size()));
  from_ = std::move(state);
}

// The whole state as a nearby case: what it does not name stands as it does here.
std::vector<double> CaseRun::StateValues() {
  const CurrentGuard guard({&flowsheet_.scope(), nullptr, nullptr, nullptr});
  const Instance* within = qualified_ ? nullptr : flowsheet_.blocks().front();
  std::vector<double> x = system_->StartValues();
  for (Instance* block : flowsheet_.blocks())
    ForVariables(*block, [&](QV_VarParam& holder, const char*) {
      const auto found = from_->values.find(HolderName(holder, within));
      const int number = HostAccess::Number(holder);
      if (found != from_->values.end() && number >= 0 && number < system_->VariableCount())
        x[static_cast<size_t>(number)] = found->second;
    });
  return x;
}

std::vector<StreamState> CaseRun::Streams() {
  const EquationSystem& system = System();
  const double absent = std::nan("");
  const auto value = [&](QV_VarParam& holder) {
    const bool known =
        HostAccess::SpecOf(holder) == QV_SPEC_GIVEN ||
        (HostAccess::Number(holder) < system.VariableCount() && system.TakesPart(HostAccess::Number(holder)));
    return known ? holder.RealValue() : absent;
  };
  std::vector<StreamState> states;
  for (const Stream& stream : FindStreams(flowsheet_, streams_.connected())) {
    QV_MATERIALPORTRPREV& port = *stream.port;
    const double flow = value(port.F);
    if (std::isnan(flow)) continue;
    const bool reversed = flow < 0 && !std::isnan(value(port.HREV));
    QV_ArrayBase& fractions = reversed ? port.ZREV : port.Z;
    StreamState state{stream.Name(),
                      stream.from,
                      stream.to,
                      reversed,
                      flow,
                      value(reversed ? port.TREV : port.T),
                      value(port.P),
                      value(reversed ? port.HREV : port.H),
                      reversed ? absent : value(port.V),
                      {},
                      {}};
    state.components = ElementsOf(*port.ComponentList).texts;
    for (long long i = 0; i < fractions.Count(); ++i)
      state.Z.push_back(value(static_cast<QV_VarParam&>(fractions.At(i))));
    states.push_back(std::move(state));
  }
  return states;
}

std::vector<NamedValue> CaseRun::Report() {
  const std::vector<NamedValue> all = Values();
  std::vector<NamedValue> wanted;
  if (description_.report.empty()) {
    for (const NamedValue& value : all)
      if (value.given || value.takes_part) wanted.push_back(value);
    return wanted;
  }
  std::vector<CaseFault> faults;
  for (const ReportedName& reported : description_.report) {
    const std::string name = reported.name.Text();
    const size_t before = wanted.size();
    for (const NamedValue& value : all) {
      const bool whole = EqualIgnoringCase(value.name, name);
      const bool part = value.name.size() > name.size() &&
                        EqualIgnoringCase(value.name.substr(0, name.size()), name) &&
                        (value.name[name.size()] == '.' || value.name[name.size()] == '(');
      if (whole || part) wanted.push_back(value);
    }
    if (wanted.size() > before) continue;
    std::vector<std::string> names;
    for (const NamedValue& value : all) names.push_back(value.name);
    AddFault(faults, reported.location, fmt::format("there is no variable {} to report", name),
             Suggest(name, names));
  }
  if (!faults.empty()) Fail(std::move(faults));
  return wanted;
}

}  // namespace quiver
