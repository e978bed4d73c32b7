// SPDX-License-Identifier: Apache-2.0
// Texts of sets, lists and options, each value followed by a double quote (1":3" is 1 to 3): read into holders, iterated, arrays
// sized by them and their elements found again; and any text given to every option of the model library. A simulation listens, so
// that whatever is refused is refused with a sentence. The first byte tells what the rest is:
//
//   i  an integer set    s  a text set    t  a text set, and behind a zero byte an integer set that index an array together
//   o  the number of an option type, and a text for it
#include "host/arrays.h"
#include "host/modeller/variable_types.h"
#include "runtime/cases/installation.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/scope.h"
#include "runtime/contract/set_storage.h"
#include "tests/fuzz/bytes.h"

namespace quiver::fuzz {
namespace {

constexpr long long kLookedAt = 200;  // elements of a set

// As models and cases give a set: through an assignment.
template <class Set, class Values>
void Give(Set& holder, const char* text) {
  Values values(text);
  QV_Value value(values);
  Promise(holder.Assign(&value) == 0, "a set is refused by a holder of its kind");
}

template <class Iterator, class Use>
void ForEach(QV_Set& set, Use use) {
  Iterator at(set);
  for (long long k = 0; k < kLookedAt && at.Next(); ++k) use(at.Value());
}

bool HasRepeats(const SetStorage& set) {
  for (long long i = 0; i < set.Count(); ++i)
    for (long long k = 0; k < i; ++k)
      if (set.is_text ? SUValue::CompareCI(set.texts[i].c_str(), set.texts[k].c_str()) == 0
                      : set.integers[i] == set.integers[k])
        return true;
  return false;
}

void ReadIntegers(const std::string& text) {
  QV_INTEGERSET holder(true);
  Give<QV_INTEGERSET, QV_IntSetValue>(holder, text.c_str());
  const SetStorage& set = ElementsOf(*holder);
  if (set.Count() > kLookedAt) return;
  QV_ARRAY_I<QV_REALVARIABLE> array;
  array.SetDim(*holder);
  Promise(array.Count() == set.Count(), "an array has not one element for each of its set");
  if (HasRepeats(set)) return;
  long long position = 0;
  ForEach<QV_IntegerSetIter>(*holder, [&](int value) {
    Promise(&array(value) == &array.At(position++), "an element is not found by its index");
  });
}

void ReadTexts(const std::string& text) {
  QV_STRINGSET holder(true);
  Give<QV_STRINGSET, QV_StrSetValue>(holder, text.c_str());
  const SetStorage& set = ElementsOf(*holder);
  (void)set.Describe();
  if (set.Count() > kLookedAt) return;
  ForEach<QV_StringSetIter>(*holder, [&](const char* value) {
    Promise(set.Contains(value), "a set does not contain its own element");
  });
}

void ReadBoth(const std::string& first, const std::string& second) {
  QV_STRINGSET names(true);
  QV_INTEGERSET places(true);
  Give<QV_STRINGSET, QV_StrSetValue>(names, first.c_str());
  Give<QV_INTEGERSET, QV_IntSetValue>(places, second.c_str());
  const SetStorage& rows = ElementsOf(*names);
  const SetStorage& columns = ElementsOf(*places);
  if (rows.Count() * columns.Count() > kLookedAt) return;
  QV_ARRAY_SI<QV_INTEGERPARAMETER> array;
  array.SetDim(*names, *places);
  for (long long k = 0; k < array.Count(); ++k) {
    auto& element = static_cast<QV_INTEGERPARAMETER&>(array.At(k));
    element.SetCurrentValue(static_cast<int>(k));
    (void)HolderName(element);
  }
  // Sized again by one name less, then as before: what stays keeps its value.
  if (rows.Count() > 1 && !HasRepeats(rows) && !HasRepeats(columns)) {
    std::vector<std::string> fewer(rows.texts.begin() + 1, rows.texts.end());
    array.SetDim(*SetStorage::FromTexts(fewer), *places);
    array.SetDim(*names, *places);
    for (long long k = columns.Count(); k < array.Count(); ++k)
      Promise(static_cast<QV_INTEGERPARAMETER&>(array.At(k)).IntegerValue() == k,
              "an element lost its value");
  }
  (void)array("no such name", 1);
}

void GiveOption(std::uint8_t number, const std::string& text, const ModelLibraries& libraries) {
  const auto rows = libraries.all().front()->option_types();
  const QV_OptionTypeRow& row = rows[number % rows.size()];
  const std::unique_ptr<QV_Type> option(row.create());
  auto* holder = dynamic_cast<QV_VarParam*>(option.get());
  if (!holder) return;
  GiveTypeDefault(*holder);
  for (const QV_Value& value : {QV_Value(text.c_str()), QV_Value(static_cast<int>(text.size())),
                                QV_Value(text.size() % 2 == 1), QV_Value(-0.5)}) {
    SetFromValue(*holder, value, Origin::kUser);
    (void)holder->RealValue();
    (void)holder->IntegerValue();
    (void)holder->LogicalValue();
    (void)holder->StringValue();
  }
}

void Run(Bytes bytes) {
  static const ModelLibraries& libraries = UseLibraries();
  Scope scope;
  const CurrentGuard guard({&scope, nullptr, nullptr, nullptr});
  switch (bytes.Byte()) {
    case 'i':
      ReadIntegers(bytes.Rest());
      break;
    case 's':
      ReadTexts(bytes.Rest());
      break;
    case 't': {
      const std::string first = bytes.Text();
      ReadBoth(first, bytes.Rest());
      break;
    }
    case 'o': {
      const std::uint8_t number = bytes.Byte();
      GiveOption(number, bytes.Rest(), libraries);
      break;
    }
    default:
      break;
  }
  for (const std::string& fault : scope.faults) Promise(!fault.empty(), "a fault says nothing");
}

}  // namespace
}  // namespace quiver::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quiver::fuzz::Run({data, size});
  return 0;
}
