// SPDX-License-Identifier: Apache-2.0
// What the models compute, in words: the texts of data/explanations, which are part of the program.
//
//   if (const Explanation* about = FindExplanation("PSV_SIMPLE")) fmt::print("{}\n", about->title);
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quiver {

struct Explanation {
  std::string model, field;
  std::string title;                                                 // a line
  std::string computes;                                              // a paragraph
  std::vector<std::pair<std::string, std::string>> inputs, outputs;  // name, words
  std::string source, valid;
  std::vector<std::string> example;  // arguments of quiver
  std::vector<std::string>
      listing;  // --set and --components under which the equations are shown; empty: the example's
};

// By field, in the order of the texts. Throws Error for a text that lacks something, naming its place.
const std::vector<Explanation>& AllExplanations();
const Explanation* FindExplanation(std::string_view model);  // letter case ignored; null: none
// Throws CaseError or Error with what is wrong in the text: for tests of texts.
std::vector<Explanation> ReadExplanations(std::string_view yaml, const std::string& name);

}  // namespace quiver
