// SPDX-License-Identifier: Apache-2.0
// The equations of a model, read twice from one text: once as structure, once as emission. Numbers, groups, branches and
// the order of everything are decided here, for both readers alike.
//
//   void Equations(Equate& eq) {
//     eq("CriticalPressure", P_CRIT == P * ETA_CRIT);
//     eq.given("QV_If1", ETA_A < ETA_CRIT, [&] { eq("Pressurefactor", ETA == ETA_CRIT); })  // decided by the host, as it solves
//         .otherwise([&] { eq("Pressurefactor", ETA == ETA_A); });
//     eq.when(is(FITCONNECT, "Screwed"), [&] { ... }).orWhen(...).otherwise(...);           // decided now, at set-up
//     eq.each(NINTVL, [&](int i) { eq("QV_Eqn30", PRES(i + 1) == PRES(i) + DELP); });
//   }
//
// Groups: one per equation outside branches, one per procedure call, one per block of branches with all that is in it.
// Branches of a block share equation numbers: each starts where the block starts, and the longest decides where it ends.
#pragma once

#include <utility>

#include "frame/assignments.h"
#include "frame/expression.h"
#include "frame/host_allocator.h"
#include "frame/procedure_call.h"

namespace quiver::frame {

// What an instance keeps between set-up and emission. Procedure objects emitted for it go before its holders.
class ModelState {
 public:
  ModelState() = default;
  ModelState(const ModelState&) = delete;
  ModelState& operator=(const ModelState&) { return *this; }
  ~ModelState() { ReleaseProcedures(); }

  int first_group = 0;
  int own_equations = 0;  // added by the model itself, without its base
  int reset_on_set_up = 0;
  long long pattern_count = 0;  // pattern entries of the last emission

  void Own(QV_ProcedureType* procedure);
  void ReleaseProcedures();

 private:
  HostVector<QV_ProcedureType*> procedures_;
};

struct TestedBranch {
  int number;  // of the tested branches of the instance, from 1
  const char* label;
  Node* condition;
};

using Tests = HostVector<TestedBranch>;  // the enclosing tested branches of an equation, outermost first

// One way of reading the equations.
class EquationReader {
 public:
  virtual ~EquationReader() = default;
  // Both advance the counter.
  virtual void Equation(const char* name, const EquationText& text, int group, const Tests& tests,
                        int& counter) = 0;
  virtual void Procedure(const char* name, const ProcedureText& text, int group, const Tests& tests,
                         int& counter) = 0;
  virtual void CloseBranch() = 0;
};

class Equate {
 public:
  Equate(EquationReader& reader, QV_ModelType& model, int first_group, int counter)
      : reader_(reader), model_(model), group_(first_group), counter_(counter) {}
  int counter() const { return counter_; }

  void operator()(const char* name, const EquationText& text);
  void operator()(const char* name, ProcedureText text);

  // ---- Branches that the host decides. The block ends with the statement.
  class Given {
   public:
    template <class Block>
    Given(Equate& eq, const char* label, Condition condition, Block block)
        : eq_(eq), start_(eq.counter_), longest_(eq.counter_) {
      if (eq_.block_depth_++ == 0) eq_.block_has_group_ = false;
      orGiven(label, condition, block);
    }
    Given(const Given&) = delete;
    Given& operator=(const Given&) = delete;
    ~Given() {
      eq_.counter_ = longest_;
      --eq_.block_depth_;
    }
    template <class Block>
    Given& orGiven(const char* label, Condition condition, Block block) {
      eq_.tests_.push_back({++eq_.tested_branches_, label, condition.root()});
      Run(block);
      eq_.tests_.pop_back();
      return *this;
    }
    template <class Block>
    void otherwise(Block block) {
      Run(block);
    }

   private:
    template <class Block>
    void Run(Block& block) {
      eq_.counter_ = start_;
      block();
      eq_.reader_.CloseBranch();
      if (eq_.counter_ > longest_) longest_ = eq_.counter_;
    }
    Equate& eq_;
    int start_, longest_;
  };
  template <class Block>
  Given given(const char* label, Condition condition, Block block) {
    return Given(*this, label, condition, block);
  }

  // ---- Branches chosen at set-up: the first whose test holds is read.
  class When {
   public:
    template <class Block>
    When& orWhen(bool holds, Block block) {
      if (!done_ && holds) {
        done_ = true;
        block();
      }
      return *this;
    }
    template <class Block>
    void otherwise(Block block) {
      if (!done_) block();
    }

   private:
    bool done_ = false;
  };
  template <class Block>
  When when(bool holds, Block block) {
    When choice;
    choice.orWhen(holds, block);
    return choice;
  }

  // ---- One round per element of a set property.
  template <class SetProperty, class Body>
  void each(SetProperty& set, Body body) {
    language::ForEach(SetOf(set), body);
  }

 private:
  int NextGroup();

  EquationReader& reader_;
  QV_ModelType& model_;
  int group_;
  int counter_;
  int block_depth_ = 0;
  bool block_has_group_ = false;  // a block of branches takes its group with its first equation
  int tested_branches_ = 0;
  Tests tests_;
};

// SetUpEquations and JacPattern of a model, from its text. `base` is the result of the base class's operation.
template <class Model>
int SetUp(Model& model, ModelState& state, int base);
template <class Model>
int Emit(Model& model, QV_ModelExtensions& extensions, ModelState& state, int base, long long*& pattern,
         long long*& pattern_end);

class StructureWriter final : public EquationReader {
 public:
  explicit StructureWriter(QV_ModelType& model);
  void Equation(const char*, const EquationText&, int, const Tests&, int&) override;
  void Procedure(const char*, const ProcedureText&, int, const Tests&, int&) override;
  void CloseBranch() override { model_.AddConditional(); }

 private:
  void NonZeros(const Node* tree);
  QV_ModelType& model_;
  QV_ModelType* owner_;  // of procedure equations: the enclosing model where there is one
};

class EmissionWriter final : public EquationReader {
 public:
  EmissionWriter(QV_ModelType& model, QV_ModelExtensions& extensions, ModelState& state, long long*& pattern,
                 long long*& pattern_end)
      : model_(model), extensions_(extensions), state_(state), pattern_(pattern), pattern_end_(pattern_end) {}
  void Equation(const char*, const EquationText&, int, const Tests&, int&) override;
  void Procedure(const char*, const ProcedureText&, int, const Tests&, int&) override;
  void CloseBranch() override {}

 private:
  void Tree(const Node* tree, int equation);
  void Conditions(const Tests& tests, int equation);
  QV_ModelType& model_;
  QV_ModelExtensions& extensions_;
  ModelState& state_;
  long long*& pattern_;
  long long*& pattern_end_;
};

// The residual of an equation as it stands in the stream.
Node* ResidualTree(const EquationText& text);

template <class Model>
int SetUp(Model& model, ModelState& state, int base) {
  state.first_group = QV_ModelType::m_stLastGroup;
  state.reset_on_set_up = 0;
  ResetArena();
  StructureWriter writer(model);
  Equate eq(writer, model, state.first_group, base);
  model.Equations(eq);
  state.own_equations = eq.counter() - base;
  return model.SetLocalEqnCount(eq.counter());
}

template <class Model>
int Emit(Model& model, QV_ModelExtensions& extensions, ModelState& state, int base, long long*& pattern,
         long long*& pattern_end) {
  state.ReleaseProcedures();
  const long long* const start = pattern;
  ResetArena();
  EmissionWriter writer(model, extensions, state, pattern, pattern_end);
  Equate eq(writer, model, state.first_group, base);
  model.Equations(eq);
  state.pattern_count = pattern - start;
  return eq.counter();
}

}  // namespace quiver::frame
