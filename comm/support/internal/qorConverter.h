// SPDX-License-Identifier: Apache-2.0
// Text out of the library: a UnicodeString becomes UTF-8 in a growable buffer, alone or
// behind others.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <unicode/unistr.h>

#include "comm/support/qorSizeableBuffer.h"
#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::oss {

class Converter {
 public:
  /// A text of so many bytes is more than a buffer can grow to.
  static constexpr std::size_t LIMIT = std::size_t{1} << 30U;

  /// The UTF-8 form of `text` with a NUL behind it, in `buffer`, which grows when it must. Converts
  /// at most twice. Where the buffer's limit stops its growth the text is cut to what it holds.
  /// Throws NLSException "ES_ERR_OUT_OF_MEMORY" when the buffer cannot get memory.
  template <std::size_t N>
  static const char* convert(const icu::UnicodeString& text, SizeableBuffer<char, N>& buffer) {
    requireText(text);
    const std::uint64_t length = buffer.data() == nullptr ? 0 : buffer.length();
    const std::size_t room = length == 0 ? 0 : length - 1;
    std::size_t needed = textToWire(text, buffer.data(), room);
    if (needed > room || length == 0) {  // even an empty text needs a byte, for the NUL
      if (needed >= LIMIT) raiseOutOfMemory();
      buffer.resize(needed + 1);
      if (buffer.data() == nullptr) raiseOutOfMemory();
      if (needed >= buffer.capacity()) {
        // Cut to what fits; a character that does not fit whole is not begun, so fill its place.
        needed = buffer.capacity() - 1;
        std::fill_n(buffer.data(), needed, '\0');
      }
      textToWire(text, buffer.data(), needed);
    }
    buffer.data()[needed] = '\0';
    return buffer.data();
  }

  /// Writes the UTF-8 form of `text`, without a NUL, behind the first `written` bytes of `buffer`,
  /// which grows when it must; returns the bytes written then. Throws as convert().
  template <std::size_t N>
  static std::size_t append(const icu::UnicodeString& text, SizeableBuffer<char, N>& buffer,
                            std::size_t written) {
    makeRoom(buffer, written, 0);
    const std::size_t room = buffer.length() - written;
    const std::size_t needed = textToWire(text, buffer.data() + written, room);
    if (needed > room) {
      makeRoom(buffer, written, needed);
      textToWire(text, buffer.data() + written, needed);
    }
    return written + needed;
  }

  /// Makes sure that `buffer` has room for `bytes` behind its first `written`. Throws as convert().
  template <std::size_t N>
  static void makeRoom(SizeableBuffer<char, N>& buffer, std::size_t written, std::size_t bytes) {
    if (buffer.data() != nullptr && bytes <= buffer.length() - written) return;
    if (bytes > LIMIT || written + bytes > LIMIT) raiseOutOfMemory();
    const std::uint64_t wanted = std::max<std::uint64_t>({N, written + bytes, 2 * buffer.length()});
    buffer.resize(std::min<std::uint64_t>(wanted, LIMIT));
    if (buffer.data() == nullptr) raiseOutOfMemory();
  }
};

}  // namespace orvix::oss
