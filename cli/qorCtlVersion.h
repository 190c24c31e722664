// SPDX-License-Identifier: Apache-2.0
// What the command line says about its version, in the form in which the server says its own.
#pragma once

#include <string>

namespace orvix::ctl {

/// "qorctl" and the project's version.
[[nodiscard]] std::string nameAndVersion();

/// The same with the library that was loaded and ICU, in one line, for people.
[[nodiscard]] std::string versionText();

}  // namespace orvix::ctl
