// SPDX-License-Identifier: Apache-2.0
#include "frame/equations.h"

#include <memory>

namespace quiver::frame {

void ModelState::Own(QV_ProcedureType* procedure) {
  std::unique_ptr<QV_ProcedureType> owned(procedure);  // until it has its place
  procedures_.push_back(procedure);
  owned.release();
}

void ModelState::ReleaseProcedures() {
  for (QV_ProcedureType* procedure : procedures_) delete procedure;
  procedures_.clear();
}

int Equate::NextGroup() {
  if (block_depth_ > 0) {
    if (!block_has_group_) ++group_;
    block_has_group_ = true;
    return group_;
  }
  return ++group_;
}

void Equate::operator()(const char* name, const EquationText& text) {
  reader_.Equation(name, text, NextGroup(), tests_, counter_);
}

void Equate::operator()(const char* name, ProcedureText text) {
  text.components = &model_.ComponentList;
  reader_.Procedure(name, text, NextGroup(), tests_, counter_);
}

namespace {
bool IsLiteral(const Node* node) { return node->kind == Node::kReal || node->kind == Node::kInteger; }
double LiteralValue(const Node* node) { return node->kind == Node::kReal ? node->real : node->integer; }
}  // namespace

Node* ResidualTree(const EquationText& text) {
  const bool lone = text.left->kind == Node::kVariable;
  if (IsLiteral(text.right)) {
    const double value = LiteralValue(text.right);
    if (value == 0) return lone ? OperatorNode(Code::kLone, text.left) : text.left;
    if (lone) return OperatorNode(Code::kAdd, RealNode(-value), text.left);
  }
  return OperatorNode(Code::kSubtract, text.left, text.right);
}

StructureWriter::StructureWriter(QV_ModelType& model)
    : model_(model), owner_(dynamic_cast<QV_ModelType*>(model.Enclosing())) {
  if (!owner_) owner_ = &model;
}

void StructureWriter::NonZeros(const Node* tree) {
  switch (tree->kind) {
    case Node::kOperator:
      for (const Node* operand = tree->operands; operand; operand = operand->next) NonZeros(operand);
      break;
    case Node::kVariable:
      if (const auto* array = dynamic_cast<const QV_ArrayBase*>(tree->variable))
        for (long long i = 0; i < array->Count(); ++i)
          model_.AddNonZero(static_cast<QV_VarParam&>(array->At(i)));
      else
        model_.AddNonZero(*tree->variable);
      break;
    case Node::kIntegerIterator:
      model_.AddNonZero(*tree->integer_iterator);
      break;
    case Node::kStringIterator:
      model_.AddNonZero(*tree->string_iterator);
      break;
    default:
      break;
  }
}

void StructureWriter::Equation(const char*, const EquationText& text, int group, const Tests& tests,
                               int& counter) {
  model_.SetGroupLimits(group);
  ++counter;
  NonZeros(ResidualTree(text));
  for (const TestedBranch& test : tests) NonZeros(test.condition);
}

void StructureWriter::Procedure(const char*, const ProcedureText& text, int group, const Tests& tests,
                                int& counter) {
  const int first = counter;
  text.set_up(text, owner_, group, counter);
  for (int equation = first; equation < counter; ++equation)
    for (const TestedBranch& test : tests) NonZeros(test.condition);
}

void EmissionWriter::Tree(const Node* tree, int equation) {
  switch (tree->kind) {
    case Node::kOperator: {
      extensions_.AddOp(static_cast<EOp>(tree->code), equation);
      for (const Node* operand = tree->operands; operand; operand = operand->next) Tree(operand, equation);
      const bool list = tree->code == Code::kSum || tree->code == Code::kProduct ||
                        tree->code == Code::kMaxOf || tree->code == Code::kMinOf;
      if (list) extensions_.AddOp(static_cast<EOp>(Code::kEnd), equation);
      break;
    }
    case Node::kVariable:
      extensions_.AddTerm(*tree->variable, pattern_, pattern_end_, equation);
      break;
    case Node::kReal:
      extensions_.AddTerm(tree->real, equation);
      break;
    case Node::kInteger:
      extensions_.AddTerm(tree->integer, equation);
      break;
    case Node::kText:
      extensions_.AddTerm(tree->text, equation);
      break;
    case Node::kIntegerIterator:
      extensions_.AddTerm(*tree->integer_iterator, pattern_, pattern_end_, equation);
      break;
    case Node::kStringIterator:
      extensions_.AddTerm(*tree->string_iterator, pattern_, pattern_end_, equation);
      break;
  }
}

void EmissionWriter::Conditions(const Tests& tests, int equation) {
  for (const TestedBranch& test : tests) {
    extensions_.AddCondExpress(test.number, test.label, equation);
    Tree(test.condition, equation);
    extensions_.EndCondExpress(equation);
  }
}

void EmissionWriter::Equation(const char* name, const EquationText& text, int group, const Tests& tests,
                              int& counter) {
  model_.AddEquation(name, counter, group);
  Tree(ResidualTree(text), counter - 1);
  Conditions(tests, counter - 1);
}

void EmissionWriter::Procedure(const char* name, const ProcedureText& text, int group, const Tests& tests,
                               int& counter) {
  const int first = counter;
  if (QV_ProcedureType* procedure = text.emit(text, model_, group, pattern_, pattern_end_, counter, name))
    state_.Own(procedure);
  for (int equation = first; equation < counter; ++equation) Conditions(tests, equation);
}

}  // namespace quiver::frame
