// SPDX-License-Identifier: Apache-2.0
// Residuals and Jacobian of whole systems against the same equations written in C++, in the same run.
//
//   build/bin/bench_evaluation [--results=bench/results.md]
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <new>

#include "bench/goals.h"
#include "bench/psv_sw_by_hand.h"
#include "bench/systems.h"
#include "runtime/evaluation/system_evaluator.h"
#include "runtime/expression/machine.h"

void CatalogueReference(const double* x, double* r, double* j);
void FlowsheetReference(const double* x, double* r, double* j);

namespace quiver::bench {
namespace {

// Aligned as the vector version wants it; its pages are touched before anything is measured.
class Array {
 public:
  explicit Array(std::size_t size)
      : size_(size),
        data_(static_cast<double*>(::operator new(size * sizeof(double) + 64, std::align_val_t(64)))) {
    std::fill_n(data_, size_, 0.0);
  }
  ~Array() { ::operator delete(data_, std::align_val_t(64)); }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  double* data() const { return data_; }
  double& operator[](std::size_t i) const { return data_[i]; }
  std::size_t size() const { return size_; }

 private:
  std::size_t size_;
  double* data_;
};

// A system with its evaluators, without machine code and with it, and its results.
struct Work {
  explicit Work(System made)
      : system(std::move(made)),
        evaluator(system.List(), {.runs_before_machine_code = -1}),
        machine_code(system.List(), {.runs_before_machine_code = 0}),
        residuals(static_cast<std::size_t>(evaluator.EquationCount())),
        entries(static_cast<std::size_t>(evaluator.EntryCount())) {
    evaluator.WriteConstantEntries(entries.data());
    Run();
    const double before = Total();
    RunMachineCode();
    if (Total() != before) throw std::runtime_error("Machine code gives other results. Nothing is measured.");
  }
  void Run() { evaluator.Evaluate(system.x.data(), residuals.data(), entries.data()); }
  void RunMachineCode() { machine_code.Evaluate(system.x.data(), residuals.data(), entries.data()); }
  double Total() const {
    double total = 0;
    for (const Array* results : {&residuals, &entries})
      for (std::size_t i = 0; i < results->size(); ++i)
        total += (*results)[i] * static_cast<double>(1 + i % 7);
    return total;
  }

  System system;
  SystemEvaluator evaluator, machine_code;
  Array residuals, entries;
};

// Throws if a result of the reference differs from the engine's by more than 1e-12 of itself, or of `scale`: of a sum that
// cancels neither has that many digits.
void ExpectSame(const char* what, std::size_t i, double engine, double reference, double scale) {
  if (std::fabs(engine - reference) <= 1e-12 * std::max(std::fabs(reference), scale)) return;
  throw std::runtime_error(
      fmt::format("{} {}: {:.17g} by the engine, {:.17g} by the reference. Nothing is measured.", what, i,
                  engine, reference));
}

void Check(const Work& work, const std::function<double(std::size_t)>& residual,
           const std::function<double(std::size_t)>& entry) {
  const System& system = work.system;
  std::size_t gather = 0, k = 0;
  for (int e = 0; e < system.equations(); ++e) {
    const Shape& shape = (*system.shapes)[system.shape_of[static_cast<std::size_t>(e)]];
    double scale = 0, steepest = 0;
    const std::size_t first = k;
    for (int v = 0; v < shape.variable_count; ++v, ++gather) {
      const auto variable = static_cast<std::size_t>(system.gathers[gather]);
      if (system.is_fixed[variable]) continue;
      steepest = std::max(steepest, std::fabs(work.entries[k]));
      scale += std::fabs(work.entries[k++] * system.x[variable]);
    }
    for (std::size_t own = first; own < k; ++own)
      ExpectSame("entry", own, work.entries[own], entry(own), steepest);
    const auto row = static_cast<std::size_t>(e);
    ExpectSame("residual", row, work.residuals[row], residual(row), scale);
  }
}

// Collects the times of all repetitions.
class Collector : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Iteration)
        times_[run.run_name.function_name].push_back(run.cpu_accumulated_time /
                                                     static_cast<double>(run.iterations) * 1e9);
  }
  // Nanoseconds, the median of all rounds.
  double Median(const std::string& name) { return bench::Median(times_.at(name)); }
  // Of round by round: what disturbs the machine for longer than a round disturbs both.
  double Ratio(const std::string& name, const std::string& reference) {
    return Median(name) / Median(reference);
  }

 private:
  std::map<std::string, std::vector<double>> times_;
};

void Register(const char* name, std::function<void()> work) {
  benchmark::RegisterBenchmark(name, [work = std::move(work)](benchmark::State& state) {
    for (auto _ : state) {
      work();
      benchmark::ClobberMemory();
    }
  });
}

// Of this thread's own time, so that other work on the machine disturbs little.
double Seconds(const std::function<void()>& work) {
  const auto now = [] {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  };
  const double start = now();
  work();
  return now() - start;
}

// The copies in blocks of structures of arrays, for the vector version.
struct VectorWork {
  explicit VectorWork(const Work& work)
      : copies(work.system.equations() / kPsvSwEquations),
        blocks(static_cast<std::size_t>((copies + kBlock - 1) / kBlock)),
        x(blocks * kBlock * kPsvSwVariables),
        residuals(blocks * kBlock * kPsvSwEquations),
        entries(blocks * kBlock * kPsvSwEntries) {
    for (std::size_t i = 0; i < blocks * kBlock; ++i) {
      const std::size_t copy = std::min(i, static_cast<std::size_t>(copies) - 1);
      for (std::size_t k = 0; k < kPsvSwVariables; ++k)
        x[(i / kBlock * kPsvSwVariables + k) * kBlock + i % kBlock] =
            work.system.x[copy * kPsvSwVariables + k];
    }
  }
  void Run(bool streamed) { PsvSwVector(copies, x.data(), residuals.data(), entries.data(), streamed); }
  static double At(const Array& results, std::size_t width, std::size_t i) {
    const std::size_t copy = i / width, k = i % width;
    return results[(copy / kBlock * width + k) * kBlock + copy % kBlock];
  }

  int copies;
  std::size_t blocks;
  Array x, residuals, entries;
};

void MeasureSetUp(GoalTable& goals) {
  constexpr int kCopies = 4000;
  const std::vector<std::vector<Token>> streams = ReliefMethodStreams();
  std::vector<std::vector<Token>> moved;
  for (int i = 0; i < kCopies; ++i) {
    for (std::vector<Token> stream : streams) {
      for (Token& token : stream)
        if (token.kind == Token::kVariable) token.index += i * kPsvSwVariables;
      moved.push_back(std::move(stream));
    }
  }
  std::vector<double> intern, build, fresh;
  for (int round = 0; round < 9; ++round) {
    ShapeStore shapes;
    std::vector<int> shape_of, gathers;
    for (const std::vector<Token>& stream : streams) shapes.Intern(stream, gathers);
    gathers.clear();
    intern.push_back(Seconds([&] {
      for (const std::vector<Token>& stream : moved) shape_of.push_back(shapes.Intern(stream, gathers));
    }));
    build.push_back(Seconds([&] { SystemEvaluator({&shapes, shape_of, gathers, {}}); }));
  }
  const double per_equation = 1e9 / static_cast<double>(moved.size());
  const double known = (Median(intern) + Median(build)) * per_equation;
  goals.Add("from emission to ready, known shape, per equation", "<= 100 ns", known, known <= 100, "ns");
  goals.Note(fmt::format(
      "Of the known shape's time, interning takes {:.0f} ns and building the evaluator {:.0f} ns.",
      Median(intern) * per_equation, Median(build) * per_equation));

  // New shapes: the catalogue's formulas, interned into an empty store and built into a tape.
  const std::vector<std::vector<Token>> formulas = CatalogueStreams();
  std::vector<double> intern_new, build_new;
  for (int round = 0; round < 9; ++round) {
    ShapeStore shapes;
    std::vector<int> shape_of, gathers;
    intern_new.push_back(Seconds([&] {
      for (const std::vector<Token>& stream : formulas) shape_of.push_back(shapes.Intern(stream, gathers));
    }));
    build_new.push_back(Seconds([&] { SystemEvaluator({&shapes, shape_of, gathers, {}}); }));
  }
  const double per_formula = 1e6 / static_cast<double>(formulas.size());
  const double compile = Median(intern_new) * per_formula, schedule = Median(build_new) * per_formula;
  goals.Add("from emission to ready, new shape, per equation", "<= 5 us", compile + schedule,
            compile + schedule <= 5, "us");
  goals.Note(fmt::format(
      "Of the new shape's time, interning and compiling takes {:.1f} us and scheduling the tape {:.1f} us.",
      compile, schedule));
}

void MeasureScaling(GoalTable& goals) {
  std::string curve =
      "| equations | ns per equation | set-up, ns per equation | bytes per equation |\n|---|---|---|---|\n";
  double first = 0, last = 0, bytes = 0;
  for (const int copies : {40, 400, 4000, 40000, 400000}) {
    const System system = RepeatedReliefMethod(copies);
    const double equations = system.equations();
    std::unique_ptr<SystemEvaluator> evaluator;
    const double build = Seconds([&] { evaluator = std::make_unique<SystemEvaluator>(system.List()); });
    Array residuals(static_cast<std::size_t>(evaluator->EquationCount()));
    Array entries(static_cast<std::size_t>(evaluator->EntryCount()));
    evaluator->WriteConstantEntries(entries.data());
    bytes = static_cast<double>(evaluator->memory_bytes()) / equations;
    std::vector<double> rounds;
    const int repeats = std::max(1, 4000 / copies);
    for (int round = 0; round < 7; ++round) {
      const double time = Seconds([&] {
        for (int k = 0; k < repeats; ++k)
          evaluator->Evaluate(system.x.data(), residuals.data(), entries.data());
      });
      rounds.push_back(time / repeats * 1e9 / equations);
    }
    last = Median(rounds);
    if (first == 0) first = last;
    curve += fmt::format("| {} | {:.2f} | {:.0f} | {:.3f} |\n", system.equations(), last,
                         build * 1e9 / equations, bytes);
  }
  goals.Add("memory beyond x, r, J, repeated units", "<= 18 bytes per equation", bytes, bytes <= 18, "bytes");
  goals.Add("time per equation, 10^7 against 10^3 equations", "flat", last / first, last / first <= 1.5, "x");
  goals.Note("PSV_SW in growing numbers; what fits into the caches is faster.\n\n" + curve);
}

int Main(int count, char** arguments) {
  GoalTable goals("Evaluation: residuals and Jacobian");

  Work one(RepeatedReliefMethod(1)), thousand(RepeatedReliefMethod(1000)), many(RepeatedReliefMethod(100000));
  Work catalogue(WholeCatalogue()), flowsheet(CoupledFlowsheet());
  // References, checked before anything is measured.
  const auto array_for = [](const Array& like) { return std::make_unique<Array>(like.size()); };
  struct Reference {
    std::unique_ptr<Array> residuals, entries;
  };
  std::map<const Work*, Reference> references;
  for (const Work* work : {&one, &thousand, &many, &catalogue, &flowsheet}) {
    Reference& reference = references[work];
    reference = {array_for(work->residuals), array_for(work->entries)};
  }
  const auto hand = [&](Work& work) {
    PsvSwScalar(work.system.equations() / kPsvSwEquations, work.system.x.data(),
                references[&work].residuals->data(), references[&work].entries->data());
  };
  const auto written = [&](Work& work, auto* function) {
    function(work.system.x.data(), references[&work].residuals->data(), references[&work].entries->data());
  };
  for (Work* work : {&one, &thousand, &many}) hand(*work);
  written(catalogue, CatalogueReference);
  written(flowsheet, FlowsheetReference);
  for (const auto& [work, reference] : references) {
    Check(
        *work, [&](std::size_t i) { return (*reference.residuals)[i]; },
        [&](std::size_t k) { return (*reference.entries)[k]; });
  }
  VectorWork vector_thousand(thousand), vector_many(many);
  for (auto [vector, work] : {std::pair{&vector_thousand, &thousand}, {&vector_many, &many}}) {
    vector->Run(true);
    Check(
        *work, [&](std::size_t i) { return VectorWork::At(vector->residuals, kPsvSwEquations, i); },
        [&](std::size_t k) { return VectorWork::At(vector->entries, kPsvSwEntries, k); });
  }

  Register("one/engine", [&] { one.Run(); });
  Register("one/machine-code", [&] { one.RunMachineCode(); });
  Register("one/scalar", [&] { hand(one); });
  Register("thousand/engine", [&] { thousand.Run(); });
  Register("thousand/machine-code", [&] { thousand.RunMachineCode(); });
  Register("thousand/scalar", [&] { hand(thousand); });
  Register("thousand/vector", [&] { vector_thousand.Run(false); });
  Register("many/engine", [&] { many.Run(); });
  Register("many/machine-code", [&] { many.RunMachineCode(); });
  Register("many/scalar", [&] { hand(many); });
  Register("many/vector", [&] { vector_many.Run(false); });
  Register("many/vector-streamed", [&] { vector_many.Run(true); });
  Register("catalogue/engine", [&] { catalogue.Run(); });
  Register("catalogue/machine-code", [&] { catalogue.RunMachineCode(); });
  Register("catalogue/scalar", [&] { written(catalogue, CatalogueReference); });
  Register("flowsheet/engine", [&] { flowsheet.Run(); });
  Register("flowsheet/machine-code", [&] { flowsheet.RunMachineCode(); });
  Register("flowsheet/scalar", [&] { written(flowsheet, FlowsheetReference); });
  Collector times;
  std::vector<std::string> flags = {arguments[0], "--benchmark_repetitions=15", "--benchmark_min_time=0.02",
                                    "--benchmark_enable_random_interleaving=true"};
  for (int k = 1; k < count; ++k)
    if (std::strncmp(arguments[k], "--benchmark", 11) == 0) flags.push_back(arguments[k]);
  std::vector<char*> pointers;
  for (std::string& flag : flags) pointers.push_back(flag.data());
  int flag_count = static_cast<int>(pointers.size());
  benchmark::Initialize(&flag_count, pointers.data());
  benchmark::RunSpecifiedBenchmarks(&times);

  struct Goal {
    std::string work;
    const char* name;
    const char* reference;
    const char* against;
    double limit, limit_of_code;  // without machine code, and with it
  };
  const Goal rows[] = {
      {"repeated, 1,000 copies of PSV_SW", "thousand", "scalar", "hand scalar", 0.7, 0.45},
      {"repeated, 100,000 copies of PSV_SW", "many", "vector-streamed", "hand SIMD with streamed stores", 1.1,
       1.1},
      {fmt::format("all different, {} equations of the catalogue", catalogue.system.equations()), "catalogue",
       "scalar", "written-out scalar", 2.5, 2.5},
      {"one model alone, PSV_SW", "one", "scalar", "hand scalar", 4, 4},
      {fmt::format("coupled flowsheet, {} equations", flowsheet.system.equations()), "flowsheet", "scalar",
       "written-out scalar", 2.5, 2.5},
  };
  for (const Goal& row : rows) {
    const std::string name = std::string(row.name) + "/";
    const auto add = [&](const char* way, const char* told, double limit) {
      const double ratio = times.Ratio(name + way, name + row.reference);
      goals.Add(row.work + told, fmt::format("<= {} x {}", limit, row.against), ratio, ratio <= limit, "x");
    };
    add("engine", "", row.limit);
    if (TapeCode::IsForCurrentMachine()) add("machine-code", ", machine code", row.limit_of_code);
  }

  std::string table = "| work | ns per equation |\n|---|---|\n";
  for (auto [name, work] : {std::pair<const char*, Work*>{"one/engine", &one},
                            {"one/machine-code", &one},
                            {"one/scalar", &one},
                            {"thousand/engine", &thousand},
                            {"thousand/machine-code", &thousand},
                            {"thousand/scalar", &thousand},
                            {"thousand/vector", &thousand},
                            {"many/engine", &many},
                            {"many/machine-code", &many},
                            {"many/scalar", &many},
                            {"many/vector", &many},
                            {"many/vector-streamed", &many},
                            {"catalogue/engine", &catalogue},
                            {"catalogue/machine-code", &catalogue},
                            {"catalogue/scalar", &catalogue},
                            {"flowsheet/engine", &flowsheet},
                            {"flowsheet/machine-code", &flowsheet},
                            {"flowsheet/scalar", &flowsheet}})
    table += fmt::format("| {} | {:.2f} |\n", name, times.Median(name) / work->system.equations());
  goals.Note("One thread, its processor time, medians of 15 interleaved rounds. Loops use " +
             std::string(MachineName(CurrentMachine())) +
             ". PSV_SW is written by hand, scalar with the C library's functions and as SIMD over blocks of "
             "64 copies with its "
             "vector functions; the other references are written out by a program and compiled with -O3. "
             "Each agrees with the "
             "engine within 1e-12 in this run.\n\n" +
             table);
  MeasureSetUp(goals);
  MeasureScaling(goals);
  goals.Finish(count, arguments);
  return 0;
}

}  // namespace
}  // namespace quiver::bench

int main(int count, char** arguments) {
  return quiver::bench::RunProgram("bench_evaluation", quiver::bench::Main, count, arguments);
}
