// SPDX-License-Identifier: Apache-2.0
// The keys of documents that searches have met: reading one from the index takes a system call and
// several microseconds, and searches meet the same documents again and again.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>
#include <xapian.h>

namespace orvix::server {

/// What is known stays true for the life of the index: numbers of documents are not used again, and
/// a document keeps its key.
/// Limits: LONGEST bytes a key, PLACES keys; a document takes the place of an earlier one.
class KnownKeys {
 public:
  static constexpr std::size_t LONGEST = 59;  // a place fills one cache line
  static constexpr std::size_t PLACES = 4096;

  /// Points into this, until the next add().
  [[nodiscard]] std::optional<std::string_view> find(Xapian::docid document) const noexcept;
  /// Longer keys and empty ones are not kept.
  void add(Xapian::docid document, std::string_view key);

 private:
  struct Place {
    Xapian::docid document = 0;
    std::uint8_t length = 0;
    std::array<char, LONGEST> key{};
  };
  std::vector<Place> places_;  // by the number's remainder; none before the first key
};

}  // namespace orvix::server
