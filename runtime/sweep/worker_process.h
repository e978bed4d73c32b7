// SPDX-License-Identifier: Apache-2.0
// A worker process and the line to it: worker_process_posix.cc and worker_process_windows.cc make it what each system has.
//
//   WorkerProcess worker(body, greeting);          // body(end) runs in a process of its own
//   worker.Give({.chunk = 0, .first = 0, .last = 64});
//   WorkerProcess::AwaitAny({{&worker}}, 100);
//   std::string text;
//   if (worker.HasNews() && !worker.Read(text)) Report(worker.Ending());    // "ended by signal 11 (...)"
//
// POSIX systems fork: the worker has all that its parent had. Windows starts the same program with the same arguments once more;
// WorkIfStartedAsWorker is where it becomes a worker instead of doing its parent's work again.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "runtime/contract/procedure_fault.h"
#include "runtime/sweep/workers.h"

namespace quiver {

// Memory shared between a worker and whoever watches it: what remains known when the worker dies.
struct WorkerWatch {
  std::atomic<long long> point;    // -1: none begun
  std::atomic<long long> started;  // ticks of the steady clock
  char routine[256];               // "ZX40RM_x of library Y", or empty

  // Callable while the process dies: nothing but copies.
  void Note(const RunningRoutine& running);
};

// The worker's end of the line.
struct WorkerEnd {
  std::intptr_t in = -1, out = -1;  // what the system calls them
  WorkerWatch* watch = nullptr;

  // False: nobody is there any more.
  bool Receive(void* bytes, std::size_t count) const;
  bool Send(const std::string& text) const;
  [[noreturn]] void Leave() const;  // ends the process as it is
};

class WorkerProcess {
 public:
  using Body = std::function<void(const WorkerEnd&)>;  // does not return

  // The greeting tells a program that is started once more what it has to be started for. Throws Error.
  WorkerProcess(const Body& body, const std::string& greeting);
  ~WorkerProcess();  // ends it
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  const WorkerWatch& watch() const;
  // If it is dead, Read tells.
  void Give(const ChunkRange& range);
  // Waits until one of them has news, or for so long.
  static void AwaitAny(std::span<WorkerProcess* const> workers, int milliseconds);
  bool HasNews() const;
  // Appends what has come. False: the line is closed, all has been read.
  bool Read(std::string& text);
  void TimeOut();  // notes the running routine and dies
  void Kill();
  // Of a worker whose line is closed: "ended with exit status 7".
  std::string Ending();

 private:
  struct System;
  std::unique_ptr<System> system_;
};

// Returns unless this process was started to be a worker.
void WorkIfStartedAsWorker(const WorkerProcess::Body& body, const std::string& greeting);

}  // namespace quiver
