// SPDX-License-Identifier: Apache-2.0
// The one folder that the server writes to, held by one server at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "server/qorBoard.h"
#include "server/qorRole.h"

namespace orvix::server {

/// Layout: collections/<encoded name>/, backups/<encoded name>/<encoded collection>/, scratch/,
/// lock, role.
///         Folders are built in scratch/ and renamed into place; leftovers there are removed at
///         start.
/// Throws: STORAGE_FAILED at construction when another server holds it; filesystem_error.
class DataDirectory {
 public:
  /// One that does not write leaves the role to whoever has it.
  explicit DataDirectory(std::filesystem::path root, bool writes = true);
  DataDirectory(const DataDirectory&) = delete;
  DataDirectory& operator=(const DataDirectory&) = delete;
  ~DataDirectory();

  [[nodiscard]] Board& board() noexcept { return board_; }
  [[nodiscard]] Role& role() noexcept { return *role_; }
  [[nodiscard]] std::filesystem::path collections() const { return root_ / "collections"; }
  [[nodiscard]] std::filesystem::path backups() const { return root_ / "backups"; }

  /// A path in scratch/ where nothing is yet.
  [[nodiscard]] std::filesystem::path freshScratch();
  /// Puts `fresh` in the place of `folder`, on disk for good; what was there is removed. Readers
  /// are told when it is a collection's; those of collections lose nothing by a backup.
  void replace(const std::filesystem::path& folder, const std::filesystem::path& fresh);
  /// Takes `folder` away at once and for good, then deletes it.
  void discard(const std::filesystem::path& folder);

 private:
  void lock();

  std::filesystem::path root_;
  Board board_;
  std::optional<Role> role_;
  int lockDescriptor_ = -1;
  std::uint64_t scratchCount_ = 0;
};

/// A folder that is being built: whatever goes wrong, nothing of it stays behind and takes up room.
class Unfinished {
 public:
  Unfinished(DataDirectory& directory, std::filesystem::path folder)
      : board_(directory.board()), folder_(std::move(folder)) {}
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;
  /// Where another server has taken over, a folder of that name may be its own.
  ~Unfinished() {
    std::error_code ignored;
    if (!board_.roleLost()) std::filesystem::remove_all(folder_, ignored);
  }

 private:
  Board& board_;
  std::filesystem::path folder_;
};

}  // namespace orvix::server
