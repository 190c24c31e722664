// SPDX-License-Identifier: Apache-2.0
// Folders outside the data directory in which requests may place backups and find them: those below
// the configured roots, and no other.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "server/qorDescriptor.h"

namespace orvix::server {

/// An open folder. What is done through `path` stays in it, whatever is renamed or linked
/// meanwhile.
struct BackupFolder {
  Descriptor opened;
  std::filesystem::path path;  ///< by way of the descriptor; valid as long as this object
  std::string shown;           ///< as the request named it

  /// `text` with the folder's name as people know it.
  [[nodiscard]] std::string readable(std::string text) const;
};

/// A root itself may be or hold symbolic links, what is below it is walked without following any. A
/// root is never made: it may be a disk that is not there at present.
/// Throws: BACKUP_NAME_INVALID for a path that is not strictly below a root, has "." or ".." in it,
///         meets a symbolic link or enters the data directory.
class BackupRoots {
 public:
  BackupRoots() = default;
  /// Throws: STORAGE_FAILED for a root that is no absolute path or lies in the data directory.
  BackupRoots(const std::vector<std::string>& roots, const std::filesystem::path& data);

  [[nodiscard]] static bool isPath(std::string_view backup) noexcept {
    return backup.starts_with('/');
  }
  /// Throws also: BACKUP_UNKNOWN when there is no such folder.
  [[nodiscard]] BackupFolder find(std::string_view path) const { return walk(path, false); }
  /// Makes what is missing below the root, on disk for good.
  [[nodiscard]] BackupFolder make(std::string_view path) const { return walk(path, true); }

 private:
  [[nodiscard]] BackupFolder walk(std::string_view path, bool making) const;
  [[nodiscard]] const std::filesystem::path& rootOf(const std::filesystem::path& path) const;
  [[nodiscard]] Descriptor step(int folder, const std::string& name, bool making,
                                std::string_view path) const;

  std::vector<std::filesystem::path> roots_;
  std::filesystem::path data_;
};

}  // namespace orvix::server
