// SPDX-License-Identifier: Apache-2.0
// Memory that runs out at any place while any model of the catalogue is created, driven, solved and released: the caller is
// told what it was that had no memory, nothing stays behind, and the next simulation is as good as if nothing had been.
//
// Every allocation is made to fail up to a number, then some of the rest; all of them with QUIVER_ALL_FAULTS=1.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "runtime/cases/installation.h"
#include "runtime/contract/error.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/solve/block_solver.h"
#include "runtime/system/equation_system.h"
#include "runtime/system/flowsheet.h"
#include "tests/faults/failing_memory.h"

using namespace quiver;
using namespace quiver::tests;

namespace {

const ModelLibraries& Catalogue() {
  static const ModelLibraries& libraries = UseLibraries();
  return libraries;
}

// From creation to release; the residuals at the start and the values after an attempt to solve.
std::vector<double> Drive(const std::string& model) {
  Flowsheet sheet(Catalogue());
  sheet.SetComponents({"water", "nitrogen"});
  sheet.AddBlock("b", model);
  sheet.SizeAndAssign([] {});
  for (int i = 0; i < sheet.scope().Count(); ++i) {
    QV_VarParam* holder = sheet.scope().Holder(i);
    const bool number = holder && (HostAccess::KindOf(*holder) == HostAccess::kReal ||
                                   HostAccess::KindOf(*holder) == HostAccess::kInteger);
    if (number && !holder->IsVariable() && !HasValue(*holder)) SetFromValue(*holder, 1, Origin::kUser);
  }
  sheet.ThrowFaults();
  EquationSystem system(sheet);
  std::vector<double> x = system.StartValues(), results(static_cast<size_t>(system.EquationCount()));
  std::vector<int> all(results.size());
  for (size_t e = 0; e < all.size(); ++e) all[e] = static_cast<int>(e);
  system.DecideAlternatives(all, x.data());
  size_t slopes = 0;
  for (const int e : all) slopes += system.ResidualVariables(e).size();
  std::vector<double> gradients(slopes);
  system.Evaluate(all, x.data(), results.data(), gradients.data());
  results.insert(results.end(), gradients.begin(), gradients.end());
  SolveOptions options;
  options.max_iterations = 3;
  Solve(system, options, x);
  results.insert(results.end(), x.begin(), x.end());
  return results;
}

bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

// What came of a drive in which the n-th allocation failed; "" where there are fewer.
std::string Outcome(const std::string& model, Memory memory, long long n, bool lasting) {
  ClearProcedureFault();
  try {
    const FailingMemory plan(memory, n, lasting);
    Drive(model);
  } catch (const std::bad_alloc&) {
    return "bad_alloc";
  } catch (const Error& error) {
    return error.what();
  }
  if (!FailingMemory::Failed()) return "";
  // A routine's exception is a failed call, named for whoever evaluates; a solver may go round it.
  const std::string call = LastProcedureFault().sentence;
  ClearProcedureFault();
  return call.empty() ? "nothing was told" : call;
}

const bool all_faults = std::getenv("QUIVER_ALL_FAULTS") != nullptr;
constexpr long long kOneByOne = 150;

long long Next(long long n) { return all_faults || n < kOneByOne ? n + 1 : n + 1 + n / 40; }

struct How {
  Memory memory;
  bool lasting = false;  // from the n-th allocation on, none succeeds
  bool cold = false;     // nothing of a model has been used before: tables that last are made, and fail, too
};

void FailOneByOne(const std::string& model, const How& how, int& named) {
  std::vector<double> before;
  if (!how.cold) before = Drive(model);
  for (long long n = 1;; n = Next(n)) {
    const long long alive = BlocksAlive();
    {
      const std::string outcome = Outcome(model, how.memory, n, how.lasting);
      if (outcome.empty()) break;
      named += outcome != "bad_alloc";
      ASSERT_THAT(outcome, testing::AnyOf("bad_alloc", testing::HasSubstr("memory ran out"),
                                          testing::StartsWith("Routine ")))
          << model << ", allocation " << n;
    }
    if (how.cold || BlocksAlive() == alive) continue;
    // A way that only a failure takes may make a table that lasts; a leak comes again.
    const long long after_first = BlocksAlive();
    Outcome(model, how.memory, n, how.lasting);
    ASSERT_EQ(BlocksAlive(), after_first) << model << ", allocation " << n;
  }
  const std::vector<double> after = Drive(model);
  if (how.cold) before = Drive(model);
  EXPECT_TRUE(SameBits(after, before)) << model;
}

int FailInAllModels(const How& how) {
  int named = 0;
  for (const std::string& model : Catalogue().ModelNames())
    if (!testing::Test::HasFatalFailure()) FailOneByOne(model, how, named);
  return named;
}

}  // namespace

TEST(Faults, OfHostMemoryInColdModelsLeaveThemUsable) {
  EXPECT_GT(FailInAllModels({Memory::kHost, false, true}), 0);
}
TEST(Faults, OfNewInColdModelsLeaveThemUsable) { EXPECT_GT(FailInAllModels({Memory::kNew, false, true}), 0); }
TEST(Faults, OfHostMemoryAreToldAndLeaveNothing) { EXPECT_GT(FailInAllModels({Memory::kHost}), 0); }
TEST(Faults, OfNewAreToldAndLeaveNothing) { EXPECT_GT(FailInAllModels({Memory::kNew}), 0); }
TEST(Faults, ThatLastAreToldAndLeaveNothing) {
  EXPECT_GT(FailInAllModels({Memory::kHost, true}), 0);
  FailInAllModels({Memory::kNew, true});  // there is nothing to make a sentence of, either
}
