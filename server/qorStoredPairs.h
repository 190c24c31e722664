// SPDX-License-Identifier: Apache-2.0
// Reads back what the server stored as key/value pairs, the form in which replies carry them.
#pragma once

#include <string>
#include <string_view>

#include "infra/bytes/internal/qorByteReader.h"

namespace orvix::server {

struct StoredPair {
  std::string key;
  std::string value;
};

/// The next pair of `reader`, which is not at its end.
/// Throws: STORAGE_FAILED when the bytes are none; `what` names them in its text.
[[nodiscard]] StoredPair takeStoredPair(oss::ByteReader& reader, const char* what);

}  // namespace orvix::server
