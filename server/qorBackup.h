// SPDX-License-Identifier: Apache-2.0
// Takes and restores backups: those with a name lie below the data directory, those with a path
// below the configured roots.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/qorBackupRoots.h"
#include "server/qorCollectionStore.h"
#include "server/qorDataDirectory.h"

namespace orvix::server {

/// What a restore does about a collection that is there.
enum class OnExisting : std::uint32_t {
  REFUSE = 1,   // restore nothing
  REPLACE = 2,  // take the backup's
  KEEP = 3      // restore only what is not there
};

/// Layout: backups/<encoded backup name>/<encoded collection name>/, or <path>/<encoded collection
///         name>/, each a copy of one collection with its configuration and a list of hashes. A
///         collection's copy is replaced as a whole. Below a path it is built beside its place,
///         as "unfinished", for nothing can be renamed from one file system to another.
/// Throws: BACKUP_NAME_INVALID, BACKUP_UNKNOWN, BACKUP_DAMAGED, and what the store throws.
class Backups {
 public:
  /// Borrows directory and store, for its whole life.
  Backups(DataDirectory& directory, CollectionStore& store, BackupRoots roots = {})
      : directory_(directory), store_(store), roots_(std::move(roots)) {}

  /// An empty `collection` means all of them; of a backup of all, the collections that are gone by
  /// the next one stay in it.
  void take(std::string_view backup, std::string_view collection);
  /// Puts back the collection, or all that the backup holds. Of one that is replaced, uncommitted
  /// changes and outcomes go. Throws COLLECTION_EXISTS before anything is changed.
  void restore(std::string_view backup, std::string_view collection, OnExisting onExisting);

 private:
  [[nodiscard]] std::filesystem::path folderOf(std::string_view backup) const;
  void takeInto(const std::filesystem::path& target, std::string_view collection, bool elsewhere);
  void takeOne(const std::filesystem::path& target, std::string_view collection, bool elsewhere);
  void restoreFrom(const std::filesystem::path& source, std::string_view collection,
                   OnExisting onExisting);
  [[nodiscard]] std::vector<std::string> heldBy(const std::filesystem::path& source) const;
  void restoreOne(const std::filesystem::path& source, std::string_view collection);

  DataDirectory& directory_;
  CollectionStore& store_;
  BackupRoots roots_;
};

}  // namespace orvix::server
