// SPDX-License-Identifier: Apache-2.0
// The operations that a host calls, one by one, while memory fails: each answers with a status or has the host's side note what
// happened; none throws.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/status.h"
#include "runtime/cases/installation.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/scope.h"
#include "runtime/plugin/shared_library.h"
#include "runtime/system/flowsheet.h"
#include "runtime/system/records.h"
#include "tests/faults/failing_memory.h"

using namespace quiver;
using namespace quiver::tests;

namespace {

// Calls `operation` with the n-th allocation failing, for every n. It returns a status, 0 or more when all is well; what
// failed is told by a negative one, or noted.
template <class Operation>
void Fail(Memory memory, const std::string& what, Operation operation) {
  for (long long n = 1;; ++n) {
    int status = 0;
    TakeOutOfMemory();
    try {
      const FailingMemory plan(memory, n);
      status = operation();
    } catch (...) {
      FAIL() << what << " threw at allocation " << n;
    }
    if (!FailingMemory::Failed()) return;
    ASSERT_TRUE(TakeOutOfMemory() || status == kQvOutOfMemory)
        << what << " kept it to itself at allocation " << n;
  }
}

void FailOperations(const std::string& name, Memory memory) {
  Flowsheet sheet(UseLibraries());
  sheet.SetComponents({"water", "nitrogen"});
  sheet.AddBlock("b", name);
  sheet.SizeAndAssign([] {});
  for (Instance* instance : sheet.Instances()) {
    auto* model = dynamic_cast<QV_ModelType*>(&instance->object());
    if (!model) continue;
    SetUpRecord set_up;
    EmissionRecord emission;
    const CurrentGuard guard({&sheet.scope(), instance, &set_up, &emission});
    Fail(memory, name + " SetDims", [&] { return model->SetDims(), 0; });
    Fail(memory, name + " ExecuteAssignments", [&] { return model->ExecuteAssignments(1, 0); });
    Fail(memory, name + " SetUpEquations", [&] {
      set_up.Clear();
      return model->SetUpEquations();
    });
    std::vector<long long> pattern(static_cast<size_t>(set_up.PatternSize()));
    Fail(memory, name + " JacPattern", [&] {
      long long *next = pattern.data(), *end = next + pattern.size();
      emission.Clear();
      return model->JacPattern(next, end, nullptr);
    });
  }
  TakeOutOfMemory();
}

}  // namespace

TEST(Border, NoOperationOfAnInstanceThrows) {
  for (const std::string& name : UseLibraries().ModelNames())
    for (const Memory memory : {Memory::kHost, Memory::kNew}) {
      FailOperations(name, memory);
      if (HasFatalFailure()) return;
    }
}

TEST(Border, NoExportedFunctionThrows) {
  for (const auto& library : UseLibraries().all()) {
    const SharedLibrary file(library->path());
    for (const std::string& name : library->ModelNames()) {
      const auto factory = reinterpret_cast<QV_FactoryFunction>(file.Find((name + "Factory").c_str()));
      for (const Memory memory : {Memory::kHost, Memory::kNew}) {
        const long long alive = BlocksAlive();
        Fail(memory, name + "Factory", [&] {
          QV_Containable* object = factory();
          if (object) object->Release();
          return object ? 0 : kQvOutOfMemory;
        });
        EXPECT_EQ(BlocksAlive(), alive) << name;
      }
    }
    for (const auto& row : library->option_types())
      Fail(Memory::kHost, row.name, [&] {
        QV_Type* holder = row.create();
        delete holder;
        return holder ? 0 : kQvOutOfMemory;
      });
  }
}
