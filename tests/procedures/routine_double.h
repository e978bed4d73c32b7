// SPDX-License-Identifier: Apache-2.0
// A routine written in the test, installed as the only one that procedures find:
//
//   RoutineDouble routine([](RoutineCall& c) { c.values[c.output_offsets[0]] = 2 *
//   c.values[c.input_offsets[0]]; });
//   ... evaluate ...   EXPECT_EQ(routine.types, (std::vector<long long>{0}));
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "procedures/procedure_class.h"
#include "runtime/contract/procedure_access.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/contract/routine_provider.h"

namespace quiver::tests {

// The arguments in their order; `work` in the sixteen-pointer form only.
struct RoutineCall {
  double* values;
  long long* input_sizes;
  double* outputs;
  long long *output_sizes, *input_offsets, *output_offsets, *failure, *status;
  double* second_derivatives;
  long long* derivative_dimension;
  double* derivatives;
  long long *output_count, *input_count, *type;
  double* work[2] = {nullptr, nullptr};

  double& Input(int argument, int k = 0) { return values[input_offsets[argument] + k]; }
  double& Output(int argument, int k = 0) { return outputs[output_offsets[argument] + k]; }
  long long Whole(int argument, int k = 0) {
    long long whole;
    std::memcpy(&whole, &Input(argument, k), sizeof whole);
    return whole;
  }
};

class RoutineDouble : public RoutineProvider {
 public:
  using Body = std::function<void(RoutineCall&)>;

  explicit RoutineDouble(Body body, int base_index = 0, bool sixteen = false) : body_(std::move(body)) {
    found.address = sixteen ? reinterpret_cast<void*>(&Sixteen) : reinterpret_cast<void*>(&Fourteen);
    found.base_index = base_index;
    found.sixteen_arguments = sixteen;
    current_ = this;
    before_ = InstallRoutineProvider(this);
  }
  ~RoutineDouble() override {
    InstallRoutineProvider(before_);
    current_ = nullptr;
  }
  Found Find(const char*, const char*) override { return found; }

  Found found;
  std::vector<long long> types;  // of the calls so far
  double* work[2] = {nullptr, nullptr};

 private:
  static void Fourteen(double* a, long long* b, double* c, long long* d, long long* e, long long* f,
                       long long* g, long long* h, double* i, long long* j, double* k, long long* l,
                       long long* m, long long* n) {
    Call({a, b, c, d, e, f, g, h, i, j, k, l, m, n});
  }
  static void Sixteen(double* a, long long* b, double* c, long long* d, long long* e, long long* f,
                      long long* g, long long* h, double* i, long long* j, double* k, long long* l,
                      long long* m, long long* n, double* o, double* p) {
    Call({a, b, c, d, e, f, g, h, i, j, k, l, m, n, {o, p}});
  }
  static void Call(RoutineCall call) {
    current_->types.push_back(*call.type);
    EXPECT_EQ(*call.failure, 1);
    for (int k = 0; k < 16; ++k) EXPECT_EQ(call.status[k], 0);
    EXPECT_EQ(call.values, call.outputs);
    *call.failure = 0;
    for (int k = 0; k < 2; ++k) current_->work[k] = call.work[k];
    current_->body_(call);
  }

  static inline RoutineDouble* current_ = nullptr;
  Body body_;
  RoutineProvider* before_;
};

// A variable with a value of the solution and, where given, bounds.
inline void Give(QV_VarParam& x, double value) { x.SetCurrentValue(value); }
inline void Bound(QV_VarParam& x, double lower, double upper) {
  QV_Value low(lower), high(upper);
  x.Lower().Assign(&low);
  x.Upper().Assign(&high);
}

// The whole list twice, as a model gives it.
template <class Procedure, class List>
void GiveTwice(Procedure& procedure, List list) {
  for (int pass = 0; pass < 2; ++pass) {
    list(procedure);
    procedure.LastArgument();
  }
}
template <class... Holders>
auto All(Holders&... holders) {
  return [&](auto& procedure) { (procedure.Argument(holders), ...); };
}

}  // namespace quiver::tests
