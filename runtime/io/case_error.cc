// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/case_error.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

#include "runtime/io/utf8.h"

namespace quiver {
namespace {

constexpr std::size_t kShownFaults = 50;
constexpr std::size_t kShownCharacters = 60;

}  // namespace

void AddFault(std::vector<CaseFault>& faults, Location at, std::string message, std::string remedy) {
  if (faults.size() < kMostFaults) faults.emplace_back(at, std::move(message), std::move(remedy));
}

CaseError::CaseError(std::string name, std::vector<CaseFault> faults) : faults_(std::move(faults)) {
  std::stable_sort(faults_.begin(), faults_.end(), [](const CaseFault& a, const CaseFault& b) {
    return std::tie(a.line, a.column) < std::tie(b.line, b.column);
  });
  // What an alias shares is checked once for every use.
  const auto same = [](const CaseFault& a, const CaseFault& b) {
    return a.line == b.line && a.column == b.column && a.message == b.message;
  };
  const char* least = faults_.size() >= kMostFaults ? "at least " : "";
  faults_.erase(std::unique(faults_.begin(), faults_.end(), same), faults_.end());
  for (std::size_t i = 0; i < faults_.size(); ++i) {
    const CaseFault& fault = faults_[i];
    if (i > 0) text_ += '\n';
    if (i == kShownFaults) {
      text_ += fmt::format("{}: {}{} more faults", name, least, faults_.size() - i);
      break;
    }
    text_ += name;
    if (fault.line > 0) text_ += fmt::format(":{}:{}", fault.line, fault.column);
    text_ += ": " + fault.message;
    if (!fault.remedy.empty()) text_ += ": " + fault.remedy;
  }
}

std::string QuoteForMessage(std::string_view text) {
  std::string quoted = "\"";
  for (std::size_t characters = 0; !text.empty(); ++characters) {
    if (characters == kShownCharacters) return quoted + "...\"";
    const std::size_t length = CharacterLength(text);
    const auto byte = static_cast<unsigned char>(text[0]);
    if (length == 0 || byte < 0x20 || byte == 0x7f)
      quoted += fmt::format("\\x{:02x}", byte);
    else
      quoted += text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return quoted + '"';
}

}  // namespace quiver
