// SPDX-License-Identifier: Apache-2.0
// A growable buffer that starts in place: N elements inline, the heap only beyond them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace orvix::oss {

/// The heap side of a SizeableBuffer. Owns a default block, when it was given a default capacity,
/// and at most one grown block.
template <class T>
class DefaultAlternateBuffer {
 public:
  /// Capacities and lengths are in elements; no limit when `limit` is 0.
  explicit DefaultAlternateBuffer(std::uint64_t defaultCapacity = 0, std::uint64_t limit = 0)
      : default_(defaultCapacity == 0 ? nullptr : new T[defaultCapacity]),
        defaultCapacity_(defaultCapacity),
        limit_(limit),
        capacity_(defaultCapacity) {}
  virtual ~DefaultAlternateBuffer() = default;
  DefaultAlternateBuffer(const DefaultAlternateBuffer&) = delete;
  DefaultAlternateBuffer& operator=(const DefaultAlternateBuffer&) = delete;

  [[nodiscard]] T* data() const {
    return grown_ ? grown_.get() : empty_ ? nullptr : default_.get();
  }
  [[nodiscard]] std::uint64_t capacity() const { return capacity_; }
  [[nodiscard]] std::uint64_t length() const { return length_; }

  /// Frees a grown block; the default block is current again.
  void release() {
    grown_.reset();
    empty_ = false;
    capacity_ = defaultCapacity_;
    length_ = 0;
  }

  /// Makes room for `need` elements, the first `keep` of which are taken from `from`, which may lie
  /// in the current block. When there is no room to be had the area is left without a block.
  void resize(std::uint64_t need, const T* from, std::uint64_t keep) {
    if (limit_ != 0 && need > limit_) {
      drop();
    } else if (need <= defaultCapacity_) {
      if (from != default_.get()) std::copy_n(from, keep, default_.get());
      release();
      length_ = need;
    } else {
      grow(need, from, keep);
    }
  }

 private:
  /// Largest usable power of two: the next one does not fit a signed 32-bit number. Kept: a
  /// converted text is at most 1 GiB.
  static constexpr std::uint64_t MOST = std::uint64_t{1} << 30U;

  void drop() {
    grown_.reset();
    empty_ = true;
    capacity_ = 0;
    length_ = 0;
  }

  void grow(std::uint64_t need, const T* from, std::uint64_t keep) {
    if (need > MOST) {
      drop();
      return;
    }
    std::uint64_t capacity = 4;
    while (capacity < need) capacity *= 2;
    if (capacity == capacity_) {
      if (from != grown_.get()) std::copy_n(from, keep, grown_.get());
      length_ = need;
      return;
    }
    std::unique_ptr<T[]> block(new (std::nothrow) T[capacity]);
    if (!block) {
      drop();
      return;
    }
    std::copy_n(from, keep, block.get());
    grown_ = std::move(block);
    empty_ = false;
    capacity_ = capacity;
    length_ = need;
  }

  std::unique_ptr<T[]> grown_;
  std::unique_ptr<T[]> default_;
  bool empty_ = false;  // no block may be used, not even the default one
  std::uint64_t defaultCapacity_;
  std::uint64_t limit_;
  std::uint64_t capacity_;
  std::uint64_t length_ = 0;
};

/// A buffer of elements. A resize keeps the first min(old length, need) of them.
/// Not copied. Never throws from a resize: see resize().
template <class T, std::size_t N>
class SizeableBuffer {
 public:
  /// `limit`: largest length (0: none). The other two are the heap side's.
  explicit SizeableBuffer(std::uint64_t limit = 0, std::uint64_t alternateCapacity = 0,
                          std::uint64_t alternateLimit = 0)
      : limit_(limit), data_(inline_), alternate_(alternateCapacity, alternateLimit) {}
  SizeableBuffer(const SizeableBuffer&) = delete;
  SizeableBuffer& operator=(const SizeableBuffer&) = delete;

  /// Null after a growth that failed.
  [[nodiscard]] T* data() { return data_; }
  [[nodiscard]] const T* data() const { return data_; }
  /// Elements in use; N in a new buffer.
  [[nodiscard]] std::uint64_t length() const { return length_; }
  /// Elements that the current storage holds.
  [[nodiscard]] std::uint64_t capacity() const { return capacity_; }

  /// Makes the length `need`. Beyond `limit` nothing changes. Up to N the inline storage is used
  /// and heap blocks are freed. When memory cannot be had, data is null and the length 0.
  void resize(std::uint64_t need) {
    if (limit_ != 0 && need > limit_) return;
    const std::uint64_t keep = data_ == nullptr ? 0 : std::min(length_, need);
    if (need <= N) {
      if (data_ != inline_) std::copy_n(data_, keep, inline_);
      alternate_.release();
      data_ = inline_;
      capacity_ = N;
      length_ = need;
      return;
    }
    alternate_.resize(need, data_, keep);
    data_ = alternate_.data();
    capacity_ = alternate_.capacity();
    length_ = alternate_.length();
  }

 private:
  std::uint64_t limit_;
  std::uint64_t capacity_ = N;
  std::uint64_t length_ = N;
  T* data_;
  T inline_[N];  // not filled: a fresh buffer costs nothing
  DefaultAlternateBuffer<T> alternate_;
};

}  // namespace orvix::oss
