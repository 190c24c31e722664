// SPDX-License-Identifier: Apache-2.0
// The one place where big-endian integers go onto the wire. Client and server share it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace orvix::oss {

constexpr void storeU16(char* out, std::uint16_t value) noexcept {
  out[0] = static_cast<char>(value >> 8U & 0xffU);
  out[1] = static_cast<char>(value & 0xffU);
}

constexpr void storeU32(char* out, std::uint32_t value) noexcept {
  storeU16(out, static_cast<std::uint16_t>(value >> 16U));
  storeU16(out + 2, static_cast<std::uint16_t>(value & 0xffffU));
}

/// Big-endian cursor over a borrowed, fixed piece of memory; never throws and never writes past it.
/// A write that does not fit answers false and changes nothing.
class ByteWriter {
 public:
  constexpr ByteWriter(char* out, std::size_t capacity) noexcept : out_(out), capacity_(capacity) {}

  constexpr bool u16(std::uint16_t value) noexcept {
    char* at = claim(2);
    if (at != nullptr) storeU16(at, value);
    return at != nullptr;
  }

  constexpr bool u32(std::uint32_t value) noexcept {
    char* at = claim(4);
    if (at != nullptr) storeU32(at, value);
    return at != nullptr;
  }

  bool bytes(std::string_view run) noexcept {
    char* at = claim(run.size());
    if (at != nullptr && !run.empty()) std::memcpy(at, run.data(), run.size());
    return at != nullptr;
  }

  /// Room for `count` bytes that the caller fills, or null when they do not fit.
  constexpr char* claim(std::size_t count) noexcept {
    if (capacity_ - written_ < count) return nullptr;
    char* at = out_ + written_;
    written_ += count;
    return at;
  }

  /// Where the next write goes, and how much fits there.
  [[nodiscard]] constexpr char* rest() const noexcept { return out_ + written_; }
  [[nodiscard]] constexpr std::size_t room() const noexcept { return capacity_ - written_; }
  [[nodiscard]] constexpr std::size_t written() const noexcept { return written_; }

 private:
  char* out_;
  std::size_t capacity_;
  std::size_t written_ = 0;
};

}  // namespace orvix::oss
