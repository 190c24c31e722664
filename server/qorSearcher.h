// SPDX-License-Identifier: Apache-2.0
// Runs queries: from the request's properties to the list of hits, their scores and their keys.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>
#include <xapian.h>

#include "server/qorProperties.h"
#include "server/qorReaders.h"

namespace orvix::server {

struct SearchOptions {
  std::string query;
  std::string language;
  std::uint32_t start = 0;   ///< hits to leave out
  std::uint32_t wanted = 0;  ///< hits at most
  bool normalized = false;   ///< scores from 0 to 1 instead of the engine's weights
  std::string sortField;     ///< bare name; empty: by score
  bool unsorted = false;     ///< in order of indexing
};

/// Throws: QUERY_INVALID without a query, NUMBER_INVALID.
[[nodiscard]] SearchOptions searchOptionsOf(const Properties& request,
                                            const CollectionView& collection);

struct Hit {
  Xapian::docid document = 0;
  float score = 0;
};

/// The result of a query: all hits, but their keys are read only when they are needed.
/// Ownership: holds the lease, and the handle in it even when the collection is gone.
class SearchRun {
 public:
  SearchRun(Readers::Lease view, std::vector<Hit> hits)
      : view_(std::move(view)), hits_(std::move(hits)) {}

  [[nodiscard]] const std::vector<Hit>& hits() const noexcept { return hits_; }
  /// The keys of some hits from the `first` on, in their order; empty where a document was deleted
  /// meanwhile.
  [[nodiscard]] std::vector<std::string> keysFrom(std::size_t first, std::size_t count);

 private:
  [[nodiscard]] std::string keyOf(const Hit& hit);
  [[nodiscard]] std::string readKeyOf(const Hit& hit);

  Readers::Lease view_;
  std::vector<Hit> hits_;
};

/// Throws: QUERY_INVALID, SORT_FIELD_UNKNOWN.
[[nodiscard]] SearchRun runSearch(Readers& readers, std::string_view collection,
                                  const Properties& request);

struct Estimate {
  Xapian::doccount matches = 0;
  Xapian::doccount lowerBound = 0;
  Xapian::doccount documents = 0;
};
[[nodiscard]] Estimate estimateMatches(Readers& readers, std::string_view collection,
                                       const Properties& request);

}  // namespace orvix::server
