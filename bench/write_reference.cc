// SPDX-License-Identifier: Apache-2.0
// Writes a system out as plain C++: each equation its value and derivatives in straight lines, as one would by hand, for
// the compiler to optimise. The reference for systems that nobody writes by hand.
//
//   write_reference catalogue|flowsheet > reference.cc     // void Reference...(const double* x, double* r, double* j)
#include <fmt/format.h>

#include <string>

#include "bench/systems.h"

namespace quiver::bench {
namespace {

// The operators as functions, from their own table.
void WriteOperators() {
#define OPERATOR(code, name, role, arity, text, precedence, value, ...)                                      \
  fmt::print("inline double {}(double a, double b, double c) {{ (void)a, (void)b, (void)c; return {}; }}\n", \
             #name, #value);
#define INTERNAL(code, name, value)                                                                          \
  fmt::print("inline double {}(double a, double b, double c) {{ (void)a, (void)b, (void)c; return {}; }}\n", \
             #name, #value);
#include "runtime/expression/operators.def"
}

void WriteEquation(const System& system, const Shape& shape, const int* gather, int row, long long& entry) {
  const Program& program = shape.programs->gradient;
  std::vector<std::string> text(static_cast<std::size_t>(program.registers));
  for (std::size_t k = 0; k < shape.constants.size(); ++k) text[k] = fmt::format("{:a}", shape.constants[k]);
  for (int k = 0; k < shape.variable_count; ++k)
    text[static_cast<std::size_t>(program.constant_count + k)] = fmt::format("x[{}]", gather[k]);
  text[static_cast<std::size_t>(program.time_register())] = "0.0";
  fmt::print("  {{\n");
  int results = 0;
  for (const Instruction& step : program.code) {
    const auto at = [&](int place) -> std::string& { return text[static_cast<std::size_t>(place)]; };
    std::string name;
    switch (step.op) {
#define OPERATOR(code, op_name, ...) \
  case Operator::k##op_name:         \
    name = #op_name;                 \
    break;
#define INTERNAL OPERATOR
#include "runtime/expression/operators.def"
      default:
        break;
    }
    fmt::print("    [[maybe_unused]] const double t{} = {}({}, {}, {});\n", results, name, at(step.a),
               at(step.b), at(step.c));
    at(step.target) = fmt::format("t{}", results++);
  }
  fmt::print("    r[{}] = {};\n", row, text[static_cast<std::size_t>(program.outputs[0])]);
  for (int k = 0; k < shape.variable_count; ++k)
    if (!system.is_fixed[static_cast<std::size_t>(gather[k])])
      fmt::print("    j[{}] = {};\n", entry++,
                 text[static_cast<std::size_t>(program.outputs[static_cast<std::size_t>(k) + 1])]);
  fmt::print("  }}\n");
}

void Write(const System& system, const std::string& name) {
  constexpr int kEquationsOfAFunction = 64;
  fmt::print("// Written by bench/write_reference.cc: {}.\n#include <cmath>\n#include <limits>\n",
             system.what);
  fmt::print("namespace {{\nusing namespace std;\n");
  WriteOperators();
  const int* gather = system.gathers.data();
  long long entry = 0;
  int functions = 0;
  for (int e = 0; e < system.equations(); ++e) {
    if (e % kEquationsOfAFunction == 0) {
      if (e > 0) fmt::print("}}\n");
      fmt::print(
          "[[gnu::noinline]] void Piece{}(const double* __restrict x, double* __restrict r, double* "
          "__restrict j) {{\n",
          functions++);
    }
    const Shape& shape = (*system.shapes)[system.shape_of[static_cast<std::size_t>(e)]];
    WriteEquation(system, shape, gather, e, entry);
    gather += shape.variable_count;
  }
  fmt::print("}}\n}}  // namespace\nvoid {}(const double* x, double* r, double* j) {{\n", name);
  for (int f = 0; f < functions; ++f) fmt::print("  Piece{}(x, r, j);\n", f);
  fmt::print("}}\n");
}

}  // namespace
}  // namespace quiver::bench

int main(int count, char** arguments) {
  using namespace quiver::bench;
  if (count == 2 && std::string(arguments[1]) == "catalogue") {
    Write(WholeCatalogue(), "CatalogueReference");
  } else if (count == 2 && std::string(arguments[1]) == "flowsheet") {
    Write(CoupledFlowsheet(), "FlowsheetReference");
  } else {
    fmt::print(stderr, "write_reference: say which system to write, catalogue or flowsheet\n");
    return 2;
  }
}
