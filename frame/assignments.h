// SPDX-License-Identifier: Apache-2.0
// Default assignments, tests on options at set-up, and sums over sets for values that are needed there.
//
//   void Assignments(Assigner& set) {
//     set(EPS, 1e-5);                                  // one assignment, one index
//     set.upper(T, T_MAX);                             // a bound; scalars and arrays alike
//     set.spec(CVMAX, QV_SPEC_GIVEN);
//     set(Y, 1.0 / size(ComponentList));               // every element of an array
//     if (is(CHAR_EQN, "USRTAB")) set.spec(*FL, QV_SPEC_COMPUTED);
//   }
#pragma once

#include <cstdio>

#include "frame/expression.h"
#include "frame/host_allocator.h"

namespace quiver::frame {

template <class T>
QV_Set& SetOf(T& property) {
  if constexpr (std::derived_from<T, QV_Set>)
    return property;
  else if constexpr (Reference<T>)
    return **property;
  else
    return *property;
}

class Assigner {
 public:
  Assigner(int a, int b) : a_(a), b_(b) {}

  template <class Target, class Value>
  void operator()(Target& target, const Value& value) {
    ForTarget(target, value, [](QV_VarParam& holder) -> QV_VarParamProp& { return holder; });
  }
  template <class Target, class Value>
  void lower(Target& target, const Value& value) {
    ForTarget(target, value, [](QV_VarParam& holder) -> QV_VarParamProp& { return holder.Lower(); });
  }
  template <class Target, class Value>
  void upper(Target& target, const Value& value) {
    ForTarget(target, value, [](QV_VarParam& holder) -> QV_VarParamProp& { return holder.Upper(); });
  }
  template <class Target>
  void spec(Target& target, QV_SpecType kind) {
    ForTarget(target, kind, [](QV_VarParam& holder) -> QV_VarParamProp& { return holder.Spec(); });
  }
  // The integers 1 to n, as the value of an integer set.
  template <class Target>
  void range(Target& target, int n) {
    char text[32] = "";
    if (n >= 1) std::snprintf(text, sizeof text, "1\":%d\"", n);
    QV_IntSetValue values(text);
    ForTarget(target, values, [](QV_VarParam& holder) -> QV_VarParamProp& { return holder; });
  }

 private:
  // Calls give with the QV_Value of a literal, a set, a kind, or another property's present value.
  template <class Value, class Give>
  void WithValue(const Value& value, Give give) {
    if constexpr (Reference<Value>) {
      WithValue(*value, give);
    } else if constexpr (std::derived_from<Value, QV_STRINGPARAMETER>) {
      QV_Value v(value.StringValue(), b_, a_, index_);
      give(v);
    } else if constexpr (std::derived_from<Value, QV_INTEGERPARAMETER>) {
      QV_Value v(value.IntegerValue(), b_, a_, index_);
      give(v);
    } else if constexpr (std::derived_from<Value, QV_LOGICALPARAMETER>) {
      QV_Value v(value.LogicalValue(), b_, a_, index_);
      give(v);
    } else if constexpr (std::derived_from<Value, QV_VarParam>) {
      QV_Value v(value.RealValue(), b_, a_, index_);
      give(v);
    } else if constexpr (std::derived_from<Value, QV_SetValue>) {
      QV_Value v(const_cast<Value&>(value), b_, a_, index_);
      give(v);
    } else {
      QV_Value v(value, b_, a_, index_);
      give(v);
    }
  }

  template <class Target, class Value, class Attribute>
  void ForTarget(Target& target, const Value& value, Attribute attribute) {
    if constexpr (Reference<Target>) {
      ForTarget(*target, value, attribute);
    } else {
      ++index_;
      WithValue(value, [&](QV_Value& v) {
        if constexpr (std::derived_from<Target, QV_ArrayBase>) {
          for (long long i = 0; i < target.Count(); ++i)
            attribute(static_cast<QV_VarParam&>(target.At(i))).Assign(&v);
        } else {
          attribute(target).Assign(&v);
        }
      });
    }
  }

  int a_, b_;
  int index_ = 0;
};

namespace language {

// Set-up tests on option texts: if (is(CHAR_EQN, "LINEAR")) ...   Letter case is ignored.
template <TextOption A>
bool is(const A& option, const char* text) {
  if constexpr (Reference<A>)
    return is(*option, text);
  else
    return SUValue::CompareCI(option.StringValue(), text) == 0;
}

template <class SetProperty>
int size(SetProperty& property) {
  QV_SetIter element(SetOf(property));
  int count = 0;
  while (element.Next()) ++count;
  return count;
}

// Values over sets at set-up: Sigma(*NPOINTS, [&](int i) { return X(i).RealValue(); }). Over an empty set each is 0.0.
template <class Term>
double Sigma(QV_Set& set, Term term) {
  double sum = 0.0;
  ForEach(set, [&](std::conditional_t<std::invocable<Term, int>, int, const char*> i) { sum += term(i); });
  return sum;
}
template <class Term>
double Prod(QV_Set& set, Term term) {
  double product_of_terms = 0.0;
  bool first = true;
  ForEach(set, [&](std::conditional_t<std::invocable<Term, int>, int, const char*> i) {
    product_of_terms = first ? term(i) : product_of_terms * term(i);
    first = false;
  });
  return product_of_terms;
}
template <class Term>
double Max(QV_Set& set, Term term) {
  double largest = 0.0;
  bool first = true;
  ForEach(set, [&](std::conditional_t<std::invocable<Term, int>, int, const char*> i) {
    const double value = term(i);
    largest = first || value > largest ? value : largest;
    first = false;
  });
  return largest;
}
// The texts of all term(i), each once, in the order in which they first appear.
template <class Term>
QV_StrSetValue UnionFn(QV_Set& set, Term term) {
  HostString all;
  ForEach(set, [&](std::conditional_t<std::invocable<Term, int>, int, const char*> i) {
    QV_StringSetIter element(term(i));
    while (element.Next()) {
      HostString value = element.Value();
      value += '"';
      const bool known = all.starts_with(value) || all.find('"' + value) != HostString::npos;
      if (!known) all += value;
    }
  });
  return QV_StrSetValue(all.c_str());
}

}  // namespace language
}  // namespace quiver::frame
