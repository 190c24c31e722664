// SPDX-License-Identifier: Apache-2.0
// What the clients know about one collection: which version of each document the server has
// acknowledged, and which it may have as well because an answer was lost.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace orvix::soak {

/// Version 0: the document is not there.
struct Entry {
  std::set<int> possible{0};
  std::uint64_t changes = 0;  ///< asked for so far

  /// The one version that the document must have, if there is but one.
  [[nodiscard]] std::optional<int> certain() const {
    return possible.size() == 1 ? std::optional(*possible.begin()) : std::nullopt;
  }
};

using Entries = std::map<std::string, Entry>;
using Found = std::map<std::string, int>;

/// Threads: any; a document is changed by one thread only.
class Ledger {
 public:
  /// Versions are numbers of so many bits; they start again behind the last.
  static constexpr int BITS = 10;

  /// The next version of the document; from now on it is possible.
  int begin(const std::string& key);
  /// The same for its deletion.
  void beginDelete(const std::string& key);
  /// The server has acknowledged the version. False: it was known not to be there, so what was
  /// acknowledged before the server was looked at is lost.
  bool settle(const std::string& key, int version);
  [[nodiscard]] Entry look(const std::string& key) const;
  [[nodiscard]] Entries all() const;

  /// All of it is gone, or as it was.
  void replace(const Entries& entries);
  /// It may be as it was.
  void mayBe(const Entries& entries);
  /// Compares with what the server shows while nobody changes anything; from now on that counts.
  /// What does not fit, in words; empty when all does.
  [[nodiscard]] std::string compare(const Found& found);

 private:
  mutable std::mutex mutex_;
  Entries entries_;
  std::map<std::string, int> issued_;
};

/// Version `version` of a document. It has words at its start, at its end and in a field: one that
/// is half there is found by some of them only.
[[nodiscard]] std::string textOf(const std::string& key, int version, std::uint32_t fillers);
[[nodiscard]] std::string titleOf(int version);
/// Finds the document when it is wholly there in that version.
[[nodiscard]] std::string queryFor(const std::string& key, int version);
/// Finds those whose version has the bit, by their words in one of the three places.
constexpr int PLACES = 3;
[[nodiscard]] std::string queryForBit(int bit, int place);

}  // namespace orvix::soak
