// SPDX-License-Identifier: Apache-2.0
// Text between the shell, the library and the terminal: UTF-8 checks, widths, and what must not
// reach a terminal as it is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <unicode/unistr.h>

namespace orvix::ctl {

/// May stand before a text and is none of it.
inline constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";

[[nodiscard]] bool isUtf8(std::string_view bytes) noexcept;
[[nodiscard]] icu::UnicodeString toUnicode(std::string_view utf8);
[[nodiscard]] std::string toUtf8(const icu::UnicodeString& text);

/// Columns that UTF-8 text takes on a terminal: wide East Asian characters two, marks none.
[[nodiscard]] std::size_t displayWidth(std::string_view utf8) noexcept;

/// The text with control characters as \xNN, so that a key or a message cannot steer the terminal,
/// and with bytes that are not UTF-8 as U+FFFD.
[[nodiscard]] std::string printable(std::string_view text);

/// Two hexadecimal digits.
void appendHex(std::string& out, unsigned char byte);

/// As much of UTF-8 text as fits into so many columns.
[[nodiscard]] std::string_view fittingPart(std::string_view utf8, std::size_t columns) noexcept;

/// The same in quotes, and cut when it is long.
[[nodiscard]] std::string inQuotes(std::string_view text);

/// "host:port", with brackets around a numeric IPv6 address.
[[nodiscard]] std::string endpointText(std::string_view host, unsigned int port);

}  // namespace orvix::ctl
