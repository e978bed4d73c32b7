// SPDX-License-Identifier: Apache-2.0
// Expressions over properties, written as mathematics: operators and functions build a tree, the writers read it.
//
//   eq("MassFlux", FLUX * (1 - AREA_RATIO * AREA_RATIO) / (2.0 * MW) == PDROPC / UCF8 * RHO / (FLUX + EPS));
//
// Nothing is folded or regrouped: 1 and 1.0 are two literals, brackets are kept, a repeated term stays repeated. Where two
// literals would meet, the compiler would fold them before we see them: write lit(1) / 3 * X.
#pragma once

#include <concepts>
#include <type_traits>

#include "host/arrays.h"
#include "host/extensions.h"
#include "host/references.h"

namespace quiver::frame {

// Operator codes that the library writes.
enum class Code : int {
  kEnd = 0,
  kLone = 1,
  kAnd = 5,
  kOr = 6,
  kEqual = 8,
  kGreater = 9,
  kLessEqual = 10,
  kGreaterEqual = 11,
  kLess = 12,
  kNotEqual = 13,
  kNegate = 15,
  kAdd = 19,
  kSubtract = 20,
  kMultiply = 21,
  kDivide = 22,
  kPower = 24,
  kSin = 26,
  kCos = 27,
  kTanh = 34,
  kSqrt = 35,
  kExp = 36,
  kLn = 37,
  kLog10 = 38,
  kAbs = 39,
  kSquare = 40,
  kSum = 44,
  kProduct = 45,
  kMaxOf = 46,
  kMinOf = 47,
  kTime = 55,
  kDelay = 57,
  kMax = 98,
  kMin = 99
};

// A node of a tree. Nodes live in an arena that is emptied when a model's text has been read: they are never freed singly.
struct Node {
  enum Kind : unsigned char {
    kOperator,
    kVariable,
    kReal,
    kInteger,
    kText,
    kIntegerIterator,
    kStringIterator
  } kind;
  Code code = Code::kEnd;
  union {
    double real;
    int integer;
    const char* text;
    QV_VarParam* variable;
    QV_IntegerSetIter* integer_iterator;
    QV_StringSetIter* string_iterator;
    Node* operands;  // first operand; the others follow through `next`
  };
  Node* next = nullptr;
};

Node* NewNode(Node::Kind kind);
void* ArenaAllocate(unsigned long long bytes);
void ResetArena();

class Expr {
 public:
  explicit Expr(Node* root) : root_(root) {}
  Node* root() const { return root_; }

 private:
  Node* root_;
};

// A test on values that the host decides while it solves.
class Condition {
 public:
  explicit Condition(Node* root) : root_(root) {}
  Node* root() const { return root_; }

 private:
  Node* root_;
};

struct EquationText {
  Node* left;
  Node* right;
};

// ---- What can stand in an expression.

template <class T>
struct ReferenceTraits : std::false_type {};
template <class T>
struct ReferenceTraits<QV_External<T>> : std::true_type {};

template <class T>
concept Holder = std::derived_from<std::remove_cvref_t<T>, QV_VarParam>;
template <class T>
concept Reference = ReferenceTraits<std::remove_cvref_t<T>>::value;
template <class T>
concept Literal = std::same_as < std::remove_cvref_t<T>,
double > || std::same_as<std::remove_cvref_t<T>, int>;
template <class T>
concept Iterator = std::derived_from<std::remove_cvref_t<T>, QV_SetIter>;

// What has a value in an expression: not texts, sets or sub-models, nor arrays of them.
template <class T>
consteval bool HasNumber() {
  using U = std::remove_cvref_t<T>;
  if constexpr (Reference<U>)
    return HasNumber<typename U::Held>();
  else if constexpr (std::derived_from<U, QV_ArrayBase> && requires { typename U::Element; })
    return HasNumber<typename U::Element>();
  else
    return Holder<U> && !std::derived_from<U, QV_STRINGPARAMETER> && !std::derived_from<U, QV_INTEGERSET> &&
           !std::derived_from<U, QV_STRINGSET> && !std::derived_from<U, QV_COMPONENTLISTNAME>;
}
template <class T>
consteval bool HasText() {
  using U = std::remove_cvref_t<T>;
  if constexpr (Reference<U>)
    return HasText<typename U::Held>();
  else
    return std::derived_from<U, QV_STRINGPARAMETER>;
}
template <class T>  // a plain QV_VarParam may hold a text
concept TextOption = HasText<T>() || std::same_as<std::remove_cvref_t<T>, QV_VarParam>;

template <class T>
concept Symbol = HasNumber<T>() || std::same_as<std::remove_cvref_t<T>, Expr> || Iterator<T>;
template <class T>
concept Operand = Symbol<T> || Literal<T>;
template <class A, class B>
concept Operands = Operand<A> && Operand<B> &&(Symbol<A> || Symbol<B>);

Node* VariableNode(const QV_VarParam& variable);
Node* RealNode(double value);
Node* IntegerNode(int value);
Node* TextNode(const char* text);
Node* IteratorNode(QV_IntegerSetIter& iterator);
Node* IteratorNode(QV_StringSetIter& iterator);
Node* OperatorNode(Code code, Node* a = nullptr, Node* b = nullptr);
// A node that can take its place in one more list of operands: a named subexpression may be used several times.
Node* Use(Node* node);

template <Operand T>
Node* ToNode(const T& operand) {
  if constexpr (std::same_as<std::remove_cvref_t<T>, Expr>)
    return Use(operand.root());
  else if constexpr (std::same_as<std::remove_cvref_t<T>, double>)
    return RealNode(operand);
  else if constexpr (std::same_as<std::remove_cvref_t<T>, int>)
    return IntegerNode(operand);
  else if constexpr (Reference<T>)
    return VariableNode(*operand);
  else if constexpr (Iterator<T>)
    return IteratorNode(const_cast<T&>(operand));
  else
    return VariableNode(operand);
}

namespace language {

inline Expr lit(int value) { return Expr(IntegerNode(value)); }
inline Expr lit(double value) { return Expr(RealNode(value)); }

#define QV_BINARY(SYMBOL, CODE)                                  \
  template <class A, class B>                                    \
  requires Operands<A, B> Expr SYMBOL(const A& a, const B& b) {  \
    return Expr(OperatorNode(Code::CODE, ToNode(a), ToNode(b))); \
  }
QV_BINARY(operator+, kAdd)
QV_BINARY(operator-, kSubtract)
QV_BINARY(operator*, kMultiply)
QV_BINARY(operator/, kDivide)
QV_BINARY(pow, kPower)
QV_BINARY(max, kMax)
QV_BINARY(min, kMin)
QV_BINARY(delay, kDelay)  // the first operand's value the given span earlier
#undef QV_BINARY

#define QV_UNARY(SYMBOL, CODE)                        \
  template <Symbol A>                                 \
  Expr SYMBOL(const A& a) {                           \
    return Expr(OperatorNode(Code::CODE, ToNode(a))); \
  }
QV_UNARY(operator-, kNegate)
QV_UNARY(sin, kSin)
QV_UNARY(cos, kCos)
QV_UNARY(tanh, kTanh)
QV_UNARY(sqrt, kSqrt)
QV_UNARY(exp, kExp)
QV_UNARY(ln, kLn)
QV_UNARY(log10, kLog10)
QV_UNARY(abs, kAbs)
QV_UNARY(sqr, kSquare)
#undef QV_UNARY

inline Expr simulation_time() { return Expr(OperatorNode(Code::kTime)); }

// Calls body(index) for every element: int for integer sets, const char* for string sets and component lists, as the
// body takes it.
template <class Body>
void ForEach(QV_Set& set, Body body) {
  if constexpr (std::invocable<Body, int> && !std::invocable<Body, const char*>) {
    QV_IntegerSetIter i(set);
    while (i.Next()) body(i.Value());
  } else if constexpr (std::invocable<Body, const char*> && !std::invocable<Body, int>) {
    QV_StringSetIter i(set);
    while (i.Next()) body(i.Value());
  } else {
    static_assert(sizeof(Body) == 0, "the body takes an int or a const char*");
  }
}

// Reductions over a list of operands: sigma(SF), maxof(A, B, C); an array stands for its whole slice.
#define QV_REDUCTION(SYMBOL, CODE)                                                                              \
  template <Operand... Terms>                                                                                   \
  Expr SYMBOL(const Terms&... terms) {                                                                          \
    Node* node = OperatorNode(Code::CODE);                                                                      \
    Node** end = &node->operands;                                                                               \
    ((*end = ToNode(terms), end = &(*end)->next), ...);                                                         \
    return Expr(node);                                                                                          \
  }                                                                                                             \
  /* Over a set: one operand per element, sigma(*ComponentList, [&](const char* c) { return X(c) * W(c); }). */ \
  template <std::derived_from<QV_Set> Set, class Term>                                                          \
  Expr SYMBOL(Set& set, Term term) {                                                                            \
    Node* node = OperatorNode(Code::CODE);                                                                      \
    Node** end = &node->operands;                                                                               \
    ForEach(set, [&](std::conditional_t<std::invocable<Term, int>, int, const char*> index) {                   \
      *end = ToNode(term(index));                                                                               \
      end = &(*end)->next;                                                                                      \
    });                                                                                                         \
    return Expr(node);                                                                                          \
  }

QV_REDUCTION(sigma, kSum)
QV_REDUCTION(product, kProduct)
QV_REDUCTION(maxof, kMaxOf)
QV_REDUCTION(minof, kMinOf)
#undef QV_REDUCTION

#define QV_COMPARISON(SYMBOL, CODE)                                   \
  template <class A, class B>                                         \
  requires Operands<A, B> Condition SYMBOL(const A& a, const B& b) {  \
    return Condition(OperatorNode(Code::CODE, ToNode(a), ToNode(b))); \
  }
QV_COMPARISON(operator<, kLess)
QV_COMPARISON(operator<=, kLessEqual)
QV_COMPARISON(operator>, kGreater)
QV_COMPARISON(operator>=, kGreaterEqual)
#undef QV_COMPARISON

inline Condition operator&&(Condition a, Condition b) {
  return Condition(OperatorNode(Code::kAnd, Use(a.root()), Use(b.root())));
}
inline Condition operator||(Condition a, Condition b) {
  return Condition(OperatorNode(Code::kOr, Use(a.root()), Use(b.root())));
}

// Tests on texts that the host decides; the literal comes first in the stream.
template <TextOption A>
Node* OptionNode(const A& option) {
  if constexpr (Reference<A>)
    return VariableNode(*option);
  else
    return VariableNode(option);
}
template <TextOption A>
Condition same(const A& option, const char* text) {
  return Condition(OperatorNode(Code::kEqual, TextNode(text), OptionNode(option)));
}
template <TextOption A>
Condition differs(const A& option, const char* text) {
  return Condition(OperatorNode(Code::kNotEqual, TextNode(text), OptionNode(option)));
}

template <class A, class B>
requires Operands<A, B> EquationText operator==(const A& left, const B& right) {
  return {ToNode(left), ToNode(right)};
}
template <class A, class B>
requires(HasText<A>() && (HasText<B>() || Operand<B> || std::convertible_to<B, const char*>)) void operator==(
    const A&, const B&) {
  static_assert(
      sizeof(A) == 0,
      "a text has no value: is(OPTION, TEXT) tests it at set-up, same(OPTION, TEXT) in a condition");
}

}  // namespace language
}  // namespace quiver::frame
