// SPDX-License-Identifier: Apache-2.0
#include "bench/qorRedis.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace orvix::bench {

namespace {

constexpr std::chrono::seconds PATIENCE{10};

/// A port that was free a moment ago; a server that finds it taken does not start, and we say so.
unsigned int freePort() {
  const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (probe < 0 || ::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no free loopback port for redis-server");
  }
  ::close(probe);
  return ntohs(address.sin_port);
}

void runServer(const std::string& folder, unsigned int port) {
  const int log = ::open((folder + "/log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ::dup2(log, STDOUT_FILENO);
  ::dup2(log, STDERR_FILENO);
  const std::string number = std::to_string(port);
  ::execlp("redis-server", "redis-server", "--port", number.c_str(), "--bind", "127.0.0.1",
           "--save", "", "--appendonly", "no", "--daemonize", "no", "--dir", folder.c_str(),
           static_cast<char*>(nullptr));
  throw std::runtime_error("cannot run redis-server; scripts/install-deps.sh bench installs it");
}

}  // namespace

Redis::Folder::Folder() {
  std::string name = (std::filesystem::temp_directory_path() / "qor-bench-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  path = name;
}

Redis::Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

Redis::Redis(int core)
    : port_(freePort()), server_(core, [this] { runServer(folder_.path, port_); }) {
  const auto limit = std::chrono::steady_clock::now() + PATIENCE;
  for (;;) {
    context_.reset(redisConnect("127.0.0.1", static_cast<int>(port_)));
    if (context_ != nullptr && context_->err == 0) break;
    if (std::chrono::steady_clock::now() > limit) {
      throw std::runtime_error("redis-server does not answer on port " + std::to_string(port_));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  checked(redisCommand(context(), "PING"));
}

Redis::~Redis() = default;

RedisReply Redis::checked(void* reply) {
  RedisReply held(static_cast<redisReply*>(reply));
  if (held == nullptr) throw std::runtime_error("redis-server has closed the connection");
  if (held->type == REDIS_REPLY_ERROR) throw std::runtime_error(held->str);
  return held;
}

}  // namespace orvix::bench
