// SPDX-License-Identifier: Apache-2.0
// The seven operations with which every object opens: identities, references, names, values by name.
#include "frame/model.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;

namespace {
int alive = 0;
}

struct QV_OBJECT_PART : QV_GENERICMODEL {
  MODEL_TEXT(OBJECT_PART)
  VARIABLE(QV_PRESSURE, P)
};
struct QV_OBJECT : QV_GENERICMODEL {
  MODEL_TEXT(OBJECT)
  struct Counter {
    Counter() { ++alive; }
    ~Counter() { --alive; }
  } counter;
  GLOBAL(EPS)
  PARAMETER(QV_REALPARAMETER, R)
  PARAMETER(QV_INTEGERPARAMETER, I)
  PARAMETER(QV_LOGICALPARAMETER, B)
  PARAMETER(QV_YESNO, OPT)
  SET(QV_INTEGERSET, PLACES)
  ARRAY(QV_FRACTION, A, OVER(PLACES))
  SUBMODEL(QV_OBJECT_PART, SUB)
};

TEST(Objects, AnswerForWhatTheyAreAndNothingElse) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_OBJECT>("m");
  const QV_InterfaceId unknown_id = {{1, 2, 3}};
  struct Row {
    QV_Containable* object;
    const QV_InterfaceId* id;
    void* face;  // null: refused
  };
  QV_VarParam* holder = &model.R;
  QV_Container* container = &model;
  QV_ModelType* type = &model;
  const Row rows[] = {
      {holder, &kQvUnknownId, static_cast<QV_Containable*>(holder)},
      {holder, &kQvDispatchId, static_cast<QV_Containable*>(holder)},
      {holder, &kQvVarParamId, holder},
      {holder, &kQvContainerId, nullptr},
      {holder, &kQvModelId, nullptr},
      {container, &kQvUnknownId, static_cast<QV_Containable*>(container)},
      {container, &kQvDispatchId, static_cast<QV_Containable*>(container)},
      {container, &kQvContainerId, container},
      {container, &kQvModelId, type},
      {container, &kQvVarParamId, nullptr},
      {container, &unknown_id, nullptr},
      {&model.A, &kQvVarParamId, static_cast<QV_VarParam*>(&model.A)},
  };
  for (const Row& row : rows) {
    void* face = &sheet;
    EXPECT_EQ(row.object->QueryInterface(row.id, &face), row.face ? kQvOk : kQvNoInterface) << &row - rows;
    EXPECT_EQ(face, row.face) << &row - rows;
    if (row.face) row.object->Release();
  }
  EXPECT_EQ(container->QueryInterface(&kQvUnknownId, nullptr), kQvPointer);
  void* face = &sheet;
  EXPECT_EQ(container->QueryInterface(nullptr, &face), kQvPointer);
  EXPECT_EQ(face, nullptr);
}

TEST(Objects, EndWithTheLastReferenceOnce) {
  alive = 0;
  auto* object = new QV_OBJECT(true, nullptr);
  EXPECT_EQ(object->AddRef(), 1u);
  EXPECT_EQ(object->AddRef(), 2u);
  EXPECT_EQ(object->Release(), 1u);
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(object->Release(), 0u);
  EXPECT_EQ(alive, 0);
  {
    TestSheet sheet;
    auto& model = sheet.Add<QV_OBJECT>("m");
    model.AddRef();
    model.Release();
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

// What lies within a model goes with the model, whoever took and gave back a reference to it.
TEST(Objects, PartsOutliveTheirReferences) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_OBJECT>("m");
  sheet.Size([&] {
    QV_IntSetValue two("1\":2\"");
    QV_Value value(two);
    SetFromValue(model.PLACES, value, Origin::kUser);
  });
  const std::initializer_list<QV_Containable*> parts = {
      &model.R, &*model.EPS, &model.A, &model.A(1), &model.SUB, &model.ComponentList, &model.SUB.P};
  for (QV_Containable* part : parts) {
    void* face = nullptr;
    ASSERT_EQ(part->QueryInterface(&kQvUnknownId, &face), kQvOk);
    EXPECT_EQ(static_cast<QV_Containable*>(face)->Release(), 0u);
  }
  model.A(1).SetCurrentValue(0.25);
  EXPECT_EQ(model.A(1).RealValue(), 0.25);
  EXPECT_EQ(QualifiedName(model.SUB.P), "m.SUB.P");
  EXPECT_EQ(QualifiedName(model.ComponentList), "m.ComponentList");
}

TEST(Objects, NamesLeadToValues) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_OBJECT>("m");
  const char* names[] = {"eps", "R", "i", "b", "Opt", "PLACES", "A", "sub", "MISSING", nullptr};
  int ids[10] = {};
  QV_Containable& object = model;
  EXPECT_EQ(object.GetIDsOfNames(nullptr, names, 8, 0, ids), kQvOk);
  EXPECT_EQ(object.GetIDsOfNames(nullptr, names, 10, 0, ids), kQvUnknownName);
  EXPECT_THAT(ids, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, -1, -1));
  EXPECT_EQ(object.GetIDsOfNames(nullptr, nullptr, 1, 0, ids), kQvPointer);
  EXPECT_EQ(object.GetIDsOfNames(nullptr, names, 1, 0, nullptr), kQvPointer);

  const auto put = [&](int id, QV_Variant value) {
    return object.Invoke(id, nullptr, 0, kQvPropertyPut, &value, nullptr, nullptr, nullptr);
  };
  const auto get = [&](int id, QV_Variant* value) {
    return object.Invoke(id, nullptr, 0, kQvPropertyGet, nullptr, value, nullptr, nullptr);
  };
  const auto real = [](double v) { return QV_Variant{QV_Variant::kReal, {.real = v}}; };
  const auto integer = [](int v) { return QV_Variant{QV_Variant::kInteger, {.integer = v}}; };
  const auto logical = [](bool v) { return QV_Variant{QV_Variant::kLogical, {.logical = v}}; };
  const auto text = [](const char* v) { return QV_Variant{QV_Variant::kText, {.text = v}}; };
  QV_Variant value;
  EXPECT_EQ(put(1, real(1e-5)) | put(2, integer(3)) | put(3, real(4.0)) | put(4, logical(true)) |
                put(5, text("no")),
            kQvOk);
  EXPECT_EQ(get(1, &value), kQvOk);
  EXPECT_EQ(value.kind == QV_Variant::kReal ? value.real : 0, 1e-5);
  EXPECT_EQ(get(2, &value), kQvOk);
  EXPECT_EQ(value.kind == QV_Variant::kReal ? value.real : 0, 3.0);
  EXPECT_EQ(get(3, &value), kQvOk);
  EXPECT_EQ(value.kind == QV_Variant::kInteger ? value.integer : 0, 4);
  EXPECT_EQ(get(4, &value), kQvOk);
  EXPECT_TRUE(value.kind == QV_Variant::kLogical && value.logical);
  EXPECT_EQ(get(5, &value), kQvOk);
  EXPECT_STREQ(value.kind == QV_Variant::kText ? value.text : "", "no");
  QV_Containable* const objects[] = {&model.PLACES, &model.A, &model.SUB};
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(get(6 + k, &value), kQvOk);
    EXPECT_EQ(value.kind == QV_Variant::kObject ? value.object : nullptr, objects[k]);
  }
  // What was put is the user's.
  QV_Value assigned(2.0);
  model.R.Assign(&assigned);
  EXPECT_EQ(model.R.RealValue(), 3.0);

  unsigned wrong = 99;
  QV_Variant bad = text("perhaps");
  EXPECT_EQ(object.Invoke(5, nullptr, 0, kQvPropertyPut, &bad, nullptr, nullptr, &wrong), kQvTypeMismatch);
  EXPECT_EQ(wrong, 0u);
  EXPECT_EQ(put(2, text(nullptr)), kQvTypeMismatch);
  EXPECT_EQ(put(2, {}), kQvTypeMismatch);
  EXPECT_EQ(put(7, real(1)), kQvTypeMismatch);
  EXPECT_EQ(put(0, real(1)), kQvMemberNotFound);
  EXPECT_EQ(put(9, real(1)), kQvMemberNotFound);
  EXPECT_EQ(get(-1, &value), kQvMemberNotFound);
  EXPECT_EQ(get(2, nullptr), kQvPointer);
  EXPECT_EQ(object.Invoke(2, nullptr, 0, kQvPropertyPut, nullptr, nullptr, nullptr, nullptr), kQvPointer);
  EXPECT_EQ(object.Invoke(2, nullptr, 0, 0, nullptr, &value, nullptr, nullptr), kQvMemberNotFound);

  unsigned count = 7;
  EXPECT_EQ(object.GetTypeInfoCount(&count), kQvOk);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(object.GetTypeInfoCount(nullptr), kQvPointer);
  void* info = &model;
  EXPECT_EQ(object.GetTypeInfo(0, 0, &info), kQvMemberNotFound);
  EXPECT_EQ(info, nullptr);
}
