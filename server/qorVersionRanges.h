// SPDX-License-Identifier: Apache-2.0
// Reads the lists of versions that peers state, such as "1.0-1.2,2.0".
#pragma once

#include <string_view>

namespace orvix::server {

/// Whether `version` is in the list: equal to an entry, or within one of its ranges, ends included.
/// Numbers compare part by part; blanks around entries do not count. A malformed entry holds
/// nothing.
[[nodiscard]] bool versionListContains(std::string_view list, std::string_view version);

}  // namespace orvix::server
