// SPDX-License-Identifier: Apache-2.0
// Threads that wait for work. The caller takes part as worker 0; with one worker everything runs in the caller.
//
//   WorkerPool pool(4);
//   pool.Run(blocks, [&](int block, int worker) { batch.Run(block, ..., scratch[worker]); });
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace quiver {

class WorkerPool {
 public:
  using Task = std::function<void(int task, int worker)>;

  explicit WorkerPool(int workers);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  int workers() const { return static_cast<int>(threads_.size()) + 1; }
  // Runs tasks 0 to count - 1, each once, and returns when all are done. Which worker takes which is left open. Tasks
  // must not throw.
  void Run(int count, const Task& task);

 private:
  void Work(int worker);
  void TakeTasks(int worker);

  std::mutex mutex_;
  std::condition_variable start_, done_;
  const Task* task_ = nullptr;
  std::atomic<int> next_{0};
  int count_ = 0;
  int busy_ = 0;        // threads that have not finished the current run
  unsigned round_ = 0;  // of runs
  bool ending_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace quiver
