// SPDX-License-Identifier: Apache-2.0
// Calls a routine as the host does, fourteen pointers and all, from a readable list of arguments:
//
//   RoutineTest limit(ZX40RM_splimit, {5.0, 0.0, 3.0}, {Output()});
//   limit.Call();                       // values and derivatives; failure flag in limit.failure
//   EXPECT_EQ(limit.Value(0), 3.0);
//   EXPECT_EQ(limit.Derivative(0, 2), 1.0);
//   limit.ExpectDerivativesMatchDifferences(1e-7);
//
// Arguments: a double, Whole(n), a text, Vector({...}), Wholes({...}), Matrix(rows, columns, {...}); outputs:
// Output(), Output(n), Output(rows, columns).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <string>
#include <variant>
#include <vector>

#include "host/routine.h"

namespace quiver::routines {

struct Argument {
  char type = 'r';
  std::vector<long long> sizes;
  std::vector<double> reals;
  std::vector<long long> wholes;
  std::string text;

  Argument() = default;
  Argument(double value) : reals{value} {}
  Argument(const char* value) : type('s'), text(value) {}
  long long Values() const { return type == 'r' ? std::ssize(reals) : type == 'i' ? std::ssize(wholes) : 1; }
};
inline Argument Wholes(std::vector<long long> values) {
  Argument a;
  a.type = 'i';
  a.sizes = {std::ssize(values)};
  a.wholes = std::move(values);
  return a;
}
inline Argument Whole(long long value) {
  Argument a = Wholes({value});
  a.sizes.clear();
  return a;
}
inline Argument Matrix(long long rows, long long columns, std::vector<double> values) {
  Argument a;
  a.sizes = {rows, columns};
  a.reals = std::move(values);
  return a;
}
inline Argument Vector(std::vector<double> values) {
  Argument a;
  a.sizes = {std::ssize(values)};
  a.reals = std::move(values);
  return a;
}
inline Argument Output() { return Argument(0.0); }
inline Argument Output(long long n) { return Vector(std::vector<double>(n)); }
inline Argument Output(long long rows, long long columns) {
  return Matrix(rows, columns, std::vector<double>(rows * columns));
}

class RoutineTest {
 public:
  RoutineTest(QV_Routine routine, std::vector<Argument> inputs, std::vector<Argument> outputs = {Output()})
      : routine_(routine), inputs_(std::move(inputs)), outputs_(std::move(outputs)) {
    for (const Argument& a : outputs_) output_count_ += a.Values();
    for (const Argument& a : inputs_) input_count_ += a.Values();
  }

  std::vector<Argument>& inputs() { return inputs_; }

  // Returns the failure flag. The outputs hold NaN before the call, so that a routine that sets none is found
  // out.
  long long Call(long long type = 4) {
    std::vector<long long> input_sizes, output_sizes, input_offsets, output_offsets;
    slots_.clear();
    for (const Argument& a : inputs_) Pack(a, input_offsets, input_sizes);
    const std::size_t first_output = slots_.size();
    for (const Argument& a : outputs_) Pack(a, output_offsets, output_sizes);
    std::fill(slots_.begin() + first_output, slots_.end(), std::nan(""));
    first_output_ = first_output;
    std::fill(std::begin(status), std::end(status), 0);
    failure = 1;
    derivatives_.assign(output_count_ * input_count_, std::nan(""));
    routine_(slots_.data(), input_sizes.data(), slots_.data(), output_sizes.data(), input_offsets.data(),
             output_offsets.data(), &failure, status, nullptr, &output_count_, derivatives_.data(),
             &output_count_, &input_count_, &type);
    return failure;
  }

  double Value(long long output_element = 0) const { return slots_[first_output_ + output_element]; }
  double Derivative(long long output_element, long long input_value) const {
    return derivatives_[output_element + input_value * output_count_];
  }

  // Every derivative to every real input against a fourth-order difference of the values with a step of
  // `step` times max(|x|, 1). The tolerance is relative to the largest of 1 and the derivative.
  void ExpectDerivativesMatchDifferences(double tolerance, double step = 1e-3) {
    ASSERT_EQ(Call(4), 0);
    const std::vector<double> exact = derivatives_;
    long long k = 0;
    for (std::size_t argument = 0; argument < inputs_.size(); k += inputs_[argument++].Values()) {
      for (std::size_t e = 0; e < inputs_[argument].reals.size(); ++e) {
        double& x = inputs_[argument].reals[e];
        const double at = x, h = step * std::max(std::abs(at), 1.0);
        std::vector<double> difference(output_count_);
        for (const auto& [place, weight] : {std::pair{1, 8.0}, {-1, -8.0}, {2, -1.0}, {-2, 1.0}}) {
          x = at + place * h;
          ASSERT_EQ(Call(0), 0);
          for (long long j = 0; j < output_count_; ++j) difference[j] += weight * Value(j) / (12 * h);
        }
        x = at;
        for (long long j = 0; j < output_count_; ++j) {
          const double d = exact[j + (k + static_cast<long long>(e)) * output_count_];
          EXPECT_NEAR(d, difference[j], tolerance * std::max(1.0, std::abs(d)))
              << "output element " << j << " to input " << argument << ", element " << e;
        }
      }
      if (inputs_[argument].type != 'r') {
        for (long long e = 0; e < inputs_[argument].Values(); ++e)
          for (long long j = 0; j < output_count_; ++j) EXPECT_EQ(exact[j + (k + e) * output_count_], 0.0);
      }
    }
    Call(4);
  }

  long long failure = 1;
  long long status[16] = {};

 private:
  void Pack(const Argument& a, std::vector<long long>& offsets, std::vector<long long>& sizes) {
    offsets.push_back(std::ssize(slots_));
    sizes.insert(sizes.end(), a.sizes.begin(), a.sizes.end());
    if (a.type == 's') {
      char text[256] = {};
      a.text.copy(text, 255);
      slots_.resize(slots_.size() + 32);
      std::memcpy(&slots_[slots_.size() - 32], text, 256);
    }
    for (const double value : a.reals) slots_.push_back(value);
    for (const long long value : a.wholes) slots_.push_back(std::bit_cast<double>(value));
  }

  QV_Routine routine_;
  std::vector<Argument> inputs_, outputs_;
  long long output_count_ = 0, input_count_ = 0;
  std::size_t first_output_ = 0;
  std::vector<double> slots_, derivatives_;
};

// Declares a routine of a linked library: DECLARE_ROUTINE(ZX40RM_splimit).
#define DECLARE_ROUTINE(name)                                                                        \
  extern "C" void name(double*, long long*, double*, long long*, long long*, long long*, long long*, \
                       long long*, double*, long long*, double*, long long*, long long*, long long*)

}  // namespace quiver::routines
