// SPDX-License-Identifier: Apache-2.0
#include "tests/road/qorServerProcess.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <signal.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/support/qorFirstLine.h"

namespace orvix::road {

namespace {

constexpr auto EXIT_LIMIT = std::chrono::seconds(30);

}  // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& extraOptions)
    : options_(extraOptions) {
  char pattern[] = "/tmp/qorserver-test-XXXXXX";
  if (::mkdtemp(pattern) == nullptr) throw std::runtime_error("no temporary folder");
  folder_ = pattern;
  start();
}

ServerProcess::~ServerProcess() {
  kill();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void ServerProcess::start() {
  std::vector<std::string> words{QORSERVER_PATH, "--data", folder_ + "/data", "--listen",
                                 "127.0.0.1:0"};
  words.insert(words.end(), options_.begin(), options_.end());
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
  process_ = ::fork();
  if (process_ == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
  }
  ::close(ends[1]);
  port_ = test::portOfFirstLine(ends[0]);
  ::close(ends[0]);
  if (port_ == 0) throw std::runtime_error("the server did not say where it listens");
}

int ServerProcess::awaitExit() {
  const auto deadline = std::chrono::steady_clock::now() + EXIT_LIMIT;
  int status = 0;
  while (process_ > 0 && std::chrono::steady_clock::now() < deadline) {
    if (::waitpid(process_, &status, WNOHANG) == process_) {
      process_ = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return -1;
}

void ServerProcess::reload() const { ::kill(process_, SIGHUP); }

int ServerProcess::terminate() {
  ::kill(process_, SIGTERM);
  return awaitExit();
}

void ServerProcess::kill() {
  if (process_ <= 0) return;
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
  process_ = -1;
}

void ServerProcess::restart() {
  kill();
  start();
}

}  // namespace orvix::road
