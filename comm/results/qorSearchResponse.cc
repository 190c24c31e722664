// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorSearchResponse.h"

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

/// Bytes that the record owns become the list's, whose records own none; others are copied.
void SearchResponse::append(const SearchResult& record) {
  std::string_view key = detail::HitAccess::rawKey(record);
  const bool takesOver = detail::HitAccess::ownsRawKey(record);
  if (takesOver) {
    adoptedKeys_.emplace_back();
  } else if (key.data() != nullptr) {
    key = keys_.keep(key);
  }
  try {
    detail::HitAccess::rename(RecordCursor::append(record), key);
  } catch (...) {
    if (takesOver) adoptedKeys_.pop_back();
    throw;
  }
  if (!takesOver) return;
  adoptedKeys_.back().reset(detail::HitAccess::bytesOf(key));
  detail::HitAccess::disown(record);
}

void SearchResponse::reset() {
  clear();
  keys_.clear();
  adoptedKeys_.clear();
}

void SearchResponse::restart(const SearchResult& record) {
  SearchResponse fresh;
  fresh.append(record);
  swap(fresh);
}

void SearchResponse::swap(SearchResponse& other) noexcept {
  RecordCursor::swap(other);
  keys_.swap(other.keys_);
  adoptedKeys_.swap(other.adoptedKeys_);
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
