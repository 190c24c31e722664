// SPDX-License-Identifier: Apache-2.0
// Finds the one document of a key. The key itself is the document's stored data; a term leads
// there.
#pragma once

#include <string>
#include <string_view>
#include <xapian.h>

namespace orvix::server {

/// The term under which documents of this key are listed. Short keys are spelled out; of a longer
/// one, a start and a hash, so that several keys may share a term.
[[nodiscard]] std::string documentTermOf(std::string_view key);

/// The number of the document with exactly this key, or 0.
[[nodiscard]] Xapian::docid findDocument(const Xapian::Database& database, std::string_view key);

}  // namespace orvix::server
