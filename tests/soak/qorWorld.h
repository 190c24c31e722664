// SPDX-License-Identifier: Apache-2.0
// What all threads of the load share: where the server is, when they have to pause, how hard they
// press, what they counted and what they found wrong.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace orvix::soak {

using Clock = std::chrono::steady_clock;

enum class Operation : std::uint32_t {
  ADD,
  DELETE,
  BATCHED,
  OUTCOMES,
  SEARCH,
  STREAM,
  ABANDONED,
  SORTED,
  STATUS,
  BACKUP,
  RESTORE,
  CREATE,
  DROP,
  TAKEOVER,
  RELOAD,
  HOSTILE,
  SCRAPE
};
inline constexpr std::array OPERATION_NAMES{
    "adds",      "deletes",   "batched",  "outcomes", "searches", "streams",
    "abandoned", "sorted",    "statuses", "backups",  "restores", "creates",
    "drops",     "takeovers", "reloads",  "hostile",  "scrapes"};

/// Threads: any.
class World {
 public:
  /// Odd while no server is up; a request that failed between two lives has an excuse.
  [[nodiscard]] std::uint64_t life() const noexcept { return life_; }
  [[nodiscard]] unsigned port() const noexcept { return port_; }
  [[nodiscard]] unsigned metricsPort() const noexcept { return metricsPort_; }
  [[nodiscard]] pid_t process() const noexcept { return process_; }
  void down() noexcept { ++life_; }
  void up(unsigned port, unsigned metricsPort, pid_t process) noexcept {
    port_ = port;
    metricsPort_ = metricsPort;
    process_ = process;
    ++life_;
  }

  /// One step of the load; false, after a short wait, when it is not the time for any.
  template <typename Work>
  bool step(const Work& work) {
    if (life_ % 2 == 1 || quiet_) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      return false;
    }
    const std::shared_lock lock(gate_);
    work();
    return true;
  }
  /// Runs while no step is under way.
  template <typename Work>
  void alone(const Work& work) {
    quiet_ = true;  // or steps that overlap would never let it in
    {
      const std::unique_lock lock(gate_);
      work();
    }
    quiet_ = false;
  }
  void end() noexcept { ended_ = true; }
  [[nodiscard]] bool ended() const noexcept { return ended_; }

  void count(Operation operation, std::uint64_t times = 1) noexcept {
    counts_.at(static_cast<std::size_t>(operation)) += times;
  }
  [[nodiscard]] std::uint64_t counted(std::size_t operation) const noexcept {
    return counts_.at(operation);
  }

  /// Something that must not be; the run fails.
  void wrong(const std::string& what) {
    ++wrongs_;
    say("WRONG: " + what);
  }
  void lost(const std::string& what) {
    ++losses_;
    say("LOST: " + what);
  }
  void hung() {
    ++hangs_;
    wrong("a request took more than 30 s");
  }
  [[nodiscard]] std::uint64_t losses() const noexcept { return losses_; }
  [[nodiscard]] std::uint64_t wrongs() const noexcept { return wrongs_; }
  [[nodiscard]] std::uint64_t hangs() const noexcept { return hangs_; }
  void say(const std::string& line) {
    const std::scoped_lock lock(mutex_);
    std::cout << line << std::endl;
  }

  void searchTook(Clock::duration time) {
    const std::scoped_lock lock(mutex_);
    searches_.push_back(std::chrono::duration<float, std::milli>(time).count());
  }
  /// In milliseconds.
  [[nodiscard]] float p99() {
    const std::scoped_lock lock(mutex_);
    if (searches_.empty()) return 0;
    const auto at = searches_.begin() + static_cast<std::ptrdiff_t>(searches_.size() * 99 / 100);
    std::nth_element(searches_.begin(), at, searches_.end());
    return *at;
  }

  /// Between two steps of the load.
  void pause(std::uint32_t times) const {
    std::this_thread::sleep_for(std::chrono::microseconds(times * pauseMicros_));
  }
  /// Makes pauses longer by the factor, within reason.
  void slowDown(double factor) {
    const double pause = static_cast<double>(pauseMicros_) * factor;
    pauseMicros_ = static_cast<std::uint32_t>(std::clamp(pause, 200.0, 500000.0));
  }

 private:
  std::shared_mutex gate_;
  std::atomic<bool> quiet_ = false;
  std::atomic<bool> ended_ = false;
  std::atomic<std::uint32_t> pauseMicros_ = 4000;
  std::atomic<std::uint64_t> losses_ = 0;
  std::atomic<std::uint64_t> wrongs_ = 0;
  std::atomic<std::uint64_t> hangs_ = 0;
  std::atomic<pid_t> process_ = 0;
  std::atomic<std::uint64_t> life_ = 1;
  std::atomic<unsigned> port_ = 0;
  std::atomic<unsigned> metricsPort_ = 0;
  std::array<std::atomic<std::uint64_t>, OPERATION_NAMES.size()> counts_{};
  std::mutex mutex_;
  std::vector<float> searches_;
};

/// Small and repeatable; nothing depends on its quality.
class Dice {
 public:
  explicit Dice(std::uint32_t seed) : state_(seed * 2654435761U + 1U) {}
  std::uint32_t below(std::uint32_t limit) {
    state_ = state_ * 1664525U + 1013904223U;
    return (state_ >> 8U) % limit;
  }

 private:
  std::uint32_t state_;
};

}  // namespace orvix::soak
