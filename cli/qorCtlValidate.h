// SPDX-License-Identifier: Apache-2.0
// Checks of option values, made before anything is sent. A check answers what is wrong and what to
// do, or an empty text; the option table says which check belongs to which option.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "cli/qorCtlSettings.h"

namespace orvix::ctl {

/// Bytes of one header value. All values of a request together stay below the 65535 bytes that a
/// request's header can have.
inline constexpr std::size_t MAX_LINE_VALUE = 8192;

using Check = std::string (*)(std::string_view value);

/// A value that travels in a header line: nothing there is escaped, so a line end would start a
/// line of its own.
[[nodiscard]] std::string checkLine(std::string_view value);
[[nodiscard]] std::string checkFilledLine(std::string_view value);
[[nodiscard]] std::string checkFilled(std::string_view value);
[[nodiscard]] std::string checkPort(std::string_view value);
[[nodiscard]] std::string checkSeconds(std::string_view value);
[[nodiscard]] std::string checkRetries(std::string_view value);
[[nodiscard]] std::string checkOffset(std::string_view value);
[[nodiscard]] std::string checkLimit(std::string_view value);
[[nodiscard]] std::string checkCount(std::string_view value);
[[nodiscard]] std::string checkInterval(std::string_view value);
/// NAME=VALUE with a name.
[[nodiscard]] std::string checkField(std::string_view value);
/// FIELD=COLUMN, both filled.
[[nodiscard]] std::string checkMapping(std::string_view value);
/// KEY=VALUE for a header line, and no token.
[[nodiscard]] std::string checkProperty(std::string_view value);
/// A request kind by name.
[[nodiscard]] std::string checkKind(std::string_view value);
/// A file that is written: "-" is none.
[[nodiscard]] std::string checkOutputFile(std::string_view value);
/// One of `choices`.
[[nodiscard]] std::string checkChoice(std::string_view value,
                                      const std::vector<std::string>& choices);

/// What no single value shows. Answers like a check.
[[nodiscard]] std::string checkTogether(const Settings& settings);

}  // namespace orvix::ctl
