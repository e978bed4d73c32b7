// SPDX-License-Identifier: Apache-2.0
//
// What is wrong with a file of the user's: every fault found, with its place and what to do.
//
//   try { ReadCaseFile(path); } catch (const CaseError& error) { fmt::print(stderr, "{}\n", error.what()); }
//
// prints
//
//   relief.yaml:7:5: unknown key "sets" in block psv: did you mean "set"?
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace quiver {

// Counted from 1, columns in characters; line 0 stands for the file as a whole.
struct Location {
  int line = 0;
  int column = 0;
  auto operator<=>(const Location&) const = default;
};

struct CaseFault {
  int line = 0;
  int column = 0;
  std::string message;  // what is wrong and where in the case
  std::string remedy;   // what to do about it

  CaseFault() = default;
  CaseFault(Location at, std::string what, std::string todo)
      : line(at.line), column(at.column), message(std::move(what)), remedy(std::move(todo)) {}
};

// Whoever has this many faults stops looking for more; AddFault drops them.
constexpr std::size_t kMostFaults = 1000;

void AddFault(std::vector<CaseFault>& faults, Location at, std::string message, std::string remedy);

// At least one fault, in the order of the file.
class CaseError : public std::exception {
 public:
  // `name` is that of the file or of whatever the text came from.
  CaseError(std::string name, std::vector<CaseFault> faults);

  const std::vector<CaseFault>& faults() const { return faults_; }

  // One line a fault, "name:line:column: message: remedy"; after the first 50 only their number.
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::vector<CaseFault> faults_;
  std::string text_;
};

// User text for a message: in quotes, control characters and what is not UTF-8 as \xNN, cut at 60 characters.
std::string QuoteForMessage(std::string_view text);

}  // namespace quiver
