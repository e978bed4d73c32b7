// SPDX-License-Identifier: Apache-2.0
// Indexed arrays: all shapes, element order, sizing again, copies; rows.
#include "host/arrays.h"

#include "frame/model.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;

namespace {

template <class Set, class Value>
void Fill(Set& set, const char* text) {
  Value values(text);
  QV_Value value(values);
  ASSERT_EQ(set.Assign(&value), 0);
}
struct Sets {
  QV_INTEGERSET i{true};  // 2, 3, 5
  QV_STRINGSET s{true};   // "a", "b"
  Sets() {
    Fill<QV_INTEGERSET, QV_IntSetValue>(i, "2\":3\"5\"");
    Fill<QV_STRINGSET, QV_StrSetValue>(s, "a\"b\"");
  }
};
template <char letter>
auto Set(Sets& sets) -> QV_Set& {
  if constexpr (letter == 'I')
    return *sets.i;
  else
    return *sets.s;
}
template <char letter>
auto Index(int k) {
  if constexpr (letter == 'I')
    return std::array{2, 3, 5}[static_cast<size_t>(k)];
  else
    return std::array<const char*, 2>{"A", "b"}[static_cast<size_t>(k)];
}
constexpr int Places(char letter) { return letter == 'I' ? 3 : 2; }

// Every element is reached by its indices, and stands where index order puts it, the last index fastest.
template <char... letters>
void CheckShape() {
  typename frame::ArrayShape<QV_REALVARIABLE, letters...>::Type array;
  Sets sets;
  EXPECT_EQ(array.Count(), 0);
  EXPECT_EQ(array.Rank(), 0);
  (*array).SetDim(Set<letters>(sets)...);
  ASSERT_EQ(array.Count(), (Places(letters) * ...));
  EXPECT_EQ(array.Rank(), static_cast<int>(sizeof...(letters)));
  const std::array<int, sizeof...(letters)> sizes{Places(letters)...};
  for (int position = 0; position < array.Count(); ++position) {
    std::array<int, sizeof...(letters)> place;
    for (int k = static_cast<int>(sizes.size()), rest = position; k-- > 0;
         rest /= sizes[static_cast<size_t>(k)])
      place[static_cast<size_t>(k)] = rest % sizes[static_cast<size_t>(k)];
    [&]<size_t... k>(std::index_sequence<k...>) {
      EXPECT_EQ(&array(Index<letters>(place[k])...), &array.At(position));
    }
    (std::make_index_sequence<sizeof...(letters)>());
  }
}

}  // namespace

TEST(Arrays, OfAllElevenShapes) {
  CheckShape<'I'>();
  CheckShape<'S'>();
  CheckShape<'I', 'I'>();
  CheckShape<'I', 'S'>();
  CheckShape<'S', 'I'>();
  CheckShape<'S', 'S'>();
  CheckShape<'I', 'I', 'I'>();
  CheckShape<'S', 'I', 'I'>();
  CheckShape<'S', 'I', 'S'>();
  CheckShape<'S', 'S', 'S'>();
  CheckShape<'S', 'I', 'S', 'S'>();
}

TEST(Arrays, SizedAgainKeepWhatStays) {
  QV_ARRAY_SI<QV_REALVARIABLE> array;
  Sets sets;
  (*array).SetDim(*sets.s, *sets.i);
  array("b", 3).SetCurrentValue(7.0);
  array("a", 5).SetCurrentValue(8.0);
  const auto* stays = &array("b", 3);
  Fill<QV_INTEGERSET, QV_IntSetValue>(sets.i, "3\":4\"");
  Fill<QV_STRINGSET, QV_StrSetValue>(sets.s, "c\"B\"");
  (*array).SetDim(*sets.s, *sets.i);
  ASSERT_EQ(array.Count(), 4);
  EXPECT_EQ(&array("b", 3), stays);
  EXPECT_EQ(array.At(2).QV_DefaultVALUE(), nullptr);
  EXPECT_EQ(&array.At(2), stays);
  EXPECT_EQ(array("b", 3).RealValue(), 7.0);
  EXPECT_EQ(array("c", 3).RealValue(), 0.0);
  Fill<QV_INTEGERSET, QV_IntSetValue>(sets.i, "");
  (*array).SetDim(*sets.s, *sets.i);
  EXPECT_EQ(array.Count(), 0);
}

TEST(Arrays, CopyAndMoveTheirElements) {
  QV_ARRAY_I<QV_REALVARIABLE> array;
  Sets sets;
  (*array).SetDim(*sets.i);
  array(5).SetCurrentValue(3.0);
  QV_ARRAY_I<QV_REALVARIABLE> copy(array), assigned;
  assigned = array;
  array(5).SetCurrentValue(4.0);
  EXPECT_EQ(copy(5).RealValue(), 3.0);
  EXPECT_EQ(assigned(5).RealValue(), 3.0);
  const auto* element = &copy(5);
  QV_ARRAY_I<QV_REALVARIABLE> moved(std::move(copy));
  EXPECT_EQ(&moved(5), element);
  EXPECT_EQ(HostAccess::Parent(moved(5)), &moved);
  assigned = std::move(moved);
  EXPECT_EQ(&assigned(5), element);
  assigned = *&assigned;
  EXPECT_EQ(assigned(5).RealValue(), 3.0);
  assigned = QV_ARRAY_I<QV_REALVARIABLE>(QV_ARRAY_I<QV_REALVARIABLE>());
  QV_ARRAY_I<QV_REALVARIABLE> unsized;
  array = unsized;
  EXPECT_EQ(array.Count(), 0);
}

struct QV_MISSING : QV_GENERICMODEL {
  MODEL_TEXT(MISSING)
  SET(QV_INTEGERSET, PLACES)
  ARRAY(QV_FRACTION, X, OVER(ComponentList, PLACES))
  void Assignments(Assigner& set) { set.range(PLACES, 2); }
  void Equations(Equate& eq) { eq("e", X("water", 1) == X("steam", 3)); }
};

TEST(Arrays, AMissingElementIsAFaultByName) {
  TestSheet sheet;
  sheet.sheet.SetComponents({"water"});
  auto& model = sheet.Add<QV_MISSING>("m");
  sheet.Size();
  EXPECT_THAT([&] { sheet.Equations(model); },
              testing::ThrowsMessage<Error>(testing::HasSubstr("m.X has no element (steam,3)")));
  EXPECT_EQ(QualifiedName(model.X("WATER", 2)), "m.X(water,2)");
}

struct QV_ROWS : QV_GENERICMODEL {
  MODEL_TEXT(ROWS)
  SET(QV_INTEGERSET, PLACES)
  ROW(QV_PRESSURE, 2, P_ENDS, "Pressure at an end")
  ARRAY_ROW(QV_FRACTION, 2, X_ENDS, OVER(PLACES))
  void Assignments(Assigner& set) {
    set.range(PLACES, 2);
    for (auto& p : P_ENDS) set(p, 3.0);
  }
  void Equations(Equate& eq) { eq("e", P_ENDS[1] == sigma(X_ENDS[1]) * P_ENDS[0]); }
};

TEST(Arrays, RowsOfLikeHoldersHaveNumberedNames) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_ROWS>("m");
  sheet.Size();
  std::vector<std::string> names;
  for (const auto& p : DescribeProperties(InstanceOf(model))) names.push_back(p.name);
  EXPECT_THAT(names, ElementsAre("PLACES", "P_ENDS1", "P_ENDS2", "X_ENDS1", "X_ENDS2"));
  EXPECT_EQ(model.P_ENDS[1].RealValue(), 3.0);
  EXPECT_THAT(sheet.Equations(model).equations[0].nonzeros,
              ElementsAre("P_ENDS2", "X_ENDS2(1)", "X_ENDS2(2)", "P_ENDS1"));
}
