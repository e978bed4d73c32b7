// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/workers.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "runtime/contract/error.h"
#include "runtime/sweep/worker_process.h"

namespace quiver {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kGrace =
    1.0;  // seconds in which a worker whose point takes too long may still say what it does
constexpr int kTickMilliseconds = 100;
constexpr int kMostIdleDeaths = 3;  // of workers that had not begun a point

// The worker's side: results as lines.
class LineSink : public PointSink {
 public:
  LineSink(const WorkerEnd& end, const SweepPlan& plan, const std::vector<std::string>& units)
      : end_(end), plan_(plan), units_(units) {}
  void Starting(long long point) override {
    end_.watch->started = Clock::now().time_since_epoch().count();
    end_.watch->point = point;
  }
  void Columns(const std::vector<ResultColumn>& columns) override { Send(ColumnsLine(columns)); }
  bool Finished(const PointResult& result) override {
    Send(ResultLine(plan_, units_, result));
    if (!result.spoilt) return true;
    Send("Q");
    end_.Leave();
  }
  void Send(std::string line) {
    line += '\n';
    if (!end_.Send(line)) end_.Leave();
  }

 private:
  const WorkerEnd& end_;
  const SweepPlan& plan_;
  const std::vector<std::string>& units_;
};

WorkerProcess::Body WorkOn(const ModelSource& library, const SweepPlan& plan,
                           const std::vector<std::string>& units) {
  return [&](const WorkerEnd& end) {
    PointSolver solver(library, plan);
    LineSink sink(end, plan, units);
    ChunkRange range;
    while (end.Receive(&range, sizeof range)) {
      solver.Solve(range.first, range.last, sink);
      end.watch->point = -1;
      sink.Send("D");
    }
    end.Leave();
  };
}

// One place at which chunks are worked on, by one worker after another.
class Bench {
 public:
  Bench(const ModelSource& library, const SweepPlan& plan, const std::vector<std::string>& units,
        const WorkerOptions& options)
      : body_(WorkOn(library, plan, units)), plan_(plan), units_(units), options_(options) {}

  bool idle() const { return !busy_; }
  WorkerProcess& worker() const { return *worker_; }
  void Begin(const ChunkRange& range) {
    range_ = range;
    busy_ = true;
    Continue();
  }
  // Reads what has come. The text of the chunk once it is done.
  std::optional<std::string> Read() {
    if (!worker_->Read(unread_)) return Bury();
    size_t start = 0;
    std::optional<std::string> text;
    for (size_t end; (end = unread_.find('\n', start)) != unread_.npos; start = end + 1) {
      const std::string_view line = std::string_view(unread_).substr(start, end - start);
      if (line == "D")
        text = Finish();
      else if (line == "Q")
        retired_ = true;
      else
        Add(line);
    }
    unread_.erase(0, start);
    return text;
  }
  // Ends the worker of a point that takes too long.
  void CheckTime() {
    if (options_.point_timeout <= 0 || worker_->watch().point < 0) return;
    const Clock::time_point started{Clock::duration(worker_->watch().started.load())};
    const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
    if (seconds > options_.point_timeout + kGrace)
      worker_->Kill();
    else if (seconds > options_.point_timeout && !timed_out_)
      worker_->TimeOut();
    timed_out_ = timed_out_ || seconds > options_.point_timeout;
  }
  const ChunkRange& range() const { return range_; }

 private:
  void Continue() {
    timed_out_ = retired_ = false;
    if (!worker_) worker_ = std::make_unique<WorkerProcess>(body_, options_.greeting);
    worker_->Give(range_);
  }
  void Add(std::string_view line) {
    if (line.starts_with('R')) {
      const std::vector<std::string_view> fields = Fields(line);
      const bool first = !text_.Has(std::strtoll(fields[1].data(), nullptr, 10));
      if (first && options_.on_point) options_.on_point(StatusOf(fields[2]));
    }
    text_.Add(line);
  }
  std::string Finish() {
    busy_ = false;
    idle_deaths_ = 0;
    return text_.Take();
  }
  // The worker is dead: its point gets a result, the rest of the chunk another worker.
  std::optional<std::string> Bury() {
    const std::string ending = worker_->Ending();
    if (!retired_) {
      PointResult result;
      result.point = worker_->watch().point;
      const std::string routine = worker_->watch().routine;
      if (result.point < 0) {
        if (++idle_deaths_ >= kMostIdleDeaths)
          throw Error(fmt::format(
              "Workers end before they begin with a point ({}). Look for what ends them (memory limits?).",
              ending));
      } else {
        const std::string where =
            routine.empty() ? "outside any routine" : fmt::format("in routine {}", routine);
        result.status = timed_out_ ? PointStatus::kTimedOut : PointStatus::kCrashed;
        result.reason = timed_out_ ? fmt::format("no result within {:g} s, {}", options_.point_timeout, where)
                                   : fmt::format("{} {}", ending, where);
        Add(ResultLine(plan_, units_, result));
      }
    }
    worker_.reset();
    unread_.clear();
    while (range_.first < range_.last && text_.Has(range_.first)) ++range_.first;
    if (range_.first == range_.last) return Finish();
    Continue();
    return std::nullopt;
  }

  const WorkerProcess::Body body_;
  const SweepPlan& plan_;
  const std::vector<std::string>& units_;
  const WorkerOptions& options_;
  std::unique_ptr<WorkerProcess> worker_;
  ChunkRange range_;
  ChunkText text_;
  std::string unread_;
  bool busy_ = false, timed_out_ = false, retired_ = false;
  int idle_deaths_ = 0;
};

}  // namespace

void WorkerWatch::Note(const RunningRoutine& running) {
  char* at = routine;
  char* const end = at + sizeof routine - 1;
  const auto append = [&](const char* text) {
    while (text && *text && at < end) *at++ = *text++;
  };
  if (const char* name = running.routine) {
    append(name);
    append(" of library ");
    append(running.library);
  }
  *at = 0;
}

void RunChunks(const ModelSource& library, const SweepPlan& plan, const std::vector<std::string>& units,
               const WorkerOptions& options, const std::function<std::optional<ChunkRange>()>& next,
               const std::function<void(long long chunk, std::string text)>& done) {
  std::vector<std::unique_ptr<Bench> > benches;
  const auto begin = [&](Bench& bench) {
    if (const auto range = next()) bench.Begin(*range);
  };
  for (int k = 0; k < options.jobs; ++k) {
    benches.push_back(std::make_unique<Bench>(library, plan, units, options));
    begin(*benches.back());
  }
  for (;;) {
    std::vector<WorkerProcess*> waiting;
    std::vector<Bench*> whose;
    for (const auto& bench : benches) {
      if (bench->idle()) continue;
      waiting.push_back(&bench->worker());
      whose.push_back(bench.get());
    }
    if (waiting.empty() || (options.stop && options.stop())) return;
    WorkerProcess::AwaitAny(waiting, kTickMilliseconds);
    for (Bench* bench : whose) {
      if (!bench->worker().HasNews()) {
        bench->CheckTime();
        continue;
      }
      const long long chunk = bench->range().chunk;
      if (auto text = bench->Read()) {
        done(chunk, std::move(*text));
        begin(*bench);
      }
    }
    if (options.on_tick) options.on_tick();
  }
}

void WorkIfStartedAsWorker(const ModelSource& library, const SweepPlan& plan,
                           const std::vector<std::string>& units, const std::string& greeting) {
  WorkIfStartedAsWorker(WorkOn(library, plan, units), greeting);
}

}  // namespace quiver
