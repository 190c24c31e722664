// SPDX-License-Identifier: Apache-2.0
// What a query may cost: its text is weighed before the engine's parser sees it, its run is stopped when
// it has used up its time.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>
#include <xapian.h>

namespace orvix::server {

inline constexpr std::size_t MAX_QUERY_WORDS = 1000;
inline constexpr std::size_t MAX_QUERY_DEPTH = 100;
/// Words that all wildcards of a query together may stand for.
inline constexpr Xapian::termcount MAX_EXPANSION = 10000;

/// Runs of text without blanks count as one word; of Chinese, Japanese and Korean text, which has none
/// and is searched by pairs of characters, each character does.
/// Throws: QUERY_INVALID for too many words or parentheses within each other.
void checkQueryText(std::string_view query);
/// The number of words that one of the query's wildcards may stand for.
[[nodiscard]] Xapian::termcount expansionsPerWildcard(std::string_view query) noexcept;
/// True for a few plain words: no wildcard, no phrase, no distance.
[[nodiscard]] bool isLightQuery(std::string_view query) noexcept;

/// The query, but with an end once it has used `limit` of its thread's processor time: then matching
/// throws QueryTooLong. Changes neither which documents match nor their weights.
[[nodiscard]] Xapian::Query withTimeLimit(const Xapian::Query& query,
                                          std::chrono::milliseconds limit);

class QueryTooLong {};

}  // namespace orvix::server
