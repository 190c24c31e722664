// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorSearchResponse.h"

namespace orvix::comm {

SearchResponse::SearchResponse() = default;

SearchResponse::SearchResponse(const SearchResponse& other) : RecordCursor(other) { copyRawKeys(); }

SearchResponse& SearchResponse::operator=(const SearchResponse& other) {
  if (this == &other) return *this;
  SearchResponse copy(other);
  RecordCursor::swap(copy);  // the copy frees the raw keys that this list held
  return *this;
}

SearchResponse::~SearchResponse() { reset(); }

void SearchResponse::reset() {
  for (SearchResult& record : records()) record.releaseRawKey();
  clear();
}

void SearchResponse::restart(const SearchResult& record) {
  SearchResponse fresh;
  fresh.append(record);
  RecordCursor::swap(fresh);
}

/// Gives each record bytes of its own. When memory runs out half-way nothing is leaked and nothing
/// freed that belongs to the other list: records not reached yet have no bytes.
void SearchResponse::copyRawKeys() {
  std::deque<SearchResult> borrowed(records());
  for (SearchResult& record : records()) record.adoptRawKey(nullptr, 0);
  try {
    for (std::size_t i = 0; i < borrowed.size(); ++i) {
      if (borrowed[i].getRawKey() == nullptr) continue;
      records()[i].setRawKey(borrowed[i].getRawKey(), borrowed[i].getRawKeyLength());
    }
  } catch (...) {
    reset();
    throw;
  }
}

}  // namespace orvix::comm
