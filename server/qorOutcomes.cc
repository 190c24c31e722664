// SPDX-License-Identifier: Apache-2.0
// A queue with two marks: behind the last outcome that is certain, and behind the last one on disk.
#include "server/qorOutcomes.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "server/qorLog.h"

namespace orvix::server {

namespace {

/// Spent and expired records that the file may hold before it is written anew.
constexpr std::size_t TOLERATED_WASTE = 10000;

/// Numbers start at the time, so that those of a collection which was dropped and made again lie
/// above the earlier ones: a late fetch of the old outcomes then means none of the new.
std::uint64_t firstNumber() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(since).count());
}

}  // namespace

Outcomes::Outcomes(std::filesystem::path file, const Board* board)
    : file_(std::move(file)), board_(board) {
  kept_ = file_.load();
  settled_ = stored_ = kept_.size();
  next_ = std::max(firstNumber(), kept_.empty() ? 0 : kept_.back().number + 1);
}

void Outcomes::push(std::string key, std::optional<Fault> fault) {
  if (kept_.size() == MAX_KEPT) dropFront();
  kept_.push_back({next_++, 0, std::move(key), std::move(fault)});
}

void Outcomes::dropFront() {
  kept_.pop_front();
  if (settled_ > 0) --settled_;
  if (stored_ > 0) --stored_;
}

void Outcomes::dropOld(std::time_t now) {
  while (settled_ > 0 && kept_.front().settledAt + KEPT_SECONDS < now) dropFront();
}

Outcomes::Settled Outcomes::settle(std::time_t now) {
  dropOld(now);
  Settled batch;
  for (std::size_t i = settled_; i < kept_.size(); ++i) {
    kept_[i].settledAt = now;
    ++batch.documents;
    if (!kept_[i].fault) continue;
    ++batch.rejected;
    if (!batch.first) batch.first = kept_[i].fault;
  }
  settled_ = kept_.size();
  if (stored_ != settled_ && ownsFile()) store();
  return batch;
}

void Outcomes::store() {
  try {
    if (file_.records() > 2 * kept_.size() + TOLERATED_WASTE) {
      file_.rewrite(kept_);
    } else {
      file_.append(kept_, stored_);
    }
    stored_ = kept_.size();
  } catch (...) {
    logFault(LogLevel::ERROR, "outcomes_not_stored",
             currentFault("Storing outcomes failed, they are kept in memory"));
  }
}

Outcomes::Settled Outcomes::failUnsettled(const Fault& fault, std::time_t now) {
  for (std::size_t i = settled_; i < kept_.size(); ++i) {
    if (!kept_[i].fault) kept_[i].fault = fault;
  }
  return settle(now);
}

std::deque<Outcome> Outcomes::told(std::time_t now) {
  dropOld(now);
  return {kept_.begin(), kept_.begin() + static_cast<std::ptrdiff_t>(settled_)};
}

void Outcomes::fetched(std::uint64_t upTo) {
  while (settled_ > 0 && kept_.front().number <= upTo) dropFront();
  try {
    if (file_.records() == 0 || !ownsFile()) return;
    if (stored_ == 0) {
      file_.rewrite({});
    } else {
      file_.spend(upTo);
    }
  } catch (...) {
    logFault(LogLevel::ERROR, "outcomes_not_forgotten",
             currentFault("Noting fetched outcomes failed, a restart may tell them again"));
  }
}

}  // namespace orvix::server
