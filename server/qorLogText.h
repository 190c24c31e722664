// SPDX-License-Identifier: Apache-2.0
// What makes bytes from outside harmless on a line of a log or a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvix::server {

/// Longer values end in "..."; the bytes are those written.
inline constexpr std::size_t MAX_LOGGED_VALUE = 1000;
/// Lines end in " ..." instead of fields beyond it. A pipe takes a line of 4096 bytes at once or
/// not at all.
inline constexpr std::size_t MAX_LOGGED_LINE = 4000;

/// The text as it can be shown: printable characters as they are; control and formatting characters
/// and bytes that are no UTF-8 as \n, \r, \t or \xNN.
[[nodiscard]] std::string printable(std::string_view text);

/// As it stands when it consists of harmless ASCII, otherwise printable, in double quotes, with
/// quotes and backslashes escaped.
void appendLogged(std::string& line, std::string_view value);

}  // namespace orvix::server
