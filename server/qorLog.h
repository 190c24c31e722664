// SPDX-License-Identifier: Apache-2.0
// Lines for whoever runs the server, on standard error.
#pragma once

#include <string_view>

namespace orvix::server {

/// Writes one line. Control characters, which may come from a request, are shown as '?'.
void logLine(std::string_view text);

}  // namespace orvix::server
