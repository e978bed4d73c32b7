// SPDX-License-Identifier: Apache-2.0
#include "host/sets.h"

#include <charconv>
#include <cstring>
#include <string_view>

#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"
#include "runtime/contract/scope.h"
#include "runtime/contract/set_storage.h"

namespace quiver {
namespace {
// Calls use(value) for every value of a text in which each is followed by a double quote.
template <class Use>
void ForEachValue(const char* text, Use use) {
  std::string_view rest = text ? text : "";
  for (size_t end; (end = rest.find('"')) != std::string_view::npos; rest.remove_prefix(end + 1))
    use(rest.substr(0, end));
}
constexpr long long kLargestSet = 100'000'000;  // beyond it a range is taken for a slip of the pen
}  // namespace

SetStorage* SetStorage::FromText(const char* text) {
  auto* set = new SetStorage;
  set->is_text = true;
  ForEachValue(text, [&](std::string_view value) { set->texts.emplace_back(value); });
  return set;
}

SetStorage* SetStorage::FromIntegers(const char* text) {
  auto* set = new SetStorage;
  ForEachValue(text, [&](std::string_view value) {
    const bool range = !value.empty() && value.front() == ':';
    if (range) value.remove_prefix(1);
    int number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    const bool whole = error == std::errc() && end == value.data() + value.size();
    if (!whole || (range && set->integers.empty())) {
      if (Scope* scope = ThisThread().scope)
        scope->Fault("a set of integers holds \"" + std::string(value) + "\", which is not a whole number.");
      return;
    }
    if (!range) {
      set->integers.push_back(number);
      return;
    }
    const long long first = set->integers.back() + 1LL;
    if (number - first > kLargestSet) {
      if (Scope* scope = ThisThread().scope)
        scope->Fault("a set of integers would hold more than 100 million elements.");
      return;
    }
    for (long long i = first; i <= number; ++i) set->integers.push_back(static_cast<int>(i));
  });
  return set;
}

bool SetStorage::Contains(const char* text) const {
  for (const std::string& value : texts)
    if (EqualIgnoringCase(value, text ? text : "")) return true;
  return false;
}

std::string SetStorage::Describe() const {
  std::string all;
  for (const std::string& value : texts) all += (all.empty() ? "\"" : ", \"") + value + "\"";
  for (int value : integers) all += (all.empty() ? "" : ", ") + std::to_string(value);
  return all;
}

SetStorage& SetStorage::Empty() {
  static SetStorage empty;
  return empty;
}

namespace {
QV_Set& Elements(QV_VarParam& holder) {
  SetStorage* set = HostAccess::Set(holder);
  return set ? *set : SetStorage::Empty();
}
}  // namespace
}  // namespace quiver

QV_Set::~QV_Set() = default;
QV_SetIter::QV_SetIter(QV_Set& set) : set_(&quiver::ElementsOf(set)) {}
QV_SetIter::~QV_SetIter() = default;
bool QV_SetIter::Next() {
  if (position_ < set_->Count()) ++position_;
  return position_ < set_->Count();
}
int QV_IntegerSetIter::Value() const {
  const bool inside = !set_->is_text && position_ >= 0 && position_ < set_->Count();
  return inside ? set_->integers[static_cast<size_t>(position_)] : 0;
}
const char* QV_StringSetIter::Value() const {
  const bool inside = set_->is_text && position_ >= 0 && position_ < set_->Count();
  return inside ? set_->texts[static_cast<size_t>(position_)].c_str() : "";
}

QV_INTEGERSET::QV_INTEGERSET(bool) : QV_VarParam(kSet, false) {}
QV_Set& QV_INTEGERSET::operator*() { return quiver::Elements(*this); }
QV_STRINGSET::QV_STRINGSET(bool) : QV_VarParam(kSet, false) {}
QV_Set& QV_STRINGSET::operator*() { return quiver::Elements(*this); }
QV_COMPONENTLISTNAME::QV_COMPONENTLISTNAME(bool) : QV_VarParam(kSet, false) {}
QV_Set& QV_COMPONENTLISTNAME::operator*() { return quiver::Elements(*this); }
void QV_COMPONENTLISTNAME::BeginPropertiesCall() { quiver::PushComponentList(this); }
void QV_COMPONENTLISTNAME::EndPropertiesCall() { quiver::PopComponentList(); }
