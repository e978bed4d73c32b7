// SPDX-License-Identifier: Apache-2.0
#include "host/sets.h"

#include <fmt/format.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/names.h"
#include "runtime/contract/readings.h"
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
// Of a set that is wrong: in whose text, as far as that is known.
void Fault(const std::string& what) {
  const Current& current = ThisThread();
  if (!current.scope) return;
  current.scope->Fault(current.instance ? fmt::format("{}: {}", InstanceName(*current.instance), what)
                                        : what);
}
}  // namespace

SetStorage* SetStorage::Lasting(SetStorage set) {
  static std::mutex mutex;
  static std::unordered_multimap<size_t, std::unique_ptr<SetStorage>> sets;
  if (set == Empty()) return &Empty();
  size_t hash = set.is_text;
  for (const int value : set.integers) hash = hash * 0x9E3779B97F4A7C15u + static_cast<unsigned>(value);
  for (const std::string& value : set.texts)
    hash = hash * 0x9E3779B97F4A7C15u + std::hash<std::string>()(value);
  const std::lock_guard lock(mutex);
  for (auto [known, end] = sets.equal_range(hash); known != end; ++known)
    if (*known->second == set) return known->second.get();
  return sets.emplace(hash, std::make_unique<SetStorage>(std::move(set)))->second.get();
}

SetStorage* SetStorage::FromTexts(std::vector<std::string> texts) {
  SetStorage set;
  set.is_text = true;
  set.texts = std::move(texts);
  return Lasting(std::move(set));
}

SetStorage* SetStorage::FromText(const char* text) {
  std::vector<std::string> texts;
  ForEachValue(text, [&](std::string_view value) { texts.emplace_back(value); });
  return FromTexts(std::move(texts));
}

SetStorage* SetStorage::FromIntegers(const char* text) {
  SetStorage set;
  ForEachValue(text, [&](std::string_view value) {
    const bool range = !value.empty() && value.front() == ':';
    if (range) value.remove_prefix(1);
    int number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    const bool whole = error == std::errc() && end == value.data() + value.size();
    if (!whole || (range && set.integers.empty())) {
      Fault(fmt::format("a set of integers holds \"{}\", which is not a whole number.", value));
      return;
    }
    if (!range) {
      set.integers.push_back(number);
      return;
    }
    const long long first = set.integers.back() + 1LL;
    if (number - first + set.Count() >= kLargestRange) {
      Fault(fmt::format(
          "a set of integers would hold the range from {} to {}. Give a range of at most {} numbers.",
          first - 1, number, kLargestRange));
      return;
    }
    for (long long i = first; i <= number; ++i) set.integers.push_back(static_cast<int>(i));
  });
  return Lasting(std::move(set));
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

// Takes no memory: it is what a set that cannot be told apart from none reads as.
SetStorage& SetStorage::Empty() {
  static SetStorage empty;
  return empty;
}

namespace {
QV_Set& Elements(QV_VarParam& holder) {
  NoteReading(holder, Reading::kValue);
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
