// SPDX-License-Identifier: Apache-2.0
// Text out of the library: a UnicodeString becomes NUL-terminated UTF-8 in a growable buffer.
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
};

}  // namespace orvix::oss
