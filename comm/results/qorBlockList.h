// SPDX-License-Identifier: Apache-2.0
// A list that only grows, whose elements never move: what lists of records are made of.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "infra/oss/qorBlockMemory.h"

namespace orvix::comm {

/// Elements in blocks, in the order in which they were appended. The first blocks are kept by
/// clear(), so that a list that is filled again and again soon needs no memory.
template <class T>
class BlockList {
  struct Block;

 public:
  /// Where a reader stands. Stays good until clear(); start() of an empty list is good for the
  /// element that is appended next.
  class Position {
    friend class BlockList;
    Block* block_ = nullptr;
    std::size_t at_ = 0;
  };

  BlockList() = default;
  BlockList(const BlockList&) = delete;
  BlockList& operator=(const BlockList&) = delete;
  ~BlockList() {
    clear();
    freeFrom(first_);
  }

  /// Appends an element made from `arguments`. When it throws, the list is as it was.
  template <class... Arguments>
  T& append(Arguments&&... arguments) {
    Block& block = blockWithRoom();
    T* made = std::construct_at(block.at(block.used), std::forward<Arguments>(arguments)...);
    ++block.used;
    ++size_;
    last_ = &block;
    return *made;
  }

  /// Makes sure that the element that is appended first after a clear() finds room.
  void reserveFirst() {
    if (first_ == nullptr) first_ = newBlock(FIRST_BLOCK);
  }

  /// Destroys the elements.
  void clear() noexcept {
    for (Block* block = first_; block != nullptr && block->used != 0; block = block->next) {
      // Named in full: what is in the list is a T, whatever it may be derived from.
      for (std::size_t i = 0; i < block->used; ++i) block->at(i)->T::~T();
      block->used = 0;
    }
    if (first_ != nullptr && first_->next != nullptr)
      freeFrom(std::exchange(first_->next->next, nullptr));
    last_ = nullptr;
    size_ = 0;
  }

  [[nodiscard]] std::size_t size() const { return size_; }

  /// Before the first element.
  [[nodiscard]] Position start() const { return {}; }
  /// The element at `position`, which moves behind it. Only when there is one.
  T& next(Position& position) const {
    if (position.block_ == nullptr) {
      position.block_ = first_;
    } else if (position.at_ == position.block_->used) {
      position.block_ = position.block_->next;
      position.at_ = 0;
    }
    return *position.block_->at(position.at_++);
  }

  /// Calls `visit(element)` for each, in order.
  template <class Visitor>
  void forEach(Visitor visit) const {
    Position position = start();
    for (std::size_t i = 0; i < size_; ++i) visit(next(position));
  }

  void swap(BlockList& other) noexcept {
    std::swap(first_, other.first_);
    std::swap(last_, other.last_);
    std::swap(size_, other.size_);
  }

 private:
  static constexpr std::size_t FIRST_BLOCK = 32;    // elements: a page of hits
  static constexpr std::size_t SECOND_BLOCK = 256;  // elements; then as many as there are

  struct Block {
    Block* next;
    std::size_t used;
    std::size_t capacity;

    T* at(std::size_t index) { return reinterpret_cast<T*>(this + 1) + index; }
  };
  static_assert(alignof(T) <= alignof(Block) && sizeof(Block) % alignof(T) == 0);

  static constexpr std::size_t sizeOf(std::size_t capacity) {
    return sizeof(Block) + capacity * sizeof(T);
  }
  static constexpr std::size_t MOST = (oss::LARGE_BLOCK - sizeof(Block)) / sizeof(T);

  static Block* newBlock(std::size_t capacity) {
    return ::new (oss::allocateBlock(sizeOf(capacity))) Block{nullptr, 0, capacity};
  }

  Block& blockWithRoom() {
    if (last_ == nullptr) {
      reserveFirst();
      return *first_;
    }
    if (last_->used < last_->capacity) return *last_;
    if (last_->next == nullptr) last_->next = newBlock(std::clamp(size_, SECOND_BLOCK, MOST));
    return *last_->next;
  }

  static void freeFrom(Block* block) noexcept {
    while (block != nullptr) {
      Block* const next = block->next;
      oss::freeBlock(block, sizeOf(block->capacity));
      block = next;
    }
  }

  Block* first_ = nullptr;
  Block* last_ = nullptr;  // the last one that is in use; null: none
  std::size_t size_ = 0;
};

}  // namespace orvix::comm
