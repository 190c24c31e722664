// SPDX-License-Identifier: Apache-2.0
// Copies of bytes that all live equally long: the keys of a list of hits.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "infra/oss/qorBlockMemory.h"

namespace orvix::comm {

/// Bytes that never move until all are let go together. A small block is kept for the next ones.
class ByteArena {
 public:
  ByteArena() = default;
  ByteArena(const ByteArena&) = delete;
  ByteArena& operator=(const ByteArena&) = delete;
  ~ByteArena() { freeFrom(blocks_); }

  /// A copy of `bytes`. When it throws, nothing has changed.
  std::string_view keep(std::string_view bytes) {
    if (blocks_ == nullptr || bytes.size() > blocks_->capacity - used_) addBlock(bytes.size());
    char* const copy = blocks_->bytes() + used_;
    if (!bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
    used_ += bytes.size();
    return {copy, bytes.size()};
  }

  /// Lets all bytes go.
  void clear() noexcept {
    const bool keepsOne = blocks_ != nullptr && blocks_->capacity <= MOST_KEPT;
    freeFrom(std::exchange(keepsOne ? blocks_->next : blocks_, nullptr));
    used_ = 0;
  }

  void swap(ByteArena& other) noexcept {
    std::swap(blocks_, other.blocks_);
    std::swap(used_, other.used_);
  }

 private:
  static constexpr std::size_t FIRST_BLOCK = 0x1000;  // bytes: what one receive brings; then more
  static constexpr std::size_t MOST_KEPT = 0x10000;

  struct Block {
    Block* next;
    std::size_t capacity;

    char* bytes() { return reinterpret_cast<char*>(this + 1); }
  };

  void addBlock(std::size_t size) {
    const std::size_t grown = blocks_ == nullptr ? FIRST_BLOCK : 2 * blocks_->capacity;
    const std::size_t capacity = std::max(size, std::min(grown, oss::LARGE_BLOCK - sizeof(Block)));
    blocks_ = ::new (oss::allocateBlock(sizeof(Block) + capacity)) Block{blocks_, capacity};
    used_ = 0;
  }

  static void freeFrom(Block* block) noexcept {
    while (block != nullptr) {
      Block* const next = block->next;
      oss::freeBlock(block, sizeof(Block) + block->capacity);
      block = next;
    }
  }

  Block* blocks_ = nullptr;  // the newest first: the only one with room
  std::size_t used_ = 0;     // of the newest
};

}  // namespace orvix::comm
