// SPDX-License-Identifier: Apache-2.0
// The other end of a connection, under the control of a test: a TCP peer on a free loopback port
// that plays one script per connection and records what it was sent.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace orvix::test {

/// What the peer does on one connection, step by step. After the last step the connection is kept
/// open; bytes that nobody expected then are recorded and answered by closing it.
class PeerScript {
 public:
  /// Waits for `count` whole request frames: { length: u16, header text, as many bytes as its
  /// Content-Length says }.
  PeerScript& expectFrames(std::size_t count) { return add({Step::FRAMES, count}); }
  /// Waits for the next request that is answered; documents of a batch and its end are not.
  PeerScript& expectQuestion() { return add({Step::QUESTION}); }
  /// Waits until the client has closed its end.
  PeerScript& expectClose() { return add({Step::CLIENT_CLOSES}); }
  PeerScript& reply(std::string bytes) { return replySegments({std::move(bytes)}); }
  /// Sends each segment when the client has received all of the one before, so that no receive of
  /// the client sees two of them.
  PeerScript& replySegments(std::vector<std::string> segments) {
    return add({Step::SEND, 0, std::move(segments)});
  }
  /// A client that is still sending is reset by it.
  PeerScript& close() { return add({Step::CLOSE}); }
  /// Neither reads nor writes any more.
  PeerScript& stall() { return add({Step::STALL}); }

 private:
  friend class ScriptedPeer;
  struct Step {
    enum What { FRAMES, QUESTION, CLIENT_CLOSES, SEND, CLOSE, STALL } what;
    std::size_t count = 0;
    std::vector<std::string> segments{};
  };
  PeerScript& add(Step step) {
    steps_.push_back(std::move(step));
    return *this;
  }
  std::vector<Step> steps_;
};

/// Accepts on a thread of its own and plays the scripts in the order of connections; a connection
/// without a script is counted and closed. No wait is longer than ten seconds.
/// Threads: scripts are added and records are read by one thread, the test's.
class ScriptedPeer {
 public:
  ScriptedPeer();
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;
  ~ScriptedPeer();

  [[nodiscard]] unsigned int port() const { return port_; }
  /// Adds the script of the next connection that has none. Complete it before the client connects.
  PeerScript& connection();

  /// Waits until `count` connections have been played to the end of their scripts.
  [[nodiscard]] bool awaitPlayed(std::size_t count);
  /// Takes in what has been sent and connected so far, and stops. The records are final then.
  void stop();

  [[nodiscard]] std::size_t connections() const;
  /// Every byte that came over a connection.
  [[nodiscard]] std::string received(std::size_t connection) const;
  /// Waits for a connection, which is still open, and for what the client has written to it.
  /// Returns the TCP segments with data: one per write of the client, as long as the writes are few
  /// and below 64 KiB.
  [[nodiscard]] unsigned int segments(std::size_t connection);

 private:
  struct Connection {
    int descriptor = -1;
    int clientPort = 0;
    bool watched = true;    // whatever comes behind the script is unexpected
    std::size_t taken = 0;  // of `received`, by the steps so far
    std::string received{};
  };

  void run();
  void acceptOne();
  void play(Connection& connection, const PeerScript& script);
  void end(Connection& connection);
  /// These are false when the client is gone, time is up, or the peer is being stopped.
  bool perform(const PeerScript::Step& step, Connection& connection);
  bool await(const Connection& connection, short events);
  std::string_view takeFrame(Connection& connection);
  bool receiveSome(Connection& connection);
  bool awaitDrained(const Connection& connection);
  bool send(const Connection& connection, const std::string& bytes);

  unsigned int port_ = 0;
  int listener_ = -1;
  int wake_ = -1;
  std::atomic<bool> stopping_{false};
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<PeerScript> scripts_;  // a deque keeps references valid
  std::deque<Connection> connections_;
  std::size_t played_ = 0;
  std::thread thread_;
};

}  // namespace orvix::test
