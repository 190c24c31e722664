// SPDX-License-Identifier: Apache-2.0
// What became of the documents of a collection's asynchronous batches, until somebody asks or an
// hour has passed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "server/qorBoard.h"
#include "server/qorOutcomeFile.h"
#include "server/qorRefusal.h"

namespace orvix::server {

/// Outcomes in the order of their numbers.
/// Threads: the writer's thread changes it under the lock, and may read it without; others read it
///          under the lock.
struct OutcomeQueue {
  mutable std::mutex changing;
  std::deque<Outcome> kept;
};

/// The outcomes that were there when somebody asked, read piece by piece. Those that have been
/// forgotten meanwhile, for another peer has got them, are left out.
/// Threads: any.
class OutcomeReader {
 public:
  OutcomeReader() = default;
  OutcomeReader(std::shared_ptr<const OutcomeQueue> queue, std::uint64_t from, std::uint64_t upTo)
      : queue_(std::move(queue)), from_(from), upTo_(upTo) {}

  [[nodiscard]] bool empty() const noexcept { return queue_ == nullptr; }
  [[nodiscard]] std::uint64_t upTo() const noexcept { return upTo_; }
  /// Hands outcomes to `tell` until it answers that it has enough. Answers whether more are left.
  bool read(const std::function<bool(const Outcome&)>& tell);

 private:
  std::shared_ptr<const OutcomeQueue> queue_;
  std::uint64_t from_ = 0;
  std::uint64_t upTo_ = 0;
};

/// In order of arrival. An outcome counts as provisional until its batch is committed; only then it
/// goes to the file, so that a restart never tells of a document which the commit did not take.
/// Limits: the oldest are dropped beyond MAX_KEPT, beyond MAX_BYTES of keys and texts, and after
///         KEPT_SECONDS.
/// Errors: a file that cannot be written is tried again with the next batch; until then its
///         outcomes are in memory only, and a restart leaves them unknown.
class Outcomes {
 public:
  static constexpr std::size_t MAX_KEPT = 1000000;
  static constexpr std::size_t MAX_BYTES = std::size_t{64} << 20U;
  static constexpr std::time_t KEPT_SECONDS = 3600;

  /// Takes up what an earlier run left in the file. Borrows the board, for its whole life: when
  /// another server has taken over, the file is that one's.
  explicit Outcomes(std::filesystem::path file, const Board* board = nullptr);
  Outcomes(const Outcomes&) = delete;  // readers share the queue with one owner
  Outcomes& operator=(const Outcomes&) = delete;
  ~Outcomes() = default;

  void indexed(std::string key) { push(std::move(key), std::nullopt); }
  void rejected(std::string key, Fault fault) { push(std::move(key), std::move(fault)); }

  struct Settled {
    std::uint64_t documents = 0;
    std::uint64_t rejected = 0;
    std::optional<Fault> first;  ///< why the first of those was rejected
  };

  /// The batch is on disk: its outcomes stand and follow it there.
  Settled settle(std::time_t now);
  /// The batch was lost: its provisional successes become rejections.
  Settled failUnsettled(const Fault& fault, std::time_t now);

  /// All that stand and are young enough.
  [[nodiscard]] OutcomeReader told(std::time_t now);
  /// Somebody has got them, up to this number.
  void fetched(std::uint64_t upTo);
  [[nodiscard]] std::size_t size() const noexcept { return queue_->kept.size(); }

 private:
  void push(std::string key, std::optional<Fault> fault);
  void dropFront();
  void dropOld(std::time_t now);
  void store();
  [[nodiscard]] bool ownsFile() const { return board_ == nullptr || !board_->roleLost(); }

  OutcomeFile file_;
  const Board* board_;
  std::shared_ptr<OutcomeQueue> queue_ = std::make_shared<OutcomeQueue>();
  std::size_t bytes_ = 0;    // of keys and texts in it
  std::size_t settled_ = 0;  // at the front of it
  std::size_t stored_ = 0;   // of those, in the file
  std::uint64_t next_ = 0;
};

}  // namespace orvix::server
