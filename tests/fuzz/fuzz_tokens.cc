// SPDX-License-Identifier: Apache-2.0
// Any stream of tokens: the check refuses it or the evaluator computes it, alone and in lanes to the same bits, and it reads as
// text. The first byte tells equation (even) or condition, the second where the values of the variables start in the table of
// odd values; then a token a byte or more:
//
//   0 to 127 the operator of that code, 128 to 191 a variable, 192 and eight bytes a real, 193 and four bytes an integer,
//   194 and bytes up to a zero a text, 195 on a literal of the table of odd values
#include <fmt/format.h>

#include <array>
#include <deque>
#include <vector>

#include "runtime/expression/evaluator.h"
#include "runtime/expression/infix.h"
#include "runtime/expression/lane_code.h"
#include "runtime/expression/machine.h"
#include "runtime/expression/shape.h"
#include "runtime/expression/stream_check.h"
#include "runtime/expression/undefined.h"
#include "tests/fuzz/bytes.h"

namespace quiver::fuzz {
namespace {

constexpr int kVariables = 64;
constexpr int kInstances = 3;  // in lanes
constexpr std::array<int, kInstances> kShifts = {0, 5, 11};

std::vector<Token> ReadTokens(Bytes& bytes, std::deque<std::string>& texts) {
  std::vector<Token> stream;
  while (!bytes.empty()) {
    const int tag = bytes.Byte();
    if (tag < 128)
      stream.push_back(Token::Code(tag));
    else if (tag < 192)
      stream.push_back(Token::Variable(tag - 128));
    else if (tag == 192)
      stream.push_back(Token::Real(bytes.Raw<double>()));
    else if (tag == 193)
      stream.push_back(Token::Integer(bytes.Raw<std::int32_t>()));
    else if (tag == 194)
      stream.push_back(Token::Text(texts.emplace_back(bytes.Text()).c_str()));
    else
      stream.push_back(Token::Real(kOddValues[(tag - 195) % kOddCount]));
  }
  return stream;
}

std::string NameOf(int place) { return fmt::format("X{}", place); }

// The same on every kind of machine that the build knows, interpreted and as machine code.
void RunMachines(const Shape& shape, const std::vector<int>& gathers, const std::vector<double>& x,
                 const std::vector<double>& values, const std::vector<double>& gradients) {
  const auto variables = static_cast<std::size_t>(shape.variable_count);
  std::vector<Lanes> block(variables);
  std::vector<const double*> rows;
  for (std::size_t k = 0; k < variables; ++k) {
    Gather(x.data(), gathers.data() + k, shape.variable_count, kInstances, block[k].lane);
    rows.push_back(block[k].lane);
  }
  const Machine widest = WidestMachine();
  for (const Machine machine : {Machine::kBaseline, Machine::kAvx2, Machine::kAvx512}) {
    if (machine > widest) break;
    UseMachine(machine);
    Program program = shape.programs->gradient;
    for (const bool coded : {false, true}) {
      if (coded) program.machine_code = LaneCode::Write(program);
      if (coded ? !program.machine_code : machine == widest) continue;  // there is none; done already
      LaneEvaluator evaluator;
      evaluator.Run(program, shape.constants, rows, kInstances);
      for (std::size_t i = 0; i < kInstances; ++i) {
        Promise(SameNumber(evaluator.output(0)[i], values[i]), "a value differs between machines");
        for (std::size_t k = 0; k < variables; ++k)
          Promise(SameNumber(evaluator.output(static_cast<int>(k) + 1)[i], gradients[i * variables + k]),
                  "a derivative differs between machines");
      }
    }
  }
  UseMachine(widest);
}

void EvaluateEquation(const Shape& shape, const std::vector<int>& gather, const std::vector<double>& x) {
  const auto variables = static_cast<std::size_t>(shape.variable_count);
  Evaluator evaluator;
  // The same equation for other variables, so that lanes differ.
  std::vector<int> gathers;
  for (const int shift : kShifts)
    for (const int place : gather) gathers.push_back((place + shift) % kVariables);
  std::vector<double> values(kInstances), gradient_values(kInstances), gradients(gathers.size());
  evaluator.Values(shape, gathers, x, values);
  evaluator.Gradients(shape, gathers, x, gradient_values, gradients);
  std::vector<double> gradient(variables);
  for (std::size_t i = 0; i < kInstances; ++i) {
    const std::span<const int> own(gathers.data() + i * variables, variables);
    const double value = evaluator.Gradient(shape, own, x, gradient);
    Promise(SameNumber(value, evaluator.Value(shape, own, x)), "value and gradient program differ");
    Promise(SameNumber(value, values[i]), "the value in a lane differs from that alone");
    Promise(SameNumber(value, gradient_values[i]), "the value beside a gradient in a lane differs");
    for (std::size_t k = 0; k < variables; ++k)
      Promise(SameNumber(gradient[k], gradients[i * variables + k]), "a derivative in a lane differs");
  }
  (void)shape.IsLinear();
  RunMachines(shape, gathers, x, gradient_values, gradients);
}

void EvaluateCondition(const Shape& shape, const std::vector<int>& gather, const std::vector<double>& x) {
  Evaluator evaluator;
  const bool holds = evaluator.Holds(shape, gather, x);
  const double margin = evaluator.Margin(shape, gather, x);
  Promise(!(margin > 0) || holds, "a condition with a positive margin does not hold");
  Promise(!(margin < 0) || !holds, "a condition with a negative margin holds");
}

void Run(Bytes bytes) {
  const bool condition = bytes.Byte() % 2 == 1;
  const int first = bytes.Byte();
  std::deque<std::string> texts;
  const std::vector<Token> stream = ReadTokens(bytes, texts);
  (void)StreamText(stream, NameOf);
  const auto fault = condition ? CheckCondition(stream, kVariables) : CheckEquation(stream, kVariables);
  if (fault) {
    Promise(fault->position <= stream.size() && !fault->Message().empty(), "a fault without a place");
    return;
  }
  std::vector<double> x(kVariables);
  for (int k = 0; k < kVariables; ++k) x[static_cast<std::size_t>(k)] = kOddValues[(first + k) % kOddCount];
  ShapeStore shapes;
  std::vector<int> gather, again;
  const int id = shapes.Intern(stream, gather);
  Promise(shapes.Intern(stream, again) == id && gather == again, "a stream has two shapes");
  const Shape& shape = shapes[id];
  Promise(static_cast<int>(gather.size()) == shape.variable_count, "variables without a place");
  Promise(shape.is_condition == condition, "a condition is taken for an equation");
  Promise(!FormulaText(stream, NameOf).empty(), "a formula without text");
  if (condition) {
    EvaluateCondition(shape, gather, x);
  } else {
    (void)EquationText(stream, NameOf);
    EvaluateEquation(shape, gather, x);
  }
  (void)FindUndefined(stream, x, NameOf);
  (void)FindUndefinedSlope(stream, x, NameOf);
}

}  // namespace
}  // namespace quiver::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quiver::fuzz::Run({data, size});
  return 0;
}
