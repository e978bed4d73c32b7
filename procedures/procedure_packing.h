// SPDX-License-Identifier: Apache-2.0
// Between elements and slots: packs the inputs before a call, hands back what the routine changed, reads its outputs.
// Integers and reals take one slot, texts 32; an array of texts opens with pointers to them.
#pragma once

#include <cstring>

#include "procedures/procedure_arguments.h"

namespace quiver {

template <class Base>
class ProcedurePacking : public ProcedureArguments<Base> {
 protected:
  using ProcedureArguments<Base>::ProcedureArguments;
  using ProcedureArguments<Base>::tables_;
  ProcedurePacking(const ProcedurePacking& other, const ProcedureTables& tables)
      : ProcedureArguments<Base>(other, tables) {}
  ProcedurePacking& operator=(const ProcedurePacking&) = default;

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
  // By the route by which the variable has got its value.
  template <class Value>
  static int SetValue(QV_VarParam& variable, Value value, bool as_default) {
    if (!as_default) return variable.SetCurrentValue(value);
    QV_Value assigned(value);
    return variable.Assign(&assigned);
  }

  // action(output element, argument, element within the argument)
  template <class Action>
  void ForEachOutput(Action action) {
    long long j = 0;
    for (int argument = tables_.inputs; argument < tables_.arguments; ++argument)
      for (long long k = 0; k < tables_.counts[argument]; ++k) action(j++, argument, k);
  }
  double OutputValue(int argument, long long k) {
    if (tables_.types[argument] == kQvText) return 0.0;
    return tables_.types[argument] == kQvReal ? this->Slots[this->Slot(argument) + k]
                                              : this->UnpackInteger(this->Slot(argument), k);
  }
  void CopyOutputs(double* copy) {
    ForEachOutput([&](long long j, int argument, long long k) { copy[j] = OutputValue(argument, k); });
  }

 private:
  // Aims the pointers with which an array of texts opens at its texts.
  void InitializeCStrings() {
    if (!this->HasArrays()) return;
    const long long text_slots = (this->TypeSize(kQvText) + 7) / 8;
    for (int argument = 0; argument < tables_.arguments; ++argument) {
      if (!this->HasPointers(argument)) continue;
      for (long long k = 0; k < tables_.counts[argument]; ++k) {
        const double* const text = this->Slots + this->TextSlot(argument) + k * text_slots;
        std::memcpy(this->Slots + this->Slot(argument) + k, &text, sizeof text);
      }
    }
  }

  void PackVal(int argument) {
    switch (tables_.types[argument]) {
      case kQvReal: {
        const double value = this->GetRealArg(argument);
        return this->PackRealArray(this->Slot(argument), &value, 1);
      }
      case kQvText:
        return this->PackStr(this->Slot(argument), this->GetStringArg(argument));
      default: {
        const int value = this->GetIntegerArg(argument);
        return this->PackIntegerArray(this->Slot(argument), 0, &value, 1);
      }
    }
  }

  void PackVar(int argument, QV_VarParam** element) {
    switch (tables_.types[argument]) {
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
      this->PackRealArray(this->Slot(argument) + k, &value, 1);
    }
  }
  void PackVarInteger(int argument, QV_VarParam** element) {
    for (long long k = 0; k < tables_.counts[argument]; ++k) {
      const int value = element[k]->IntegerValue();
      this->PackIntegerArray(this->Slot(argument), k, &value, 1);
    }
  }
  void PackVarString(int argument, QV_VarParam** element) {
    if (this->Dimensions(argument) == 0)
      return this->PackStr(this->Slot(argument), element[0]->StringValue());
    const long long text_slots = (this->TypeSize(kQvText) + 7) / 8;
    for (long long k = 0; k < tables_.counts[argument]; ++k) {
      const char* const text = element[k]->StringValue();
      this->PackStringArray(this->TextSlot(argument) + k * text_slots, &text, 1);
    }
  }

  void UnpackVar(int argument, long long k, QV_VarParam& variable) {
    switch (tables_.types[argument]) {
      case kQvReal: {
        const double value = this->Slots[this->Slot(argument) + k];
        if (value != variable.RealValue()) GiveBack(variable, value);
        return;
      }
      case kQvText: {
        const char* const text = this->UnpackStr(this->TextSlot(argument), k);
        if (std::strcmp(text, variable.StringValue()) != 0) GiveBack(variable, text);
        return;
      }
      default: {
        const int value = this->UnpackInteger(this->Slot(argument), k);
        if (value != variable.IntegerValue()) GiveBack(variable, value);
      }
    }
  }
  template <class Value>
  void GiveBack(QV_VarParam& variable, Value value) {
    SetValue(variable, value, variable.HoldsDefault());
    this->UpdateController();
  }
};

}  // namespace quiver
