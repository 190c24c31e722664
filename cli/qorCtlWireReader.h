// SPDX-License-Identifier: Apache-2.0
// A cursor over captured bytes that says of each run what it means, and where something else was
// expected. Every integer of the decoder passes here; the library's own cursor is not public.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvix::ctl {

/// A run of bytes and its meaning. Borrows the bytes.
struct WirePart {
  std::size_t offset;
  std::string_view bytes;
  std::string meaning;
};
using PartSink = std::function<void(const WirePart&)>;

/// "offset 37 (0x25)"
[[nodiscard]] std::string offsetText(std::size_t offset);

/// Bytes that are not what they should be.
class WireFault : public std::runtime_error {
 public:
  WireFault(std::size_t offset, const std::string& expected)
      : std::runtime_error(offsetText(offset) + ": expected " + expected), offset_(offset) {}
  [[nodiscard]] std::size_t offset() const noexcept { return offset_; }

 private:
  std::size_t offset_;
};

/// Big-endian, bounded, borrowing bytes and sink. What it takes beyond the end raises WireFault and
/// leaves it where it was.
class WireReader {
 public:
  WireReader(std::string_view bytes, const PartSink& sink) : bytes_(bytes), sink_(sink) {
    end_ = bytes.size();
  }

  [[nodiscard]] std::size_t offset() const noexcept { return at_; }
  [[nodiscard]] std::size_t remaining() const noexcept { return end_ - at_; }
  /// What is left, without taking it.
  [[nodiscard]] std::string_view rest() const noexcept { return bytes_.substr(at_, remaining()); }

  std::uint16_t u16(const char* what);
  std::uint32_t u32(const char* what);
  std::string_view bytes(std::size_t count, const std::string& what);

  /// Hands out what was taken since the last call as one part.
  void tell(const std::string& meaning);
  /// The same in front of the next part's meaning: where something begins.
  void announce(const std::string& title) { title_ = title + ": "; }

  /// Runs `inner` on the next `count` bytes alone, all of which it has to take.
  template <class Inner>
  void within(std::size_t count, const std::string& what, Inner inner) {
    require(count, what);
    const std::size_t outerEnd = end_;
    end_ = at_ + count;
    inner();
    if (at_ != end_) throw WireFault(at_, "the end of " + what);
    end_ = outerEnd;
  }

  [[noreturn]] void fault(const std::string& expected) const { throw WireFault(at_, expected); }

 private:
  void require(std::size_t count, const std::string& what) const;
  std::uint32_t bigEndian(std::size_t width, const char* what);

  std::string_view bytes_;
  const PartSink& sink_;
  std::size_t end_ = 0;
  std::size_t at_ = 0;
  std::size_t told_ = 0;
  std::string title_;
};

}  // namespace orvix::ctl
