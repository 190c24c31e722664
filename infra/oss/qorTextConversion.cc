// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/internal/qorTextConversion.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

#include <unicode/stringpiece.h>
#include <unicode/ustring.h>

#include "infra/oss/qorNLSException.h"

namespace orvix::oss {

namespace {

constexpr UChar32 SUBSTITUTE = 0xfffd;
constexpr std::size_t MOST = std::numeric_limits<std::int32_t>::max();

/// Writes `count` units as bytes and answers whether that was right: whether all are ASCII. Without
/// an early end, so that the compiler makes vector instructions of it.
bool narrowAscii(const char16_t* units, std::size_t count, char* out) {
  unsigned int seen = 0;
  for (std::size_t i = 0; i < count; ++i) {
    seen |= units[i];
    out[i] = static_cast<char>(units[i]);
  }
  return seen < 0x80;
}

}  // namespace

icu::UnicodeString textFromWire(std::string_view bytes) {
  const std::size_t end = std::min(bytes.find('\0'), bytes.size());
  if (end > MOST) raiseOutOfMemory();
  icu::UnicodeString text =
      icu::UnicodeString::fromUTF8(icu::StringPiece(bytes.data(), static_cast<std::int32_t>(end)));
  requireText(text);
  return text;
}

std::size_t textToWire(const icu::UnicodeString& text, char* out, std::size_t capacity) {
  const auto room = static_cast<std::int32_t>(std::min(out == nullptr ? 0 : capacity, MOST));
  const std::int32_t units = text.length();
  // Nearly every text of a request is ASCII, whose UTF-8 form is the same numbers in fewer bits.
  if (units <= room && narrowAscii(text.getBuffer(), static_cast<std::size_t>(units), out)) {
    return static_cast<std::size_t>(units);
  }
  // Nothing of the attempt stays behind a cut.
  if (room != 0 && units <= room) std::fill_n(out, units, '\0');
  std::int32_t needed = 0;
  UErrorCode status = U_ZERO_ERROR;  // an overflow still tells the whole length
  // With a capacity of 0 ICU wants a null target: it would count from garbage otherwise.
  u_strToUTF8WithSub(room == 0 ? nullptr : out, room, &needed, text.getBuffer(), text.length(),
                     SUBSTITUTE, nullptr, &status);
  // A count that 31 bits cannot say comes out negative.
  return needed < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(needed);
}

void requireText(const icu::UnicodeString& built) {
  if (built.isBogus()) raiseOutOfMemory();
}

icu::UnicodeString messageText(std::string_view utf8) {
  const icu::StringPiece bytes(utf8.data(), static_cast<std::int32_t>(utf8.size()));
  icu::UnicodeString text = icu::UnicodeString::fromUTF8(bytes);
  if (text.isBogus()) throw std::bad_alloc();
  return text;
}

void raiseOutOfMemory() {
  NLSException error(icu::UnicodeString("ES_ERR_OUT_OF_MEMORY", ""),
                     "../../include/infra/oss/qorConverter", 492);
  error.getErrorMessage().addArgument("Converter::convert()", nullptr);
  throw error;
}

std::size_t wireLength(const icu::UnicodeString& text) { return textToWire(text, nullptr, 0); }

}  // namespace orvix::oss
