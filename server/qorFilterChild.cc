// SPDX-License-Identifier: Apache-2.0
// The keeper is made a reaper of orphans: whoever loses its parent below it becomes its child, also
// one that has left the session. It kills its children until it has none, which it learns from the
// system: only a process that nobody can kill is left behind. Between fork and exec, and in the
// keeper, only calls are made that are safe in a copy of a process that had other threads.
#include "server/qorFilterChild.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

// The C library of version 2.36 does not say that these have C linkage.
extern "C" {
#include <sys/pidfd.h>
}

namespace orvix::server {

namespace {

constexpr rlim_t MAX_DESCRIPTORS = 256;
constexpr int CANNOT_START = 127;
/// One a millisecond: so long may what was killed take to go.
constexpr int ROUNDS_OF_KILLING = 5000;
constexpr timespec BETWEEN_ROUNDS{0, 1000000};
/// More than those rounds take, in milliseconds.
constexpr int KEEPER_PATIENCE = 10000;

[[noreturn]] void failed(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void tell(const ProgramPlan& plan, ProgramEnd end) noexcept {
  static_cast<void>(!::write(plan.report, &end, sizeof end));
}

bool limit(__rlimit_resource resource, rlim_t soft, rlim_t hard) noexcept {
  const rlimit both{soft, hard};
  return ::setrlimit(resource, &both) == 0;
}

bool takeLimits(const ProcessLimits& limits) noexcept {
  const rlim_t memory = rlim_t{limits.memoryMiB} << 20U;
  const rlim_t seconds = limits.seconds;
  return limit(RLIMIT_AS, memory, memory) && limit(RLIMIT_CPU, seconds, seconds + 1) &&
         limit(RLIMIT_NOFILE, MAX_DESCRIPTORS, MAX_DESCRIPTORS) && limit(RLIMIT_CORE, 0, 0);
}

/// Handlers must not run here, where they would act for the server, and ignored signals would stay
/// ignored in the program.
void resetSignals() noexcept {
  for (int number = 1; number < NSIG; ++number) std::signal(number, SIG_DFL);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool takePlaces(const ProgramPlan& plan, pid_t keeper) noexcept {
  return ::setpgid(0, 0) == 0 && ::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && ::getppid() == keeper &&
         ::dup2(plan.input, STDIN_FILENO) >= 0 && ::dup2(plan.output, STDOUT_FILENO) >= 0 &&
         ::dup2(plan.errors, STDERR_FILENO) >= 0 &&
         ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) == 0 && ::chdir("/") == 0;
}

[[noreturn]] void becomeProgram(const ProgramPlan& plan, pid_t keeper) noexcept {
  errno = 0;
  if (takePlaces(plan, keeper) && takeLimits(plan.limits) &&
      ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0) {
    resetSignals();
    ::execve(plan.program, plan.arguments, plan.environment);
  }
  tell(plan, {ProgramEnd::Kind::NOT_STARTED, errno});
  ::_exit(CANNOT_START);
}

/// Numbers, with blanks behind them. One that the buffer's end cuts waits for the next round.
/// Nobody but the keeper waits for its children, so none of the numbers can be another process's.
void killListed(std::string_view children) noexcept {
  pid_t child = 0;
  for (const char c : children) {
    if (c >= '0' && c <= '9') {
      child = child * 10 + (c - '0');
    } else {
      if (child > 0) ::kill(child, SIGKILL);
      child = 0;
    }
  }
}

void killChildren() noexcept {
  const int list = ::open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC);
  if (list < 0) return;
  std::array<char, 4096> numbers{};
  const ssize_t count = ::read(list, numbers.data(), numbers.size());
  if (count > 0) killListed({numbers.data(), static_cast<std::size_t>(count)});
  ::close(list);
}

/// A child's children are the keeper's once it is dead, so they are met in a later round. `program`
/// is among them while it runs; its number is its own until it was waited for.
void killAll(pid_t program, int& status) noexcept {
  for (int i = 0; i < ROUNDS_OF_KILLING; ++i) {
    if (program > 0) {
      ::kill(-program, SIGKILL);
      ::kill(program, SIGKILL);
    }
    killChildren();
    int ended = 0;
    pid_t child = 0;
    while ((child = ::waitpid(-1, &ended, WNOHANG)) > 0) {
      if (child != program) continue;
      status = ended;
      program = -1;
    }
    if (child < 0) return;  // there is none
    ::nanosleep(&BETWEEN_ROUNDS, nullptr);
  }
}

/// Orphans that end by themselves are let go of; the program is not, for its group's sake.
bool hasEnded(pid_t program) noexcept {
  for (;;) {
    siginfo_t info{};
    if (::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0) return true;
    if (info.si_pid == program) return true;
    if (info.si_pid == 0) return false;
    ::waitpid(info.si_pid, nullptr, 0);
  }
}

/// Until the program has ended, or the server wants all of it to end, or has ended itself.
void awaitEnd(pid_t program, const sigset_t& awaited) noexcept {
  while (!hasEnded(program)) {
    if (::sigwaitinfo(&awaited, nullptr) == SIGTERM) return;
  }
}

/// The name is for those who look for the server by its own.
bool becomeKeeper(const ProgramPlan& plan) noexcept {
  std::signal(SIGCHLD, SIG_DFL);  // ignored ones would not be told of
  ::prctl(PR_SET_NAME, "filter-keeper");
  return ::setpgid(0, 0) == 0 && ::prctl(PR_SET_CHILD_SUBREAPER, 1) == 0 &&
         ::prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && ::getppid() == plan.parent;
}

/// First of all: what the server closes in the meantime is to be closed, with the locks on it.
void keepDescriptors(std::array<int, 4> kept) noexcept {
  std::sort(kept.begin(), kept.end());
  unsigned from = 0;
  for (const int descriptor : kept) {
    const auto number = static_cast<unsigned>(descriptor);
    if (number > from) ::close_range(from, number - 1, 0);
    from = number + 1;
  }
  ::close_range(from, ~0U, 0);
}

/// All signals are blocked here.
[[noreturn]] void keep(const ProgramPlan& plan) noexcept {
  keepDescriptors({plan.input, plan.output, plan.errors, plan.report});
  sigset_t awaited;
  ::sigemptyset(&awaited);
  ::sigaddset(&awaited, SIGCHLD);
  ::sigaddset(&awaited, SIGTERM);
  errno = 0;
  const pid_t self = ::getpid();
  // Sharing the memory: copying the tables of a large server's pages outlasts many a filter.
  const pid_t program = becomeKeeper(plan) ? ::vfork() : -1;
  if (program == 0) becomeProgram(plan, self);
  if (program < 0) {
    tell(plan, {ProgramEnd::Kind::NOT_STARTED, errno});
    ::_exit(CANNOT_START);
  }
  ::setpgid(program, program);  // whoever of the two comes first; it fails once the program runs
  for (const int descriptor : {plan.input, plan.output, plan.errors}) ::close(descriptor);
  awaitEnd(program, awaited);
  int status = 0;
  killAll(program, status);
  tell(plan, {ProgramEnd::Kind::ENDED, status});
  ::_exit(EXIT_SUCCESS);
}

}  // namespace

FilterChild::FilterChild(const ProgramPlan& plan) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  keeper_ = ::fork();
  if (keeper_ == 0) keep(plan);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (keeper_ < 0) failed("Starting a process");
  ended_ = Descriptor(::pidfd_open(keeper_, 0));
  if (!ended_) {
    end();
    failed("Watching a process");
  }
}

/// The keeper is killed only if it does not get on: with it the program would end, and no more.
void FilterChild::end() noexcept {
  if (keeper_ <= 0) return;
  ::kill(keeper_, SIGTERM);
  pollfd ending{ended_.get(), POLLIN, 0};
  if (ended_ && ::poll(&ending, 1, KEEPER_PATIENCE) == 0) ::kill(keeper_, SIGKILL);
  while (::waitpid(keeper_, &status_, 0) < 0 && errno == EINTR) {
  }
  keeper_ = -1;
}

/// The first report counts: that the program could not be started comes before that it ended. A
/// keeper that was killed has told nothing.
ProgramEnd FilterChild::readEnd(const Descriptor& report) const noexcept {
  ProgramEnd end{ProgramEnd::Kind::ENDED, status_};
  if (::read(report.get(), &end, sizeof end) == static_cast<ssize_t>(sizeof end)) return end;
  return {ProgramEnd::Kind::ENDED, status_};
}

}  // namespace orvix::server
