// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorSearchResponse.h"

#include <utility>

#include "comm/results/internal/qorHitAccess.h"

namespace orvix::comm {

SearchResponse::SearchResponse() = default;

SearchResponse::SearchResponse(const SearchResponse& other) : RecordCursor(other) { copyRawKeys(); }

SearchResponse& SearchResponse::operator=(const SearchResponse& other) {
  if (this == &other) return *this;
  SearchResponse copy(other);
  swap(copy);  // the copy frees what this list held
  return *this;
}

SearchResponse::~SearchResponse() { reset(); }

void SearchResponse::append(const SearchResult& record) {
  RecordCursor::append(record);
  ownsKeys_ = true;
}

void SearchResponse::reset() {
  if (ownsKeys_) records().forEach(detail::HitAccess::freeRawKey);
  ownsKeys_ = false;
  clear();
  keys_.clear();
}

void SearchResponse::restart(const SearchResult& record) {
  SearchResponse fresh;
  fresh.append(record);
  swap(fresh);
}

void SearchResponse::swap(SearchResponse& other) noexcept {
  RecordCursor::swap(other);
  keys_.swap(other.keys_);
  std::swap(ownsKeys_, other.ownsKeys_);
}

std::string_view SearchResponse::keep(std::string_view piece, bool restart) {
  if (!restart) return keys_.keep(piece);
  records().reserveFirst();
  const std::string_view kept = spare_.keep(piece);
  reset();
  keys_.swap(spare_);
  return kept;
}

/// Gives each record bytes of this list: those that it was copied with are the other list's.
void SearchResponse::copyRawKeys() {
  records().forEach([this](SearchResult& record) {
    const std::string_view key = detail::HitAccess::rawKey(record);
    if (key.data() != nullptr) detail::HitAccess::rename(record, keys_.keep(key));
  });
}

}  // namespace orvix::comm
