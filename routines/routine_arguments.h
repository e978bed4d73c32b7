// SPDX-License-Identifier: Apache-2.0
// The frame in which a routine is written, so that it reads like its mathematics and not like fourteen
// pointers:
//
//   // The sum of the first n elements of x.
//   ROUTINE(ZX40RM_spsum, "r[n]* i* -> r") {
//     const auto x = call.RealArray(0);
//     const long long n = call.Integer(1);
//     if (n < 1 || n > std::ssize(x)) return call.Fail(Failure::kOutOfRange, 1);
//     call.SetOutput(0, std::accumulate(x.begin(), x.begin() + n, 0.0));
//     if (call.WantsDerivatives())
//       for (long long e = 0; e < n; ++e) call.SetDerivative(0, call.InputIndex(0) + e, 1.0);
//   }
//
// The text after the name is the signature as the catalogue writes it: r real, i integer, s text; [n] and
// [n,n] mark arrays; the asterisk of a variable input means nothing here. Arguments count from 0, outputs
// from 0 again.
//
// What the frame does for every routine: a real input that is not finite fails the call before the routine
// sees it; an output or a derivative that is not finite fails it afterwards; derivatives that the routine
// does not set are 0; call types 1 (before) and 2 (after) succeed without reaching the routine, unless it is
// a ROUTINE_WITH_HOOKS, which asks call.Type(); no exception leaves. A failed call leaves its code in the
// failure flag and, where one input is to blame, that input's number counted from 1 in the first status
// entry.
#pragma once

#include <bit>
#include <cmath>
#include <cstring>
#include <span>
#include <string_view>

#include "host/routine.h"

namespace quiver::routines {

// The failure flag that a call leaves behind. 1 is what the caller had set: the routine never ran.
enum class Failure : long long {
  kNone = 0,
  kNotFinite = 2,   // an input is not a finite number
  kOutOfRange = 3,  // an input outside its domain: limits reversed, a diameter of 0, a count beyond the array
  kUnknownText = 4,  // a text that names no known option
  kSizes = 5,        // array sizes that do not fit each other
  kOverflow = 6,     // a result that is not a finite number
  kNoSolution = 7,   // an equation inside the routine was not solved
  kInternal = 8,     // an exception, for example out of memory
};

enum class CallType : long long { kValues = 0, kBefore = 1, kAfter = 2, kDerivatives = 4 };

// Types and ranks of the arguments, read from the catalogue's notation at compile time.
class Signature {
 public:
  static constexpr int kMaxArguments = 64;

  consteval explicit Signature(std::string_view text) {
    bool outputs = false;
    int arguments = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      switch (text[i]) {
        case ' ':
        case '*':
          break;
        case 'r':
        case 'i':
        case 's':
          type_[arguments] = text[i];
          first_dimension_[++arguments] = dimensions_;
          ++(outputs ? outputs_ : inputs_);
          break;
        case '[':
          for (++dimensions_; text[++i] != ']';) dimensions_ += text[i] == ',';
          first_dimension_[arguments] = dimensions_;
          break;
        case '-':
          outputs = true;
          ++i;
          break;
        default:
          throw "a signature consists of r, i, s, [n], [n,n], *, blanks and one ->";
      }
    }
  }

  constexpr int inputs() const { return inputs_; }
  constexpr int outputs() const { return outputs_; }
  constexpr char type(int argument) const { return type_[argument]; }
  // Place of an argument's first size among the sizes of all arguments.
  constexpr int first_dimension(int argument) const { return first_dimension_[argument]; }
  constexpr int rank(int argument) const {
    return first_dimension_[argument + 1] - first_dimension_[argument];
  }

 private:
  int inputs_ = 0, outputs_ = 0, dimensions_ = 0;
  char type_[kMaxArguments] = {};
  int first_dimension_[kMaxArguments + 1] = {};
};

// A two-dimensional real argument, the last index fastest.
struct RealMatrix {
  std::span<const double> elements;
  long long rows = 0, columns = 0;
  double operator()(long long row, long long column) const { return elements[row * columns + column]; }
};

// One call of a routine. Valid while the call lasts.
class RoutineCall {
 public:
  RoutineCall(const Signature& signature, const double* values, const long long* input_sizes, double* outputs,
              const long long* output_sizes, const long long* input_offsets, const long long* output_offsets,
              long long* failure, long long* status, const long long* derivative_dimension,
              double* derivatives, const long long* output_count, const long long* input_count,
              const long long* call_type)
      : signature_(signature),
        values_(values),
        input_sizes_(input_sizes),
        outputs_(outputs),
        output_sizes_(output_sizes),
        input_offsets_(input_offsets),
        output_offsets_(output_offsets),
        failure_(failure),
        status_(status),
        derivative_dimension_(*derivative_dimension),
        derivatives_(derivatives),
        output_count_(*output_count),
        input_count_(*input_count),
        type_(static_cast<CallType>(*call_type)) {}

  CallType Type() const { return type_; }
  bool WantsDerivatives() const { return type_ == CallType::kDerivatives; }

  double Real(int input) const { return values_[input_offsets_[input]]; }
  long long Integer(int input, long long element = 0) const {
    return std::bit_cast<long long>(values_[input_offsets_[input] + element]);
  }
  // Without trailing blanks; compare it with SameText, which ignores case.
  std::string_view Text(int input) const {
    const char* begin = reinterpret_cast<const char*>(values_ + input_offsets_[input]);
    const void* end = std::memchr(begin, '\0', 256);
    std::string_view text(begin, end ? static_cast<const char*>(end) - begin : 256);
    while (text.ends_with(' ')) text.remove_suffix(1);
    return text;
  }
  std::span<const double> RealArray(int input) const {
    return {values_ + input_offsets_[input], static_cast<std::size_t>(InputElements(input))};
  }
  RealMatrix Matrix(int input) const { return {RealArray(input), InputSize(input, 0), InputSize(input, 1)}; }

  // Size of one dimension of an input array, elements of an input in all (1 for a scalar); the same of
  // outputs.
  long long InputSize(int input, int dimension) const {
    return input_sizes_[signature_.first_dimension(input) + dimension];
  }
  long long OutputSize(int output, int dimension) const {
    return output_sizes_[signature_.first_dimension(signature_.inputs() + output) -
                         signature_.first_dimension(signature_.inputs()) + dimension];
  }
  long long InputElements(int input) const {
    long long count = 1;
    for (int d = 0; d < signature_.rank(input); ++d) count *= InputSize(input, d);
    return count;
  }
  long long OutputElements(int output) const {
    long long count = 1;
    for (int d = 0; d < signature_.rank(signature_.inputs() + output); ++d) count *= OutputSize(output, d);
    return count;
  }

  // Number of an input's first value among the values of all inputs; of an output's first element among all
  // outputs'.
  long long InputIndex(int input) const {
    long long index = 0;
    for (int k = 0; k < input; ++k) index += InputElements(k);
    return index;
  }
  long long OutputIndex(int output) const {
    long long index = 0;
    for (int k = 0; k < output; ++k) index += OutputElements(k);
    return index;
  }

  void SetOutput(int output, double value) { SetOutput(output, 0, value); }
  void SetOutput(int output, long long element, double value) {
    finite_ &= std::isfinite(value);
    outputs_[output_offsets_[output] + element] = value;
  }
  // d(output element)/d(input value), both numbered as InputIndex and OutputIndex number them: for scalars
  // their place.
  void SetDerivative(long long output_element, long long input_value, double derivative) {
    finite_ &= std::isfinite(derivative);
    derivatives_[output_element + input_value * derivative_dimension_] = derivative;
  }

  // Ends the call without a result: `return call.Fail(Failure::kOutOfRange, 2);` blames input 2.
  void Fail(Failure code, int input = -1) {
    result_ = code;
    status_[0] = input + 1;
  }

  // The whole course of a call, from the check of the inputs to the failure flag.
  template <typename Body>
  void Run(Body body, bool hooks) noexcept {
    if (!hooks && (type_ == CallType::kBefore || type_ == CallType::kAfter)) {
      *failure_ = 0;
      return;
    }
    try {
      CheckInputs();
      if (result_ == Failure::kNone) {
        if (WantsDerivatives())
          for (long long k = 0; k < input_count_; ++k)
            for (long long j = 0; j < output_count_; ++j) derivatives_[j + k * derivative_dimension_] = 0.0;
        body(*this);
      }
    } catch (...) {
      Fail(Failure::kInternal);
    }
    if (result_ == Failure::kNone && !finite_) result_ = Failure::kOverflow;
    *failure_ = static_cast<long long>(result_);
  }

 private:
  void CheckInputs() {
    for (int k = 0; k < signature_.inputs(); ++k) {
      if (InputElements(k) < 0) return Fail(Failure::kSizes, k);
      if (signature_.type(k) != 'r') continue;
      for (const double value : RealArray(k))
        if (!std::isfinite(value)) return Fail(Failure::kNotFinite, k);
    }
  }

  const Signature& signature_;
  const double* values_;
  const long long* input_sizes_;
  double* outputs_;
  const long long* output_sizes_;
  const long long* input_offsets_;
  const long long* output_offsets_;
  long long* failure_;
  long long* status_;
  long long derivative_dimension_;
  double* derivatives_;
  long long output_count_, input_count_;
  CallType type_;
  Failure result_ = Failure::kNone;
  bool finite_ = true;
};

// Texts of options compare without regard to the case of ASCII letters.
inline bool SameText(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

}  // namespace quiver::routines

#if defined(_WIN32)
#define ROUTINE_EXPORT extern "C" __declspec(dllexport)
#else
#define ROUTINE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

#define ROUTINE_IN_FRAME(name, signature, hooks)                                                             \
  static void name##_Body(quiver::routines::RoutineCall& call);                                              \
  ROUTINE_EXPORT void name(double* values, long long* input_sizes, double* outputs, long long* output_sizes, \
                           long long* input_offsets, long long* output_offsets, long long* failure,          \
                           long long* status, double* /*second_derivatives*/,                                \
                           long long* derivative_dimension, double* derivatives, long long* output_count,    \
                           long long* input_count, long long* call_type) {                                   \
    static constexpr quiver::routines::Signature kSignature(signature);                                      \
    quiver::routines::RoutineCall(kSignature, values, input_sizes, outputs, output_sizes, input_offsets,     \
                                  output_offsets, failure, status, derivative_dimension, derivatives,        \
                                  output_count, input_count, call_type)                                      \
        .Run(name##_Body, hooks);                                                                            \
  }                                                                                                          \
  static void name##_Body(quiver::routines::RoutineCall& call)

// ROUTINE: reached for values and derivatives only. ROUTINE_WITH_HOOKS: reached for every call type.
#define ROUTINE(name, signature) ROUTINE_IN_FRAME(name, signature, false)
#define ROUTINE_WITH_HOOKS(name, signature) ROUTINE_IN_FRAME(name, signature, true)
