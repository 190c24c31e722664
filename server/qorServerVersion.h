// SPDX-License-Identifier: Apache-2.0
// What the server says about its version.
#pragma once

#include <string>

namespace orvix::server {

/// "qorserver" and the project's version.
[[nodiscard]] std::string nameAndVersion();

/// Server, protocol and engine versions in one line, for people.
[[nodiscard]] std::string versionText();

}  // namespace orvix::server
