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
#include "server/qorRole.h"

namespace orvix::server {

/// Threads: any.
class Board {
 public:
  /// Some collection has a new revision; an open reader has to look for it.
  void committed() noexcept {
    ++commits_;
    progressed();
  }
  /// Goes on counting once another server commits, of which nobody here is told.
  [[nodiscard]] std::uint64_t commits() noexcept {
    return roleLost() ? ++commits_ : commits_.load();
  }

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

  /// Borrows the role, until the directory's end; without one everybody may write.
  void setRole(Role* role) noexcept { role_ = role; }
  /// Before anything is written. Throws what Role::require() throws.
  void requireRole() const {
    if (role_ != nullptr) role_->require();
  }
  [[nodiscard]] bool roleLost() const { return role_ != nullptr && role_->lost(); }

  void working(bool now) noexcept { working_ = now; }
  void report(const std::string& collection, bool pending, const std::optional<Fault>& lastError);
  void forget(const std::string& collection);
  [[nodiscard]] bool busy() const;
  /// Of the role, else of a collection.
  [[nodiscard]] std::optional<Fault> lastError() const;

 private:
  std::atomic<std::uint64_t> commits_ = 0;
  std::atomic<std::uint64_t> layouts_ = 0;
  std::atomic<std::uint64_t> steps_ = 0;
  std::atomic<bool> working_ = false;
  Metrics metrics_;
  std::shared_mutex publishing_;
  Role* role_ = nullptr;
  mutable std::mutex mutex_;
  std::set<std::string> pending_;
  std::map<std::string, Fault> errors_;
};

}  // namespace orvix::server
