// SPDX-License-Identifier: Apache-2.0
// The access token: from a file or from standard input, never from an argument, which every process
// of the machine could read.
#pragma once

#include <string>

namespace orvix::ctl {

/// The first line of the file, or of standard input for "-".
/// Throws: CtlFailure LOCAL_FILE when it cannot be read or is empty, USAGE when it cannot be a
///         token.
[[nodiscard]] std::string readToken(const std::string& path);

/// Whether others than its owner may read the file. False for what is no regular file.
[[nodiscard]] bool isReadableByOthers(const std::string& path);

}  // namespace orvix::ctl
