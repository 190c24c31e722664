// SPDX-License-Identifier: Apache-2.0
// The one thread that changes the data directory. Requests wait for it in a queue, in the order in
// which they came; those that wait together share a commit.
#pragma once

#include <asio.hpp>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "server/qorBoard.h"
#include "server/qorDispatcher.h"
#include "server/qorReply.h"

namespace orvix::server {

/// Ownership: the store, its collections and the backups belong to this thread from start() to
///            finish().
/// Threads:   post() from any; what it calls back runs on the io_context.
class Writer {
 public:
  using Done = std::function<void(Reply)>;

  /// Borrows all, for its whole life.
  Writer(Dispatcher& dispatcher, Board& board, asio::io_context& loop)
      : dispatcher_(dispatcher), board_(board), loop_(loop) {}
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() { finish(); }

  void start();
  void post(Frame request, Done done);
  void post(std::function<void()> task);
  /// Bytes of the requests that wait or are being worked on.
  [[nodiscard]] std::size_t queuedBytes() const noexcept { return queuedBytes_; }
  /// Requests that wait or are being worked on.
  [[nodiscard]] std::size_t queuedRequests() const noexcept { return queuedRequests_; }
  /// Works off what waits and ends the thread.
  void finish();

 private:
  struct Job {
    Frame request;
    Done done;
    std::function<void()> task;  // instead of a request
    Reply reply;
  };

  void add(Job job);
  void work();
  [[nodiscard]] std::vector<Job> nextGroup();
  void run(std::vector<Job>& group);
  void deliver(std::vector<Job>& group);

  Dispatcher& dispatcher_;
  Board& board_;
  asio::io_context& loop_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<Job> waiting_;
  bool finishing_ = false;
  std::atomic<std::size_t> queuedBytes_ = 0;
  std::atomic<std::size_t> queuedRequests_ = 0;
  std::thread thread_;
};

}  // namespace orvix::server
