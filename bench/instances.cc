// SPDX-License-Identifier: Apache-2.0
// Many instances of one model from nothing to their solution: what each stage costs.
//
//   build/bin/bench_instances PSV_SW 100000        a two-phase relief model of about 24 equations
//   build/bin/bench_instances PSV_SIMPLE 1000000
#include <fmt/format.h>
#include <sys/resource.h>
#include <time.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "runtime/cases/installation.h"
#include "runtime/contract/instance.h"
#include "runtime/solve/block_solver.h"
#include "runtime/system/equation_system.h"

using namespace quiver;

namespace {

struct Lap {
  double seconds = 0, processor = 0;  // by the wall, and of all threads
  Lap& operator+=(const Lap& other) {
    seconds += other.seconds;
    processor += other.processor;
    return *this;
  }
};

class Clock {
 public:
  Lap Take() {
    const Lap now = Now();
    const Lap lap{now.seconds - last_.seconds, now.processor - last_.processor};
    last_ = now;
    return lap;
  }

 private:
  static Lap Now() {
    timespec processor{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &processor);
    const auto wall = std::chrono::steady_clock::now().time_since_epoch();
    return {std::chrono::duration<double>(wall).count(),
            static_cast<double>(processor.tv_sec) + 1e-9 * static_cast<double>(processor.tv_nsec)};
  }
  Lap last_ = Now();
};

double PeakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

struct Given {
  const char* name;
  double value;
  double spread;  // instance i of n gets value * (1 + spread * i / n)
};
struct Work {
  const char* model;
  std::vector<Given> given;
  std::vector<std::pair<const char*, const char*>> options;
};
// Wet steam of 10 bar; a liquid orifice.
const Work kWorks[] = {
    {"PSV_SW",
     {{"P", 10, 0.2},
      {"T", 179.9, 0.01},
      {"HV", -0.2366, 0},
      {"HL", -0.2728, 0},
      {"MWV", 18.015, 0},
      {"MWL", 18.015, 0},
      {"RHOV", 0.285, 0},
      {"RHOL", 49.2, 0},
      {"E0", 0.3, 0.5},
      {"LFACTOR", 0, 0},
      {"VFACTOR", 0, 0},
      {"ETA_A", 0.1, 0.5},
      {"Y", 1, 0},
      {"X", 1, 0}},
     {{"VALIDPHASES", "Vapor-Liquid"}}},
    {"PSV_SIMPLE", {{"P_DROP", 6, 1}, {"RHO", 55.3, 0.1}, {"MW", 18.015, 0}, {"AREA_RATIO", 0, 0}}, {}},
};

// By its place in the type's list, found once.
void Give(Instance& instance, int property, double value) {
  auto& holder = static_cast<QV_VarParam&>(*instance.Object(property));
  const auto give = [value](QV_VarParam& one) {
    SetFromValue(one, QV_Value(value), Origin::kUser);
    if (one.IsVariable()) HostAccess::SetSpec(one, QV_SPEC_GIVEN);
  };
  if (HostAccess::KindOf(holder) != HostAccess::kArray) return give(holder);
  auto& array = static_cast<QV_ArrayBase&>(holder);
  for (long long e = 0; e < array.Count(); ++e) give(static_cast<QV_VarParam&>(array.At(e)));
}

int Run(const Work& work, int count, int workers) {
  const ModelLibraries& library = UseLibraries();
  Clock clock;
  Flowsheet sheet(library);
  sheet.SetComponents({"water"});
  std::vector<Instance*> instances;
  for (int i = 0; i < count; ++i) instances.push_back(&sheet.AddBlock(fmt::format("v{}", i), work.model));
  const Lap create = clock.Take();

  const TypeTable& type = instances[0]->type();
  sheet.SizeAndAssign([&] {
    for (const auto& [name, value] : work.options) {
      const int property = type.Find(name);
      const QV_Value text(value);
      for (Instance* instance : instances)
        SetFromValue(static_cast<QV_VarParam&>(*instance->Object(property)), text, Origin::kUser);
    }
    for (const Given& given : work.given) {
      const int property = type.Find(given.name);
      for (int i = 0; i < count; ++i)
        Give(*instances[static_cast<size_t>(i)], property, given.value * (1 + given.spread * i / count));
    }
  });
  const Lap assign = clock.Take();

  EquationSystem system(sheet);
  const Lap emit = clock.Take();
  const double memory = PeakMegabytes();

  std::vector<double> x = system.StartValues();
  SolveOptions options;
  options.workers = workers;
  const SolveSummary solved = Solve(system, options, x);
  const Lap solve = clock.Take();
  system.Store(x);
  const Lap store = clock.Take();

  const SystemSummary summary = system.Summary();
  const int equations = system.EquationCount();
  fmt::print("{} instances of {}: {} equations, {} patterns, {} written out; {} of {} blocks failed\n", count,
             work.model, equations, summary.patterns, summary.instances_written_out, solved.blocks_failed,
             solved.blocks);
  for (const auto& failure : solved.failures) {
    fmt::print("{}\n", failure.reason);
    break;
  }
  const auto row = [&](const char* stage, const Lap& lap) {
    fmt::print("{:<28} {:9.3f} s {:9.3f} s of processors {:9.0f} ns an equation\n", stage, lap.seconds,
               lap.processor, 1e9 * lap.processor / equations);
  };
  row("create and construct", create);
  row("size and assign", assign);
  row("set up and emit", emit);
  row("structure and solution", solve);
  row("store", store);
  Lap all;
  for (const Lap& lap : {create, assign, emit, solve, store}) all += lap;
  row("all", all);
  fmt::print("memory: {:.0f} MB before the solution, {:.0f} MB at most; equations {:.1f} bytes each\n",
             memory, PeakMegabytes(), static_cast<double>(system.memory_bytes()) / equations);
  return solved.blocks_failed == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string model = argc > 1 ? argv[1] : "PSV_SW";
  const int count = argc > 2 ? std::atoi(argv[2]) : 100000;
  const int workers = argc > 3 ? std::atoi(argv[3]) : 2;
  for (const Work& work : kWorks)
    if (model == work.model && count > 0) return Run(work, count, workers);
  fmt::print(stderr, "usage: bench_instances PSV_SW|PSV_SIMPLE COUNT WORKERS\n");
  return 2;
}
