// SPDX-License-Identifier: Apache-2.0
// The file in which a collection's outcomes wait to be fetched, across restarts. Only appended to,
// until everything in it is spent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>

#include "server/qorRefusal.h"

namespace orvix::server {

struct Outcome {
  std::uint64_t number = 0;   ///< ascending, never used twice by one collection
  std::time_t settledAt = 0;  ///< seconds since 1970
  std::string key;
  std::optional<Fault> fault;  ///< nothing: indexed
};

/// Shape:  { length: u32, checksum: u64, pairs in length bytes }*
/// Errors: reading ends at the first record that is torn or damaged, and the next append starts
///         there.
/// Throws: STORAGE_FAILED; the file then counts as it was before the call.
class OutcomeFile {
 public:
  explicit OutcomeFile(std::filesystem::path file) : file_(std::move(file)) {}

  /// What was appended and not spent, in order; nothing when there is no file.
  [[nodiscard]] std::deque<Outcome> load();
  /// Adds the outcomes from `from` on and syncs them.
  void append(const std::deque<Outcome>& outcomes, std::size_t from);
  /// Notes that outcomes up to this number were fetched. Not synced: at worst they are told again.
  void spend(std::uint64_t upTo);
  /// Leaves these, or nothing, in the file.
  void rewrite(const std::deque<Outcome>& kept);

  [[nodiscard]] std::size_t records() const noexcept { return records_; }

 private:
  void write(const std::string& bytes, bool sync);

  std::filesystem::path file_;
  std::size_t goodSize_ = 0;  // bytes of whole records; anything behind them is torn
  std::size_t records_ = 0;
};

}  // namespace orvix::server
