// SPDX-License-Identifier: Apache-2.0
#include "bench/qorPeer.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <new>
#include <sched.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace orvix::bench {

namespace {

constexpr std::size_t READ_SIZE = 1U << 20U;
constexpr std::chrono::seconds PATIENCE{30};

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int openListener() {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (listener < 0 ||
      ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener, 8) != 0) {
    fail("cannot listen on a loopback port");
  }
  return listener;
}

unsigned int portOf(int listener) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    fail("cannot read the port of a listener");
  }
  return ntohs(address.sin_port);
}

void noDelay(int connection) {
  const int on = 1;
  ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void serveAll(int listener, const Peer::Serve& serve) {
  for (;;) {
    const int connection = ::accept(listener, nullptr, nullptr);
    if (connection < 0) fail("a peer cannot accept");
    noDelay(connection);
    serve(connection);
    ::close(connection);
  }
}

pid_t start(int core, const std::function<void()>& body) {
  const pid_t parent = ::getpid();
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid < 0) fail("cannot start a peer");
  if (pid > 0) return pid;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(1);
  try {
    pinTo(core);
    body();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "peer: %s\n", e.what());
    ::_exit(1);
  }
  ::_exit(0);
}

}  // namespace

Cores chooseCores() {
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  if (::sched_getaffinity(0, sizeof allowed, &allowed) != 0) fail("cannot read the processors");
  Cores cores{-1, -1};
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (!CPU_ISSET(static_cast<std::size_t>(core), &allowed)) continue;
    cores.peer = cores.client;
    cores.client = core;
  }
  if (cores.peer < 0) cores.peer = cores.client;
  return cores;
}

void pinTo(int core) {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(core), &one);
  if (::sched_setaffinity(0, sizeof one, &one) != 0) fail("cannot bind to a processor");
}

Child::Child(int core, const std::function<void()>& body) : pid_(start(core, body)) {}

Child::~Child() {
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

Peer::Peer(int core, const Serve& serve)
    : listener_(openListener()),
      port_(portOf(listener_)),
      child_(core, [&] { serveAll(listener_, serve); }) {}

Peer::~Peer() { ::close(listener_); }

int connectTo(unsigned int port) {
  const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  if (connection < 0 ||
      ::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    fail("cannot connect to a peer");
  }
  noDelay(connection);
  return connection;
}

void writeAll(int connection, const char* bytes, std::size_t length) {
  while (length != 0) {
    const ssize_t sent = ::send(connection, bytes, length, MSG_NOSIGNAL);
    if (sent < 0) fail("cannot write to a peer");
    bytes += sent;
    length -= static_cast<std::size_t>(sent);
  }
}

Peer::Serve answering(std::size_t requestSize, std::string reply) {
  return [requestSize, reply = std::move(reply)](int connection) {
    std::vector<char> buffer(READ_SIZE);
    std::size_t held = 0;
    for (;;) {
      const ssize_t got = ::recv(connection, buffer.data(), buffer.size(), 0);
      if (got <= 0) return;
      for (held += static_cast<std::size_t>(got); held >= requestSize; held -= requestSize) {
        writeAll(connection, reply.data(), reply.size());
      }
    }
  };
}

Drain::Drain() {
  void* const page =
      ::mmap(nullptr, sizeof *taken_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) fail("cannot share memory with a peer");
  taken_ = new (page) std::atomic<std::uint64_t>(0);
}

Drain::~Drain() { ::munmap(taken_, sizeof *taken_); }

Peer::Serve Drain::serve() const {
  return [taken = taken_](int connection) {
    std::vector<char> buffer(READ_SIZE);
    for (;;) {
      const ssize_t got = ::recv(connection, buffer.data(), buffer.size(), 0);
      if (got <= 0) return;
      taken->fetch_add(static_cast<std::uint64_t>(got), std::memory_order_release);
    }
  };
}

void Drain::await(std::uint64_t bytes) {
  awaited_ += bytes;
  const auto limit = std::chrono::steady_clock::now() + PATIENCE;
  while (taken_->load(std::memory_order_acquire) < awaited_) {
    if (std::chrono::steady_clock::now() > limit) {
      throw std::runtime_error("a peer has not received what was sent to it");
    }
    ::usleep(20);
  }
}

}  // namespace orvix::bench
