// SPDX-License-Identifier: Apache-2.0
// Runs build/bin/quiver as a user would, and reads what it says.
//
//   const Answer answer = Quiver({"list", "models", "--json"});
//   EXPECT_EQ(answer.status, 0);   answer.Document()[0]["name"]
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace quiver::testing {

using Json = nlohmann::ordered_json;

// A folder of the test's own, gone with it. The program runs there, far from the build and the sources.
class Scratch {
 public:
  Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() { std::filesystem::remove_all(path_); }
  const std::filesystem::path& path() const { return path_; }
  void Write(const std::string& file, const std::string& text) const;

 private:
  std::filesystem::path path_;
};

struct Answer {
  int status = -1;  // as RunProgram returns it
  std::string out, err;

  // Standard output is exactly one JSON document.
  Json Document() const {
    Json document = Json::parse(out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << "no JSON document: " << out << err;
    return document;
  }
};

// A line of the shell, in the folder; where there is one.
#if defined(_WIN32)
constexpr bool kHasShell = false;
#else
constexpr bool kHasShell = true;
#endif
Answer Shell(const std::string& line, const Scratch& scratch);
Answer Quiver(const std::vector<std::string>& arguments, const Scratch& scratch = Scratch());
// quiver solve case.yaml MORE...
Answer SolveText(const std::string& case_text, std::vector<std::string> more = {});
// The same words, numbers to the digits printed. How a solution was reached (iterations, residual) may differ.
void ExpectSameOutput(const std::string& found, const std::string& expected);
std::string ReadText(const std::filesystem::path& path);

}  // namespace quiver::testing
