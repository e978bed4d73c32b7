// SPDX-License-Identifier: Apache-2.0
#include "runtime/contract/last_words.h"

#include <csignal>
#include <cstdlib>
#include <cstring>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#define write _write
#define getpid _getpid
#else
#include <unistd.h>
#endif

#include "runtime/contract/procedure_fault.h"

namespace quiver {
namespace {

int speaker = 0;  // the process that asked for it, not those forked from it

// In a signal handler: no allocation, no stream. What cannot be written is lost.
void Say(const char* text) {
  [[maybe_unused]] const auto written = write(2, text, static_cast<unsigned>(std::strlen(text)));
}

bool NameRunningRoutine(const char* what) {
  const char* const routine = running_routine.routine;
  if (!routine || getpid() != speaker) return false;
  Say("quiver: routine ");
  Say(routine);
  Say(" of library ");
  Say(running_routine.library);
  Say(what);
  return true;
}

constexpr const char* kRemedy =
    "Mend the routine, or choose an option that does not call it; \"quiver sweep\" loses only the point that "
    "calls it.\n";

extern "C" void SayAndDie(int signal) {
  std::signal(signal, SIG_DFL);
  char number[] = " crashed (signal 00). ";
  number[17] = static_cast<char>('0' + signal / 10 % 10);
  number[18] = static_cast<char>('0' + signal % 10);
  if (NameRunningRoutine(number)) Say(kRemedy);
  std::raise(signal);
}

// Registered with atexit: a routine may end the process as well.
void SayAtExit() {
  if (NameRunningRoutine(" ended the program. ")) Say(kRemedy);
}

}  // namespace

void NameRoutineAtDeath() {
  speaker = getpid();
  std::atexit(SayAtExit);
#if !defined(__SANITIZE_ADDRESS__)  // whose own report says more
  for (const int signal : {SIGSEGV, SIGFPE, SIGILL, SIGABRT}) std::signal(signal, SayAndDie);
#if defined(SIGBUS)
  std::signal(SIGBUS, SayAndDie);
#endif
#endif
}

}  // namespace quiver
