// SPDX-License-Identifier: Apache-2.0
// A text as a case, taken as far as `quiver solve` takes it before it solves: read, checked, built from the installed models,
// set up, its structure analysed. It ends in a system of equations or in an error that tells something.
#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/contract/error.h"
#include "runtime/solve/structure_report.h"
#include "runtime/sweep/sweep_plan.h"
#include "tests/fuzz/bytes.h"

namespace quiver::fuzz {
namespace {

void Build(const ModelSource& library, const CaseFile& description) {
  CaseRun run(library, description);
  EquationSystem& system = run.System();
  (void)AnalyseStructure(system);
  for (const double start : system.StartValues()) (void)start;
  (void)run.Values();
  (void)run.Report();
  (void)run.Streams();
}

void Run(Bytes bytes) {
  static const ModelSource& library = UseLibraries();
  try {
    CaseFile description = ReadCaseText(bytes.Rest(), "case");
    if (description.sweep.location.line && description.sweep.table.empty()) {
      const SweepPlan plan(description, {}, true);
      (void)plan.CaseAt(plan.Count() - 1);
    }
    Build(library, description);
  } catch (const CaseError& error) {
    Promise(!error.faults().empty(), "a case is refused without a fault");
    for (const CaseFault& fault : error.faults()) Promise(!fault.message.empty(), "a fault says nothing");
  } catch (const Error& error) {
    Promise(*error.what(), "an error says nothing");
  }
}

}  // namespace
}  // namespace quiver::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quiver::fuzz::Run({data, size});
  return 0;
}
