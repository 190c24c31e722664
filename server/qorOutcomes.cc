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

std::size_t bytesOf(const Outcome& outcome) {
  return outcome.key.size() + (outcome.fault ? outcome.fault->text.size() : 0);
}

}  // namespace

bool OutcomeReader::read(const std::function<bool(const Outcome&)>& tell) {
  if (empty()) return false;
  const std::scoped_lock lock(queue_->changing);
  const std::deque<Outcome>& kept = queue_->kept;
  auto at = std::lower_bound(
      kept.begin(), kept.end(), from_,
      [](const Outcome& outcome, std::uint64_t number) { return outcome.number < number; });
  for (; at != kept.end() && at->number <= upTo_; ++at) {
    if (!tell(*at)) break;
  }
  const bool more = at != kept.end() && at->number <= upTo_;
  if (more) from_ = at->number;
  return more;
}

Outcomes::Outcomes(std::filesystem::path file, const Board* board)
    : file_(std::move(file)), board_(board) {
  std::deque<Outcome>& kept = queue_->kept;
  kept = file_.load();
  for (const Outcome& outcome : kept) bytes_ += bytesOf(outcome);
  settled_ = stored_ = kept.size();
  next_ = std::max(firstNumber(), kept.empty() ? 0 : kept.back().number + 1);
}

void Outcomes::push(std::string key, std::optional<Fault> fault) {
  Outcome outcome{next_++, 0, std::move(key), std::move(fault)};
  bytes_ += bytesOf(outcome);
  const std::scoped_lock lock(queue_->changing);
  queue_->kept.push_back(std::move(outcome));
  while (queue_->kept.size() > MAX_KEPT || bytes_ > MAX_BYTES) dropFront();
}

/// Under the lock.
void Outcomes::dropFront() {
  bytes_ -= bytesOf(queue_->kept.front());
  queue_->kept.pop_front();
  if (settled_ > 0) --settled_;
  if (stored_ > 0) --stored_;
}

void Outcomes::dropOld(std::time_t now) {
  const std::scoped_lock lock(queue_->changing);
  while (settled_ > 0 && queue_->kept.front().settledAt + KEPT_SECONDS < now) dropFront();
}

Outcomes::Settled Outcomes::settle(std::time_t now) {
  dropOld(now);
  Settled batch;
  std::deque<Outcome>& kept = queue_->kept;
  for (; settled_ < kept.size(); ++settled_) {
    Outcome& outcome = kept[settled_];  // nobody else is told of it yet
    outcome.settledAt = now;
    ++batch.documents;
    if (!outcome.fault) continue;
    ++batch.rejected;
    if (!batch.first) batch.first = outcome.fault;
  }
  if (stored_ != settled_ && ownsFile()) store();
  return batch;
}

void Outcomes::store() {
  try {
    const std::deque<Outcome>& kept = queue_->kept;
    if (file_.records() > 2 * kept.size() + TOLERATED_WASTE) {
      file_.rewrite(kept);
    } else {
      file_.append(kept, stored_);
    }
    stored_ = kept.size();
  } catch (...) {
    logFault(LogLevel::ERROR, "outcomes_not_stored",
             currentFault("Storing outcomes failed, they are kept in memory"));
  }
}

Outcomes::Settled Outcomes::failUnsettled(const Fault& fault, std::time_t now) {
  for (std::size_t i = settled_; i < queue_->kept.size(); ++i) {
    Outcome& outcome = queue_->kept[i];
    if (outcome.fault) continue;
    outcome.fault = fault;
    bytes_ += fault.text.size();
  }
  return settle(now);
}

OutcomeReader Outcomes::told(std::time_t now) {
  dropOld(now);
  if (settled_ == 0) return {};
  const std::deque<Outcome>& kept = queue_->kept;
  return {queue_, kept.front().number, kept[settled_ - 1].number};
}

void Outcomes::fetched(std::uint64_t upTo) {
  {
    const std::scoped_lock lock(queue_->changing);
    while (settled_ > 0 && queue_->kept.front().number <= upTo) dropFront();
  }
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
