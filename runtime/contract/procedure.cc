// SPDX-License-Identifier: Apache-2.0
// Bodies of the contract's procedure classes: finding the routine, packing, what the last call was, failures.
#include "host/procedure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "runtime/contract/host_access.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/contract/routine_provider.h"

namespace quiver {
namespace {

RoutineProvider* current_provider = nullptr;
thread_local ProcedureFault last_fault;
thread_local std::string routine_reason;
thread_local long long inputs_changed = 0;

constexpr int kTextBytes = 256;  // with the closing zero
constexpr int kTextSlots = kTextBytes / 8;
constexpr int kStatusEntries = 16;

// What our routine libraries mean by their failure flags; other libraries have numbers of their own.
const char* MeaningOf(long long failure) {
  constexpr const char* kMeanings[] = {"the routine never ran",
                                       "an input is not a finite number",
                                       "an input lies outside the range of the routine",
                                       "a text names no option that it knows",
                                       "array sizes do not fit each other",
                                       "a result is not a finite number",
                                       "an equation inside it was not solved",
                                       "it ran out of memory or broke off"};
  return failure >= 1 && failure <= 8 ? kMeanings[failure - 1] : "a number of its own";
}

char* CopyOf(const char* text) {
  const size_t bytes = std::strlen(text ? text : "") + 1;
  void* const copy = MyAllocate(bytes);
  if (!copy) throw std::bad_alloc();
  return static_cast<char*>(std::memcpy(copy, text ? text : "", bytes));
}

RoutineProvider::Found FindRoutine(QV_ProcedureType& procedure) {
  return NotingMemory([&] {
    if (current_provider) return current_provider->Find(procedure.DLLName(), procedure.ProcedureName());
    RoutineProvider::Found none;
    none.reason = "no routine libraries are configured. Name the folder that holds them.";
    return none;
  });
}

// The present value of an element in 64 bits, so that -0.0 differs from 0.0 and equal NaNs do not.
long long BitsOf(QV_VarParam& element) {
  switch (HostAccess::KindOf(element)) {
    case HostAccess::kReal: {
      long long bits;
      std::memcpy(&bits, &HostAccess::Real(element), sizeof bits);
      return bits;
    }
    case HostAccess::kLogical:
      return element.LogicalValue();
    default:
      return element.IntegerValue();
  }
}

// Slots with marks before and behind, to tell when a routine wrote outside them. Several: who is off by one argument of an
// array is off by more than one slot.
template <class T>
class GuardedArray {
  static_assert(sizeof(T) == 8);

 public:
  T* Reset(long long count) {
    values_.assign(static_cast<size_t>(count) + 2 * kMarks, T());
    SetMarks();
    return Data();
  }
  T* Data() { return values_.empty() ? nullptr : values_.data() + kMarks; }
  void SetMarks() {
    if (values_.empty()) return;
    for (size_t k = 0; k < kMarks; ++k) {
      std::memcpy(&values_[k], &kMark, sizeof kMark);
      std::memcpy(&values_[values_.size() - 1 - k], &kMark, sizeof kMark);
    }
  }
  bool Intact() const {
    for (size_t k = 0; k < kMarks && !values_.empty(); ++k)
      if (std::memcmp(&values_[k], &kMark, sizeof kMark) != 0 ||
          std::memcmp(&values_[values_.size() - 1 - k], &kMark, sizeof kMark) != 0)
        return false;
    return true;
  }
  void Clear() {
    if (!values_.empty()) std::fill_n(Data(), Count(), T());
  }
  long long Count() const {
    return values_.empty() ? 0 : static_cast<long long>(values_.size() - 2 * kMarks);
  }

 private:
  static constexpr size_t kMarks = 8;
  static constexpr unsigned long long kMark =
      0x7ff4'5175'6976'6572;  // a signalling NaN that no routine computes
  std::vector<T> values_;
};

}  // namespace

RoutineProvider* CurrentRoutineProvider() { return current_provider; }
RoutineProvider* InstallRoutineProvider(RoutineProvider* provider) {
  RoutineProvider* const before = current_provider;
  current_provider = provider;
  return before;
}

constinit thread_local RunningRoutine running_routine;
const ProcedureFault& LastProcedureFault() { return last_fault; }
void SetRoutineReason(std::string reason) { routine_reason = std::move(reason); }
void ClearProcedureFault() { last_fault = {}; }
int RecordProcedureFault(QV_ProcedureType& procedure, int code, const std::string& what_and_remedy) {
  last_fault.routine = procedure.ProcedureName();
  last_fault.library = procedure.DLLName();
  last_fault.code = code;
  last_fault.sentence =
      fmt::format("Routine {} of library {}: {}", last_fault.routine, last_fault.library, what_and_remedy);
  return code;
}
long long InputsChangedByRoutines() { return inputs_changed; }

}  // namespace quiver

using quiver::HostAccess;

// --- QV_ProcedureType
// ----------------------------------------------------------------------------------------------

QV_ProcedureType::QV_ProcedureType() = default;
QV_ProcedureType::QV_ProcedureType(const QV_ProcedureType& other) = default;
QV_ProcedureType& QV_ProcedureType::operator=(const QV_ProcedureType& other) = default;
QV_ProcedureType::~QV_ProcedureType() = default;
void QV_ProcedureType::SetMode(bool active, int mode) {
  active_ = active;
  mode_ = mode;
}
bool QV_ProcedureType::ReturnsDerivatives() { return false; }
void QV_ProcedureType::CreateDerivatives() {}
void QV_ProcedureType::NegateDerivatives() {}
int QV_ProcedureType::Precall(bool) { return 0; }
int QV_ProcedureType::Postcall(bool) { return 0; }
bool QV_ProcedureType::AlwaysCall() { return false; }
QV_COMPONENTLISTNAME* QV_ProcedureType::ComponentListName() { return nullptr; }

// routine_ keeps the fourteen-pointer routine only; the other form is asked for each time.
void* QV_ProcedureType::GetProcedureAddress() {
  if (!routine_) {
    const auto found = quiver::FindRoutine(*this);
    if (!found.sixteen_arguments) routine_ = found.address;
  }
  return routine_;
}
void* QV_ProcedureType::GetProcedure13Address() {
  const auto found = quiver::FindRoutine(*this);
  return found.sixteen_arguments ? found.address : nullptr;
}
void QV_ProcedureType::UpdateController() { ++quiver::inputs_changed; }

// --- ConstProcValue
// ------------------------------------------------------------------------------------------------

ConstProcValue::ConstProcValue() = default;
ConstProcValue::ConstProcValue(const ConstProcValue& other) { *this = other; }
ConstProcValue& ConstProcValue::operator=(const ConstProcValue& other) {
  if (this == &other) return *this;
  switch (other.kind_) {
    case kInteger:
      Set(other.integer_);
      break;
    case kText:
      Set(other.text_);
      break;
    default:
      Set(other.real_);
      kind_ = other.kind_;
  }
  return *this;
}
ConstProcValue::~ConstProcValue() {
  if (kind_ == kText) MyFree(text_);
}
void ConstProcValue::Set(int value) {
  if (kind_ == kText) MyFree(text_);
  kind_ = kInteger;
  integer_ = value;
}
void ConstProcValue::Set(double value) {
  if (kind_ == kText) MyFree(text_);
  kind_ = kReal;
  real_ = value;
}
void ConstProcValue::Set(const char* value) {
  quiver::NotingMemory([&] {
    char* const copy = quiver::CopyOf(value);  // before the old text goes: it may be the same
    if (kind_ == kText) MyFree(text_);
    kind_ = kText;
    text_ = copy;
  });
}
int ConstProcValue::Integer() const {
  if (kind_ == kInteger) return integer_;
  return kind_ == kReal && std::abs(real_) < 2147483648.0 ? static_cast<int>(real_) : 0;
}
double ConstProcValue::Real() const {
  if (kind_ == kReal) return real_;
  return kind_ == kInteger ? integer_ : 0.0;
}
const char* ConstProcValue::String() const { return kind_ == kText ? text_ : ""; }

// --- QV_ProcedureType_F
// --------------------------------------------------------------------------------------------

struct QV_ProcedureType_F::State {
  quiver::RoutineProvider::Found found;
  long long output_start = 0;
  quiver::GuardedArray<double> slots, derivatives, second_derivatives;
  quiver::GuardedArray<long long> status;
  std::vector<QV_VarParam*> elements;
  State() { status.Reset(quiver::kStatusEntries); }
  std::string text_fault;  // of the packing for the call at hand

  // What the last completed call was and saw.
  int last_type = kQvCallNone;
  std::vector<long long> seen;
  std::vector<std::string> seen_texts;

  // Asked again while it is absent only: the provider outlives the procedures.
  const quiver::RoutineProvider::Found& Routine(QV_ProcedureType& procedure) {
    if (!found.address) found = quiver::FindRoutine(procedure);
    return found;
  }
  bool Sees(QV_VarParam* const* inputs, long long count) const {
    if (static_cast<long long>(seen.size()) != count) return false;
    size_t text = 0;
    for (size_t e = 0; e < seen.size(); ++e) {
      if (HostAccess::KindOf(*inputs[e]) == HostAccess::kText) {
        if (text == seen_texts.size() || seen_texts[text++] != inputs[e]->StringValue()) return false;
      } else if (seen[e] != quiver::BitsOf(*inputs[e])) {
        return false;
      }
    }
    return true;
  }
  void Remember(QV_VarParam* const* inputs, long long count) {
    seen.resize(static_cast<size_t>(count));
    seen_texts.clear();
    for (size_t e = 0; e < seen.size(); ++e) {
      if (HostAccess::KindOf(*inputs[e]) == HostAccess::kText)
        seen_texts.emplace_back(inputs[e]->StringValue());
      else
        seen[e] = quiver::BitsOf(*inputs[e]);
    }
  }
};

QV_ProcedureType_F::QV_ProcedureType_F() : state_(new State) { Status = state_->status.Data(); }
QV_ProcedureType_F::QV_ProcedureType_F(const QV_ProcedureType_F& other)
    : QV_ProcedureType(other), state_(new State) {
  *this = other;
}
QV_ProcedureType_F& QV_ProcedureType_F::operator=(const QV_ProcedureType_F& other) {
  if (this == &other) return *this;
  QV_ProcedureType::operator=(other);
  quiver::NotingMemory([&] { *state_ = *other.state_; });
  Slots = state_->slots.Data();
  Derivatives = state_->derivatives.Data();
  SecondDerivatives = state_->second_derivatives.Data();
  Status = state_->status.Data();
  Elements = state_->elements.data();
  DerivativeDimension = other.DerivativeDimension;
  InputElements = other.InputElements;
  VariableElements = other.VariableElements;
  OutputElements = other.OutputElements;
  Constants = other.Constants;
  return *this;
}
QV_ProcedureType_F::~QV_ProcedureType_F() { delete state_; }

void QV_ProcedureType_F::HandleDerivatives(bool negate) {
  if (!negate) return AllocateDerivatives();
  for (long long i = 0; i < state_->derivatives.Count(); ++i) Derivatives[i] = -Derivatives[i];
}
int QV_ProcedureType_F::LanguageBaseIndex() { return state_->Routine(*this).base_index; }
int QV_ProcedureType_F::TypeSize(int type) { return type == kQvText ? quiver::kTextBytes : 8; }

void QV_ProcedureType_F::FinalizeConstruction(long long output_start, long long total_slots) {
  Elements = nullptr;  // and so it stays without memory
  quiver::NotingMemory([&] {
    state_->output_start = output_start;
    Slots = state_->slots.Reset(total_slots);
    AllocateDerivatives();
    if (!Derivatives) return;
    state_->elements.assign(static_cast<size_t>(InputElements + OutputElements), nullptr);
    Elements = state_->elements.data();
  });
}

bool QV_ProcedureType_F::PresetOutputs() { return state_->Routine(*this).preset_outputs; }
bool QV_ProcedureType_F::PostsetInputs() { return state_->Routine(*this).postset_inputs; }

bool QV_ProcedureType_F::LastCall(int type) {
  if (state_->last_type != type) return false;
  if (type != kQvCallValues && type != kQvCallReturnedDerivatives) return true;
  return state_->Sees(Elements, InputElements);
}

// flag 0: the arguments given are not those of the procedure. 1: a call is about to be made.
int QV_ProcedureType_F::EnsureCompatibleDLLLoaded(int flag) {
  return quiver::NotingMemory([&] {
    const auto refuse = [this](int code, const std::string& why) {
      state_->last_type = kQvCallNone;
      state_->text_fault.clear();
      return quiver::RecordProcedureFault(*this, code, why);
    };
    if (flag == 0) {
      return refuse(
          quiver::kArgumentsUnfit,
          "the arguments given are not complete, or differ in number or size from those of the procedure. "
          "Check the model's call against the procedure's signature.");
    }
    if (!state_->text_fault.empty()) return refuse(quiver::kArgumentsUnfit, std::string(state_->text_fault));
    const auto& found = state_->Routine(*this);
    if (!found.address) return refuse(quiver::kRoutineAbsent, found.reason);
    state_->status.Clear();
    if (ReturnsDerivatives()) state_->derivatives.Clear();  // entries that the routine leaves out are zero
    return 0;
  });
}

int QV_ProcedureType_F::CheckIFailAndOutputs(long long failure, int type, bool flag) {
  return quiver::NotingMemory([&] {
    state_->last_type = kQvCallNone;
    const char* const overrun = !state_->slots.Intact()                ? "arguments"
                                : !state_->derivatives.Intact()        ? "derivatives"
                                : !state_->second_derivatives.Intact() ? "second derivatives"
                                : !state_->status.Intact()             ? "status entries"
                                                                       : nullptr;
    if (overrun) {
      state_->slots.SetMarks();
      state_->derivatives.SetMarks();
      state_->second_derivatives.SetMarks();
      state_->status.SetMarks();
      return quiver::RecordProcedureFault(
          *this, quiver::kMemoryOverrun,
          fmt::format("it wrote outside its {}. Its argument list differs from the procedure's; do not trust "
                      "this run.",
                      overrun));
    }
    if (failure != 0) {
      if (!quiver::routine_reason.empty())
        return quiver::RecordProcedureFault(*this, quiver::kRoutineFailed,
                                            std::exchange(quiver::routine_reason, {}));
      const long long input = Status[0];
      const std::string where = input > 0 ? fmt::format(" Look at its input {}.", input) : "";
      return quiver::RecordProcedureFault(
          *this, quiver::kRoutineFailed,
          fmt::format("it reported failure {} ({}).{} Start from inputs inside its range.", failure,
                      quiver::MeaningOf(failure), where));
    }
    const bool gives_values = type == kQvCallValues || type == kQvCallReturnedDerivatives;
    const bool all_scalar_slots = state_->slots.Count() - state_->output_start == OutputElements;
    if (flag && gives_values && all_scalar_slots) {
      for (long long j = 0; j < OutputElements; ++j) {
        const double value = Slots[state_->output_start + j];
        if (std::isfinite(value) || HostAccess::KindOf(*Elements[InputElements + j]) != HostAccess::kReal)
          continue;
        long long
            integer;  // an integer output for a real variable: small negative integers have the bits of a NaN
        std::memcpy(&integer, &value, sizeof integer);
        if (integer < 0 && integer >= std::numeric_limits<int>::min()) continue;
        return quiver::RecordProcedureFault(*this, quiver::kOutputsInvalid,
                                            fmt::format("output {} of {} came back as {}, which is no finite "
                                                        "number. Start from inputs inside its range.",
                                                        j + 1, OutputElements, value));
      }
    }
    state_->last_type = type;
    if (gives_values) state_->Remember(Elements, InputElements);
    return 0;
  });
}

void QV_ProcedureType_F::PackIntegerArray(long long slot, long long k, const int* values, long long count) {
  for (long long i = 0; i < count; ++i) {
    const long long wide = values[i];
    std::memcpy(Slots + slot + k + i, &wide, sizeof wide);
  }
}
void QV_ProcedureType_F::PackRealArray(long long slot, const double* values, long long count) {
  for (long long i = 0; i < count; ++i) Slots[slot + i] = values[i];
}
// A text too long is not cut: half a name may be another's. The call that follows is refused.
void QV_ProcedureType_F::PackStr(long long slot, const char* text) {
  char* const place = reinterpret_cast<char*>(Slots + slot);
  const size_t length = std::strlen(text);
  if (length >= quiver::kTextBytes) {
    std::memset(place, 0, quiver::kTextBytes);
    quiver::NotingMemory([&] {
      state_->text_fault =
          fmt::format("the text \"{:.40}...\" has {} characters; a routine takes at most {}.", text, length,
                      quiver::kTextBytes - 1);
    });
    return;
  }
  std::memcpy(place, text, length);
  std::memset(place + length, 0, quiver::kTextBytes - length);
}
void QV_ProcedureType_F::PackStringArray(long long slot, const char* const* texts, long long count) {
  for (long long i = 0; i < count; ++i) PackStr(slot + i * quiver::kTextSlots, texts[i]);
}
int QV_ProcedureType_F::UnpackInteger(long long slot, long long k) {
  long long wide;
  std::memcpy(&wide, Slots + slot + k, sizeof wide);
  return static_cast<int>(wide);
}
const char* QV_ProcedureType_F::UnpackStr(long long slot, long long k) {
  char* const text = reinterpret_cast<char*>(Slots + slot + k * quiver::kTextSlots);
  text[quiver::kTextBytes - 1] = 0;
  return text;
}

void QV_ProcedureType_F::ClearDerivatives() {
  state_->derivatives.Clear();
  state_->second_derivatives.Clear();
}
// Made once: one column per input value, constants among them, one row per output element.
void QV_ProcedureType_F::AllocateDerivatives() {
  if (Derivatives) return;
  quiver::NotingMemory([&] {
    DerivativeDimension = OutputElements;
    const long long entries = std::max(1LL, OutputElements * (InputElements + Constants));
    SecondDerivatives = state_->second_derivatives.Reset(entries);
    Derivatives = state_->derivatives.Reset(entries);
  });
}

// --- The others
// ----------------------------------------------------------------------------------------------------

void QV_DynamicProcExtensions::WholeArray(QV_ArrayBase&) {}
QV_DynamicProcExtensions::~QV_DynamicProcExtensions() = default;

QV_ProcedureEquationType::QV_ProcedureEquationType(QV_ProcedureType* procedure, int number, int group,
                                                   QV_Container* owner, const char* name, int count,
                                                   bool flag, const char* label)
    : procedure_(procedure),
      number_(number),
      group_(group),
      count_(count),
      flag_(flag),
      owner_(owner),
      name_(quiver::CopyOf(name)) {
  try {
    label_ = quiver::CopyOf(label);
  } catch (const std::bad_alloc&) {
    MyFree(name_);
    throw;
  }
}
QV_ProcedureEquationType::~QV_ProcedureEquationType() {
  MyFree(name_);
  MyFree(label_);
}
