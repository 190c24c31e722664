// SPDX-License-Identifier: Apache-2.0
// The search engine called directly, without server, protocol or library: what their ranking is
// compared with.
#pragma once

#include <memory>
#include <string>
#include <vector>
#include <xapian.h>

#include "bench/server/qorCranfield.h"
#include "bench/server/qorMeasures.h"

namespace orvix::bench {

/// One way to index and to search, by BM25.
struct EngineSettings {
  std::string name;
  double k1 = 1;
  double b = 0.5;                 ///< how much the length of a document counts
  double leastLength = 0;         ///< shorter documents count as this share of the mean length
  bool everyWordStemmed = false;  ///< else words are kept as they stand, too, and queried by flags
  bool stopWords = false;         ///< the commonest English words are left out of queries
  unsigned titles = 1;            ///< how often the title is indexed
};

/// What the server is meant to do, written down a second time and from its documentation.
[[nodiscard]] EngineSettings serverSettings();
/// English stems of every word, any word of the query, BM25 with the textbooks' b of 0.75 and a k1
/// from their range of 1.2 to 2.
[[nodiscard]] EngineSettings plainSettings(double k1);

/// What the server is sent as the content of an abstract.
[[nodiscard]] std::string contentOf(const Abstract& abstract, unsigned titles = 1);

/// An index in memory over all abstracts, in their order.
class Engine {
 public:
  Engine(EngineSettings settings, const std::vector<Abstract>& abstracts);
  /// The best `wanted` documents; those of equal weight in the order in which they were indexed.
  [[nodiscard]] Ranking search(const std::string& query, unsigned wanted) const;

 private:
  void index(const Abstract& abstract);
  [[nodiscard]] Xapian::Query parsed(const std::string& query) const;

  EngineSettings settings_;
  Xapian::WritableDatabase database_;
};

}  // namespace orvix::bench
