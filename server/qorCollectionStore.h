// SPDX-License-Identifier: Apache-2.0
// The collections of one data directory, by name: creates, drops, opens and closes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/qorCollection.h"
#include "server/qorCollectionConfig.h"
#include "server/qorDataDirectory.h"

namespace orvix::server {

/// Owns the open collections; a returned reference lives until its collection is closed or dropped.
/// Throws: COLLECTION_NAME_INVALID for an empty or too long name, COLLECTION_UNKNOWN.
/// Threads: that of the writer; what is const looks at the file system only and may be asked by
///          all.
class CollectionStore {
 public:
  /// Each takes some descriptors.
  static constexpr std::size_t MAX_OPEN = 64;
  /// Twice what one collection may have by itself.
  static constexpr std::uint64_t MAX_PENDING_BYTES = 256ULL << 20U;

  /// Borrows: the directory, for its whole life.
  explicit CollectionStore(DataDirectory& directory,
                           std::uint64_t maxPendingBytes = MAX_PENDING_BYTES)
      : directory_(directory), maxPendingBytes_(maxPendingBytes) {}

  /// Throws: COLLECTION_EXISTS.
  void create(std::string_view name, const CollectionConfig& config);
  void drop(std::string_view name);
  [[nodiscard]] Collection& open(std::string_view name);
  /// Commits and lets go of the handles.
  void close(std::string_view name);
  /// Puts the folder, built in scratch, in the collection's place, whether or not it exists.
  void install(std::string_view name, const std::filesystem::path& fresh);

  [[nodiscard]] std::vector<std::string> names() const;
  [[nodiscard]] bool exists(std::string_view name) const;
  void requireExisting(std::string_view name) const;
  [[nodiscard]] std::filesystem::path folderOf(std::string_view name) const;

  /// Before a document is added: while all collections together hold as much as they may, commits
  /// the one that holds most. Whoever sends on meanwhile waits for the writer, as for any commit.
  void makeRoom();
  /// Lets go of the collections that were opened longest ago until MAX_OPEN are left. References to
  /// those become invalid.
  void trim();

  /// Commits every open collection and lets go of the handles; goes on past a failure and then
  /// throws the first.
  void closeAll();

 private:
  using Opened = std::map<std::string, std::unique_ptr<Collection>, std::less<>>;

  void forget(std::string_view name);

  DataDirectory& directory_;
  std::uint64_t maxPendingBytes_;
  Opened opened_;
  std::deque<std::string> order_;  // of opening
};

}  // namespace orvix::server
