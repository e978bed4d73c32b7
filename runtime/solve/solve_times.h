// SPDX-License-Identifier: Apache-2.0
// Where the time of a solution goes. Workers add up what each of them took.
//
//   SolveTimes times;   options.times = &times;   Solve(problem, options, x);
//   fmt::print("{} s in equations\n", times.evaluation.Seconds());
#ifndef QUIVER_RUNTIME_SOLVE_SOLVE_TIMES_H_
#define QUIVER_RUNTIME_SOLVE_SOLVE_TIMES_H_

#include <atomic>
#include <chrono>

namespace quiver {

class TimeSpent {
 public:
  void Add(std::chrono::steady_clock::duration span) {
    nanoseconds_ += std::chrono::duration_cast<std::chrono::nanoseconds>(span).count();
  }
  double Seconds() const { return 1e-9 * static_cast<double>(nanoseconds_); }

 private:
  std::atomic<long long> nanoseconds_ = 0;
};

struct SolveTimes {
  TimeSpent structure, evaluation, linear_algebra;
};

// Adds the time from its construction to Stop(), or to its end. Costs nothing where nobody measures.
class Measure {
 public:
  explicit Measure(TimeSpent* spent) : spent_(spent) {
    if (spent_) start_ = std::chrono::steady_clock::now();
  }
  ~Measure() { Stop(); }
  void Stop() {
    if (spent_) spent_->Add(std::chrono::steady_clock::now() - start_);
    spent_ = nullptr;
  }
  Measure(const Measure&) = delete;
  Measure& operator=(const Measure&) = delete;

 private:
  TimeSpent* spent_;
  std::chrono::steady_clock::time_point start_{};
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_SOLVE_TIMES_H_
