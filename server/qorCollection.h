// SPDX-License-Identifier: Apache-2.0
// One open collection: its engine handles, configuration, fields, uncommitted changes and outcomes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <xapian.h>

#include "server/qorBoard.h"
#include "server/qorCollectionConfig.h"
#include "server/qorDocumentBody.h"
#include "server/qorFieldRegistry.h"
#include "server/qorOutcomes.h"
#include "server/qorProperties.h"

namespace orvix::server {

struct TextSettings;

/// Searches read the last committed state; the writer is opened on the first change and then held.
/// commit() returns once the changes are on disk for good: the engine syncs its files, but not the
/// folder in which it publishes a revision by renaming.
/// Errors:  an engine failure during a change or a commit loses all uncommitted changes: the
///          outcomes say so, losses() counts it, lastError() keeps the reason until a commit
///          succeeds. After a folder could not be synced nothing is written before it could be: the
///          next revision would overwrite blocks of the one that a power cut brings back.
/// Threads: that of the writer. Searches have handles of their own, see Readers.
class Collection {
 public:
  static constexpr const char* OUTCOMES_FILE = "outcomes";

  /// Borrows: the board, for its whole life; null for a collection that nobody else looks at.
  Collection(std::string name, std::filesystem::path folder, Board* board = nullptr);
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;
  ~Collection() = default;

  /// What the revision that `database` shows says about its collection.
  [[nodiscard]] static CollectionConfig configIn(const Xapian::Database& database);
  [[nodiscard]] static FieldRegistry fieldsIn(const Xapian::Database& database);

  /// Prepares a folder that holds the engine's files for becoming a collection.
  static void complete(const std::filesystem::path& folder);
  /// Writes a new, empty collection into `folder`, which must not exist.
  static void write(const std::filesystem::path& folder, const CollectionConfig& config);

  /// Adds the document or replaces the one of the same key. Not searchable before the next
  /// commit().
  void add(const DocumentBody& body, const Properties& request);
  /// Deletes the document of the key; a missing one is no error. Awaits commit(), too.
  void remove(std::string_view key);
  /// Takes the configuration and, when `language` is not empty, a new language. Commits.
  void configure(Properties configuration, const std::string& language);
  void commit();

  /// The last committed state. The handle stays valid, but not its view, across later commits.
  [[nodiscard]] Xapian::Database reader();

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const std::filesystem::path& folder() const noexcept { return folder_; }
  [[nodiscard]] const CollectionConfig& config() const noexcept { return config_; }
  [[nodiscard]] const FieldRegistry& fields() const noexcept { return fields_; }
  [[nodiscard]] std::uint64_t pending() const noexcept { return pending_; }
  /// Of the engine's memory, roughly: text, fields and keys among them.
  [[nodiscard]] std::uint64_t pendingBytes() const noexcept { return pendingBytes_; }
  /// Grows whenever uncommitted changes were lost.
  [[nodiscard]] std::uint64_t losses() const noexcept { return losses_; }
  /// The reason of the last loss; there is one when losses() is not 0.
  [[nodiscard]] const Fault& lastLoss() const noexcept { return lastLoss_; }
  [[nodiscard]] const std::optional<Fault>& lastError() const noexcept { return lastError_; }
  [[nodiscard]] Outcomes& outcomes() noexcept { return outcomes_; }

 private:
  Xapian::Document build(const DocumentBody& body, const TextSettings& settings);
  Xapian::WritableDatabase& writer();
  void loadMetadata();
  void report();
  void abandon();
  void publish();
  void settleFolder();
  template <typename Change>
  void change(const Change& apply);

  std::string name_;
  std::filesystem::path folder_;
  Board* board_;
  Xapian::Database reader_;
  std::optional<Xapian::WritableDatabase> writer_;
  CollectionConfig config_;
  FieldRegistry fields_;
  Outcomes outcomes_;
  std::optional<Fault> lastError_;
  Fault lastLoss_;
  bool folderUnsynced_ = false;  // a revision was published whose name may not be on disk yet
  std::uint64_t losses_ = 0;
  std::uint64_t pending_ = 0;       // changes since the last commit
  std::uint64_t pendingBytes_ = 0;  // text among them, to bound what the engine holds in memory
};

}  // namespace orvix::server
