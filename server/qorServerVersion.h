// SPDX-License-Identifier: Apache-2.0
// What the server says about its version.
#pragma once

#include <string>

namespace orvix::server {

/// Server, protocol and engine versions in one line, for people.
[[nodiscard]] std::string versionText();

}  // namespace orvix::server
