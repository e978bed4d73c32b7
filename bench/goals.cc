// SPDX-License-Identifier: Apache-2.0
#include "bench/goals.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <fstream>
#include <string_view>

namespace quiver::bench {

void GoalTable::Add(std::string work, std::string goal, double measured, bool met, std::string unit) {
  rows_.push_back({std::move(work), std::move(goal), fmt::format("{:.3g} {}", measured, unit), met});
}

std::string GoalTable::Markdown() const {
  std::string text = fmt::format("## {}\n\n| work | goal | measured | |\n|---|---|---|---|\n", title_);
  for (const Row& row : rows_)
    text += fmt::format("| {} | {} | {} | {} |\n", row.work, row.goal, row.measured,
                        row.met ? "met" : "**not met**");
  for (const std::string& note : notes_) text += "\n" + note + "\n";
  return text;
}

void GoalTable::Finish(int count, char** arguments) const {
  const std::string text = Markdown();
  fmt::print("{}", text);
  constexpr std::string_view kResults = "--results=";
  for (int k = 1; k < count; ++k) {
    const std::string_view argument = arguments[k];
    if (argument.starts_with(kResults))
      std::ofstream(std::string(argument.substr(kResults.size())), std::ios::app) << "\n" << text;
  }
}

double Median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

int RunProgram(const char* name, int (*work)(int, char**), int count, char** arguments) {
  try {
    return work(count, arguments);
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}: {}\n", name, error.what());
    return 1;
  }
}

}  // namespace quiver::bench
