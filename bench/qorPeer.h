// SPDX-License-Identifier: Apache-2.0
// The other ends of the measured connections: child processes that do as little as can be.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>

namespace orvix::bench {

/// Processors for the client, which is this process, and for peers.
struct Cores {
  int client = 0;
  int peer = 0;  ///< the same as `client` when there is only one
};

/// The last two processors that this process may run on.
Cores chooseCores();
/// Binds the calling process to one processor.
void pinTo(int core);

/// A child process; dies with its parent.
class Child {
 public:
  /// Runs `body` on `core`; the child ends when it returns.
  Child(int core, const std::function<void()>& body);
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

 private:
  pid_t pid_;
};

/// A listener on a free loopback port and a child that serves its connections one after the other.
class Peer {
 public:
  using Serve = std::function<void(int connection)>;
  Peer(int core, const Serve& serve);
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer();
  [[nodiscard]] unsigned int port() const { return port_; }

 private:
  int listener_;
  unsigned int port_;
  Child child_;
};

/// A connection to `port` of this machine, without delay of small writes.
int connectTo(unsigned int port);
/// Throws when not all bytes could be written.
void writeAll(int connection, const char* bytes, std::size_t length);

/// Answers every `requestSize` bytes with `reply`.
Peer::Serve answering(std::size_t requestSize, std::string reply);
/// Takes what comes and counts it for the parent.
class Drain {
 public:
  Drain();
  Drain(const Drain&) = delete;
  Drain& operator=(const Drain&) = delete;
  ~Drain();
  [[nodiscard]] Peer::Serve serve() const;
  /// Returns when `bytes` more have been taken.
  void await(std::uint64_t bytes);

 private:
  std::atomic<std::uint64_t>* taken_;  // shared with the child
  std::uint64_t awaited_ = 0;
};

}  // namespace orvix::bench
