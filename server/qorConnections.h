// SPDX-License-Identifier: Apache-2.0
// What all connections of one server share: limits, threads, one read buffer, and the watch over
// those that take too long.
#pragma once

#include <array>
#include <asio.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>

#include "server/qorDispatcher.h"
#include "server/qorWriter.h"

namespace orvix::server {

class Session;

struct Limits {
  std::chrono::seconds header{5};  ///< from a request's first byte to the end of its header
  std::chrono::seconds idle{600};  ///< between two bytes otherwise, either way; 0: for ever
  std::size_t connections = 16384;
  std::size_t searches = 1024;             ///< under way, or waiting for readers of their hits
  std::size_t unacknowledged = 4U << 20U;  ///< bytes of one connection that wait for the writer
  std::size_t unacknowledgedInAll = 256U << 20U;
  std::size_t unfinishedInAll = 1024U << 20U;  ///< bytes of bodies that are still coming in
  std::chrono::seconds farewell{10};           ///< for requests under way when the server ends
};

/// For the log; "unknown" when it has left.
[[nodiscard]] std::string peerOf(const asio::ip::tcp::socket& socket);

/// Threads: all of it on the io_context's one thread.
class Connections {
 public:
  /// So many documents are read at one time.
  static constexpr std::size_t EXTRACTORS = 2;

  /// Borrows all, for its whole life; the io_context outlives it.
  Connections(asio::io_context& loop, Dispatcher& dispatcher, Writer& writer,
              asio::thread_pool& pool, const Limits& limits);

  /// Serves the connection, or closes it at once when there are too many.
  void add(asio::ip::tcp::socket socket);
  void remove(const std::shared_ptr<Session>& session);

  /// Called once, when drain() is called for the first time.
  void onDrain(std::function<void()> told) { onDrain_ = std::move(told); }
  /// Lets requests under way come to their end, closes what is idle, then ends the io_context.
  void drain();
  [[nodiscard]] bool draining() const noexcept { return draining_; }

  [[nodiscard]] asio::io_context& loop() noexcept { return loop_; }
  [[nodiscard]] Dispatcher& dispatcher() noexcept { return dispatcher_; }
  [[nodiscard]] Writer& writer() noexcept { return writer_; }
  [[nodiscard]] Metrics& metrics() noexcept { return metrics_; }
  [[nodiscard]] asio::thread_pool& pool() noexcept { return pool_; }
  /// For documents whose text takes long to make; searches must not wait for them.
  [[nodiscard]] asio::thread_pool& extractors() noexcept { return extractors_; }
  [[nodiscard]] const Limits& limits() const noexcept { return limits_; }
  /// Counts the bytes kept of unfinished bodies; answers whether there is room for more of them, if
  /// that is what is asked for.
  bool account(std::size_t before, std::size_t now) noexcept {
    unfinished_ += now - before;
    return now <= before || unfinished_ <= limits_.unfinishedInAll;
  }
  /// Waits for documents that are being read; their text is of no use any more.
  void endReading() {
    extractors_.stop();
    extractors_.join();
  }
  /// For one read; its bytes are moved on before anything else runs.
  [[nodiscard]] std::array<char, 64U << 10U>& scratch() noexcept { return scratch_; }

 private:
  asio::awaitable<void> watch();

  asio::io_context& loop_;
  Dispatcher& dispatcher_;
  Writer& writer_;
  asio::thread_pool& pool_;
  const Limits limits_;
  Metrics& metrics_;
  std::function<void()> onDrain_;
  std::array<char, 64U << 10U> scratch_{};
  std::unordered_set<std::shared_ptr<Session>> sessions_;
  std::size_t unfinished_ = 0;
  bool draining_ = false;
  std::chrono::steady_clock::time_point drainedBy_;
  asio::thread_pool extractors_{EXTRACTORS};  // ends before what it works on
};

}  // namespace orvix::server
