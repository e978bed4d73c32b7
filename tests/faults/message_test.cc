// SPDX-License-Identifier: Apache-2.0
// What the host says when it has no memory to give: with its own MyAllocate, which never answers null.
#include "frame/model.h"
#include "host/allocator.h"
#include "runtime/contract/scope.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;

namespace {

constexpr unsigned long long kTooMuch = 1ull << 62;

struct QV_GREEDY : QV_GENERICMODEL {
  MODEL_TEXT(GREEDY)
  void Assignments(Assigner&) { MyFree(MyAllocate(kTooMuch)); }
};
struct QV_OWNER : QV_GENERICMODEL {
  MODEL_TEXT(OWNER)
  SUBMODEL(QV_GREEDY, PART)
};

}  // namespace

TEST(OutOfMemory, EndsTheProcessAndNamesBlockAndType) {
  EXPECT_EXIT(MyAllocate(kTooMuch), testing::ExitedWithCode(70),
              "out of memory: 4611686018427387904 bytes were needed\\. Solve a smaller case");
  EXPECT_EXIT(
      {
        TestSheet sheet;
        sheet.Add<QV_OWNER>("line 4");
        sheet.Size();
      },
      testing::ExitedWithCode(70), "bytes were needed for line 4, .*QV_GREEDY\\.");
}
