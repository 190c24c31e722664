// SPDX-License-Identifier: Apache-2.0
// What the server counts of itself. Counting happens on the road of every request, so it is an
// addition to a number whose place is known: no lock, no look-up, no allocation. Whoever wants to
// read the numbers does the work, see qorMetricsText.h.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "comm/protocol/internal/qorRequestKinds.h"

namespace orvix::server {

enum class Lane : std::uint32_t;

/// A number that grows. Threads: any. Numbers that belong together may be read a step apart.
class Counter {
 public:
  void add(std::uint64_t count = 1) noexcept { value_.fetch_add(count, std::memory_order_relaxed); }
  [[nodiscard]] std::uint64_t value() const noexcept {
    return value_.load(std::memory_order_relaxed);
  }

 private:
  std::atomic<std::uint64_t> value_ = 0;
};

/// A number that somebody keeps up to date. Threads: any.
class Level {
 public:
  void set(std::size_t value) noexcept { value_.store(value, std::memory_order_relaxed); }
  [[nodiscard]] std::size_t value() const noexcept {
    return value_.load(std::memory_order_relaxed);
  }

 private:
  std::atomic<std::size_t> value_ = 0;
};

/// How many things took how long. Threads: any.
class Durations {
 public:
  using Duration = std::chrono::steady_clock::duration;

  /// Upper bounds of the buckets in seconds; what takes longer falls in one more bucket.
  static constexpr std::array<double, 17> BOUNDS{0.0001, 0.00025, 0.0005, 0.001, 0.0025, 0.005,
                                                 0.01,   0.025,   0.05,   0.1,   0.25,   0.5,
                                                 1,      2.5,     5,      10,    30};

  void add(Duration duration) noexcept;
  /// Of the bucket alone, not of those below it.
  [[nodiscard]] std::uint64_t inBucket(std::size_t bucket) const noexcept {
    return buckets_[bucket].value();
  }
  [[nodiscard]] double seconds() const noexcept {
    return static_cast<double>(nanoseconds_.value()) / 1e9;
  }

 private:
  std::array<Counter, BOUNDS.size() + 1> buckets_;
  Counter nanoseconds_;
};

/// Requests of one kind; kind 0 stands for requests whose action is not known.
struct RequestCounts {
  Counter done;
  Counter failed;
};

/// Threads: any.
struct Metrics {
  static constexpr std::size_t LANES = 3;

  /// One request came to its reply, or to its end when it is never answered.
  void served(std::uint32_t kind, bool failed, Lane lane, Durations::Duration duration) noexcept;

  const std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
  std::array<RequestCounts, comm::detail::MAX_REQUEST_KIND + 1> requests;
  std::array<Durations, LANES>
      durations;  ///< of requests, from the last byte to the reply, by lane
  Counter bytesIn;
  Counter bytesOut;
  Counter connectionsTaken;
  Counter connectionsRefused;
  Level connectionsOpen;
  Counter authenticationFailures;
  Durations commits;  ///< that succeeded, syncs included
  Counter commitFailures;
  Counter changesLost;  ///< that were not committed and never will be
  Level collectionsOpen;
};

}  // namespace orvix::server
