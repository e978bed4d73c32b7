// SPDX-License-Identifier: Apache-2.0
#include "bench/systems.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <map>
#include <memory>
#include <stdexcept>

#include "bench/psv_sw_by_hand.h"
#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/expression/evaluator.h"
#include "runtime/system/describe.h"

namespace quiver::bench {
namespace {

std::vector<EquationDescription> EquationsOf(const std::string& model,
                                             const std::map<std::string, std::string>& options) {
  std::string text = "components: [nitrogen, methane]\nblocks:\n  m:\n    model: " + model + "\n";
  if (!options.empty()) text += "    set:\n";
  for (const auto& [name, value] : options) text += "      " + name + ": " + value + "\n";
  CaseRun run(UseLibraries(), ReadCaseText(text, model));
  return DescribeEquations(*run.flowsheet().Instances().front()).equations;
}

// Texts in streams are kept by the description.
template <class PlaceOf>
std::vector<Token> StreamOf(const std::vector<TokenDescription>& tokens, const PlaceOf& place_of) {
  std::vector<Token> stream;
  for (const TokenDescription& token : tokens) {
    switch (token.kind) {
      case StreamToken::kOperator:
        stream.push_back(Token::Code(token.code));
        break;
      case StreamToken::kVariable:
        stream.push_back(Token::Variable(place_of(token.text)));
        break;
      case StreamToken::kReal:
        stream.push_back(Token::Real(token.real));
        break;
      case StreamToken::kInteger:
        stream.push_back(Token::Integer(static_cast<int>(token.integer)));
        break;
      case StreamToken::kText:
        stream.push_back(Token::Text(token.text.c_str()));
        break;
    }
  }
  return stream;
}

// Between 0 and 1, the same everywhere.
double Fraction(std::uint64_t seed) {
  seed = (seed + 0x9E3779B97F4A7C15u) * 0xBF58476D1CE4E5B9u;
  seed = (seed ^ (seed >> 29)) * 0x94D049BB133111EBu;
  return static_cast<double>(seed >> 11) * 0x1p-53;
}

// A saturated inlet of a light hydrocarbon, in the model's units.
double ReliefValue(int variable) {
  switch (variable) {
    case kE0:
      return 0.4;
    case kX0:
      return 0.1;
    case kLFACTOR:
      return 0.02;
    case kVFACTOR:
      return 0.03;
    case kP:
    case kP_T0:
      return 15;
    case kT0:
      return 310;
    case kT:
      return 37;
    case kV_L0:
      return 0.002;
    case kV_V0:
      return 0.04;
    case kV_0:
      return 0.006;
    case kOMIGA:
      return 1.4;
    case kK:
      return 1.15;
    case kETA:
    case kETA_CRIT:
    case kETA_CRIT_2P:
      return 0.6;
    case kETA_S:
      return 0.95;
    case kDH_V0:
      return 0.35;
    case kUCF3:
    case kMJ_TO_J:
      return 1e5;
    case kGJ_TO_MJ:
    case kKJ_TO_J:
      return 1000;
    case kUCF12:
      return 273.15;
    default:
      return 2.5;
  }
}

// Where most formulas are defined.
double CatalogueValue(int variable) { return 1.1 + 0.8 * Fraction(static_cast<std::uint64_t>(variable)); }

bool IsFinite(const Shape& shape, std::span<const int> gather, std::span<const double> x) {
  Evaluator evaluator;
  std::vector<double> results(gather.size());
  results.push_back(evaluator.Gradient(shape, gather, x, results));
  return std::all_of(results.begin(), results.end(), [](double result) { return std::isfinite(result); });
}

}  // namespace

std::vector<std::vector<Token>> ReliefMethodStreams() {
  static const std::map<std::string, int> places = {
#define V(name) {#name, k##name},
      QUIVER_PSV_SW_VARIABLES(V)
#undef V
  };
  std::vector<std::vector<Token>> streams;
  for (const EquationDescription& equation : EquationsOf("PSV_SW", {{"VALIDPHASES", "Vapor-Liquid"}})) {
    if (!equation.procedure.empty()) continue;
    if (!equation.conditions.empty()) {
      // Of the first block its first branch, of the second "otherwise": choked two-phase flow.
      const bool taken =
          equation.index < 20 ? equation.conditions[0].branch == 0 : equation.conditions[0].otherwise;
      if (!taken) continue;
    }
    streams.push_back(StreamOf(equation.tokens, [&](const std::string& name) { return places.at(name); }));
  }
  if (streams.size() != kPsvSwEquations)
    throw std::runtime_error("PSV_SW has changed: write psv_sw_by_hand.h anew");
  return streams;
}

System RepeatedReliefMethod(int copies) {
  System system;
  const auto shapes = std::make_shared<ShapeStore>();
  system.shapes = shapes;
  system.what = "PSV_SW, " + std::to_string(copies) + (copies == 1 ? " copy" : " copies");
  std::vector<std::vector<Token>> streams = ReliefMethodStreams();
  std::vector<Token> moved;
  for (int i = 0; i < copies; ++i) {
    for (const std::vector<Token>& stream : streams) {
      moved = stream;
      for (Token& token : moved)
        if (token.kind == Token::kVariable) token.index += i * kPsvSwVariables;
      system.shape_of.push_back(shapes->Intern(moved, system.gathers));
    }
    for (int k = 0; k < kPsvSwVariables; ++k) {
      system.is_fixed.push_back(k >= kPsvSwVariables - kPsvSwParameters);
      const auto seed = static_cast<std::uint64_t>(i) * kPsvSwVariables + static_cast<std::uint64_t>(k);
      system.x.push_back(ReliefValue(k) * (system.is_fixed.back() ? 1 : 1 + 0.04 * Fraction(seed)));
    }
  }
  return system;
}

std::vector<std::vector<Token>> CatalogueStreams() {
  std::vector<std::vector<Token>> streams;
  ShapeStore shapes;
  int variables = 0;
  for (const std::string& model : UseLibraries().ModelNames()) {
    // Borrowed texts live as long as the program.
    static std::deque<std::vector<EquationDescription>> kept;
    try {
      kept.push_back(EquationsOf(model, {}));
    } catch (const std::exception&) {
      continue;  // needs options of its own
    }
    std::map<std::string, int> places;
    for (const EquationDescription& equation : kept.back()) {
      if (!equation.procedure.empty()) continue;
      const int known = shapes.size();
      std::vector<Token> stream = StreamOf(equation.tokens, [&](const std::string& name) {
        const auto [place, added] = places.try_emplace(name, variables);
        variables += added;
        return place->second;
      });
      std::vector<int> gather;
      std::vector<double> x;
      const int shape = shapes.Intern(stream, gather);
      if (shape < known) continue;
      for (int n = 0; n < variables; ++n) x.push_back(CatalogueValue(n));
      if (IsFinite(shapes[shape], gather, x)) streams.push_back(std::move(stream));
    }
  }
  return streams;
}

System WholeCatalogue() {
  System system;
  const auto shapes = std::make_shared<ShapeStore>();
  system.shapes = shapes;
  system.what = "every formula of the catalogue once";
  for (const std::vector<Token>& stream : CatalogueStreams())
    system.shape_of.push_back(shapes->Intern(stream, system.gathers));
  const int variables = 1 + *std::max_element(system.gathers.begin(), system.gathers.end());
  for (int n = 0; n < variables; ++n) system.x.push_back(CatalogueValue(n));
  system.is_fixed.assign(system.x.size(), 0);
  return system;
}

System CoupledFlowsheet() {
  System system;
  auto run = std::make_shared<CaseRun>(
      UseLibraries(), ReadCaseFile(std::string(QUIVER_SOURCE_DIR) + "/examples/relief_saturated/case.yaml"));
  run->Solve();
  EquationSystem& equations = run->System();
  system.what = "the example relief_saturated at its solution";
  system.shapes = std::shared_ptr<const ShapeStore>(run, &equations.shapes());
  system.x = equations.StartValues();
  for (std::size_t n = 0; n < system.x.size(); ++n)
    system.is_fixed.push_back(!equations.IsFree(static_cast<int>(n)));
  for (int e = 0; e < equations.EquationCount(); ++e) {
    const int shape = equations.CurrentShape(e);
    if (shape < 0) continue;
    const std::span<const int> gather = equations.CurrentGather(e);
    if (!IsFinite((*system.shapes)[shape], gather, system.x)) continue;
    system.shape_of.push_back(shape);
    system.gathers.insert(system.gathers.end(), gather.begin(), gather.end());
  }
  return system;
}

}  // namespace quiver::bench
