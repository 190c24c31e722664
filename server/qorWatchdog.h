// SPDX-License-Identifier: Apache-2.0
// Vouches for the server to the service manager, as long as connections are served and the writer
// gets on with its work. When it does not, the manager starts the server again, and what was
// acknowledged is on disk.
#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace orvix::server {

/// Judges whether a thread gets on: it has nothing to do, or has finished a step lately. A step may
/// take PATIENCE: one commit after a long batch on a slow disk, or a backup, must never be taken
/// for a hang.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::minutes PATIENCE{30};

  /// How the thread stands now: steps it has finished so far, and whether it has something to do.
  [[nodiscard]] bool isMade(std::uint64_t steps, bool hasWork, Clock::time_point now) noexcept;

 private:
  std::uint64_t steps_ = 0;
  Clock::time_point since_;  // when the last step was seen; of the clock's start: never
};

/// Runs on the io_context of the connections, so that its beats stop when that hangs.
class Watchdog {
 public:
  struct WriterState {
    std::uint64_t steps = 0;
    bool hasWork = false;
  };

  /// Beats twice in `patience`. Borrows nothing.
  Watchdog(asio::io_context& loop, std::chrono::microseconds patience,
           std::function<WriterState()> writer, std::function<std::string()> status);

 private:
  asio::awaitable<void> beat();

  asio::io_context& loop_;
  const std::chrono::microseconds interval_;
  std::function<WriterState()> writer_;
  std::function<std::string()> status_;
  Progress progress_;
};

}  // namespace orvix::server
