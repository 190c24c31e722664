// SPDX-License-Identifier: Apache-2.0
// Takes and restores named backups below the data directory. A backup is a name, never a path.
#pragma once

#include <string_view>

#include "server/qorCollectionStore.h"
#include "server/qorDataDirectory.h"

namespace orvix::server {

/// Layout: backups/<encoded backup name>/<encoded collection name>/, each a compacted copy of one
///         collection with its configuration. A collection's copy is replaced as a whole.
/// Throws: BACKUP_NAME_INVALID, BACKUP_UNKNOWN, and what the store throws.
class Backups {
 public:
  /// Borrows both, for its whole life.
  Backups(DataDirectory& directory, CollectionStore& store)
      : directory_(directory), store_(store) {}

  /// An empty `collection` means all of them; of a backup of all, the collections that are gone by
  /// the next one stay in it.
  void take(std::string_view backup, std::string_view collection);
  /// Replaces the collection, or all that the backup holds. Uncommitted changes and outcomes go.
  void restore(std::string_view backup, std::string_view collection);

 private:
  [[nodiscard]] std::filesystem::path folderOf(std::string_view backup) const;
  void takeOne(const std::filesystem::path& target, std::string_view collection);
  void restoreOne(const std::filesystem::path& source, std::string_view collection);

  DataDirectory& directory_;
  CollectionStore& store_;
};

}  // namespace orvix::server
