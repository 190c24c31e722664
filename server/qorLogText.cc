// SPDX-License-Identifier: Apache-2.0
// Formatting characters go, too: some turn the direction of what follows on a terminal, and the
// separators of lines and paragraphs end a line for some readers.
#include "server/qorLogText.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace orvix::server {

namespace {

bool isShown(UChar32 character) noexcept {
  return character >= 0 && (u_isgraph(character) != 0 || character == ' ') &&
         u_charType(character) != U_FORMAT_CHAR;
}

void appendEscaped(std::string& out, std::string_view bytes) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    if (byte == '\n') {
      out += "\\n";
    } else if (byte == '\r') {
      out += "\\r";
    } else if (byte == '\t') {
      out += "\\t";
    } else {
      out += {'\\', 'x', DIGITS.at(value >> 4U), DIGITS.at(value & 15U)};
    }
  }
}

/// `inQuotes`: quotes and backslashes are escaped, so that the end of the value can be found.
std::string shown(std::string_view text, bool inQuotes, std::size_t limit) {
  std::string out;
  const auto size = static_cast<std::int32_t>(
      std::min<std::size_t>(text.size(), std::numeric_limits<std::int32_t>::max()));
  const auto* units = reinterpret_cast<const std::uint8_t*>(text.data());
  std::int32_t at = 0;
  while (at < size) {
    const std::int32_t start = at;
    UChar32 character = 0;
    U8_NEXT(units, at, size, character);
    const std::size_t before = out.size();
    const std::string_view bytes =
        text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(at - start));
    if (!isShown(character)) {
      appendEscaped(out, bytes);
    } else {
      if (inQuotes && (character == '"' || character == '\\')) out += '\\';
      out += bytes;
    }
    if (out.size() <= limit) continue;
    out.resize(before);
    return out + "...";
  }
  return out;
}

bool isHarmless(char byte) noexcept {
  constexpr std::string_view MARKS = "_-.,:;/+@%*#()[]";
  return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
         (byte >= 'A' && byte <= 'Z') || MARKS.find(byte) != std::string_view::npos;
}

}  // namespace

std::string printable(std::string_view text) {
  return shown(text, false, std::numeric_limits<std::size_t>::max());
}

void appendLogged(std::string& line, std::string_view value) {
  const bool bare = !value.empty() && value.size() <= MAX_LOGGED_VALUE &&
                    std::all_of(value.begin(), value.end(), isHarmless);
  if (bare) {
    line += value;
  } else {
    line += '"' + shown(value, true, MAX_LOGGED_VALUE) + '"';
  }
}

}  // namespace orvix::server
