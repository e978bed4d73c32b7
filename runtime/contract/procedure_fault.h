// SPDX-License-Identifier: Apache-2.0
// Why the last call of a procedure failed. The contract hands on a negative number only; the sentence is kept
// here, per thread, until the next failure.
//
//   if (!EvaluateProcedure(procedure, residuals, rows)) Report(LastProcedureFault().sentence);
#pragma once

#include <string>

class QV_ProcedureType;

namespace quiver {

// What EnsureCompatibleDLLLoaded and CheckIFailAndOutputs answer.
enum ProcedureFaultCode : int {
  kRoutineAbsent = -1,   // no provider, library or routine
  kArgumentsUnfit = -2,  // the arguments given are not those of the procedure, or a text is too long
  kRoutineFailed = -3,   // the routine reported failure
  kOutputsInvalid = -4,  // an output is not a finite number
  kMemoryOverrun = -5,   // the routine wrote outside its arguments
};

struct ProcedureFault {
  std::string routine, library;
  int code = 0;  // 0: no failure yet
  std::string sentence;
};

const ProcedureFault& LastProcedureFault();
void ClearProcedureFault();
// What a routine of the host's own says before it reports failure; the sentence of the failure then tells it.
void SetRoutineReason(std::string reason);
// Records the failure and returns the code.
int RecordProcedureFault(QV_ProcedureType& procedure, int code, const std::string& what_and_remedy);

// The routine that this thread is calling right now, for whoever has to tell what a crash happened in; null between
// calls. Texts of the procedure's class, which outlive the call.
struct RunningRoutine {
  const char* volatile routine = nullptr;
  const char* volatile library = nullptr;
};
extern constinit thread_local RunningRoutine running_routine;

// How many times a routine has changed one of its inputs, in this thread: what was computed from them is out
// of date.
long long InputsChangedByRoutines();

}  // namespace quiver
