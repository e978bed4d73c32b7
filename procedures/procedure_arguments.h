// SPDX-License-Identifier: Apache-2.0
// The argument list of a procedure as a model gives it: twice. The first pass measures sizes, offsets and slots
// and makes the packed array, the second stores the elements; later passes store anew.
//
//   call.Argument(P_DROP);  call.Argument(0.0);  call.Argument();  call.SetDimensionSize(2);  call.Element(a);
//   call.Element(b);  call.LastArgument();
//
// A list that does not fit what was measured, or that is not complete, makes the procedure unusable until a
// right one is given: its calls then fail with a sentence, no memory is overrun.
#pragma once

#include <utility>

#include "host/procedure.h"

namespace quiver {

// The tables of one procedure object, an entry per argument unless told otherwise. They are members of
// QV_ProcedureTemplate; the code that works on them is compiled once, not once per procedure.
struct ProcedureTables {
  long long* sizes;    // one per array dimension over all arguments
  long long* offsets;  // first slot, counted from the base index of the routine's language
  long long* counts;   // elements of the argument: 1, or the product of its sizes
  ConstProcValue* constants;
  bool* by_reference;
  QV_ArrayBase** arrays;  // of arguments that are whole arrays; else null
  int* types;             // as Type() answers
  int inputs, arguments, dimensions;
};

template <class Base>
class ProcedureArguments : public Base, public QV_DynamicProcExtensions {
 public:
  using Base::operator new;
  using Base::operator delete;

  void Argument(QV_VarParam& variable) override {
    SetArg(true);
    Element(variable);
  }
  void Argument() override { SetArg(true); }
  void WholeArray(QV_ArrayBase& array) override { next_array_ = &array; }
  void Argument(int value) override { SetConstant(value); }
  void Argument(double value) override { SetConstant(value); }
  void Argument(const char* value) override { SetConstant(value); }
  void Argument(QV_IntegerSetIter& iterator) override { SetConstant(iterator.Value()); }
  void Argument(QV_StringSetIter& iterator) override { SetConstant(iterator.Value()); }

  void SetDimensionSize(int size) override {
    if (!pass_.sizing) return;
    if (pass_.awaited == 0 || pass_.sizes == tables_.dimensions || size < 0) {
      pass_.mismatch = true;
      return;
    }
    const int argument = pass_.argument;
    tables_.sizes[pass_.sizes++] = size;
    if (argument < tables_.inputs) pass_.input_sizes = pass_.sizes;
    pass_.product *= size;
    if (--pass_.awaited > 0) return;
    tables_.counts[argument] = pass_.product;
    if (HasPointers(argument)) pass_.position += pass_.product;
    pass_.position += (pass_.product * this->TypeSize(tables_.types[argument]) + 7) / 8;
  }

  void Element(QV_VarParam& variable) override {
    const int argument = pass_.argument;
    if (argument < 0 || argument >= tables_.arguments || !tables_.by_reference[argument]) {
      pass_.mismatch = true;
      return;
    }
    const bool input = argument < tables_.inputs;
    if (pass_.sizing) {
      if (input && variable.IsVariable()) ++this->VariableElements;
    } else {
      const long long measured = input ? pass_.measured_inputs : pass_.measured_outputs;
      const long long place = input ? this->InputElements : this->OutputElements;
      if (place >= measured) {
        pass_.mismatch = true;
        return;
      }
      this->Elements[input ? place : pass_.measured_inputs + place] = &variable;
    }
    ++(input ? this->InputElements : this->OutputElements);
  }

  void LastArgument() override {
    CheckArgument();
    if (pass_.argument != tables_.arguments - 1) pass_.mismatch = true;
    pass_.open = false;
    if (!pass_.sizing) {
      if (this->InputElements != pass_.measured_inputs || this->OutputElements != pass_.measured_outputs)
        pass_.mismatch = true;
      pass_.stored = true;
      return;
    }
    pass_.measured_wrongly = pass_.mismatch;
    pass_.measured_inputs = this->InputElements;
    pass_.measured_outputs = this->OutputElements;
    this->CreateDerivatives();
    this->FinalizeConstruction(pass_.output_start, pass_.position);
    if (!this->Elements &&
        this->InputElements + this->OutputElements > 0) {  // the host had no memory for them
      pass_.measured_inputs = pass_.measured_outputs = 0;
      pass_.measured_wrongly = true;
    }
    pass_.sizing = false;
  }

  int InputArguments() override { return tables_.inputs; }
  long long ArgumentElements(int argument) override {
    return tables_.by_reference[argument] ? tables_.counts[argument] : 0;
  }
  const ConstProcValue* ArgumentConstant(int argument) override {
    return tables_.by_reference[argument] ? nullptr : &tables_.constants[argument];
  }

  QV_ArrayBase* ArgumentArray(int argument) override { return tables_.arrays[argument]; }

  bool ByReference(int argument) const { return tables_.by_reference[argument]; }
  int GetIntegerArg(int argument) const { return tables_.constants[argument].Integer(); }
  double GetRealArg(int argument) const { return tables_.constants[argument].Real(); }
  const char* GetStringArg(int argument) const { return tables_.constants[argument].String(); }
  long long GetOffset(int argument) const { return tables_.offsets[argument]; }
  long long* GetOffsets(int argument) { return tables_.offsets + argument; }

 protected:
  explicit ProcedureArguments(const ProcedureTables& tables) : tables_(tables) {}
  // The tables are the copy's own; the derived class copies their contents.
  ProcedureArguments(const ProcedureArguments& other, const ProcedureTables& tables)
      : Base(other), QV_DynamicProcExtensions(other), tables_(tables), pass_(other.pass_) {}
  ProcedureArguments& operator=(const ProcedureArguments& other) {
    Base::operator=(other);
    pass_ = other.pass_;
    return *this;
  }

  bool Complete() const { return pass_.stored && !pass_.mismatch; }
  bool HasArrays() const { return pass_.array_seen; }
  // An array of texts opens with pointers to them, but for a base-1 language.
  bool HasPointers(int argument) {
    return pass_.base_index == 0 && tables_.types[argument] == kQvText && this->Dimensions(argument) > 0;
  }
  long long Slot(int argument) const { return tables_.offsets[argument] - pass_.base_index; }
  long long TextSlot(int argument) {
    return Slot(argument) + (HasPointers(argument) ? tables_.counts[argument] : 0);
  }
  long long* OutputSizes() { return tables_.sizes + pass_.input_sizes; }

  const ProcedureTables tables_;

 private:
  // Begins the next argument. All counters restart with the first one of a pass; sizes, offsets and positions change
  // in the first pass only.
  void SetArg(bool by_reference) {
    if (!pass_.open) Restart();
    CheckArgument();
    if (pass_.argument + 1 >= tables_.arguments) {
      pass_.mismatch = true;
      return;
    }
    const int argument = ++pass_.argument;
    const bool array = this->Dimensions(argument) > 0;
    if (!by_reference && (array || argument >= tables_.inputs)) pass_.mismatch = true;
    if (!pass_.sizing) {
      if (tables_.by_reference[argument] != by_reference) pass_.mismatch = true;
      return;
    }
    if (argument == tables_.inputs) pass_.output_start = pass_.position;
    tables_.by_reference[argument] = by_reference;
    tables_.types[argument] = this->Type(argument);
    tables_.offsets[argument] = pass_.position + pass_.base_index;
    tables_.counts[argument] = array ? 0 : 1;
    tables_.arrays[argument] = std::exchange(next_array_, nullptr);
    if (array) {
      pass_.array_seen = true;
      pass_.awaited = this->Dimensions(argument);
      pass_.product = 1;
    } else {
      pass_.position += (this->TypeSize(tables_.types[argument]) + 7) / 8;
    }
  }

  void Restart() {
    pass_.open = true;
    pass_.stored = false;
    pass_.mismatch = pass_.measured_wrongly;
    pass_.argument = -1;
    pass_.elements_before = 0;
    this->InputElements = this->OutputElements = this->Constants = 0;
    if (pass_.sizing) pass_.base_index = this->LanguageBaseIndex();
  }

  // The argument that is being collected has all its sizes and exactly its elements.
  void CheckArgument() {
    if (pass_.argument < 0) return;
    const long long elements = this->InputElements + this->OutputElements - pass_.elements_before;
    pass_.elements_before += elements;
    const long long due = tables_.by_reference[pass_.argument] ? tables_.counts[pass_.argument] : 0;
    if (pass_.awaited != 0 || elements != due) pass_.mismatch = true;
  }

  template <class Value>
  void SetConstant(Value value) {
    SetArg(false);
    if (pass_.mismatch) return;
    tables_.constants[pass_.argument].Set(value);
    ++this->Constants;
  }

  struct Pass {
    int argument = -1;                                    // the one that is being collected
    int awaited = 0;                                      // dimensions of it that have no size yet
    long long product = 1;                                // of its sizes so far
    int sizes = 0, input_sizes = 0;                       // entries of the table of sizes
    long long position = 0;                               // next free slot
    long long output_start = 0;                           // first slot of the outputs
    long long elements_before = 0;                        // given for the arguments before it
    long long measured_inputs = 0, measured_outputs = 0;  // elements
    int base_index = 0;
    bool array_seen = false;
    bool sizing = true;
    bool open = false;              // between the first argument and LastArgument
    bool stored = false;            // a pass after the first has been closed
    bool mismatch = false;          // the arguments are not those of the procedure
    bool measured_wrongly = false;  // and were not when it was measured
  };
  Pass pass_;
  QV_ArrayBase* next_array_ = nullptr;  // the whole array that the next argument is
};

}  // namespace quiver
