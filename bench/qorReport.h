// SPDX-License-Identifier: Apache-2.0
// The outcomes as a table for people and as JSON.
#pragma once

#include <string>
#include <vector>

#include "bench/qorRunner.h"

namespace orvix::bench {

/// The rows with a bar, then those for information; in Markdown or for a terminal.
std::string table(const std::vector<Outcome>& outcomes, bool markdown);
std::string json(const std::vector<Outcome>& outcomes, const Settings& settings);

}  // namespace orvix::bench
