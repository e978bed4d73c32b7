// SPDX-License-Identifier: Apache-2.0
// Workers of Windows: this program started once more, on two pipes, with a page and an event in common, whose handles the environment
// tells. WorkerProcess worker({}, greeting);
#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
//
#include <fmt/format.h>
#include <io.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/contract/error.h"
#include "runtime/sweep/worker_process.h"

namespace quiver {
namespace {

constexpr const char* kVariable = "QUIVER_SWEEP_WORKER";
constexpr DWORD kBrokeOff = 0x40000015;  // as the system's own programs end where they break off
constexpr const char* kNoRoom =
    "A worker cannot be started: the system has no room for it (error {}). Take fewer --jobs.";

HANDLE HandleOf(std::intptr_t number) { return reinterpret_cast<HANDLE>(number); }
std::intptr_t NumberOf(HANDLE handle) { return reinterpret_cast<std::intptr_t>(handle); }

// ---- the worker's side ----

WorkerWatch* watch_of_this_worker = nullptr;
RunningRoutine* running_in_this_worker = nullptr;  // in the thread that solves

void NoteRoutine() {
  watch_of_this_worker->Note(*running_in_this_worker);
  running_in_this_worker->routine = nullptr;  // said once is enough
}

[[noreturn]] void Die(DWORD status) {
  NoteRoutine();
  TerminateProcess(GetCurrentProcess(), status);
  for (;;) Sleep(INFINITE);
}

LONG WINAPI DieOfException(EXCEPTION_POINTERS* what) { Die(what->ExceptionRecord->ExceptionCode); }
extern "C" void DieOfAbort(int) { Die(kBrokeOff); }

void HandleDeath(HANDLE time_out) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  ULONG left = 1 << 16;  // a stack overflow leaves that much of it
  SetThreadStackGuarantee(&left);
  SetUnhandledExceptionFilter(DieOfException);
  for (const int signal : {SIGSEGV, SIGFPE, SIGILL}) std::signal(signal, SIG_DFL);
  std::signal(SIGABRT, DieOfAbort);
  std::atexit(NoteRoutine);              // a routine may end the process as well
  SetConsoleCtrlHandler(nullptr, TRUE);  // whoever started the sweep decides
  std::thread([time_out] {
    WaitForSingleObject(time_out, INFINITE);
    Die(1);
  }).detach();
}

// ---- the watcher's side ----

// Threads of the watcher tell here that a worker has said something.
std::mutex news_mutex;
std::condition_variable news_came;

// Closed when it goes.
struct Handle {
  HANDLE handle = nullptr;

  Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { Close(); }
  void Close() {
    if (handle) CloseHandle(std::exchange(handle, nullptr));
  }
  operator HANDLE() const { return handle; }
};

// Its processes end with this one, however it ends.
HANDLE Job() {
  static const HANDLE job = [] {
    const HANDLE made = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return made;
  }();
  return job;
}

[[noreturn]] void ThrowNoRoom() { throw Error(fmt::format(fmt::runtime(kNoRoom), GetLastError())); }

const char* NameOf(DWORD exception) {
  switch (exception) {
    case EXCEPTION_ACCESS_VIOLATION:
      return "a memory access that is not allowed";
    case EXCEPTION_IN_PAGE_ERROR:
      return "a memory access that is not possible";
    case EXCEPTION_STACK_OVERFLOW:
      return "its stack is full";
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW:
      return "arithmetic that is not allowed";
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION:
      return "an instruction that does not exist";
    case kBrokeOff:
      return "it broke off itself";
    case 0xC0000374:
      return "its heap is damaged";
    default:
      return "see the system's list of status codes";
  }
}

std::wstring ThisProgram() {
  std::wstring path(1 << 15, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace

bool WorkerEnd::Receive(void* bytes, std::size_t count) const {
  auto* to = static_cast<char*>(bytes);
  while (count > 0) {
    DWORD read = 0;
    if (!ReadFile(HandleOf(in), to, static_cast<DWORD>(count), &read, nullptr) || read == 0) return false;
    to += read;
    count -= read;
  }
  return true;
}

bool WorkerEnd::Send(const std::string& text) const {
  DWORD written = 0;
  return WriteFile(HandleOf(out), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
         written == text.size();
}

void WorkerEnd::Leave() const {
  TerminateProcess(GetCurrentProcess(), 0);
  for (;;) Sleep(INFINITE);
}

struct WorkerProcess::System {
  Handle process, to_worker, from_worker, page, time_out;
  WorkerWatch* watch = nullptr;
  std::thread reader;
  // Under news_mutex.
  std::string unread;
  bool closed = false;

  ~System() {
    if (process) TerminateProcess(process, 1);
    to_worker.Close();
    if (reader.joinable()) reader.join();  // its pipe breaks with the process
    if (watch) UnmapViewOfFile(watch);
  }
  void ReadOn() {
    std::vector<char> buffer(1 << 16);
    for (;;) {
      DWORD count = 0;
      const bool open =
          ReadFile(from_worker, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) &&
          count > 0;
      const std::lock_guard lock(news_mutex);
      unread.append(buffer.data(), count);
      closed = !open;
      news_came.notify_all();
      if (closed) return;
    }
  }
};

WorkerProcess::WorkerProcess(const Body&, const std::string& greeting) : system_(std::make_unique<System>()) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  Handle worker_in, worker_out;
  if (!CreatePipe(&worker_in.handle, &system_->to_worker.handle, &inherited, 0) ||
      !CreatePipe(&system_->from_worker.handle, &worker_out.handle, &inherited, 1 << 16))
    ThrowNoRoom();
  // Else the worker would hold its own line open.
  SetHandleInformation(system_->to_worker, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(system_->from_worker, HANDLE_FLAG_INHERIT, 0);
  system_->page.handle =
      CreateFileMappingW(INVALID_HANDLE_VALUE, &inherited, PAGE_READWRITE, 0, sizeof(WorkerWatch), nullptr);
  system_->time_out.handle = CreateEventW(&inherited, TRUE, FALSE, nullptr);
  void* const page =
      system_->page ? MapViewOfFile(system_->page, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(WorkerWatch)) : nullptr;
  if (!page || !system_->time_out) ThrowNoRoom();
  system_->watch = new (page) WorkerWatch{{-1}, {0}, {}};

  const std::string handles = fmt::format("{} {} {} {}", NumberOf(worker_in), NumberOf(worker_out),
                                          NumberOf(system_->page), NumberOf(system_->time_out));
  std::fflush(nullptr);
  SetEnvironmentVariableA(kVariable, handles.c_str());
  std::wstring command = GetCommandLineW();
  STARTUPINFOW start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION made = {};
  const bool started = CreateProcessW(ThisProgram().c_str(), command.data(), nullptr, nullptr, TRUE, 0,
                                      nullptr, nullptr, &start, &made);
  SetEnvironmentVariableA(kVariable, nullptr);
  if (!started) ThrowNoRoom();
  system_->process.handle = made.hProcess;
  CloseHandle(made.hThread);
  AssignProcessToJobObject(Job(), made.hProcess);
  // The next worker inherits what is inheritable: these must not be.
  worker_in.Close();
  worker_out.Close();
  system_->page.Close();
  SetHandleInformation(system_->time_out, HANDLE_FLAG_INHERIT, 0);
  system_->reader = std::thread([system = system_.get()] { system->ReadOn(); });

  const auto send = [&](const void* bytes, std::size_t count) {
    DWORD written;
    WriteFile(system_->to_worker, bytes, static_cast<DWORD>(count), &written, nullptr);
  };
  const std::size_t size = greeting.size();
  send(&size, sizeof size);
  send(greeting.data(), size);
}

WorkerProcess::~WorkerProcess() = default;

const WorkerWatch& WorkerProcess::watch() const { return *system_->watch; }

void WorkerProcess::Give(const ChunkRange& range) {
  system_->watch->point = -1;
  DWORD written;
  WriteFile(system_->to_worker, &range, sizeof range, &written, nullptr);
}

void WorkerProcess::AwaitAny(std::span<WorkerProcess* const> workers, int milliseconds) {
  std::unique_lock lock(news_mutex);
  news_came.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] {
    for (const WorkerProcess* worker : workers)
      if (!worker->system_->unread.empty() || worker->system_->closed) return true;
    return false;
  });
}

bool WorkerProcess::HasNews() const {
  const std::lock_guard lock(news_mutex);
  return !system_->unread.empty() || system_->closed;
}

bool WorkerProcess::Read(std::string& text) {
  const std::lock_guard lock(news_mutex);
  if (system_->unread.empty()) return !system_->closed;
  text += std::exchange(system_->unread, {});
  return true;
}

void WorkerProcess::TimeOut() { SetEvent(system_->time_out); }
void WorkerProcess::Kill() { TerminateProcess(system_->process, 1); }

std::string WorkerProcess::Ending() {
  WaitForSingleObject(system_->process, INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(system_->process, &status);
  if (status < kBrokeOff) return fmt::format("ended with exit status {}", status);
  return fmt::format("ended by exception 0x{:08X} ({})", status, NameOf(status));
}

void WorkIfStartedAsWorker(const WorkerProcess::Body& body, const std::string& greeting) {
  const char* const handles = std::getenv(kVariable);
  long long in, out, page, time_out;
  if (!handles || std::sscanf(handles, "%lld %lld %lld %lld", &in, &out, &page, &time_out) != 4) return;
  _putenv_s(kVariable, "");  // not for what a routine starts
  WorkerEnd end{static_cast<std::intptr_t>(in), static_cast<std::intptr_t>(out), nullptr};
  end.watch = static_cast<WorkerWatch*>(MapViewOfFile(HandleOf(static_cast<std::intptr_t>(page)),
                                                      FILE_MAP_ALL_ACCESS, 0, 0, sizeof(WorkerWatch)));
  std::size_t size = 0;
  if (!end.watch || !end.Receive(&size, sizeof size) || size > (1 << 24))
    throw Error(fmt::format("The environment has {}, which quiver sweep keeps for its workers. Remove it.",
                            kVariable));
  std::string expected(size, '\0');
  if (!end.Receive(expected.data(), size)) end.Leave();
  if (expected != greeting)
    throw Error("The case or its table has changed since the sweep was started. Start the sweep again.");
  watch_of_this_worker = end.watch;
  running_in_this_worker = &running_routine;
  HandleDeath(HandleOf(static_cast<std::intptr_t>(time_out)));
  _dup2(2, 1);  // what a routine prints is no result
  body(end);
  end.Leave();
}

}  // namespace quiver
#endif
