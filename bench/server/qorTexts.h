// SPDX-License-Identifier: Apache-2.0
// Documents and queries that are the same in every run: made-up words, as frequent as words of a
// language are.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace orvix::bench {

inline constexpr std::size_t TEXT_WORDS = 150;

/// 16 bytes.
[[nodiscard]] std::string textKey(std::size_t number);
/// The content of document `number`: about a thousand bytes, the words' ranks by Zipf's law.
[[nodiscard]] std::string textOf(std::size_t number);
/// Contents of the documents from `first` on.
[[nodiscard]] std::vector<std::string> textsFrom(std::size_t first, std::size_t count);
/// Queries of three words each, from the frequent to the rare.
[[nodiscard]] std::vector<std::string> textQueries();

}  // namespace orvix::bench
