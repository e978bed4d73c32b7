// SPDX-License-Identifier: Apache-2.0
#include "runtime/contract/names.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <unordered_set>

#include "host/value.h"

namespace quiver {
namespace {

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string Demangled(const char* mangled) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(
      abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
  return text ? text.get() : mangled;
}

}  // namespace

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = Upper(c);
  return upper;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (Upper(a[i]) != Upper(b[i])) return false;
  return true;
}

namespace {
struct TextHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};
}  // namespace

const char* Interned(std::string_view text) {
  static std::mutex mutex;
  static std::unordered_set<std::string, TextHash, std::equal_to<>> texts;
  const std::lock_guard lock(mutex);
  const auto known = texts.find(text);
  return known != texts.end() ? known->c_str() : texts.emplace(text).first->c_str();
}

std::string TypeName(const std::type_info& type) { return Demangled(type.name()); }

std::string HeldTypeName(const char* mangled) {
  const std::string name = Demangled(mangled);
  const size_t open = name.find('<'), close = name.rfind('>');
  return open == std::string::npos ? name : name.substr(open + 1, close - open - 1);
}

}  // namespace quiver

int SUValue::CompareCI(const char* a, const char* b) {
  const unsigned char* x = reinterpret_cast<const unsigned char*>(a ? a : "");
  const unsigned char* y = reinterpret_cast<const unsigned char*>(b ? b : "");
  for (;; ++x, ++y) {
    const int p = static_cast<unsigned char>(quiver::Upper(static_cast<char>(*x)));
    const int q = static_cast<unsigned char>(quiver::Upper(static_cast<char>(*y)));
    if (p != q) return p < q ? -1 : 1;
    if (p == 0) return 0;
  }
}
