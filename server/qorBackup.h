// SPDX-License-Identifier: Apache-2.0
// Takes and restores named backups below the data directory. A backup is a name, never a path.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "server/qorCollectionStore.h"
#include "server/qorDataDirectory.h"

namespace orvix::server {

/// What a restore does about a collection that is there.
enum class OnExisting : std::uint32_t {
  REFUSE = 1,   // restore nothing
  REPLACE = 2,  // take the backup's
  KEEP = 3      // restore only what is not there
};

/// Layout: backups/<encoded backup name>/<encoded collection name>/, each a copy of one collection
///         with its configuration and a list of hashes. A collection's copy is replaced as a whole.
/// Throws: BACKUP_NAME_INVALID, BACKUP_UNKNOWN, BACKUP_DAMAGED, and what the store throws.
class Backups {
 public:
  /// Borrows both, for its whole life.
  Backups(DataDirectory& directory, CollectionStore& store)
      : directory_(directory), store_(store) {}

  /// An empty `collection` means all of them; of a backup of all, the collections that are gone by
  /// the next one stay in it.
  void take(std::string_view backup, std::string_view collection);
  /// Puts back the collection, or all that the backup holds. Of one that is replaced, uncommitted
  /// changes and outcomes go. Throws COLLECTION_EXISTS before anything is changed.
  void restore(std::string_view backup, std::string_view collection, OnExisting onExisting);

 private:
  [[nodiscard]] std::filesystem::path folderOf(std::string_view backup) const;
  void takeOne(const std::filesystem::path& target, std::string_view collection);
  [[nodiscard]] std::vector<std::string> heldBy(const std::filesystem::path& source) const;
  void restoreOne(const std::filesystem::path& source, std::string_view collection);

  DataDirectory& directory_;
  CollectionStore& store_;
};

}  // namespace orvix::server
