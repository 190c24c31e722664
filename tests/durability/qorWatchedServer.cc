// SPDX-License-Identifier: Apache-2.0
#include "tests/durability/qorWatchedServer.h"

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/support/qorFirstLine.h"

namespace orvix::durability {

namespace {

constexpr auto EXIT_LIMIT = std::chrono::seconds(30);

/// The tracer's child. A tracer that dies lets it run on, so it is ended by its own number.
pid_t childOf(pid_t process) {
  const std::string number = std::to_string(process);
  std::ifstream children("/proc/" + number + "/task/" + number + "/children");
  pid_t child = -1;
  children >> child;
  return children ? child : -1;
}

/// A process that is nobody's child here: until it is gone it holds the lock of its data directory.
void awaitGone(pid_t process) {
  const auto deadline = std::chrono::steady_clock::now() + EXIT_LIMIT;
  while (process > 0 && ::kill(process, 0) == 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void limit(pid_t process, __rlimit_resource what, unsigned long long value) {
  rlimit current{};
  ::prlimit(process, what, nullptr, &current);
  current.rlim_cur = value;
  ::prlimit(process, what, &current, nullptr);
}

}  // namespace

WatchedServer::WatchedServer(const std::string& program, const std::string& data,
                             const std::vector<std::string>& tracer, Errors errors) {
  std::vector<std::string> words = tracer;
  words.insert(words.end(), {program, "--data", data, "--listen", "127.0.0.1:0"});
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
  process_ = ::fork();
  if (process_ == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    if (errors == Errors::DROPPED) ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
  }
  ::close(ends[1]);
  port_ = test::portOfFirstLine(ends[0]);
  ::close(ends[0]);
}

WatchedServer::~WatchedServer() {
  if (process_ <= 0) return;
  const pid_t child = childOf(process_);
  if (child > 0) ::kill(child, SIGKILL);
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
  awaitGone(child);
}

void WatchedServer::limitFileSize(unsigned long long bytes) const {
  limit(process_, RLIMIT_FSIZE, bytes);
}

void WatchedServer::limitDescriptors(unsigned long long count) const {
  limit(process_, RLIMIT_NOFILE, count);
}

void WatchedServer::reload() const { ::kill(process_, SIGHUP); }

bool WatchedServer::terminate() {
  ::kill(process_, SIGTERM);
  return endsWell();
}

bool WatchedServer::endsWell() {
  const auto deadline = std::chrono::steady_clock::now() + EXIT_LIMIT;
  while (std::chrono::steady_clock::now() < deadline) {
    int status = 0;
    if (::waitpid(process_, &status, WNOHANG) == process_) {
      process_ = -1;
      return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

}  // namespace orvix::durability
