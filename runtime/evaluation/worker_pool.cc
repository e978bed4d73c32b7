// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/worker_pool.h"

#include <new>
#include <system_error>

namespace quiver {

WorkerPool::WorkerPool(int workers) {
  // Fewer, where the system gives no more threads or memory: the caller alone would do.
  try {
    for (int worker = 1; worker < workers; ++worker) threads_.emplace_back([this, worker] { Work(worker); });
  } catch (const std::system_error&) {
  } catch (const std::bad_alloc&) {
  }
}

WorkerPool::~WorkerPool() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  start_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void WorkerPool::TakeTasks(int worker) {
  for (int task = next_++; task < count_; task = next_++) (*task_)(task, worker);
}

void WorkerPool::Run(int count, const Task& task) {
  if (threads_.empty() || count <= 1) {
    for (int i = 0; i < count; ++i) task(i, 0);
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    task_ = &task;
    count_ = count;
    next_ = 0;
    busy_ = static_cast<int>(threads_.size());
    ++round_;
  }
  start_.notify_all();
  TakeTasks(0);
  std::unique_lock lock(mutex_);
  done_.wait(lock, [this] { return busy_ == 0; });
}

void WorkerPool::Work(int worker) {
  unsigned seen = 0;
  for (;;) {
    {
      std::unique_lock lock(mutex_);
      start_.wait(lock, [&] { return ending_ || round_ != seen; });
      if (ending_) return;
      seen = round_;
    }
    TakeTasks(worker);
    const std::lock_guard lock(mutex_);
    if (--busy_ == 0) done_.notify_one();
  }
}

}  // namespace quiver
