// SPDX-License-Identifier: Apache-2.0
// What an instance looks like from outside: its properties and its equations, as plain data for printing.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "runtime/contract/instance.h"
#include "runtime/expression/token.h"
#include "runtime/system/branches.h"
#include "runtime/system/records.h"

namespace quiver {

// No value, or a real, integer, logical, text, or the elements of a set.
using PlainValue = std::variant<std::monostate, double, long long, bool, std::string, std::vector<long long>,
                                std::vector<std::string>>;

struct PropertyDescription {
  std::string name;
  const char* kind;  // global, external, parameter, variable, set, port, submodel
  std::string type;
  const char* description = nullptr;
  const char* unit = "";
  bool array = false;
  std::vector<long long> dims;
  std::vector<std::vector<std::string>> indices;  // of an array, per dimension
  // One entry, or one per element of an array; specification 0: none.
  std::vector<PlainValue> values;
  std::vector<double> lower, upper;
  std::vector<int> specs;
  std::vector<std::string> choices;  // the texts that an option can be
};
std::vector<PropertyDescription> DescribeProperties(const Instance& instance);
PlainValue ValueOf(QV_VarParam& holder);
const char* UnitOf(QV_VarParam& holder);

struct TokenDescription {
  StreamToken::Kind kind;
  int code = 0;
  long long integer = 0;
  double real = 0;
  std::string text;               // a text literal, or a variable's name
  QV_VarParam* holder = nullptr;  // of a variable
};
// For the readers of runtime/expression: variables become their places in the list.
std::vector<Token> StreamOf(const std::vector<TokenDescription>& tokens);

struct ConditionDescription {
  std::string label;  // empty: otherwise
  bool otherwise = false;
  int branch = 0;
  std::vector<TokenDescription> tokens;
};

struct EquationDescription {
  int index = 0;
  std::string name;
  int group = 0;                         // the instance's first group is 1
  std::string procedure;                 // class; empty for an ordinary equation
  std::vector<TokenDescription> inputs;  // of a procedure: names, or constants
  std::string output;
  std::vector<TokenDescription> tokens;
  std::vector<std::string> nonzeros;
  std::vector<ConditionDescription> conditions;  // innermost first; empty outside branches
};

struct EquationsDescription {
  int count = 0;  // different equation numbers
  std::vector<EquationDescription> equations;
};
// Sets up and emits the instance anew.
EquationsDescription DescribeEquations(Instance& instance);

// "XLENGTH = L + XELBO + ...": the formula of an ordinary equation, PROC(in, ...) of a procedure; and of a condition.
std::string FormulaOf(const EquationDescription& equation);
std::string FormulaOf(const ConditionDescription& condition);

}  // namespace quiver
