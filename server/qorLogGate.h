// SPDX-License-Identifier: Apache-2.0
// Keeps one event from filling the disk: so many lines a second, and a count of the rest.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string_view>
#include <vector>

namespace orvix::server {

/// Threads: any. Events are literals, a handful of them.
class LogGate {
 public:
  using Clock = std::chrono::steady_clock;
  struct LeftOut {
    std::string_view event;
    std::uint64_t lines = 0;
  };

  explicit LogGate(std::uint32_t linesASecond) noexcept : limit_(linesASecond) {}

  [[nodiscard]] bool admits(std::string_view event, Clock::time_point now);
  /// Of events whose second is over; each line is told once.
  [[nodiscard]] std::vector<LeftOut> takeLeftOut(Clock::time_point now);

 private:
  struct Second {
    Clock::time_point start;
    std::uint32_t lines = 0;
    std::uint64_t leftOut = 0;
  };

  const std::uint32_t limit_;
  std::mutex mutex_;
  std::map<std::string_view, Second> seconds_;
};

}  // namespace orvix::server
