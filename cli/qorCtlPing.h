// SPDX-License-Identifier: Apache-2.0
// The sum of a ping.
#pragma once

#include <vector>

namespace orvix::ctl {

/// The smallest of the values that the given share of them does not exceed (nearest rank). The
/// values are sorted and there is at least one.
[[nodiscard]] double percentile(const std::vector<double>& sorted, double share);

}  // namespace orvix::ctl
