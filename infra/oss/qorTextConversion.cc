// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/internal/qorTextConversion.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include <unicode/stringpiece.h>
#include <unicode/ustring.h>

namespace orvix::oss {

namespace {

constexpr UChar32 SUBSTITUTE = 0xfffd;

}  // namespace

icu::UnicodeString textFromWire(std::string_view bytes) {
  const std::size_t end = std::min(bytes.find('\0'), bytes.size());
  const auto length = static_cast<std::int32_t>(
      std::min<std::size_t>(end, std::numeric_limits<std::int32_t>::max() / 2));
  return icu::UnicodeString::fromUTF8(icu::StringPiece(bytes.data(), length));
}

std::size_t textToWire(const icu::UnicodeString& text, char* out, std::size_t capacity) {
  constexpr std::size_t MOST = std::numeric_limits<std::int32_t>::max();
  const auto room = static_cast<std::int32_t>(std::min(out == nullptr ? 0 : capacity, MOST));
  std::int32_t needed = 0;
  UErrorCode status = U_ZERO_ERROR;  // an overflow still tells the whole length
  // With a capacity of 0 ICU wants a null target: it would count from garbage otherwise.
  u_strToUTF8WithSub(room == 0 ? nullptr : out, room, &needed, text.getBuffer(), text.length(),
                     SUBSTITUTE, nullptr, &status);
  return needed < 0 ? 0 : static_cast<std::size_t>(needed);
}

std::size_t wireLength(const icu::UnicodeString& text) { return textToWire(text, nullptr, 0); }

}  // namespace orvix::oss
