// SPDX-License-Identifier: Apache-2.0
// Renders what a collection says about itself as one JSON object.
#pragma once

#include <string>
#include <string_view>

#include "server/qorCollection.h"

namespace orvix::server {

[[nodiscard]] std::string statusTextOf(Collection& collection);

/// `text` as a JSON string with its quotes; ill-formed UTF-8 becomes U+FFFD.
[[nodiscard]] std::string jsonString(std::string_view text);

}  // namespace orvix::server
