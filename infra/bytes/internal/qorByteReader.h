// SPDX-License-Identifier: Apache-2.0
// The one place where big-endian integers come off the wire: a cursor over borrowed bytes.
// Client and server share it. Nothing here reads beyond the bytes it was given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace orvix::oss {

/// Value of the two, or four, big-endian bytes at `bytes`, all of which are there.
[[nodiscard]] constexpr std::uint16_t loadU16(const char* bytes) noexcept {
  const auto high = static_cast<unsigned char>(bytes[0]);
  return static_cast<std::uint16_t>(high << 8U | static_cast<unsigned char>(bytes[1]));
}

[[nodiscard]] constexpr std::uint32_t loadU32(const char* bytes) noexcept {
  return std::uint32_t{loadU16(bytes)} << 16U | loadU16(bytes + 2);
}

/// Value of `width` big-endian bytes at `offset`. Bytes outside `bytes` count as 0, so a peer that
/// promises more than it sends is read as if it had sent zeros.
[[nodiscard]] constexpr std::uint32_t paddedBigEndian(std::string_view bytes, std::int64_t offset,
                                                      int width) noexcept {
  std::uint32_t value = 0;
  for (int i = 0; i < width; ++i) {
    const std::int64_t at = offset + i;
    const bool inside = at >= 0 && at < static_cast<std::int64_t>(bytes.size());
    const auto byte = inside ? static_cast<unsigned char>(bytes[static_cast<std::size_t>(at)]) : 0U;
    value = value << 8U | byte;
  }
  return value;
}

[[nodiscard]] constexpr std::uint16_t paddedU16(std::string_view bytes,
                                                std::int64_t offset) noexcept {
  return static_cast<std::uint16_t>(paddedBigEndian(bytes, offset, 2));
}

[[nodiscard]] constexpr std::uint32_t paddedU32(std::string_view bytes,
                                                std::int64_t offset) noexcept {
  return paddedBigEndian(bytes, offset, 4);
}

/// Big-endian cursor over borrowed bytes; never throws. A read that does not fit leaves it unmoved.
class ByteReader {
 public:
  explicit constexpr ByteReader(std::string_view bytes) noexcept : bytes_(bytes) {}

  [[nodiscard]] constexpr std::optional<std::uint16_t> u16() noexcept {
    if (remaining() < 2) return std::nullopt;
    const std::uint16_t value = loadU16(bytes_.data() + at_);
    at_ += 2;
    return value;
  }

  [[nodiscard]] constexpr std::optional<std::uint32_t> u32() noexcept {
    if (remaining() < 4) return std::nullopt;
    const std::uint32_t value = loadU32(bytes_.data() + at_);
    at_ += 4;
    return value;
  }

  [[nodiscard]] constexpr std::optional<std::string_view> bytes(std::size_t count) noexcept {
    if (remaining() < count) return std::nullopt;
    const std::string_view run = bytes_.substr(at_, count);
    at_ += count;
    return run;
  }

  [[nodiscard]] constexpr std::size_t consumed() const noexcept { return at_; }
  [[nodiscard]] constexpr std::size_t remaining() const noexcept { return bytes_.size() - at_; }

 private:
  std::string_view bytes_;
  std::size_t at_ = 0;
};

/// The low 16 bits of a length: what a 16-bit field on the wire keeps of it. A deliberate cut.
[[nodiscard]] constexpr std::uint16_t cutToU16(std::uint64_t value) noexcept {
  return static_cast<std::uint16_t>(value & 0xffffU);
}

/// The low 32 bits of a length. A deliberate cut.
[[nodiscard]] constexpr std::uint32_t cutToU32(std::uint64_t value) noexcept {
  return static_cast<std::uint32_t>(value & 0xffffffffU);
}

}  // namespace orvix::oss
