// SPDX-License-Identifier: Apache-2.0
// Which documents are turned into text before they reach the writer, and how: those of filters,
// and large ones whose markup or JSON has to be taken apart.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "server/qorProperties.h"
#include "server/qorTextFilter.h"

namespace orvix::server {

/// By the request's properties and the size of its body.
[[nodiscard]] bool isReadAhead(const std::vector<TextFilter>& filters, const Properties& request,
                               std::size_t bodySize);

/// Content of no bytes is no text, and no filter is asked.
/// Throws: FILTER_FAILED, and what extractText() throws.
[[nodiscard]] std::string textAhead(const std::vector<TextFilter>& filters,
                                    const Properties& request, std::string_view content);

}  // namespace orvix::server
