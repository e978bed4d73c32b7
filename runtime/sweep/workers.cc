// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/workers.h"

#include <fmt/format.h>

#include <cstring>
#include <memory>

#include "runtime/contract/error.h"
#include "runtime/contract/procedure_fault.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/prctl.h>
#endif

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#endif

namespace quiver {

#if defined(_WIN32)

void RunChunks(const ModelSource& library, const SweepPlan& plan, const std::vector<std::string>& units,
               const WorkerOptions& options, const std::function<std::optional<ChunkRange>()>& next,
               const std::function<void(long long chunk, std::string text)>& done) {
  struct Collect : PointSink {
    void Starting(long long) override {}
    void Columns(const std::vector<ResultColumn>& columns) override { text.Add(ColumnsLine(columns)); }
    bool Finished(const PointResult& result) override {
      if (options->on_point && !text.Has(result.point)) options->on_point(result.status);
      if (options->on_tick) options->on_tick();
      text.Add(ResultLine(*plan, *units, result));
      return true;
    }
    ChunkText text;
    const SweepPlan* plan = nullptr;
    const std::vector<std::string>* units = nullptr;
    const WorkerOptions* options = nullptr;
  } sink;
  sink.plan = &plan;
  sink.units = &units;
  sink.options = &options;
  PointSolver solver(library, plan);
  while (const auto range = next()) {
    if (options.stop && options.stop()) return;
    solver.Solve(range->first, range->last, sink);
    done(range->chunk, sink.text.Take());
  }
}

#else

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kTimeOutSignal = SIGXCPU;  // its handler notes the routine before the worker dies
constexpr double kGrace = 1.0;           // seconds from that signal to SIGKILL
constexpr int kTickMilliseconds = 100;
constexpr int kMostIdleDeaths = 3;  // of workers that had not begun a point

// Shared between a worker and whoever watches it: what remains known when it dies.
struct Watch {
  std::atomic<long long> point;    // -1: none begun
  std::atomic<long long> started;  // Clock ticks
  char routine[256];               // "ZX40RM_x of library Y", or empty
};

Watch* watch_of_this_worker = nullptr;

// In a signal handler: nothing but copies.
void NoteRoutine() {
  char* at = watch_of_this_worker->routine;
  char* const end = at + sizeof watch_of_this_worker->routine - 1;
  const auto append = [&](const char* text) {
    while (text && *text && at < end) *at++ = *text++;
  };
  if (const char* routine = running_routine.routine) {
    append(routine);
    append(" of library ");
    append(running_routine.library);
  }
  *at = 0;
}

extern "C" void NoteAndDie(int signal) {
  NoteRoutine();
  raise(signal);  // by its default action: the handler was reset on entry
}

void HandleDeath() {
  static char stack[1 << 16];  // a stack overflow leaves none of its own
  stack_t alternative = {};
  alternative.ss_sp = stack;
  alternative.ss_size = sizeof stack;
  sigaltstack(&alternative, nullptr);
  struct sigaction action = {};
  action.sa_handler = NoteAndDie;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_ONSTACK | SA_NODEFER);
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, kTimeOutSignal})
    sigaction(signal, &action, nullptr);
  std::atexit(NoteRoutine);  // a routine may end the process as well
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGINT, SIG_IGN);  // whoever started the sweep decides
  std::signal(SIGTERM, SIG_IGN);
}

bool WriteAll(int file, const char* bytes, size_t count) {
  while (count > 0) {
    const ssize_t written = write(file, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    count -= static_cast<size_t>(written);
  }
  return true;
}

// The worker's side: results as lines through the socket.
class LineSink : public PointSink {
 public:
  LineSink(int socket, const SweepPlan& plan, const std::vector<std::string>& units)
      : socket_(socket), plan_(plan), units_(units) {}
  void Starting(long long point) override {
    watch_of_this_worker->started = Clock::now().time_since_epoch().count();
    watch_of_this_worker->point = point;
  }
  void Columns(const std::vector<ResultColumn>& columns) override { Send(ColumnsLine(columns)); }
  bool Finished(const PointResult& result) override {
    Send(ResultLine(plan_, units_, result));
    if (!result.spoilt) return true;
    Send("Q");
    _exit(0);
  }
  void Send(std::string line) {
    line += '\n';
    if (!WriteAll(socket_, line.data(), line.size())) _exit(0);  // nobody listens any more
  }

 private:
  int socket_;
  const SweepPlan& plan_;
  const std::vector<std::string>& units_;
};

[[noreturn]] void Work(int socket, const ModelSource& library, const SweepPlan& plan,
                       const std::vector<std::string>& units) {
  HandleDeath();
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  dup2(2, 1);  // what a routine prints is no result
  PointSolver solver(library, plan);
  LineSink sink(socket, plan, units);
  ChunkRange range;
  while (recv(socket, &range, sizeof range, MSG_WAITALL) == static_cast<ssize_t>(sizeof range)) {
    solver.Solve(range.first, range.last, sink);
    watch_of_this_worker->point = -1;
    sink.Send("D");
  }
  _exit(0);
}

const char* SignalName(int signal) {
  switch (signal) {
    case SIGSEGV:
      return "SIGSEGV, a memory access that is not allowed";
    case SIGBUS:
      return "SIGBUS, a memory access that is not possible";
    case SIGFPE:
      return "SIGFPE, arithmetic that is not allowed";
    case SIGILL:
      return "SIGILL, an instruction that does not exist";
    case SIGABRT:
      return "SIGABRT, it broke off itself";
    case SIGKILL:
      return "SIGKILL, somebody or the system (memory?) ended it";
    default:
      return strsignal(signal);
  }
}

class Worker {
 public:
  Worker(const ModelSource& library, const SweepPlan& plan, const std::vector<std::string>& units) {
    void* page = mmap(nullptr, sizeof(Watch), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    int sockets[2];
    if (page == MAP_FAILED || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
      throw Error("A worker cannot be started: the system has no room for it. Take fewer --jobs.");
    watch_ = new (page) Watch{{-1}, {0}, {}};
    std::fflush(nullptr);  // or the worker would write it once more
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0)
      throw Error("A worker cannot be started: the system has no room for it. Take fewer --jobs.");
    if (pid_ == 0) {
#if defined(__linux__)
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != parent) _exit(0);
#endif
      close(sockets[0]);
      watch_of_this_worker = watch_;
      Work(sockets[1], library, plan, units);
    }
    close(sockets[1]);
    socket_ = sockets[0];
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    close(socket_);
    if (!ended_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    munmap(watch_, sizeof(Watch));
  }

  int socket() const { return socket_; }
  const Watch& watch() const { return *watch_; }
  void Give(const ChunkRange& range) {
    watch_->point = -1;
    send(socket_, &range, sizeof range, MSG_NOSIGNAL);  // if it is dead, its socket tells at the next poll
  }
  void Kill(int signal) { kill(pid_, signal); }
  // Of a worker whose socket has closed.
  int Wait() {
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    ended_ = true;
    return status;
  }

 private:
  Watch* watch_ = nullptr;
  int socket_ = -1;
  pid_t pid_ = -1;
  bool ended_ = false;
};

// One place at which chunks are worked on, by one worker after another.
class Bench {
 public:
  Bench(const ModelSource& library, const SweepPlan& plan, const std::vector<std::string>& units,
        const WorkerOptions& options)
      : library_(library), plan_(plan), units_(units), options_(options) {}

  bool idle() const { return !busy_; }
  int socket() const { return worker_->socket(); }
  void Begin(const ChunkRange& range) {
    range_ = range;
    busy_ = true;
    Continue();
  }
  // Reads what has come. The text of the chunk once it is done.
  std::optional<std::string> Read() {
    char buffer[1 << 16];
    const ssize_t count = read(worker_->socket(), buffer, sizeof buffer);
    if (count < 0) return std::nullopt;
    if (count == 0) return Bury();
    unread_.append(buffer, static_cast<size_t>(count));
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
      worker_->Kill(SIGKILL);
    else if (seconds > options_.point_timeout && !timed_out_)
      worker_->Kill(kTimeOutSignal);
    timed_out_ = timed_out_ || seconds > options_.point_timeout;
  }
  const ChunkRange& range() const { return range_; }

 private:
  void Continue() {
    timed_out_ = retired_ = false;
    if (!worker_) worker_ = std::make_unique<Worker>(library_, plan_, units_);
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
    const int status = worker_->Wait();
    if (!retired_) {
      PointResult result;
      result.point = worker_->watch().point;
      const std::string routine = worker_->watch().routine;
      if (result.point < 0) {
        if (++idle_deaths_ >= kMostIdleDeaths)
          throw Error(fmt::format(
              "Workers end before they begin with a point{}. Look for what ends them (memory limits?).",
              WIFSIGNALED(status) ? fmt::format(" ({})", SignalName(WTERMSIG(status))) : ""));
      } else {
        const std::string where =
            routine.empty() ? "outside any routine" : fmt::format("in routine {}", routine);
        result.status = timed_out_ ? PointStatus::kTimedOut : PointStatus::kCrashed;
        if (timed_out_)
          result.reason = fmt::format("no result within {:g} s, {}", options_.point_timeout, where);
        else if (WIFSIGNALED(status))
          result.reason = fmt::format("ended by signal {} ({}) {}", WTERMSIG(status),
                                      SignalName(WTERMSIG(status)), where);
        else
          result.reason = fmt::format("ended with exit status {} {}", WEXITSTATUS(status), where);
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

  const ModelSource& library_;
  const SweepPlan& plan_;
  const std::vector<std::string>& units_;
  const WorkerOptions& options_;
  std::unique_ptr<Worker> worker_;
  ChunkRange range_;
  ChunkText text_;
  std::string unread_;
  bool busy_ = false, timed_out_ = false, retired_ = false;
  int idle_deaths_ = 0;
};

}  // namespace

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
    std::vector<pollfd> waiting;
    std::vector<Bench*> whose;
    for (const auto& bench : benches) {
      if (bench->idle()) continue;
      waiting.push_back({bench->socket(), POLLIN, 0});
      whose.push_back(bench.get());
    }
    if (waiting.empty() || (options.stop && options.stop())) return;
    poll(waiting.data(), waiting.size(), kTickMilliseconds);
    for (size_t k = 0; k < waiting.size(); ++k) {
      if (waiting[k].revents == 0) {
        whose[k]->CheckTime();
        continue;
      }
      const long long chunk = whose[k]->range().chunk;
      if (auto text = whose[k]->Read()) {
        done(chunk, std::move(*text));
        begin(*whose[k]);
      }
    }
    if (options.on_tick) options.on_tick();
  }
}

#endif

}  // namespace quiver
