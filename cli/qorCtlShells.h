// SPDX-License-Identifier: Apache-2.0
// Completion scripts and the manual page, both made from the tables of commands and options: they
// cannot lag behind the program.
#pragma once

#include <array>
#include <ostream>
#include <string_view>

namespace orvix::ctl {

inline constexpr std::array<std::string_view, 3> SHELLS{"bash", "zsh", "fish"};

void writeBashCompletion(std::ostream& out);
void writeZshCompletion(std::ostream& out);
void writeFishCompletion(std::ostream& out);

/// Section 1, in roff with the man macros.
void writeManualPage(std::ostream& out);

}  // namespace orvix::ctl
