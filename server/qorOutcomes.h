// SPDX-License-Identifier: Apache-2.0
// What became of the documents of a collection's asynchronous batches, until somebody asks.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>

#include "server/qorRefusal.h"

namespace orvix::server {

struct Outcome {
  std::string key;
  std::optional<Fault> fault;  ///< nothing: indexed
};

/// In order of arrival. An outcome counts as provisional until its batch is committed.
/// Limits: the oldest are dropped beyond MAX_KEPT.
class Outcomes {
 public:
  static constexpr std::size_t MAX_KEPT = 1000000;

  void indexed(std::string key) { push({std::move(key), std::nullopt}); }
  void rejected(std::string key, Fault fault) { push({std::move(key), std::move(fault)}); }

  /// The batch is on disk: its outcomes stand.
  void settle() noexcept { settled_ = kept_.size(); }
  /// The batch was lost: its provisional successes become rejections.
  void failUnsettled(const Fault& fault);

  [[nodiscard]] std::deque<Outcome> takeAll();
  [[nodiscard]] std::size_t size() const noexcept { return kept_.size(); }

 private:
  void push(Outcome outcome);

  std::deque<Outcome> kept_;
  std::size_t settled_ = 0;
};

}  // namespace orvix::server
