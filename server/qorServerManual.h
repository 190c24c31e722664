// SPDX-License-Identifier: Apache-2.0
// The manual page, made of the parser's options and the table of settings: it cannot lag behind them.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace orvix::server {

/// Section 8, in roff with the man macros.
void writeManualPage(std::ostream& out, const CLI::App& app);

}  // namespace orvix::server
