// SPDX-License-Identifier: Apache-2.0
// What a procedure does: its equations in the calling model, the call of the routine, residuals and derivatives.
#pragma once

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "host/extensions.h"
#include "host/status.h"
#include "procedures/procedure_packing.h"

namespace quiver {

// The sixteen-pointer form: the fourteen of QV_Routine, then two work arrays as long as the derivative array
// (argument 11). The wrapper makes them at the first such call and keeps them for the following ones.
using SixteenPointerRoutine = void (*)(double*, long long*, double*, long long*, long long*, long long*,
                                       long long*, long long*, double*, long long*, double*, long long*,
                                       long long*, long long*, double*, double*);

template <class Base>
class ProcedureBody : public ProcedurePacking<Base> {
 public:
  // Tells the owner what the procedure adds; the number of equations. Advances the counter by it.
  int NZAndEqnContribution(QV_ModelType* owner, int group, int& counter) {
    const int equations = static_cast<int>(this->OutputElements);
    owner->AddProcContribution(group, equations, static_cast<int>(equations * (1 + this->VariableElements)));
    counter += equations;
    return equations;
  }

  void CreateEquationsAndSetGroup(int group, bool flag, long long*& pattern, long long*& pattern_end,
                                  int& counter, QV_ModelTypeEx* model, const char* name, bool /*flag2*/) {
    CreateEquations(group, flag, pattern, pattern_end, counter, model, name);
  }
  void CreateEquationsAndSetGroup(int group, bool flag, long long*& pattern, long long*& pattern_end,
                                  int& counter, QV_StructureTypeEx* structure, const char* name,
                                  bool /*flag2*/) {
    CreateEquations(group, flag, pattern, pattern_end, counter, structure, name);
  }

  int Residuals(double* r, int& i) override {
    double* const entry = r + i;
    i += static_cast<int>(this->OutputElements);
    const int result = CallFn(kQvCallValues, true);
    if (result < 0) return result;
    this->ForEachOutput([&](long long j, int argument, long long k) {
      QV_VarParam& variable = *this->Elements[this->InputElements + j];
      if (tables_.types[argument] == kQvText) {  // texts have no difference: 0 when equal
        entry[j] = std::strcmp(variable.StringValue(), this->UnpackStr(this->TextSlot(argument), k)) == 0
                       ? 0.0
                       : 1.0;
      } else {
        entry[j] = variable.RealValue() - this->OutputValue(argument, k);
      }
    });
    return result;
  }

  // Rows of 1 + VariableElements entries, the first of each left to the host. Where the routine returns
  // derivatives, the host takes those and J stays untouched.
  int Jacobian(double* J, int& i) override {
    double* const first_row = J + i;
    const long long stride = this->VariableElements + 1;
    i += static_cast<int>(this->OutputElements * stride);
    this->AllocateDerivatives();
    int result = CallFn(kQvCallValuesAndDerivatives, true);
    if (result < 0 || this->ReturnsDerivatives()) return result;

    if (!base_outputs_)
      base_outputs_.reset(new (std::nothrow) double[static_cast<size_t>(this->OutputElements + 1)]);
    if (!base_outputs_) return kQvOutOfMemory;
    this->CopyOutputs(base_outputs_.get());
    long long element = 0;
    double* column = first_row + 1;
    for (int argument = 0; argument < tables_.inputs; ++argument) {
      if (!tables_.by_reference[argument]) continue;
      const bool perturbed = this->IsVariableInput(argument) && tables_.types[argument] == kQvReal;
      for (long long k = 0; k < tables_.counts[argument]; ++k) {
        QV_VarParam& x = *this->Elements[element++];
        if (!x.IsVariable()) continue;
        if (perturbed) {
          const int failed = DifferenceColumn(x, column, stride);
          if (failed < 0 && result >= 0) result = failed;
        } else {
          for (long long j = 0; j < this->OutputElements; ++j) column[j * stride] = 0.0;
        }
        ++column;
      }
    }
    return result;
  }

  int CallFn(int type, bool flag) {
    if (!this->Complete()) return this->EnsureCompatibleDLLLoaded(0);  // the host tells what is wrong
    bool needed = true;
    if (type == kQvCallBefore) {
      if (this->LastCall(kQvCallBefore)) return 0;
      this->ClearDerivatives();
    } else if (type == kQvCallAfter) {
      if (this->LastCall(kQvCallAfter) || this->LastCall(kQvCallNone)) return 0;
    } else {
      if (type == kQvCallValues || type == kQvCallValuesAndDerivatives)
        type = this->ReturnsDerivatives() ? kQvCallReturnedDerivatives : kQvCallValues;
      needed = !this->LastCall(type) || this->AlwaysCall() || tables_.inputs == 0;
    }
    this->PackInputVars();
    if (!needed) return 0;

    called_ = true;
    if (this->PresetOutputs()) this->PackOutputVars();
    long long failure = 1;
    int result = this->EnsureCompatibleDLLLoaded(1);
    if (result < 0) return result;
    QV_COMPONENTLISTNAME* const components = this->ComponentListName();
    if (components) components->BeginPropertiesCall();
    CallRoutine(&failure, type);
    if (components) components->EndPropertiesCall();
    result = this->CheckIFailAndOutputs(failure, type, flag);
    if (result < 0) return result;
    if (type == kQvCallValues || type == kQvCallReturnedDerivatives) {
      if (this->PostsetInputs()) this->UnpackInputVars();
      if (type == kQvCallReturnedDerivatives) this->NegateDerivatives();
    }
    return result;
  }
  bool Called() const { return called_; }  // true from construction on

 protected:
  using ProcedurePacking<Base>::tables_;
  explicit ProcedureBody(const ProcedureTables& tables) : ProcedurePacking<Base>(tables) {}
  ProcedureBody(const ProcedureBody& other, const ProcedureTables& tables)
      : ProcedurePacking<Base>(other, tables), called_(other.called_) {}
  // The outputs at the base point and the work arrays are not copied: they may have other lengths, and are made on use.
  ProcedureBody& operator=(const ProcedureBody& other) {
    ProcedurePacking<Base>::operator=(other);
    called_ = other.called_;
    base_outputs_.reset();
    work_[0].reset();
    work_[1].reset();
    return *this;
  }

 private:
  void CallRoutine(long long* failure, int call_type) {
    long long type = call_type;
    long long outputs = this->OutputElements;
    long long inputs = this->Constants + this->InputElements;
    long long* const output_sizes = this->OutputSizes();
    if (void* const address = this->GetProcedureAddress()) {
      reinterpret_cast<QV_Routine>(address)(this->Slots, tables_.sizes, this->Slots, output_sizes,
                                            this->GetOffsets(0), this->GetOffsets(tables_.inputs), failure,
                                            this->Status, this->SecondDerivatives, &this->DerivativeDimension,
                                            this->Derivatives, &outputs, &inputs, &type);
    } else if (void* const address16 = this->GetProcedure13Address()) {
      for (auto& work : work_) {
        if (!work)
          work.reset(
              new (std::nothrow) double[static_cast<size_t>(this->DerivativeDimension * inputs + 1)]());
        if (!work) return;  // `failure` stands: the routine never ran
      }
      reinterpret_cast<SixteenPointerRoutine>(address16)(
          this->Slots, tables_.sizes, this->Slots, output_sizes, this->GetOffsets(0),
          this->GetOffsets(tables_.inputs), failure, this->Status, this->SecondDerivatives,
          &this->DerivativeDimension, this->Derivatives, &outputs, &inputs, &type, work_[0].get(),
          work_[1].get());
    }
  }

  // One column: the outputs' differences over a step of x, as derivatives of variable - output.
  int DifferenceColumn(QV_VarParam& variable, double* column, long long stride) {
    const double x = variable.RealValue();
    double h = 1.0e-6;
    if (std::fabs(x) > 1.0) h *= std::fabs(x);
    const double lower = variable.LowerBound(), upper = variable.UpperBound();
    const auto outside = [&](double value) { return value < lower || value > upper; };
    double moved = x + h;
    if (outside(moved)) {
      moved = x - h;
      h = -h;
      if (outside(moved)) {
        // Boxed in on both sides: the farther bound. h keeps its positive sign although x may move down.
        const bool up = upper - x >= x - lower;
        moved = up ? upper : lower;
        h = up ? upper - x : x - lower;
      }
    }
    if (h == 0.0 || !std::isfinite(h)) {  // no room, or no end to it: nothing that could be compared
      for (long long j = 0; j < this->OutputElements; ++j) column[j * stride] = 0.0;
      return 0;
    }
    const bool as_default = variable.HoldsDefault();
    int result = this->SetValue(variable, moved, as_default);
    if (result >= 0) result = CallFn(kQvCallValues, true);
    const int restored = this->SetValue(variable, x, as_default);
    if (result >= 0) result = restored;
    if (result < 0) return result;
    this->ForEachOutput([&](long long j, int argument, long long k) {
      column[j * stride] =
          Quotient(this->OutputValue(argument, k) - base_outputs_[static_cast<size_t>(j)], h);
    });
    return 0;
  }

  // -change / h, short of overflow.
  static double Quotient(double change, double h) {
    constexpr double kLargest = 1.79769313486231e308;
    if (std::fabs(h) <= 1.0 && std::fabs(change) > std::fabs(h) * kLargest)
      return (change < 0.0) != (h < 0.0) ? kLargest : -kLargest;
    return -change / h;
  }

  template <class Owner>
  void CreateEquations(int group, bool flag, long long*& pattern, long long*& pattern_end, int& counter,
                       Owner* owner, const char* name) {
    if (!this->Complete()) {  // no elements to name: the host tells why, and misses the equations
      this->EnsureCompatibleDLLLoaded(0);
      return;
    }
    int number = 0;
    this->ForEachOutput([&](long long j, int argument, long long k) {
      char label[64];
      const int length = std::snprintf(label, sizeof label, "[%d", argument - tables_.inputs + 1);
      char* const rest = label + length;
      const size_t room = sizeof label - static_cast<size_t>(length);
      if (this->Dimensions(argument) > 0)
        std::snprintf(rest, room, "_%lld]", k + 1);
      else
        std::snprintf(rest, room, "]");
      ++number;
      owner->AddEquation(new QV_ProcedureEquationType(this, number, group, owner, name, counter, flag, label),
                         counter);
      owner->AddProcExpression(this, number - 1, counter - 1, name);
      owner->AddTerm(*this->Elements[this->InputElements + j], pattern, pattern_end, counter - 1);
      for (long long e = 0; e < this->InputElements; ++e) {
        if (this->Elements[e]->IsVariable())
          owner->AddTerm(*this->Elements[e], pattern, pattern_end, counter - 1);
      }
    });
    owner->AddProcCall(this->InputElements > 0 ? this : nullptr, group);
  }

  bool called_ = true;
  std::unique_ptr<double[]> base_outputs_;
  std::unique_ptr<double[]> work_[2];
};

}  // namespace quiver
