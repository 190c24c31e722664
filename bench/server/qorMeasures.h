// SPDX-License-Identifier: Apache-2.0
// How good a ranking is, by what people judged relevant.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bench/server/qorCranfield.h"

namespace orvix::bench {

/// Keys of documents, best first.
using Ranking = std::vector<std::string>;

/// What a document of this code gives the reader: 5 - code for the codes 1 (a complete answer) to 4
/// (of minimum interest), else nothing.
[[nodiscard]] int gainOf(int code) noexcept;

/// Gains, each divided by log2(rank + 1), of the first `depth` documents over those of the best
/// possible ranking. 0 when nothing is relevant.
[[nodiscard]] double ndcg(const Ranking& ranking, const Judgements& judgements, std::size_t depth);

/// Mean, over the relevant documents, of the share of relevant ones down to each; one that is not
/// in the ranking counts as 0.
[[nodiscard]] double averagePrecision(const Ranking& ranking, const Judgements& judgements);

/// Means over all questions.
struct Quality {
  double ndcg10 = 0;
  double map = 0;
};
/// `rankings`: one for each question, in their order.
[[nodiscard]] Quality qualityOf(const std::vector<Ranking>& rankings,
                                const std::vector<Question>& questions);

}  // namespace orvix::bench
