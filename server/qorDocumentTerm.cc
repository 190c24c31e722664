// SPDX-License-Identifier: Apache-2.0
// The engine takes terms of up to 245 bytes and stores each zero byte as two.
#include "server/qorDocumentTerm.h"

#include <algorithm>
#include <cstdint>

namespace orvix::server {

namespace {

constexpr std::string_view SPELLED = "Q:";
constexpr std::string_view HASHED = "Q#";
constexpr std::size_t MAX_SPELLED = 200;
constexpr std::size_t HASHED_START = 80;

/// FNV-1a. Meetings are harmless, for the stored key decides.
std::uint64_t hashOf(std::string_view bytes) noexcept {
  std::uint64_t hash = 14695981039346656037ULL;
  for (const char byte : bytes) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211ULL;
  }
  return hash;
}

}  // namespace

std::string documentTermOf(std::string_view key) {
  const auto zeros = static_cast<std::size_t>(std::count(key.begin(), key.end(), '\0'));
  if (key.size() + zeros <= MAX_SPELLED) return std::string(SPELLED) + std::string(key);
  return std::string(HASHED) + std::to_string(key.size()) + ":" + std::to_string(hashOf(key)) +
         ":" + std::string(key.substr(0, HASHED_START));
}

Xapian::docid findDocument(const Xapian::Database& database, std::string_view key) {
  const std::string term = documentTermOf(key);
  for (auto entry = database.postlist_begin(term); entry != database.postlist_end(term); ++entry) {
    if (database.get_document(*entry).get_data() == key) return *entry;
  }
  return 0;
}

}  // namespace orvix::server
