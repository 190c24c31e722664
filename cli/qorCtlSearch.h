// SPDX-License-Identifier: Apache-2.0
// Searches: hits to standard output in the order of arrival.
#pragma once

#include <cstdint>
#include <string>

#include "cli/qorCtlContext.h"

namespace orvix::ctl {

/// The key's bytes when they are UTF-8, else their Base64 text.
[[nodiscard]] std::string keyOf(const comm::SearchResult& hit);

/// The server's message in a hit that is none but carries an error: "ID: text".
[[nodiscard]] std::string errorInHit(const comm::SearchResult& hit);

/// Runs the search, writes its hits and returns their number. What was written before a failure
/// stays written.
/// Throws: as Connection does, and CtlFailure REFUSED when an error travels among the hits.
std::uint64_t runSearch(Context& context);

}  // namespace orvix::ctl
