// SPDX-License-Identifier: Apache-2.0
// A holder that throws while a model is built: exactly those already built are destroyed, in reverse order, the memory goes
// back, and the factory answers null.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "frame/model.h"
#include "runtime/contract/scope.h"
#include "tests/faults/failing_memory.h"

using namespace quiver::tests;

namespace {

int next_holder = 0, throwing_holder = -1;
std::vector<int> standing;      // in the order of construction
std::vector<int> out_of_order;  // destroyed while a younger one stood

// Counts itself, and throws where it is told to.
class QV_FRAGILE : public QV_REALVARIABLE {
 public:
  explicit QV_FRAGILE(bool flag) : QV_REALVARIABLE(flag), place_(next_holder++) {
    if (place_ == throwing_holder) throw place_;
    standing.push_back(place_);
  }
  QV_FRAGILE(const QV_FRAGILE&) = delete;
  QV_FRAGILE& operator=(const QV_FRAGILE&) = delete;
  ~QV_FRAGILE() override {
    if (standing.empty() || standing.back() != place_) out_of_order.push_back(place_);
    std::erase(standing, place_);
  }

 private:
  int place_;
};

struct QV_PART : QV_GENERICMODEL {
  MODEL_TEXT(PART)
  VARIABLE(QV_FRAGILE, FIRST)
  VARIABLE(QV_FRAGILE, SECOND)
};

struct QV_WHOLE : QV_GENERICMODEL {
  MODEL_TEXT(WHOLE)
  GLOBAL(EPS)
  VARIABLE(QV_FRAGILE, A)
  SUBMODEL(QV_PART, P)
  VIRTUAL(QV_PART, V)
  ROW(QV_FRAGILE, 3, R)
  ARRAY(QV_FRAGILE, X, OVER(ComponentList))
  VARIABLE(QV_FRAGILE, LAST)
};
constexpr int kHolders = 1 + 2 + 3 + 1;  // arrays and references hold nothing yet

QV_Containable* Build(int throwing) {
  next_holder = 0;
  throwing_holder = throwing;
  standing.clear();
  out_of_order.clear();
  return quiver::frame::Create<QV_WHOLE>();
}

}  // namespace

TEST(Construction, UndoesWhatWasBuiltWhereverAHolderThrows) {
  for (int throwing = 0; throwing < kHolders; ++throwing) {
    const long long alive = BlocksAlive();
    EXPECT_EQ(Build(throwing), nullptr) << throwing;
    EXPECT_EQ(next_holder, throwing + 1) << "none is built behind the one that threw";
    EXPECT_THAT(standing, testing::IsEmpty()) << throwing;
    EXPECT_THAT(out_of_order, testing::IsEmpty()) << throwing;
    standing.shrink_to_fit();
    EXPECT_EQ(BlocksAlive(), alive) << throwing;
  }
  QV_Containable* whole = Build(-1);
  ASSERT_TRUE(whole);
  EXPECT_EQ(standing.size(), static_cast<size_t>(kHolders));
  whole->Release();
  EXPECT_THAT(standing, testing::IsEmpty());
  EXPECT_THAT(out_of_order, testing::IsEmpty());
}

TEST(Construction, WithoutMemoryAFactoryAnswersNull) {
  const FailingMemory plan(Memory::kHost, 1);
  EXPECT_EQ(Build(-1), nullptr);
}
