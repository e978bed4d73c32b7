// SPDX-License-Identifier: Apache-2.0
#include "host/arrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "runtime/contract/array_storage.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/names.h"
#include "runtime/contract/readings.h"
#include "runtime/contract/scope.h"

namespace quiver {
namespace {

// The place of an index in its set; texts are compared without regard to letter case, as component names are.
long long PlaceInSet(const SetStorage& set, const void* index) {
  if (set.is_text) {
    const char* text = static_cast<const char*>(index);
    for (size_t i = 0; i < set.texts.size(); ++i)
      if (EqualIgnoringCase(set.texts[i], text ? text : "")) return static_cast<long long>(i);
    return -1;
  }
  const long long value = *static_cast<const int*>(index);
  const auto& v = set.integers;
  if (!v.empty() && value >= v.front() && static_cast<size_t>(value - v.front()) < v.size() &&
      v[static_cast<size_t>(value - v.front())] == value)
    return value - v.front();  // a plain range
  const auto found = std::find(v.begin(), v.end(), value);
  return found == v.end() ? -1 : found - v.begin();
}

bool IsContainer(QV_Type* probe) {
  const std::unique_ptr<QV_Type> owned(probe);
  return dynamic_cast<QV_Container*>(probe) != nullptr;
}

}  // namespace

long long ArrayStorage::PositionOf(const void* const* indices) const {
  long long position = 0;
  for (size_t k = 0; k < sets.size(); ++k) {
    const long long place = PlaceInSet(sets[k], indices[k]);
    if (place < 0) return -1;
    position = position * sets[k].Count() + place;
  }
  return position;
}

}  // namespace quiver

using quiver::ArrayStorage;
using quiver::HostAccess;
using quiver::NoteReading;
using quiver::Reading;

QV_ArrayBase::QV_ArrayBase() : QV_VarParam(kArray, false) {}
QV_ArrayBase& QV_ArrayBase::operator=(const QV_ArrayBase& other) {
  if (this != &other) CopyElements(other);
  return *this;
}
QV_ArrayBase::~QV_ArrayBase() {
  if (!storage_) return;
  for (auto element = storage_->elements.rbegin(); element != storage_->elements.rend(); ++element)
    delete *element;
  delete storage_;
}
long long QV_ArrayBase::Count() const {
  NoteReading(*this, Reading::kDimensions);
  return storage_ ? static_cast<long long>(storage_->elements.size()) : 0;
}
int QV_ArrayBase::Rank() const {
  NoteReading(*this, Reading::kDimensions);
  return storage_ ? static_cast<int>(storage_->sets.size()) : 0;
}
long long QV_ArrayBase::Size(int dimension) const {
  NoteReading(*this, Reading::kDimensions);
  return storage_->sets[static_cast<size_t>(dimension)].Count();
}
QV_Type& QV_ArrayBase::At(long long position) const {
  NoteReading(*this, Reading::kDimensions);
  return *storage_->elements[static_cast<size_t>(position)];
}

void QV_ArrayBase::Resize(QV_Set* const* sets, int rank) {
  const quiver::IndexSets indexed(sets, rank);
  if (storage_ && storage_->sets == indexed) return;
  // Without memory for it the array stays as it was.
  quiver::NotingMemory([&] {
    long long count = 1;
    bool fits = true;
    for (int k = 0; k < rank && fits; ++k) {
      count *= indexed[static_cast<size_t>(k)].Count();
      fits = count <= quiver::kLargestArray;
    }
    const bool of_models = count > quiver::kMostSubModels && quiver::IsContainer(quiver::MakeElement(*this));
    if (!fits || of_models) {
      if (quiver::Scope* scope = quiver::ThisThread().scope)
        scope->RefuseSize(fmt::format("{} would have {}{} elements. Give sizes that make at most {}.",
                                      quiver::QualifiedName(*this), fits ? "" : "at least ", count,
                                      of_models ? quiver::kMostSubModels : quiver::kLargestArray));
      return;
    }
    auto next = std::make_unique<ArrayStorage>();
    next->sets = indexed;
    if (quiver::Scope* scope = quiver::ThisThread().scope) ++scope->resized_arrays;

    // Elements whose indices stay move over; the others are made new or given back.
    std::vector<bool> kept(storage_ ? storage_->elements.size() : 0, false);
    std::vector<bool> moved(static_cast<size_t>(count), false);
    next->elements.reserve(static_cast<size_t>(count));
    const auto give_back = [&] {
      for (size_t i = 0; i < next->elements.size(); ++i)
        if (!moved[i]) delete next->elements[i];
    };
    try {
      std::vector<const void*> indices(static_cast<size_t>(rank));
      for (long long position = 0; position < count; ++position) {
        QV_Type* element = nullptr;
        if (storage_) {
          long long rest = position;
          for (int k = rank - 1; k >= 0; --k) {
            const quiver::SetStorage& set = next->sets[static_cast<size_t>(k)];
            const auto place = static_cast<size_t>(rest % set.Count());
            rest /= set.Count();
            indices[static_cast<size_t>(k)] = set.is_text ? static_cast<const void*>(set.texts[place].c_str())
                                                          : static_cast<const void*>(&set.integers[place]);
          }
          const bool same_kinds = [&] {
            for (int k = 0; k < rank; ++k) {
              const quiver::SetStorage& old = storage_->sets[static_cast<size_t>(k)];
              if (old.Count() && old.is_text != next->sets[static_cast<size_t>(k)].is_text) return false;
            }
            return true;
          }();
          const long long before = same_kinds ? storage_->PositionOf(indices.data()) : -1;
          if (before >= 0 && !kept[static_cast<size_t>(before)]) {
            kept[static_cast<size_t>(before)] = moved[static_cast<size_t>(position)] = true;
            element = storage_->elements[static_cast<size_t>(before)];
          }
        }
        if (!element) element = quiver::MakeElement(*this);
        next->elements.push_back(element);
        if (auto* holder = dynamic_cast<QV_VarParam*>(element)) {
          HostAccess::PropertyIndex(*holder) = static_cast<int>(position);
          HostAccess::Parent(*holder) = this;
          quiver::GiveTypeDefault(*holder);
          if (quiver::Scope* scope = quiver::ThisThread().scope) scope->Number(*holder);
        }
      }
    } catch (...) {
      give_back();
      throw;
    }
    if (storage_) {
      for (size_t i = 0; i < storage_->elements.size(); ++i)
        if (!kept[i]) delete storage_->elements[i];
      delete storage_;
    }
    storage_ = next.release();
  });
}

QV_Type& QV_ArrayBase::FindElement(const void* const* indices, const char* shape) const {
  NoteReading(*this, Reading::kDimensions);
  const long long position = storage_ ? storage_->PositionOf(indices) : -1;
  if (position >= 0) return At(position);
  // The model's text names an element that its own sets do not have. The call must yield one, and nothing may
  // be thrown through the library: the finding stops the simulation, the stray element serves until then.
  QV_Type* stray = const_cast<QV_ArrayBase*>(this)->NewElement();
  if (!stray) quiver::EndForMemory(sizeof(QV_VarParam));
  quiver::NotingMemory([&] {
    quiver::Scope* scope = quiver::ThisThread().scope;
    if (!scope) return;
    scope->Adopt(stray);
    if (auto* holder = dynamic_cast<QV_VarParam*>(stray)) scope->Number(*holder);
    std::string text;
    for (int k = 0; shape[k]; ++k) {
      text += k ? "," : "";
      text += shape[k] == 'S' ? static_cast<const char*>(indices[k])
                              : std::to_string(*static_cast<const int*>(indices[k]));
    }
    scope->Fault(fmt::format("{} has no element ({}).",
                             quiver::QualifiedName(const_cast<QV_ArrayBase&>(*this)), text));
  });
  return *stray;
}

void QV_ArrayBase::CopyElements(const QV_ArrayBase& other) {
  if (other.storage_) {
    Resize(other.storage_->sets.data(), static_cast<int>(other.storage_->sets.size()));
  } else if (storage_) {
    for (QV_Type* element : storage_->elements) delete element;
    delete storage_;
    storage_ = nullptr;
  }
  for (long long i = 0; i < std::min(Count(), other.Count()); ++i) {  // fewer where memory ran out
    auto* to = dynamic_cast<QV_VarParam*>(&At(i));
    const auto* from = dynamic_cast<const QV_VarParam*>(&other.At(i));
    if (to && from) *to = *from;
  }
}

void QV_ArrayBase::TakeElements(QV_ArrayBase& other) noexcept {
  std::swap(storage_, other.storage_);
  for (QV_ArrayBase* array : {this, &other})
    for (long long i = 0; i < array->Count(); ++i)
      if (auto* holder = dynamic_cast<QV_VarParam*>(&array->At(i))) HostAccess::Parent(*holder) = array;
}
