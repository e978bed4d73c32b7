// SPDX-License-Identifier: Apache-2.0
// A flowsheet for models written in a test, and what they emit in readable notation:
//
//   TestSheet sheet;
//   auto& model = sheet.Add<QV_STREAMS>("m");   sheet.Size();
//   EXPECT_EQ(Tokens(sheet.Equations(model).equations[0].tokens), "19 -1.0 X");
//
// Codes are plain numbers, literals "i1" (integer), "1.0" (real) and "'Yes'" (text), variables their names.
#pragma once

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "host/system.h"
#include "runtime/contract/error.h"
#include "runtime/contract/host_access.h"
#include "runtime/system/describe.h"
#include "runtime/system/flowsheet.h"

namespace quiver::tests {

inline const ModelLibrary& TheLibrary() {
  static const ModelLibrary library(std::string(QUIVER_LIBRARY_DIR) + "/" +
                                    SharedLibrary::FileName("quiver_models"));
  return library;
}

inline Instance& InstanceOf(QV_Container& object) { return *HostAccess::InstanceOf(object); }

inline std::string Tokens(const std::vector<TokenDescription>& tokens) {
  std::vector<std::string> words;
  for (const TokenDescription& token : tokens) {
    std::string word = fmt::format("{}", token.real);
    if (word.find_first_of(".en") == std::string::npos) word += ".0";
    switch (token.kind) {
      case StreamToken::kOperator:
        words.push_back(std::to_string(token.code));
        break;
      case StreamToken::kInteger:
        words.push_back(fmt::format("i{}", token.integer));
        break;
      case StreamToken::kReal:
        words.push_back(word);
        break;
      case StreamToken::kText:
        words.push_back(fmt::format("'{}'", token.text));
        break;
      case StreamToken::kVariable:
        words.push_back(token.text);
        break;
    }
  }
  return fmt::format("{}", fmt::join(words, " "));
}

// Outermost first: "A@0>!@1" lies in an "otherwise", second branch of a block within the first branch, tested by A.
inline std::string Chain(const EquationDescription& equation) {
  std::string chain;
  for (const ConditionDescription& c : equation.conditions)
    chain = fmt::format("{}@{}{}{}", c.otherwise ? "!" : c.label, c.branch, chain.empty() ? "" : ">", chain);
  return chain;
}

class TestSheet {
 public:
  Flowsheet sheet{TheLibrary()};

  template <class Model>
  Model& Add(const char* name) {
    auto* model = new Model(true, nullptr);
    model->AddRef();
    sheet.AddBlock(name, model);
    return *model;
  }
  void Size(const std::function<void()>& give = [] {}) { sheet.SizeAndAssign(give); }
  // By a value of the user's.
  template <class Value>
  static void Give(QV_VarParam& holder, Value value) {
    QV_Value v(value);
    ASSERT_EQ(SetFromValue(holder, v, Origin::kUser), 0);
  }
  EquationsDescription Equations(QV_Container& model) { return DescribeEquations(InstanceOf(model)); }
  const std::vector<std::string>& faults() { return sheet.scope().faults; }
};

}  // namespace quiver::tests
