// SPDX-License-Identifier: Apache-2.0
// Procedure calls as equations: eq("DP_Limited", PDROPC == PLIMIT(P_DROP, DPMIN, DPMAX));
// several outputs: eq("QV_Eqn9", outputs(HEAD, ABVSRG, BLWSWL) == PPCURVE(...)). The argument list is checked against the
// wrapper's table when it is compiled: number, types, dimensions.
//
// A wrapper class W offers  W::kSignature {inputs, outputs, types[], dims[], component_list}, the constructors (bool, int)
// and, where it takes a component list, (bool, int, QV_COMPONENTLISTNAME*), and the operations of the procedure template.
#pragma once

#include <memory>
#include <new>
#include <tuple>

#include "frame/expression.h"
#include "host/procedure.h"

namespace quiver::frame {

// One argument as the model's text gives it.
struct CallArgument {
  enum Kind : unsigned char {
    kScalar,
    kElements,
    kInteger,
    kReal,
    kText,
    kIntegerIterator,
    kStringIterator
  } kind;
  union {
    QV_VarParam* scalar;
    QV_VarParam** elements;  // of an array or slice, in element order
    int integer;
    double real;
    const char* text;
    QV_IntegerSetIter* integer_iterator;
    QV_StringSetIter* string_iterator;
  };
  QV_ArrayBase* array = nullptr;  // of a whole array
  int rank = 0;
  int sizes[4] = {0, 0, 0, 0};
};

// Part of an array as an argument: slice(*ComponentList, [&](const char* c) -> auto& { return X(i, c); }).
struct Slice {
  QV_VarParam** elements;
  int count;
};

struct ProcedureText {
  CallArgument* arguments;  // inputs, then outputs
  int count;
  QV_COMPONENTLISTNAME* components = nullptr;
  int (*set_up)(const ProcedureText&, QV_ModelType* owner, int group, int& counter);
  QV_ProcedureType* (*emit)(const ProcedureText&, QV_ModelType& model, int group, long long*& pattern,
                            long long*& pattern_end, int& counter, const char* name);
};

CallArgument ScalarArgument(const QV_VarParam& holder);
CallArgument ArrayArgument(const QV_ArrayBase& array);
CallArgument SliceArgument(const Slice& slice);
// Hands the arguments over in order, closed by LastArgument.
void HandOver(const ProcedureText& text, QV_DynamicProcExtensions& procedure);

// The number of indices of an array class, typed or one of the untyped bases: a model may choose among like arrays.
template <class T>
constexpr int kArrayRank = std::derived_from<T, QV_BASE_I> || std::derived_from<T, QV_BASE_S> ? 1
                           : std::derived_from<T, QV_BASE_II> || std::derived_from<T, QV_BASE_IS> ||
                                   std::derived_from<T, QV_BASE_SI> || std::derived_from<T, QV_BASE_SS>
                               ? 2
                           : std::derived_from<T, QV_BASE_III> || std::derived_from<T, QV_BASE_SII> ||
                                   std::derived_from<T, QV_BASE_SIS> || std::derived_from<T, QV_BASE_SSS>
                               ? 3
                           : std::derived_from<T, QV_BASE_SISS> ? 4
                                                                : -1;

// Whether an argument of type A fits type code and rank of the wrapper's table.
template <class A>
constexpr bool Fits(int type, int dims) {
  using T = std::remove_cvref_t<A>;
  const bool integer = type == kQvInteger || type == kQvIntegerAlternative;
  if constexpr (Reference<T>)
    return Fits<typename T::Held>(type, dims);
  else if constexpr (std::same_as<T, Slice>)
    return dims == 1;
  else if constexpr (std::derived_from<T, QV_ArrayBase>)
    return dims == kArrayRank<T>;
  else if constexpr (std::derived_from<T, QV_STRINGPARAMETER> || std::same_as<T, const char*> ||
                     std::derived_from<T, QV_StringSetIter>)
    return dims == 0 && type == kQvText;
  else if constexpr (std::derived_from<T, QV_INTEGERPARAMETER> || std::same_as<T, int> ||
                     std::derived_from<T, QV_IntegerSetIter>)
    return dims == 0 && integer;
  else if constexpr (std::same_as<T, double> || std::derived_from<T, QV_VarParam>)
    return dims == 0 && type == kQvReal;
  else
    return false;
}

template <class Wrapper, class... Arguments>
consteval bool AllFit(int first) {
  bool fit = true;
  ((fit = fit && Fits<Arguments>(Wrapper::kSignature.types[first], Wrapper::kSignature.dims[first]), ++first),
   ...);
  return fit;
}

template <class A>
CallArgument ToArgument(const A& argument) {
  using T = std::remove_cvref_t<A>;
  CallArgument call;
  if constexpr (Reference<T>) {
    return ToArgument(*argument);
  } else if constexpr (std::same_as<T, Slice>) {
    return SliceArgument(argument);
  } else if constexpr (std::derived_from<T, QV_ArrayBase>) {
    return ArrayArgument(argument);
  } else if constexpr (std::derived_from<T, QV_VarParam>) {
    return ScalarArgument(argument);
  } else if constexpr (std::same_as<T, int>) {
    call.kind = CallArgument::kInteger;
    call.integer = argument;
  } else if constexpr (std::same_as<T, double>) {
    call.kind = CallArgument::kReal;
    call.real = argument;
  } else if constexpr (std::derived_from<T, QV_IntegerSetIter>) {
    call.kind = CallArgument::kIntegerIterator;
    call.integer_iterator = const_cast<QV_IntegerSetIter*>(&argument);
  } else if constexpr (std::derived_from<T, QV_StringSetIter>) {
    call.kind = CallArgument::kStringIterator;
    call.string_iterator = const_cast<QV_StringSetIter*>(&argument);
  } else {
    call.kind = CallArgument::kText;
    call.text = argument;
  }
  return call;
}

template <class Wrapper>
struct WrapperCalls {
  static int SetUp(const ProcedureText& text, QV_ModelType* owner, int group, int& counter) {
    const auto contribute = [&](auto... component_list) {
      Wrapper procedure(true, 0, component_list...);
      HandOver(text, procedure);
      return procedure.NZAndEqnContribution(owner, group, counter);
    };
    if constexpr (Wrapper::kSignature.component_list)
      return contribute(text.components);
    else
      return contribute();
  }
  static QV_ProcedureType* Emit(const ProcedureText& text, QV_ModelType& model, int group,
                                long long*& pattern, long long*& pattern_end, int& counter,
                                const char* name) {
    std::unique_ptr<Wrapper> procedure;
    if constexpr (Wrapper::kSignature.component_list)
      procedure.reset(new Wrapper(true, 0, text.components));
    else
      procedure.reset(new Wrapper(true, 0));
    if (!procedure) throw std::bad_alloc();
    HandOver(text, *procedure);  // sizes
    HandOver(text, *procedure);  // stores
    if (auto* extended = dynamic_cast<QV_ModelTypeEx*>(&model))
      procedure->CreateEquationsAndSetGroup(group, true, pattern, pattern_end, counter, extended, name,
                                            false);
    else if (auto* structure = dynamic_cast<QV_StructureTypeEx*>(&model))
      procedure->CreateEquationsAndSetGroup(group, true, pattern, pattern_end, counter, structure, name,
                                            false);
    return procedure.release();
  }
};

// The inputs of a call; `outputs == inputs` makes the whole.
template <class Wrapper>
struct CallInputs {
  CallArgument* arguments;
};
template <class Wrapper, class... Out>
ProcedureText MakeCall(CallInputs<Wrapper> inputs, const Out&... out) {
  constexpr auto signature = Wrapper::kSignature;
  static_assert(sizeof...(Out) == signature.outputs, "this procedure has another number of outputs");
  static_assert(AllFit<Wrapper, Out...>(signature.inputs),
                "an output does not have the type or the dimensions that the procedure gives");
  const CallArgument outputs[] = {ToArgument(out)...};
  for (unsigned k = 0; k < sizeof...(Out); ++k) inputs.arguments[signature.inputs + k] = outputs[k];
  return {inputs.arguments, static_cast<int>(signature.inputs + signature.outputs), nullptr,
          &WrapperCalls<Wrapper>::SetUp, &WrapperCalls<Wrapper>::Emit};
}

template <class Wrapper>
struct Procedure {
  template <class... In>
  CallInputs<Wrapper> operator()(const In&... in) const {
    constexpr auto signature = Wrapper::kSignature;
    static_assert(sizeof...(In) == signature.inputs, "this procedure has another number of inputs");
    static_assert(AllFit<Wrapper, std::decay_t<In>...>(0),
                  "an input does not have the type or the dimensions that the procedure takes");
    auto* arguments = static_cast<CallArgument*>(
        ArenaAllocate(sizeof(CallArgument) * (signature.inputs + signature.outputs)));
    CallArgument* next = arguments;
    ((*next++ = ToArgument<std::decay_t<const In&>>(in)), ...);
    return {arguments};
  }
};

namespace language {

template <class... Out>
struct Outputs {
  std::tuple<const Out&...> out;
};
template <class... Out>
Outputs<Out...> outputs(const Out&... out) {
  return {{out...}};
}
template <class Wrapper, class... Out>
ProcedureText operator==(const Outputs<Out...>& out, CallInputs<Wrapper> inputs) {
  return std::apply([&](const auto&... each) { return MakeCall(inputs, each...); }, out.out);
}
template <class Out, class Wrapper>
requires(Holder<Out> || Reference<Out> || std::same_as<Out, Slice>) ProcedureText operator==(
    const Out& out, CallInputs<Wrapper> inputs) {
  return MakeCall(inputs, out);
}

template <class Body>
Slice slice(QV_Set& set, Body body) {
  int count = 0;
  ForEach(set, [&](std::conditional_t<std::invocable<Body, int>, int, const char*>) { ++count; });
  auto** elements =
      static_cast<QV_VarParam**>(ArenaAllocate(sizeof(QV_VarParam*) * static_cast<unsigned>(count + 1)));
  QV_VarParam** next = elements;
  ForEach(set, [&](std::conditional_t<std::invocable<Body, int>, int, const char*> index) {
    *next++ = const_cast<QV_VarParam*>(static_cast<const QV_VarParam*>(&body(index)));
  });
  return {elements, count};
}

}  // namespace language
}  // namespace quiver::frame
