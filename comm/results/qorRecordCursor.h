// SPDX-License-Identifier: Apache-2.0
// The list of records that both result lists are made of, with the cursor of its one reader.
#pragma once

#include <cstddef>
#include <utility>

#include "comm/results/qorBlockList.h"

namespace orvix::comm {

/// Records in the order of arrival. Appending never moves a record: a reference stays valid until
/// the next reset or the destruction of the list. Threads: one at a time, for reading too.
template <class Record>
class RecordCursor {
 public:
  /// The next record; past the end an empty one that is always there.
  const Record& getNext() {
    if (!hasMore()) {
      static const Record none;
      return none;
    }
    --pending_;
    ++handedOut_;
    return records_.next(position_);
  }
  [[nodiscard]] bool hasMore() const { return pending_ != 0 && handedOut_ < records_.size(); }
  /// Records still to be handed out, not all that the list holds.
  [[nodiscard]] int count() const { return static_cast<int>(pending_); }

 protected:
  RecordCursor() = default;
  ~RecordCursor() = default;
  RecordCursor(const RecordCursor& other) : handedOut_(other.handedOut_), pending_(other.pending_) {
    other.records_.forEach([this](const Record& record) { records_.append(record); });
    for (std::size_t i = 0; i < handedOut_; ++i) records_.next(position_);
  }
  RecordCursor& operator=(const RecordCursor& other) = delete;

  /// Kept: a record that arrives at a drained list sets the cursor back to the oldest one.
  template <class... Arguments>
  Record& append(Arguments&&... arguments) {
    Record& record = records_.append(std::forward<Arguments>(arguments)...);
    if (++pending_ == 1) {
      position_ = records_.start();
      handedOut_ = 0;
    }
    return record;
  }
  void swap(RecordCursor& other) noexcept {
    records_.swap(other.records_);
    std::swap(position_, other.position_);
    std::swap(handedOut_, other.handedOut_);
    std::swap(pending_, other.pending_);
  }
  void clear() noexcept {
    pending_ = 0;
    handedOut_ = 0;
    position_ = records_.start();
    records_.clear();
  }
  /// All records, also those that were handed out.
  BlockList<Record>& records() { return records_; }

 private:
  BlockList<Record> records_;
  typename BlockList<Record>::Position position_;  // of the cursor
  std::size_t handedOut_ = 0;                      // records before it
  unsigned int pending_ = 0;
};

}  // namespace orvix::comm
