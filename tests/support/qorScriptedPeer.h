// SPDX-License-Identifier: Apache-2.0
// The other end of a connection, under the control of a test: a TCP peer on a free loopback port
// that plays one script per connection and records what it was sent.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace orvix::test {

class ScriptedPeer;

/// What the peer does on one connection, step by step. After the last step the connection is kept
/// open; bytes that nobody expected then are recorded and answered by a reset.
class PeerScript {
 public:
  /// Waits for `count` whole request frames: { length: u16, header text, as many bytes as its
  /// Content-Length says }.
  PeerScript& expectFrames(std::size_t count);
  PeerScript& expectBytes(std::size_t count);
  /// Waits until the client has closed its end.
  PeerScript& expectClose();
  PeerScript& reply(std::string bytes);
  /// Sends each segment when the client has received all of the one before, so that no receive of
  /// the client sees two of them.
  PeerScript& replySegments(std::vector<std::string> segments);
  /// Sends one byte every `pause`, until they are sent or the client is gone.
  PeerScript& trickle(std::string bytes, std::chrono::milliseconds pause);
  /// Ends the peer's own direction; the client can still send.
  PeerScript& endOfFile();
  PeerScript& close();
  PeerScript& reset();
  /// Neither reads nor writes any more.
  PeerScript& stall();

 private:
  friend class ScriptedPeer;
  struct Connection;
  /// False ends the script early: the client is gone, time is up, or the peer is being stopped.
  using Step = std::function<bool(ScriptedPeer&, Connection&)>;
  std::vector<Step> steps_;
};

/// Accepts on a thread of its own and plays the scripts in the order of connections; a connection
/// without a script is counted and reset. No wait is longer than `patience`.
/// Threads: scripts are added and records are read by one thread, the test's.
class ScriptedPeer {
 public:
  /// `receiveBuffer`: size of the sockets' receive buffers in bytes; 0: the system's.
  explicit ScriptedPeer(int receiveBuffer = 0);
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;
  ~ScriptedPeer();

  [[nodiscard]] unsigned int port() const { return port_; }
  /// Adds the script of the next connection that has none. Complete it before the client connects.
  PeerScript& connection();

  /// Waits until `count` connections have been accepted, or played to the end of their scripts.
  [[nodiscard]] bool awaitAccepted(std::size_t count);
  [[nodiscard]] bool awaitPlayed(std::size_t count);
  /// Takes in what has been sent and connected so far, and stops. The records are final then.
  void stop();

  [[nodiscard]] std::size_t connections() const;
  /// Scripts that have not been played to their end.
  [[nodiscard]] std::size_t unplayed() const;
  /// Every byte that came over a connection.
  [[nodiscard]] std::string received(std::size_t connection) const;
  /// TCP segments with data that have arrived so far: one per write of the client, as long as the
  /// writes are few and below 64 KiB.
  [[nodiscard]] unsigned int segments(std::size_t connection) const;

 private:
  friend class PeerScript;
  using Connection = PeerScript::Connection;

  void run();
  void acceptOne();
  void play(Connection& connection);
  void watch(Connection& connection);
  void end(Connection& connection, bool abruptly);
  /// Waits for `events` on the connection. False when time is up or the peer is being stopped.
  bool await(Connection& connection, short events);
  bool receiveSome(Connection& connection);
  bool send(Connection& connection, const std::string& bytes);
  bool awaitDrained(Connection& connection);

  static constexpr std::chrono::seconds patience{10};

  int listener_ = -1;
  int wake_[2] = {-1, -1};
  unsigned int port_ = 0;
  std::atomic<bool> stopping_{false};
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<PeerScript> scripts_;  // those not begun; a deque keeps references valid
  std::size_t begun_ = 0;
  std::size_t played_ = 0;
  std::vector<std::unique_ptr<Connection>> connections_;
  std::thread thread_;
};

}  // namespace orvix::test
