// SPDX-License-Identifier: Apache-2.0
// Workers of POSIX systems: forked, on a socket pair, with an anonymous page in common. WorkerProcess worker(body, "");
#ifndef _WIN32
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/prctl.h>
#endif

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "runtime/contract/error.h"
#include "runtime/sweep/worker_process.h"

namespace quiver {
namespace {

constexpr int kTimeOutSignal = SIGXCPU;  // its handler notes the routine before the worker dies

WorkerWatch* watch_of_this_worker = nullptr;

void NoteRoutine() { watch_of_this_worker->Note(running_routine); }

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

std::string NameOf(int signal) {
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

}  // namespace

bool WorkerEnd::Receive(void* bytes, std::size_t count) const {
  return recv(static_cast<int>(in), bytes, count, MSG_WAITALL) == static_cast<ssize_t>(count);
}

bool WorkerEnd::Send(const std::string& text) const {
  const char* bytes = text.data();
  for (std::size_t left = text.size(); left > 0;) {
    const ssize_t written = write(static_cast<int>(out), bytes, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    left -= static_cast<std::size_t>(written);
  }
  return true;
}

void WorkerEnd::Leave() const { _exit(0); }

struct WorkerProcess::System {
  WorkerWatch* watch = nullptr;
  int socket = -1;
  pid_t pid = -1;
  bool has_news = false, ended = false;
};

WorkerProcess::WorkerProcess(const Body& body, const std::string&) : system_(std::make_unique<System>()) {
  void* page = mmap(nullptr, sizeof(WorkerWatch), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  int sockets[2];
  if (page == MAP_FAILED || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
    throw Error("A worker cannot be started: the system has no room for it. Take fewer --jobs.");
  system_->watch = new (page) WorkerWatch{{-1}, {0}, {}};
  std::fflush(nullptr);  // or the worker would write it once more
  const pid_t parent = getpid();
  system_->pid = fork();
  if (system_->pid < 0)
    throw Error("A worker cannot be started: the system has no room for it. Take fewer --jobs.");
  if (system_->pid == 0) {
#if defined(__linux__)
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
#endif
    close(sockets[0]);
    watch_of_this_worker = system_->watch;
    HandleDeath();
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    dup2(2, 1);  // what a routine prints is no result
    body({sockets[1], sockets[1], system_->watch});
    _exit(0);
  }
  close(sockets[1]);
  system_->socket = sockets[0];
}

WorkerProcess::~WorkerProcess() {
  close(system_->socket);
  if (!system_->ended) {
    kill(system_->pid, SIGKILL);
    waitpid(system_->pid, nullptr, 0);
  }
  munmap(system_->watch, sizeof(WorkerWatch));
}

const WorkerWatch& WorkerProcess::watch() const { return *system_->watch; }

void WorkerProcess::Give(const ChunkRange& range) {
  system_->watch->point = -1;
  send(system_->socket, &range, sizeof range, MSG_NOSIGNAL);
}

void WorkerProcess::AwaitAny(std::span<WorkerProcess* const> workers, int milliseconds) {
  std::vector<pollfd> waiting;
  for (const WorkerProcess* worker : workers) waiting.push_back({worker->system_->socket, POLLIN, 0});
  poll(waiting.data(), waiting.size(), milliseconds);
  for (std::size_t k = 0; k < workers.size(); ++k) workers[k]->system_->has_news = waiting[k].revents != 0;
}

bool WorkerProcess::HasNews() const { return system_->has_news; }

bool WorkerProcess::Read(std::string& text) {
  char buffer[1 << 16];
  const ssize_t count = read(system_->socket, buffer, sizeof buffer);
  if (count > 0) text.append(buffer, static_cast<std::size_t>(count));
  return count != 0;
}

void WorkerProcess::TimeOut() { kill(system_->pid, kTimeOutSignal); }
void WorkerProcess::Kill() { kill(system_->pid, SIGKILL); }

std::string WorkerProcess::Ending() {
  int status = 0;
  while (waitpid(system_->pid, &status, 0) < 0 && errno == EINTR) {
  }
  system_->ended = true;
  if (WIFSIGNALED(status))
    return fmt::format("ended by signal {} ({})", WTERMSIG(status), NameOf(WTERMSIG(status)));
  return fmt::format("ended with exit status {}", WEXITSTATUS(status));
}

void WorkIfStartedAsWorker(const WorkerProcess::Body&, const std::string&) {}

}  // namespace quiver
#endif
