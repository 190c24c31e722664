// SPDX-License-Identifier: Apache-2.0
// The list of records that both result lists are made of, with the cursor of its one reader.
#pragma once

#include <cstddef>
#include <deque>
#include <utility>

namespace orvix::comm {

/// Records in the order of arrival. Appending never moves a record: a reference stays valid until
/// the next reset or the destruction of the list.
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
    return records_[cursor_++];
  }
  [[nodiscard]] bool hasMore() const {
    return !records_.empty() && pending_ != 0 && cursor_ < records_.size();
  }
  /// Records still to be handed out, not all that the list holds.
  [[nodiscard]] int count() const { return static_cast<int>(pending_); }

 protected:
  RecordCursor() = default;
  ~RecordCursor() = default;
  RecordCursor(const RecordCursor&) = default;
  RecordCursor& operator=(const RecordCursor&) = default;

  /// Kept: a record that arrives at a drained list sets the cursor back to the oldest one.
  void append(const Record& record) {
    records_.push_back(record);
    if (++pending_ == 1) cursor_ = 0;
  }
  void swap(RecordCursor& other) noexcept {
    records_.swap(other.records_);
    std::swap(cursor_, other.cursor_);
    std::swap(pending_, other.pending_);
  }
  void clear() {
    pending_ = 0;
    records_.clear();
  }
  std::deque<Record>& records() { return records_; }

 private:
  std::deque<Record> records_;
  std::size_t cursor_ = 0;
  unsigned int pending_ = 0;
};

}  // namespace orvix::comm
