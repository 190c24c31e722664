// SPDX-License-Identifier: Apache-2.0
// Where the writing thread tells all others how the data directory stands. The only object that
// both sides change; searches and status requests never wait for the writer through it.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <shared_mutex>
#include <string>

#include "server/qorMetrics.h"
#include "server/qorRefusal.h"

namespace orvix::server {

/// Threads: any.
class Board {
 public:
  /// Some collection has a new revision; an open reader has to look for it.
  void committed() noexcept {
    ++commits_;
    progressed();
  }
  [[nodiscard]] std::uint64_t commits() const noexcept { return commits_; }

  /// Some collection's folder was put in place, replaced or taken away; open readers are worthless.
  void rearranged() noexcept {
    ++layouts_;
    progressed();
  }
  [[nodiscard]] std::uint64_t layouts() const noexcept { return layouts_; }

  /// Held alone while a revision is published. A search that commits have overtaken again and again
  /// holds it with others, so that it comes to an end.
  [[nodiscard]] std::shared_mutex& publishing() noexcept { return publishing_; }

  /// A step of the writer's work is done, be it a request, a commit or a collection's copy. Whoever
  /// asks whether the writer still gets on looks at their number.
  void progressed() noexcept { ++steps_; }
  [[nodiscard]] std::uint64_t steps() const noexcept { return steps_; }

  /// What the writer and all others count.
  [[nodiscard]] Metrics& metrics() noexcept { return metrics_; }

  void working(bool now) noexcept { working_ = now; }
  void report(const std::string& collection, bool pending, const std::optional<Fault>& lastError);
  void forget(const std::string& collection);
  [[nodiscard]] bool busy() const;
  [[nodiscard]] std::optional<Fault> lastError() const;

 private:
  std::atomic<std::uint64_t> commits_ = 0;
  std::atomic<std::uint64_t> layouts_ = 0;
  std::atomic<std::uint64_t> steps_ = 0;
  std::atomic<bool> working_ = false;
  Metrics metrics_;
  std::shared_mutex publishing_;
  mutable std::mutex mutex_;
  std::set<std::string> pending_;
  std::map<std::string, Fault> errors_;
};

}  // namespace orvix::server
