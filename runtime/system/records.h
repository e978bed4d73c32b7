// SPDX-License-Identifier: Apache-2.0
// What an instance told at set-up and at emission, equation by equation, in the order told.
#pragma once

#include <string>
#include <vector>

#include "runtime/contract/scope.h"

namespace quiver {

class Instance;

// One ordinary equation, or one procedure call with all its equations.
struct SetUpEntry {
  int group = 0;
  bool is_procedure = false;
  int equations = 1;
  int procedure_nonzeros = 0;  // of a procedure, all its equations together
  int first_nonzero = 0;       // in SetUpRecord::nonzeros: of an ordinary equation and its conditions,
  int nonzero_count = 0;       // or of the conditions of a procedure's equations
  int branches_closed_after = 0;
};

class SetUpRecord final : public StructureSink {
 public:
  void OpenGroup(int group) override;
  void NonZero(QV_VarParam& variable) override;
  void CloseBranch() override;
  void Procedure(int group, int equations, int nonzeros) override;
  void LocalCount(int counter) override { count = counter; }
  void Clear();

  std::vector<SetUpEntry> entries;
  std::vector<QV_VarParam*> nonzeros;
  int count = 0;           // what SetLocalEqnCount was given
  int empty_branches = 0;  // closed before any equation was told
  long long PatternSize() const;
};

struct StreamToken {
  enum Kind : unsigned char { kOperator, kVariable, kReal, kInteger, kText } kind;
  union {
    int code;
    QV_VarParam* variable;  // an array stands for its whole slice
    double real;
    int integer;
    const char* text;  // lasting
  };
};

struct TokenRange {
  int first = 0, count = 0;
};

struct EmittedCondition {
  int number;
  const char* label;  // lasting
  TokenRange tokens;
};

// One alternative of one equation.
struct EmittedEquation {
  const char* name = "";  // lasting
  int index = 0;
  int group = 0;
  TokenRange tokens;  // the residual; of a procedure equation its output and variable inputs
  QV_ProcedureType* procedure = nullptr;
  int output_element = 0;
  int first_condition = 0, condition_count = 0;
};

class EmissionRecord final : public EmissionSink {
 public:
  void Reset() override { Clear(); }
  void Equation(const char* name, int index, int group) override;
  void ProcedureEquation(QV_ProcedureEquationType* equation, int index) override;
  void ProcedureExpression(QV_ProcedureType* procedure, int output_element, int index,
                           const char* name) override;
  void ProcedureCall(QV_ProcedureType*, int) override {}
  void Operator(int code, int index) override;
  void Real(double value, int index) override;
  void Integer(int value, int index) override;
  void Text(const char* value, int index) override;
  void Variable(QV_VarParam& variable, int index) override;
  void BeginCondition(int number, const char* label, int index) override;
  void EndCondition(int index) override;
  void PatternFull(int) override { pattern_was_full = true; }
  void Clear();
  void ExpectClosed();  // at the end: a condition left open is a fault

  std::vector<EmittedEquation> equations;
  std::vector<EmittedCondition> conditions;
  std::vector<StreamToken> tokens;
  bool pattern_was_full = false;
  std::vector<std::string> faults;  // calls out of their order

 private:
  void Add(StreamToken token, int index);
  EmittedEquation* Open(int index, const char* what);
  EmittedCondition* condition_ = nullptr;
};

// A set-up and emission of an instance, checked against each other.
struct InstanceRecord {
  SetUpRecord set_up;
  EmissionRecord emission;
  int result = 0;  // of JacPattern, or the negative status of the operation that failed
};

// Runs SetUpEquations and JacPattern of an instance and compares them: count, groups, order, and occurrences. What
// disagrees becomes a fault of the scope that names model and equation. `readings` hears what the choices were read from.
void ReadEquations(Instance& instance, InstanceRecord& record, Readings* readings = nullptr);

}  // namespace quiver
