// SPDX-License-Identifier: Apache-2.0
// The operators of token streams: what each is called and takes, its value and its derivatives. All of it is
// read from operators.def, whose head also states the values at kinks.
//
//   const OperatorInfo* divide = FindOperator(22);                  // null for an unknown code
//   double quotient = ValueOf<double>(Operator::kDivide, 3.0, 4.0);
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <span>

#include "runtime/expression/vector_math.h"

namespace quiver {

enum class Operator : std::uint8_t {
#define OPERATOR(code, name, ...) k##name = code,
#define CONDITION(code, name, ...) k##name = code,
#define LIST(code, name, ...) k##name = code,
#define MARKER(code, name, ...) k##name = code,
#define INTERNAL(code, name, ...) k##name = code,
#include "runtime/expression/operators.def"
};

enum class Role : std::uint8_t { kEndOfList, kResidual, kLogical, kComparison, kArithmetic, kList };

// Higher binds tighter.
enum class Precedence : std::uint8_t { kOr, kAnd, kComparing, kAdding, kScaling, kNegation, kRaising, kCall };

struct OperatorInfo {
  Operator op;
  const char* name;  // "Divide"
  Role role;
  int arity;         // kAnyNumber for lists
  const char* text;  // infix text with its spaces, or the function's name
  Precedence precedence;
  Operator joins = Operator::kEndOfList;  // lists: the operator between two neighbours
  double empty_value = 0;                 // lists: value without operands

  static constexpr int kAnyNumber = -1;
  int code() const { return static_cast<int>(op); }
};

// The row of a stream's operator code; null where there is none (internal steps have no row).
const OperatorInfo* FindOperator(int code);

// All rows, in the table's order.
std::span<const OperatorInfo> AllOperators();

// How many operands a step reads, internal ones included; 0 for lists.
constexpr int OperandCount(Operator op) {
  switch (op) {
#define OPERATOR(code, name, role, arity, ...) \
  case Operator::k##name:                      \
    return arity;
#define CONDITION(code, name, ...) \
  case Operator::k##name:          \
    return 2;
#include "runtime/expression/operators.def"
    case Operator::kSign:
      return 1;
    case Operator::kTakesLarger:
    case Operator::kTakesSmaller:
    case Operator::kPassIf:
    case Operator::kGuardedProduct:
      return 2;
    case Operator::kPowerByBase:
      return 3;
    default:
      return 0;
  }
}

// Whether it is arithmetic with two operands, as streams know it.
constexpr bool IsBinaryArithmetic(Operator op) {
  switch (op) {
#define OPERATOR(code, name, role, arity, ...) \
  case Operator::k##name:                      \
    return Role::role == Role::kArithmetic && (arity) == 2;
#include "runtime/expression/operators.def"
    default:
      return false;
  }
}

// The formulas of one operator, for any number type T. c is the third operand of internal steps.
// By<0> and By<1> are the derivatives by a and b; T may also be Term (formula_builder.h), which writes
// programs.
template <Operator op>
struct Formula;

namespace formula_functions {
using std::cos;
using std::fabs;
using std::log10;
using std::sin;
using std::tanh;
// Doubles take our own, so that single instances and vector code give the same bits.
inline double exp(double a) { return vector_math::Exp(a); }
inline double log(double a) { return vector_math::Log(a); }
inline double pow(double a, double b) { return vector_math::Pow(a, b); }
// The instruction wherever this is compiled: the function of mingw's library rounds twice.
inline double sqrt(double a) { return __builtin_sqrt(a); }
inline long double sqrt(long double a) { return std::sqrt(a); }
inline long double exp(long double a) { return std::exp(a); }
inline long double log(long double a) { return std::log(a); }
inline long double pow(long double a, long double b) { return std::pow(a, b); }
}  // namespace formula_functions

#define QUIVER_VALUE(value)                                                          \
  template <class T>                                                                 \
  static T Value([[maybe_unused]] T a, [[maybe_unused]] T b, [[maybe_unused]] T c) { \
    using namespace formula_functions;                                               \
    return static_cast<T>(value);                                                    \
  }
#define INTERNAL(code, name, value)   \
  template <>                         \
  struct Formula<Operator::k##name> { \
    QUIVER_VALUE(value)               \
  };
#include "runtime/expression/operators.def"

// The internal steps as functions, under the names by which the derivatives call them.
namespace formula_functions {
#define INTERNAL(code, name, value)                                \
  template <class T>                                               \
  T name(T a, T b = T(0), T c = T(0)) {                            \
    return Formula<Operator::k##name>::template Value<T>(a, b, c); \
  }
#include "runtime/expression/operators.def"
// The derivative of v = a^b by b.
template <class T>
T PowerByExponent(T a, T, T v) {
  return GuardedProduct<T>(v, log(a));
}
}  // namespace formula_functions

#define OPERATOR(code, name, role, arity, text, precedence, value, by_a, by_b)            \
  template <>                                                                             \
  struct Formula<Operator::k##name> {                                                     \
    QUIVER_VALUE(value)                                                                   \
    template <class T>                                                                    \
    static T ByFirst([[maybe_unused]] T a, [[maybe_unused]] T b, [[maybe_unused]] T v) {  \
      using namespace formula_functions;                                                  \
      return static_cast<T>(by_a);                                                        \
    }                                                                                     \
    template <class T>                                                                    \
    static T BySecond([[maybe_unused]] T a, [[maybe_unused]] T b, [[maybe_unused]] T v) { \
      using namespace formula_functions;                                                  \
      return static_cast<T>(by_b);                                                        \
    }                                                                                     \
  };
#define CONDITION(code, name, role, text, precedence, holds, margin) \
  template <>                                                        \
  struct Formula<Operator::k##name> {                                \
    QUIVER_VALUE(holds)                                              \
    template <class T>                                               \
    static T Margin(T a, T b) {                                      \
      return margin;                                                 \
    }                                                                \
  };
#include "runtime/expression/operators.def"
#undef QUIVER_VALUE

// Value of one operator other than a list; conditions give 1 or 0, unused operands are ignored.
template <class T>
T ValueOf(Operator op, T a, T b = T(0), T c = T(0)) {
  switch (op) {
#define OPERATOR(code, name, ...) \
  case Operator::k##name:         \
    return Formula<Operator::k##name>::template Value<T>(a, b, c);
#define CONDITION(code, name, ...) \
  case Operator::k##name:          \
    return Formula<Operator::k##name>::template Value<T>(a, b, c);
#define INTERNAL(code, name, ...) \
  case Operator::k##name:         \
    return Formula<Operator::k##name>::template Value<T>(a, b, c);
#include "runtime/expression/operators.def"
    default:
      return std::numeric_limits<T>::quiet_NaN();
  }
}

// Derivative by operand 0 or 1 of an operator whose value is v; zero for conditions and lists.
template <class T>
T DerivativeOf(Operator op, int operand, T a, T b, T v) {
  switch (op) {
#define OPERATOR(code, name, ...)                                                  \
  case Operator::k##name:                                                          \
    return operand == 0 ? Formula<Operator::k##name>::template ByFirst<T>(a, b, v) \
                        : Formula<Operator::k##name>::template BySecond<T>(a, b, v);
#include "runtime/expression/operators.def"
    default:
      return T(0);
  }
}

// A condition's margin from those of its operands (logical) or from its sides (comparison); T is Term.
template <class T>
T MarginOf(Operator op, T a, T b) {
  switch (op) {
#define CONDITION(code, name, ...) \
  case Operator::k##name:          \
    return Formula<Operator::k##name>::template Margin<T>(a, b);
#include "runtime/expression/operators.def"
    default:
      return T(0);
  }
}

}  // namespace quiver
