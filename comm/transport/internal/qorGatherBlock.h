// SPDX-License-Identifier: Apache-2.0
// The frames that a client has laid out but not yet written, in one block of memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

namespace orvix::comm::detail {

/// Owns the block. What lies behind fill() is a frame under construction: it counts only once it is
/// committed, so that a write that fails leaves what was gathered before as it was.
class GatherBlock {
 public:
  [[nodiscard]] char* data() { return block_.get(); }
  [[nodiscard]] std::size_t fill() const { return fill_; }
  void setFill(std::size_t fill) { fill_ = fill; }

  /// Makes room for `size` bytes and keeps what is there. On bad_alloc block and fill are
  /// unchanged.
  void reserve(std::size_t size) {
    if (size <= capacity_) return;
    const std::size_t capacity = size < 2 * capacity_ ? 2 * capacity_ : size;
    auto* grown = static_cast<char*>(std::realloc(block_.get(), capacity));
    if (grown == nullptr) throw std::bad_alloc();
    static_cast<void>(block_.release());  // realloc has taken it
    block_.reset(grown);
    capacity_ = capacity;
  }

 private:
  struct Free {
    void operator()(char* block) const { std::free(block); }
  };
  std::unique_ptr<char, Free> block_;
  std::size_t capacity_ = 0;
  std::size_t fill_ = 0;
};

/// Messages framed since the last write. Kept: one count for all clients of the process; relaxed,
/// for it only decides when a batch is written.
inline std::atomic<std::uint32_t> framedMessages{0};

}  // namespace orvix::comm::detail
