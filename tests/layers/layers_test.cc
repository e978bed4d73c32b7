// SPDX-License-Identifier: Apache-2.0
// Every #include "..." of the tree against the table of docs/architecture.md: who may include whom.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

std::string ReadText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

bool IsWithin(const std::string& path, const std::string& folder) {
  return path == folder || path.starts_with(folder + "/");
}

// Folder -> folders and files that it may include.
using Rules = std::map<std::string, std::vector<std::string>>;

// The rows below the header "| folder | may include |", names between back-quotes.
Rules ReadRules(const std::string& page) {
  Rules rules;
  std::istringstream lines(page.substr(page.find("| folder | may include |")));
  std::string line;
  std::getline(lines, line);
  std::getline(lines, line);
  static const std::regex quoted("`([^`]+)`");
  while (std::getline(lines, line) && line.starts_with("|")) {
    std::vector<std::string> names;
    for (std::sregex_iterator it(line.begin(), line.end(), quoted), end; it != end; ++it)
      names.push_back((*it)[1]);
    rules[names.at(0)].assign(names.begin() + 1, names.end());
  }
  return rules;
}

// The row that holds for a file: the longest that fits. Empty when none does.
std::string RowOf(const Rules& rules, const std::string& file) {
  std::string best;
  for (const auto& [folder, allowed] : rules)
    if (IsWithin(file, folder) && folder.size() > best.size()) best = folder;
  return best;
}

// What is wrong with the includes of one file, a line each.
std::vector<std::string> CheckFile(const Rules& rules, const std::string& file, const std::string& text) {
  std::vector<std::string> findings;
  const std::string row = RowOf(rules, file), own_folder = fs::path(file).parent_path().string();
  if (row.empty()) return {file + ": no row of the table holds for it"};
  static const std::regex include(R"re(^[ \t]*#[ \t]*include[ \t]*([<"])([^>"]+)[>"])re");
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    std::smatch match;
    if (!std::regex_search(line, match, include)) continue;
    const std::string target = match[2];
    bool allowed =
        match[1] == "<" ? row != "host" || target == "utility" : fs::path(target).parent_path() == own_folder;
    if (match[1] == "\"")
      for (const std::string& name : rules.at(row)) allowed = allowed || IsWithin(target, name);
    if (!allowed)
      findings.push_back(file + ":" + std::to_string(number) + ": " + row + " may not include " + target);
  }
  return findings;
}

bool HasCircle(const Rules& rules) {
  std::set<std::string> done, open;
  const auto visit = [&](const auto& self, const std::string& folder) -> bool {
    if (done.contains(folder)) return false;
    if (!open.insert(folder).second) return true;
    for (const std::string& target : rules.at(folder)) {
      if (target.ends_with(".h")) continue;  // one header is checked by its own folder's row
      for (const auto& [other, allowed] : rules)
        if (IsWithin(other, target) && other != folder && self(self, other)) return true;
    }
    open.erase(folder);
    done.insert(folder);
    return false;
  };
  for (const auto& [folder, allowed] : rules)
    if (visit(visit, folder)) return true;
  return false;
}

const fs::path kRoot = QUIVER_SOURCE_DIR;

TEST(Layers, EveryIncludePointsDownwards) {
  const Rules rules = ReadRules(ReadText(kRoot / "docs/architecture.md"));
  std::vector<std::string> findings;
  int files = 0;
  std::set<std::string> tops;
  for (const auto& [folder, allowed] : rules) tops.insert(folder.substr(0, folder.find('/')));
  for (const std::string& top : tops) {
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / top)) {
      static const std::set<std::string> kinds = {".h", ".cc", ".c", ".def", ".in"};
      if (!entry.is_regular_file() || !kinds.contains(entry.path().extension().string())) continue;
      const std::string file = fs::relative(entry.path(), kRoot).generic_string();
      for (std::string& finding : CheckFile(rules, file, ReadText(entry.path())))
        findings.push_back(std::move(finding));
      ++files;
    }
  }
  EXPECT_THAT(findings, IsEmpty());
  EXPECT_GT(files, 150);
  EXPECT_FALSE(HasCircle(rules));
}

TEST(Layers, EveryFolderWithSourcesHasARow) {
  const Rules rules = ReadRules(ReadText(kRoot / "docs/architecture.md"));
  for (const auto& entry : fs::directory_iterator(kRoot / "runtime"))
    EXPECT_TRUE(!entry.is_directory() || !RowOf(rules, "runtime/" + entry.path().filename().string()).empty())
        << entry.path();
  for (const auto& [folder, allowed] : rules) {
    EXPECT_TRUE(fs::is_directory(kRoot / folder)) << folder << " is no folder of the tree";
    for (const std::string& name : allowed)
      EXPECT_TRUE(fs::exists(kRoot / name)) << name << " in the row of " << folder;
  }
}

TEST(Layers, WrongIncludesAreFound) {
  const Rules rules = ReadRules(
      "| folder | may include |\n|---|---|\n| `host` | `host` |\n| `models` | `host`, `frame/model.h` |\n");
  EXPECT_THAT(CheckFile(rules, "models/relief/a.cc",
                        "#include \"models/relief/b.h\"\n#include <vector>\n#include \"host/x.h\"\n"
                        "#include \"frame/model.h\"\n  #  include \"frame/other.h\"\n#include "
                        "\"models/valves/c.h\"\n"),
              ElementsAre("models/relief/a.cc:5: models may not include frame/other.h",
                          "models/relief/a.cc:6: models may not include models/valves/c.h"));
  EXPECT_THAT(
      CheckFile(rules, "host/a.h", "#include <string>\n#include \"hostile/b.h\"\n"),
      ElementsAre("host/a.h:1: host may not include string", "host/a.h:2: host may not include hostile/b.h"));
  EXPECT_THAT(CheckFile(rules, "elsewhere/a.h", ""),
              ElementsAre("elsewhere/a.h: no row of the table holds for it"));
  EXPECT_TRUE(HasCircle(
      ReadRules("| folder | may include |\n|---|---|\n| `a` | `b` |\n| `b` | `c` |\n| `c` | `a` |\n")));
}

}  // namespace
