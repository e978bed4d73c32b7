// SPDX-License-Identifier: Apache-2.0
// What a bench was to reach and what it measured: a table for the terminal and for bench/results.md.
//
//   GoalTable goals("Evaluation");
//   goals.Add("repeated, 1,000 copies", "<= 0.7 x hand scalar", ratio, ratio <= 0.7, "x");
//   goals.Note("text below the table");
//   goals.Finish(argc, argv);            // prints; with --results=FILE also appends there
#pragma once

#include <string>
#include <vector>

namespace quiver::bench {

class GoalTable {
 public:
  explicit GoalTable(std::string title) : title_(std::move(title)) {}
  void Add(std::string work, std::string goal, double measured, bool met, std::string unit);
  // A paragraph of Markdown.
  void Note(std::string text) { notes_.push_back(std::move(text)); }
  void Finish(int count, char** arguments) const;
  std::string Markdown() const;

 private:
  struct Row {
    std::string work, goal, measured;
    bool met;
  };
  std::string title_;
  std::vector<Row> rows_;
  std::vector<std::string> notes_;
};

// main() of a bench: what is thrown ends in a message and exit 1.
int RunProgram(const char* name, int (*work)(int, char**), int count, char** arguments);

// The median of the values; they are reordered.
double Median(std::vector<double>& values);

}  // namespace quiver::bench
