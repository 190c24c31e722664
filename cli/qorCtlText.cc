// SPDX-License-Identifier: Apache-2.0
// Walks UTF-8 with ICU's macros; a bad sequence counts as one replacement character.
#include "cli/qorCtlText.h"

#include <cstdint>

#include <unicode/stringpiece.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace orvix::ctl {

namespace {

constexpr UChar32 REPLACEMENT = 0xfffd;

/// The code point at `at`, which moves behind it; negative for a bad sequence.
UChar32 nextCodePoint(std::string_view bytes, std::size_t& at) noexcept {
  const auto* units = reinterpret_cast<const std::uint8_t*>(bytes.data());
  UChar32 c = 0;
  U8_NEXT(units, at, bytes.size(), c);
  return c;
}

void appendUtf8(std::string& out, UChar32 c) { icu::UnicodeString(c).toUTF8String(out); }

bool isControl(UChar32 c) noexcept { return c < 0x20 || (c >= 0x7f && c < 0xa0); }

void appendEscaped(std::string& out, UChar32 c) {
  out += "\\x";
  appendHex(out, static_cast<unsigned char>(c));
}

std::size_t widthOf(UChar32 c) noexcept {
  const auto category = u_charType(c);
  if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK || category == U_FORMAT_CHAR ||
      isControl(c)) {
    return 0;
  }
  // Vowels and final consonants that are joined to the Hangul syllable before them.
  const auto hangul = u_getIntPropertyValue(c, UCHAR_HANGUL_SYLLABLE_TYPE);
  if (hangul == U_HST_VOWEL_JAMO || hangul == U_HST_TRAILING_JAMO) return 0;
  const auto width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_FULLWIDTH || width == U_EA_WIDE ? 2 : 1;
}

}  // namespace

bool isUtf8(std::string_view bytes) noexcept {
  for (std::size_t at = 0; at < bytes.size();) {
    if (nextCodePoint(bytes, at) < 0) return false;
  }
  return true;
}

icu::UnicodeString toUnicode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
}

std::string toUtf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

std::size_t displayWidth(std::string_view utf8) noexcept {
  std::size_t width = 0;
  for (std::size_t at = 0; at < utf8.size();) {
    const UChar32 c = nextCodePoint(utf8, at);
    width += c < 0 ? 1 : widthOf(c);
  }
  return width;
}

std::string_view fittingPart(std::string_view utf8, std::size_t columns) noexcept {
  std::size_t width = 0;
  std::size_t end = 0;
  for (std::size_t at = 0; at < utf8.size(); end = at) {
    const UChar32 c = nextCodePoint(utf8, at);
    width += c < 0 ? 1 : widthOf(c);
    if (width > columns) break;
  }
  return utf8.substr(0, width > columns ? end : utf8.size());
}

void appendHex(std::string& out, unsigned char byte) {
  constexpr char DIGITS[] = "0123456789abcdef";
  out += DIGITS[byte >> 4U];
  out += DIGITS[byte & 0xfU];
}

std::string printable(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const UChar32 c = nextCodePoint(text, at);
    if (c < 0) {
      appendUtf8(out, REPLACEMENT);
    } else if (isControl(c)) {
      appendEscaped(out, c);
    } else {
      appendUtf8(out, c);
    }
  }
  return out;
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t SHOWN = 60;  // columns
  const std::string whole = printable(text.substr(0, text.size() <= SHOWN ? SHOWN : 4 * SHOWN));
  const std::string_view part = fittingPart(whole, SHOWN);
  const bool cut = part.size() < whole.size() || text.size() > 4 * SHOWN;
  return "'" + std::string(part) + (cut ? "...'" : "'");
}

std::string endpointText(std::string_view host, unsigned int port) {
  const bool bracket = host.find(':') != std::string_view::npos;
  return (bracket ? "[" : "") + std::string(host) + (bracket ? "]:" : ":") + std::to_string(port);
}

}  // namespace orvix::ctl
