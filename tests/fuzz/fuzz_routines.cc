// SPDX-License-Identifier: Apache-2.0
// Any arguments for the numerical routines, handed over as models do: through the procedure's wrapper, which packs them, calls
// the routine for values and derivatives and looks what came back. The first byte chooses the procedure; then, argument by
// argument, sizes of arrays and values of elements as Bytes reads them. Procedures whose routine is not installed fail with a
// sentence.
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "host/modeller/variable_types.h"
#include "procedures/catalogue.h"
#include "procedures/host_procedures.h"
#include "runtime/cases/installation.h"
#include "runtime/contract/procedure_access.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/contract/scope.h"
#include "tests/fuzz/bytes.h"

namespace quiver::fuzz {
namespace {

constexpr int kLargestSize = 6;  // of a dimension; equal to that of the argument before where the byte is 255
constexpr const char* kOptions[] = {"",    "LINEAR",  "Vertical", "Horizontal", "Flat",       "Ellipsoidal",
                                    "Yes", "Hermite", "Spline",   "Quadratic",  "Elliptical", "Dished"};

// One call of a procedure and the holders it is about.
class Call {
 public:
  explicit Call(Bytes& bytes) : bytes_(bytes) {}

  // The list twice: measured, then stored.
  template <class Procedure>
  void Make(Procedure& procedure) {
    Bytes first = bytes_;
    GiveList(procedure);
    bytes_ = first;
    again_ = true;
    size_ = 0;
    next_real_ = next_integer_ = next_text_ = 0;
    GiveList(procedure);
    Evaluate(procedure);
  }

 private:
  template <class Procedure>
  void GiveList(Procedure& procedure) {
    for (int k = 0; k < Procedure::TotalArgs(); ++k) {
      const int type = procedure.Type(k), rank = procedure.Dimensions(k);
      if (rank == 0) {
        GiveScalar(procedure, type, k < Procedure::InputArgs());
        continue;
      }
      procedure.Argument();
      long long count = 1;
      for (int d = 0; d < rank; ++d) {
        const int byte = bytes_.Byte();
        size_ = byte == 255 ? size_ : byte % (kLargestSize + 1);
        procedure.SetDimensionSize(size_);
        count *= size_;
      }
      for (long long e = 0; e < count; ++e) procedure.Element(Element(type));
    }
    procedure.LastArgument();
  }

  void GiveScalar(QV_DynamicProcExtensions& procedure, int type, bool may_be_constant) {
    const bool constant = may_be_constant && bytes_.Byte() % 8 == 7;
    if (!constant) return procedure.Argument(Element(type));
    if (type == kQvReal) return procedure.Argument(bytes_.Real());
    if (type == kQvText) return procedure.Argument(ReadText().c_str());
    procedure.Argument(bytes_.Raw<std::int16_t>());
  }

  QV_VarParam& Element(int type) {
    if (type == kQvReal) {
      if (!again_) reals_.emplace_back(true);
      QV_REALVARIABLE& real = reals_[next_real_++];
      real.SetCurrentValue(bytes_.Real());
      return real;
    }
    if (type == kQvText) {
      if (!again_) texts_.emplace_back(true);
      texts_[next_text_].SetCurrentValue(ReadText().c_str());
      return texts_[next_text_++];
    }
    if (!again_) integers_.emplace_back(true);
    const std::uint8_t byte = bytes_.Byte();
    integers_[next_integer_].SetCurrentValue(byte == 255 ? bytes_.Raw<std::int32_t>()
                                                         : static_cast<std::int8_t>(byte));
    return integers_[next_integer_++];
  }

  std::string ReadText() {
    const std::uint8_t byte = bytes_.Byte();
    return byte == 255 ? bytes_.Text() : kOptions[byte % std::size(kOptions)];
  }

  void Evaluate(QV_ProcedureType& procedure) {
    const ProcedureElements elements = ElementsOf(procedure);
    std::vector<double> residuals(static_cast<std::size_t>(elements.outputs)),
        rows(static_cast<std::size_t>(elements.outputs * elements.Count()));
    ClearProcedureFault();
    if (procedure.Precall(true) >= 0 && EvaluateProcedure(procedure, residuals.data(), rows.data())) {
      (void)procedure.Postcall(true);
      return;
    }
    const ProcedureFault& fault = LastProcedureFault();
    Promise(!fault.sentence.empty(), "a call fails without a sentence");
    Promise(fault.code != kMemoryOverrun, "a routine wrote outside its arguments");
  }

  Bytes& bytes_;
  bool again_ = false;
  int size_ = 0;
  std::deque<QV_REALVARIABLE> reals_;
  std::deque<QV_INTEGERPARAMETER> integers_;
  std::deque<QV_STRINGPARAMETER> texts_;
  std::size_t next_real_ = 0, next_integer_ = 0, next_text_ = 0;
};

QV_COMPONENTLISTNAME& Components() {
  static QV_COMPONENTLISTNAME list = [] {
    QV_COMPONENTLISTNAME components(true);
    QV_StrSetValue names("methane\"water\"");
    QV_Value value(names);
    components.Assign(&value);
    return components;
  }();
  return list;
}

using MakeCall = void (*)(Call&);
template <class Procedure>
void MakePlain(Call& call) {
  Procedure procedure(true, 0);
  call.Make(procedure);
}
template <class Procedure>
void MakeWithComponents(Call& call) {
  Procedure procedure(true, 0, &Components());
  call.Make(procedure);
}
// FUZZ_PROPERTIES: those of the property provider, which take milliseconds, and nothing else.
constexpr struct {
  MakeCall make;
  bool properties;
} kProcedures[] = {
#define PROCEDURE(NAME, ...) {&MakePlain<QVProc_##NAME>, QVProc_##NAME::kLibrary[0] == 'P'},
#define COMPONENT_PROCEDURE(NAME, ...) \
  {&MakeWithComponents<QVProc_##NAME>, QVProc_##NAME::kLibrary[0] == 'P'},
#include "procedures/catalogue.def"
#include "procedures/host_procedures.def"
#undef PROCEDURE
#undef COMPONENT_PROCEDURE
};

void Run(Bytes bytes) {
  static const ModelSource& libraries = UseLibraries();
  (void)libraries;
  Scope scope;
  const CurrentGuard guard({&scope, nullptr, nullptr, nullptr});
#if defined(FUZZ_PROPERTIES)
  constexpr bool kProperties = true;
#else
  constexpr bool kProperties = false;
#endif
  // The next one that is of this target's kind.
  std::size_t chosen = bytes.Byte() % std::size(kProcedures);
  while (kProcedures[chosen].properties != kProperties) chosen = (chosen + 1) % std::size(kProcedures);
  Call call(bytes);
  kProcedures[chosen].make(call);
}

}  // namespace
}  // namespace quiver::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quiver::fuzz::Run({data, size});
  return 0;
}
