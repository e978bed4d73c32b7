// SPDX-License-Identifier: Apache-2.0
// Tables of expected equations, in files beside the tests:
//
//   fragment liquid                                      a named run of equations
//   SpecificVolume_liq | 19 -1.0 21 21 V_L0 RHOL MWL     label, tokens: codes, i2 an integer, 2.0 a real, 'Yes' a text
//   DP_Limited | PDROPC = PLIMIT(P_DROP, DPMIN, DPMAX)   a procedure
//   ? QV_If1 | 12 ETA_A ETA_CRIT                         a condition, where it comes first
//   QV_If1@0 | Pressurefactor | 20 ETA ETA_CRIT          in its branch; !@1 is the "otherwise" behind it, a@0>b@1 are nested
//   case 14 PSV_X VALIDPHASES=Vapor-Liquid : liquid flow   number of equations, model, settings: its fragments, nothing else
#pragma once

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "tests/models/relief/model_run.h"
#include "tests/support/test_sheet.h"

namespace quiver::tests {

struct StreamCase {
  int equations;
  std::string model, settings;
  std::vector<std::string> fragments;
};

class StreamTable {
 public:
  explicit StreamTable(const std::string& path) {  // from the folder of the models' tests
    std::ifstream file(std::string(QUIVER_SOURCE_DIR) + "/tests/models/" + path);
    EXPECT_TRUE(file.good()) << path;
    std::string line, *fragment = nullptr;
    while (std::getline(file, line)) {
      std::istringstream words(line);
      std::string word;
      words >> word;
      if (word.empty() || word[0] == '#') continue;
      if (word == "fragment") {
        words >> word;
        fragment = &fragments_[word];
      } else if (word == "case") {
        StreamCase& c = cases.emplace_back();
        words >> c.equations >> c.model;
        while (words >> word && word != ":")
          c.settings += (c.settings.empty() ? "" : ", ") + word.replace(word.find('='), 1, ": ");
        while (words >> word) c.fragments.push_back(word);
      } else {
        *fragment += Canonical(line) + "\n";
      }
    }
  }
  std::vector<StreamCase> cases;

  std::string Text(const std::vector<std::string>& names) const {
    std::string text;
    for (const std::string& name : names) text += fragments_.at(name);
    return text;
  }
  // A printed difference stands side by side.
  void Check(const StreamCase& c) const {
    ModelRun run(c.model, {"water"}, c.settings);
    const EquationsDescription all = DescribeEquations(*run.flowsheet().blocks().front());
    EXPECT_EQ(Printed(all), Text(c.fragments)) << c.model << " " << c.settings;
    EXPECT_EQ(all.count, c.equations) << c.model << " " << c.settings;
  }

  static std::string Printed(const EquationsDescription& all) {
    std::string text;
    std::set<std::string> seen;
    for (const EquationDescription& e : all.equations) {
      for (auto c = e.conditions.rbegin(); c != e.conditions.rend(); ++c)
        if (!c->otherwise && seen.insert(c->label).second)
          text += fmt::format("? {} | {}\n", c->label, Tokens(c->tokens));
      const std::string chain = Chain(e);
      text += fmt::format("{}{}{} | {}\n", chain, chain.empty() ? "" : " | ", e.name,
                          e.procedure.empty() ? Tokens(e.tokens) : FormulaOf(e));
    }
    return text;
  }

 private:
  // Reals as the printer writes them: 1e-5 becomes 1e-05.
  static std::string Canonical(const std::string& line) {
    std::istringstream words(line);
    std::string text, word;
    while (words >> word) {
      char* end = nullptr;
      const double value = std::strtod(word.c_str(), &end);
      if (*end == 0 && word.find_first_of(".e") != std::string::npos) {
        word = fmt::format("{}", value);
        if (word.find_first_of(".e") == std::string::npos) word += ".0";
      }
      text += (text.empty() ? "" : " ") + word;
    }
    return text;
  }
  std::map<std::string, std::string> fragments_;
};

}  // namespace quiver::tests
