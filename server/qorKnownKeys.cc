// SPDX-License-Identifier: Apache-2.0
#include "server/qorKnownKeys.h"

#include <algorithm>

namespace orvix::server {

std::optional<std::string_view> KnownKeys::find(Xapian::docid document) const noexcept {
  if (places_.empty()) return std::nullopt;
  const Place& place = places_[document % PLACES];
  if (place.document != document) return std::nullopt;
  return std::string_view(place.key.data(), place.length);
}

void KnownKeys::add(Xapian::docid document, std::string_view key) {
  if (key.empty() || key.size() > LONGEST) return;
  if (places_.empty()) places_.resize(PLACES);
  Place& place = places_[document % PLACES];
  place.document = document;
  place.length = static_cast<std::uint8_t>(key.size());
  std::copy(key.begin(), key.end(), place.key.begin());
}

}  // namespace orvix::server
