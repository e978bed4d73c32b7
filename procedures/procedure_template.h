// SPDX-License-Identifier: Apache-2.0
// The wrapper of a numerical routine as a procedure of the equation language: argument collection, packing,
// the call, residuals, numerical derivatives, and the creation of the procedure's equations in the calling
// model.
//
//   class QVProc_PSQRT : public QV_ProcedureTemplate<QVProc_PSQRT, 1, 1, 0, QV_ProcedureType_F, 1> { ... };
//
// A model gives the argument list twice: the first pass measures, the second stores the elements.
//   call.Argument(P_DROP);  call.Argument(0.0);  call.Argument();  call.SetDimensionSize(2); call.Element(a);
//   ... call.LastArgument();
#pragma once

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "host/extensions.h"
#include "host/procedure.h"

namespace quiver {

// The sixteen-pointer form: the fourteen of QV_Routine, then two work arrays as long as the derivative array
// (argument 11). The wrapper makes them at the first such call and keeps them for the following ones.
using SixteenPointerRoutine = void (*)(double*, long long*, double*, long long*, long long*, long long*,
                                       long long*, long long*, double*, long long*, double*, long long*,
                                       long long*, long long*, double*, double*);

// The tables of one procedure object, an entry per argument unless told otherwise. They are members of
// QV_ProcedureTemplate; the code that works on them is here, so that it is compiled once and not once per
// procedure.
struct ProcedureTables {
  long long* sizes;    // one per array dimension over all arguments
  long long* offsets;  // first slot, counted from the base index of the routine's language
  long long* counts;   // elements of the argument: 1, or the product of its sizes
  ConstProcValue* constants;
  bool* by_reference;
  int inputs, arguments, dimensions;
};

template <class Base>
class ProcedureBody : public Base, public QV_DynamicProcExtensions {
 public:
  using Base::operator new;
  using Base::operator delete;

  // --- Argument collection
  // -------------------------------------------------------------------------------------
  void Argument(QV_VarParam& variable) override {
    SetArg(true);
    Element(variable);
  }
  void Argument() override { SetArg(true); }
  void Argument(int value) override { SetConstant(value); }
  void Argument(double value) override { SetConstant(value); }
  void Argument(const char* value) override { SetConstant(value); }
  void Argument(QV_IntegerSetIter& iterator) override { SetConstant(iterator.Value()); }
  void Argument(QV_StringSetIter& iterator) override { SetConstant(iterator.Value()); }

  void SetDimensionSize(int size) override {
    if (!sizing_) return;
    if (awaited_ == 0 || size_count_ == tables_.dimensions || size < 0) {
      mismatch_ = true;
      return;
    }
    tables_.sizes[size_count_++] = size;
    if (argument_ < tables_.inputs) input_size_count_ = size_count_;
    product_ *= size;
    if (--awaited_ > 0) return;
    tables_.counts[argument_] = product_;
    if (HasPointers(argument_)) position_ += product_;
    position_ += (product_ * this->TypeSize(this->Type(argument_)) + 7) / 8;
  }

  void Element(QV_VarParam& variable) override {
    if (argument_ < 0 || argument_ >= tables_.arguments || !tables_.by_reference[argument_]) {
      mismatch_ = true;
      return;
    }
    const bool input = argument_ < tables_.inputs;
    if (sizing_) {
      if (input && variable.IsVariable()) ++this->VariableElements;
    } else {
      // The list is as long as the first pass measured; what does not fit makes the procedure unusable, not
      // the memory.
      const long long place = input ? this->InputElements : sized_inputs_ + this->OutputElements;
      if (place >= (input ? sized_inputs_ : sized_inputs_ + sized_outputs_)) {
        mismatch_ = true;
        return;
      }
      this->Elements[place] = &variable;
    }
    ++(input ? this->InputElements : this->OutputElements);
  }

  void LastArgument() override {
    CheckArgument();
    if (argument_ != tables_.arguments - 1) mismatch_ = true;
    collecting_ = false;
    if (!sizing_) {
      if (this->InputElements != sized_inputs_ || this->OutputElements != sized_outputs_) mismatch_ = true;
      stored_ = true;
      return;
    }
    mismatch_of_sizing_ = mismatch_;
    sized_inputs_ = this->InputElements;
    sized_outputs_ = this->OutputElements;
    this->CreateDerivatives();
    this->FinalizeConstruction(output_start_, position_);
    sizing_ = false;
  }

  bool ByReference(int argument) const { return tables_.by_reference[argument]; }
  int GetIntegerArg(int argument) const { return tables_.constants[argument].Integer(); }
  double GetRealArg(int argument) const { return tables_.constants[argument].Real(); }
  const char* GetStringArg(int argument) const { return tables_.constants[argument].String(); }
  long long GetOffset(int argument) const { return tables_.offsets[argument]; }
  long long* GetOffsets(int argument) { return tables_.offsets + argument; }
  bool Called() const { return called_; }  // true from construction on
  int InputArguments() override { return tables_.inputs; }
  long long ArgumentElements(int argument) override {
    return tables_.by_reference[argument] ? tables_.counts[argument] : 0;
  }
  const ConstProcValue* ArgumentConstant(int argument) override {
    return tables_.by_reference[argument] ? nullptr : tables_.constants + argument;
  }

  // --- Set-up and emission
  // ------------------------------------------------------------------------------------- Tells the owner
  // what the procedure adds; the number of equations. Advances the counter by it.
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

  // --- Solution
  // ------------------------------------------------------------------------------------------------
  int Residuals(double* r, int& i) override {
    double* const entry = r + i;
    i += static_cast<int>(this->OutputElements);
    const int result = CallFn(kQvCallValues, true);
    if (result < 0) return result;
    ForEachOutput([&](long long j, int argument, long long k) {
      QV_VarParam& variable = *this->Elements[this->InputElements + j];
      if (this->Type(argument) == kQvText) {  // texts have no difference: 0 when equal
        entry[j] =
            std::strcmp(variable.StringValue(), this->UnpackStr(TextSlot(argument), k)) == 0 ? 0.0 : 1.0;
      } else {
        entry[j] = variable.RealValue() - OutputValue(argument, k);
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

    if (!base_outputs_) base_outputs_.reset(new double[static_cast<size_t>(this->OutputElements + 1)]);
    CopyOutputs(base_outputs_.get());
    long long element = 0;
    double* column = first_row + 1;
    for (int argument = 0; argument < tables_.inputs; ++argument) {
      if (!tables_.by_reference[argument]) continue;
      const bool perturbed = this->IsVariableInput(argument) && this->Type(argument) == kQvReal;
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
    if (!stored_ || mismatch_) return this->EnsureCompatibleDLLLoaded(0);  // the host tells what is wrong
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
    PackInputVars();
    if (!needed) return 0;

    called_ = true;
    if (this->PresetOutputs()) PackOutputVars();
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
      if (this->PostsetInputs()) UnpackInputVars();
      if (type == kQvCallReturnedDerivatives) {
        DropDerivativesOfConstants();
        this->NegateDerivatives();
      }
    }
    return result;
  }

 protected:
  explicit ProcedureBody(const ProcedureTables& tables) : tables_(tables) {}
  // The tables are the copy's own; the derived class copies their contents.
  ProcedureBody(const ProcedureBody& other, const ProcedureTables& tables)
      : Base(other), QV_DynamicProcExtensions(other), tables_(tables) {
    CopyState(other);
  }
  ProcedureBody& operator=(const ProcedureBody& other) {
    Base::operator=(other);
    CopyState(other);
    base_outputs_.reset();
    work_[0].reset();
    work_[1].reset();
    return *this;
  }

 private:
  void CopyState(const ProcedureBody& other) {
    argument_ = other.argument_;
    awaited_ = other.awaited_;
    size_count_ = other.size_count_;
    input_size_count_ = other.input_size_count_;
    product_ = other.product_;
    position_ = other.position_;
    output_start_ = other.output_start_;
    sized_inputs_ = other.sized_inputs_;
    sized_outputs_ = other.sized_outputs_;
    base_index_ = other.base_index_;
    array_seen_ = other.array_seen_;
    sizing_ = other.sizing_;
    collecting_ = other.collecting_;
    stored_ = other.stored_;
    mismatch_ = other.mismatch_;
    called_ = other.called_;
  }

  // Begins the next argument. All counters restart with the first one of a pass; sizes, offsets and positions
  // change in the first pass only.
  void SetArg(bool by_reference) {
    if (!collecting_) Restart();
    CheckArgument();
    if (argument_ + 1 >= tables_.arguments) {
      mismatch_ = true;
      return;
    }
    ++argument_;
    const bool array = this->Dimensions(argument_) > 0;
    if (!by_reference && (array || argument_ >= tables_.inputs)) mismatch_ = true;
    if (!sizing_) {
      if (tables_.by_reference[argument_] != by_reference) mismatch_ = true;
      return;
    }
    tables_.by_reference[argument_] = by_reference;
    if (argument_ == tables_.inputs) output_start_ = position_;
    tables_.offsets[argument_] = position_ + base_index_;
    tables_.counts[argument_] = array ? 0 : 1;
    if (array) {
      array_seen_ = true;
      awaited_ = this->Dimensions(argument_);
      product_ = 1;
    } else {
      position_ += (this->TypeSize(this->Type(argument_)) + 7) / 8;
    }
  }

  void Restart() {
    collecting_ = true;
    stored_ = false;
    mismatch_ = !sizing_ && mismatch_of_sizing_;
    argument_ = -1;
    elements_before_ = 0;
    this->InputElements = this->OutputElements = this->Constants = 0;
    if (!sizing_) return;
    this->VariableElements = 0;
    position_ = output_start_ = 0;
    size_count_ = input_size_count_ = awaited_ = 0;
    array_seen_ = false;
    base_index_ = this->LanguageBaseIndex();
  }

  // The argument that is being collected has all its sizes and exactly its elements.
  void CheckArgument() {
    if (argument_ < 0 || argument_ >= tables_.arguments) return;
    const long long elements = this->InputElements + this->OutputElements - elements_before_;
    elements_before_ += elements;
    const long long due = tables_.by_reference[argument_] ? tables_.counts[argument_] : 0;
    if (awaited_ != 0 || elements != due) mismatch_ = true;
  }

  template <class Value>
  void SetConstant(Value value) {
    SetArg(false);
    if (mismatch_) return;
    tables_.constants[argument_].Set(value);
    ++this->Constants;
  }

  // --- Packing
  // -------------------------------------------------------------------------------------------------
  bool HasPointers(int argument) {
    return base_index_ == 0 && this->Type(argument) == kQvText && this->Dimensions(argument) > 0;
  }
  long long Slot(int argument) const { return tables_.offsets[argument] - base_index_; }
  long long TextSlot(int argument) {
    return Slot(argument) + (HasPointers(argument) ? tables_.counts[argument] : 0);
  }

  // Aims the pointers with which an array of texts opens at its texts.
  void InitializeCStrings() {
    if (!array_seen_) return;
    const long long text_slots = (this->TypeSize(kQvText) + 7) / 8;
    for (int argument = 0; argument < tables_.arguments; ++argument) {
      if (!HasPointers(argument)) continue;
      for (long long k = 0; k < tables_.counts[argument]; ++k) {
        const double* const text = this->Slots + TextSlot(argument) + k * text_slots;
        std::memcpy(this->Slots + Slot(argument) + k, &text, sizeof text);
      }
    }
  }

  void PackInputVars() {
    InitializeCStrings();
    QV_VarParam** element = this->Elements;
    for (int argument = 0; argument < tables_.inputs; ++argument) {
      if (!tables_.by_reference[argument]) {
        PackVal(argument);
      } else {
        PackVar(argument, element);
        element += tables_.counts[argument];
      }
    }
  }

  void PackOutputVars() {
    QV_VarParam** element = this->Elements + this->InputElements;
    for (int argument = tables_.inputs; argument < tables_.arguments; ++argument) {
      PackVar(argument, element);
      element += tables_.counts[argument];
    }
  }

  void PackVal(int argument) {
    switch (this->Type(argument)) {
      case kQvReal: {
        const double value = GetRealArg(argument);
        return this->PackRealArray(Slot(argument), &value, 1);
      }
      case kQvText:
        return this->PackStr(Slot(argument), GetStringArg(argument));
      default: {
        const int value = GetIntegerArg(argument);
        return this->PackIntegerArray(Slot(argument), 0, &value, 1);
      }
    }
  }

  void PackVar(int argument, QV_VarParam** element) {
    switch (this->Type(argument)) {
      case kQvReal:
        return PackVarReal(argument, element);
      case kQvText:
        return PackVarString(argument, element);
      default:
        return PackVarInteger(argument, element);
    }
  }
  void PackVarReal(int argument, QV_VarParam** element) {
    for (long long k = 0; k < tables_.counts[argument]; ++k) {
      const double value = element[k]->RealValue();
      this->PackRealArray(Slot(argument) + k, &value, 1);
    }
  }
  void PackVarInteger(int argument, QV_VarParam** element) {
    for (long long k = 0; k < tables_.counts[argument]; ++k) {
      const int value = element[k]->IntegerValue();
      this->PackIntegerArray(Slot(argument), k, &value, 1);
    }
  }
  void PackVarString(int argument, QV_VarParam** element) {
    if (this->Dimensions(argument) == 0) return this->PackStr(Slot(argument), element[0]->StringValue());
    const long long text_slots = (this->TypeSize(kQvText) + 7) / 8;
    for (long long k = 0; k < tables_.counts[argument]; ++k) {
      const char* const text = element[k]->StringValue();
      this->PackStringArray(TextSlot(argument) + k * text_slots, &text, 1);
    }
  }

  // --- The call
  // ------------------------------------------------------------------------------------------------
  void CallRoutine(long long* failure, int call_type) {
    long long type = call_type;
    long long outputs = this->OutputElements;
    long long inputs = this->Constants + this->InputElements;
    long long* const output_sizes = tables_.sizes + input_size_count_;
    if (void* const address = this->GetProcedureAddress()) {
      reinterpret_cast<QV_Routine>(address)(this->Slots, tables_.sizes, this->Slots, output_sizes,
                                            GetOffsets(0), GetOffsets(tables_.inputs), failure, this->Status,
                                            this->SecondDerivatives, &this->DerivativeDimension,
                                            this->Derivatives, &outputs, &inputs, &type);
    } else if (void* const address16 = this->GetProcedure13Address()) {
      for (auto& work : work_)
        if (!work) work.reset(new double[static_cast<size_t>(this->DerivativeDimension * inputs + 1)]());
      reinterpret_cast<SixteenPointerRoutine>(address16)(
          this->Slots, tables_.sizes, this->Slots, output_sizes, GetOffsets(0), GetOffsets(tables_.inputs),
          failure, this->Status, this->SecondDerivatives, &this->DerivativeDimension, this->Derivatives,
          &outputs, &inputs, &type, work_[0].get(), work_[1].get());
    }
  }

  // Gives the inputs what the routine made of them.
  void UnpackInputVars() {
    QV_VarParam** element = this->Elements;
    for (int argument = 0; argument < tables_.inputs; ++argument) {
      if (!tables_.by_reference[argument]) continue;
      if (this->IsVariableInput(argument)) {
        for (long long k = 0; k < tables_.counts[argument]; ++k) UnpackVar(argument, k, *element[k]);
      }
      element += tables_.counts[argument];
    }
  }
  void UnpackVar(int argument, long long k, QV_VarParam& variable) {
    switch (this->Type(argument)) {
      case kQvReal: {
        const double value = this->Slots[Slot(argument) + k];
        if (value != variable.RealValue()) GiveBack(variable, value);
        return;
      }
      case kQvText: {
        const char* const text = this->UnpackStr(TextSlot(argument), k);
        if (std::strcmp(text, variable.StringValue()) != 0) GiveBack(variable, text);
        return;
      }
      default: {
        const int value = this->UnpackInteger(Slot(argument), k);
        if (value != variable.IntegerValue()) GiveBack(variable, value);
      }
    }
  }
  template <class Value>
  void GiveBack(QV_VarParam& variable, Value value) {
    SetValue(variable, value, variable.HoldsDefault());
    this->UpdateController();
  }
  template <class Value>
  static int SetValue(QV_VarParam& variable, Value value, bool as_default) {
    if (!as_default) return variable.SetCurrentValue(value);
    QV_Value assigned(value);
    return variable.Assign(&assigned);
  }

  // The routine counts constants among its inputs, the host knows the elements only: leaves one column per
  // input element.
  void DropDerivativesOfConstants() {
    if (this->Constants == 0) return;
    const long long rows = this->DerivativeDimension;
    const double* from = this->Derivatives;
    double* to = this->Derivatives;
    for (int argument = 0; argument < tables_.inputs; ++argument) {
      const long long entries = rows * tables_.counts[argument];
      if (tables_.by_reference[argument]) {
        std::memmove(to, from, static_cast<size_t>(entries) * sizeof(double));
        to += entries;
      }
      from += entries;
    }
    while (to != from) *to++ = 0.0;
  }

  // --- Outputs and differences
  // ---------------------------------------------------------------------------------
  template <class Action>
  void ForEachOutput(Action action) {
    long long j = 0;
    for (int argument = tables_.inputs; argument < tables_.arguments; ++argument)
      for (long long k = 0; k < tables_.counts[argument]; ++k) action(j++, argument, k);
  }
  double OutputValue(int argument, long long k) {
    if (this->Type(argument) == kQvText) return 0.0;
    return this->Type(argument) == kQvReal ? this->Slots[Slot(argument) + k]
                                           : this->UnpackInteger(Slot(argument), k);
  }
  void CopyOutputs(double* copy) {
    ForEachOutput([&](long long j, int argument, long long k) { copy[j] = OutputValue(argument, k); });
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
    int result = SetValue(variable, moved, as_default);
    if (result >= 0) result = CallFn(kQvCallValues, true);
    const int restored = SetValue(variable, x, as_default);
    if (result >= 0) result = restored;
    if (result < 0) return result;
    ForEachOutput([&](long long j, int argument, long long k) {
      column[j * stride] = Quotient(OutputValue(argument, k) - base_outputs_[static_cast<size_t>(j)], h);
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

  // --- Equations
  // -----------------------------------------------------------------------------------------------
  template <class Owner>
  void CreateEquations(int group, bool flag, long long*& pattern, long long*& pattern_end, int& counter,
                       Owner* owner, const char* name) {
    int number = 0;
    ForEachOutput([&](long long j, int argument, long long k) {
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

  ProcedureTables tables_;
  int argument_ = -1;  // the one that is being collected
  int awaited_ = 0;    // dimensions of it that have no size yet
  int size_count_ = 0, input_size_count_ = 0;
  long long product_ = 1;                           // of its sizes so far
  long long position_ = 0;                          // next free slot
  long long output_start_ = 0;                      // first slot of the outputs
  long long elements_before_ = 0;                   // given for the arguments before it
  long long sized_inputs_ = 0, sized_outputs_ = 0;  // elements that the first pass measured
  int base_index_ = 0;
  bool array_seen_ = false;
  bool sizing_ = true;
  bool collecting_ = false;
  bool stored_ = false;    // a pass after the first has stored all elements
  bool mismatch_ = false;  // the arguments given are not those of the procedure
  bool mismatch_of_sizing_ = false;
  bool called_ = true;
  std::unique_ptr<double[]> base_outputs_;
  std::unique_ptr<double[]> work_[2];
};

}  // namespace quiver

// In, Out: numbers of arguments. Dims: array dimensions over all of them. Variant: 1, 2 or 4, as the
// catalogue has it.
template <class Class, int In, int Out, int Dims, class Base, int Variant>
class QV_ProcedureTemplate : public quiver::ProcedureBody<Base> {
  static_assert(In >= 0 && Out > 0 && Dims >= 0);
  static_assert(Variant == 1 || Variant == 2 || Variant == 4);

 public:
  static constexpr int InputArgs() { return In; }
  static constexpr int OutputArgs() { return Out; }
  static constexpr int TotalArgs() { return In + Out; }

  QV_ProcedureTemplate() : quiver::ProcedureBody<Base>(Tables()) {}
  QV_ProcedureTemplate(const QV_ProcedureTemplate& other) : quiver::ProcedureBody<Base>(other, Tables()) {
    CopyTables(other);
  }
  QV_ProcedureTemplate& operator=(const QV_ProcedureTemplate& other) {
    if (this == &other) return *this;
    quiver::ProcedureBody<Base>::operator=(other);
    CopyTables(other);
    return *this;
  }

 private:
  quiver::ProcedureTables Tables() {
    return {sizes_, offsets_, counts_, constants_, by_reference_, In, In + Out, Dims};
  }
  void CopyTables(const QV_ProcedureTemplate& other) {
    for (int i = 0; i < Dims; ++i) sizes_[i] = other.sizes_[i];
    for (int i = 0; i < TotalArgs(); ++i) {
      offsets_[i] = other.offsets_[i];
      counts_[i] = other.counts_[i];
      constants_[i] = other.constants_[i];
      by_reference_[i] = other.by_reference_[i];
    }
  }

  long long sizes_[Dims > 0 ? Dims : 1] = {};  // the pointer to it is valid although there may be no sizes
  long long offsets_[In + Out] = {};
  long long counts_[In + Out] = {};
  ConstProcValue constants_[In + Out];
  bool by_reference_[In + Out] = {};
};
