// SPDX-License-Identifier: Apache-2.0
// The list of a backup's files with their hashes: proves that a copy is whole before anybody relies
// on it.
#pragma once

#include <filesystem>

namespace orvix::server {

/// Copies the files of `from` that make up a collection into the new folder `to` and writes the
/// list of them there. Nobody may write to `from` meanwhile.
/// Throws: STORAGE_FAILED, filesystem_error.
void copyWithManifest(const std::filesystem::path& from, const std::filesystem::path& to);

/// Reads the copy again. Throws: BACKUP_DAMAGED when it is not what its list says.
void checkManifest(const std::filesystem::path& copy);

/// Copies the listed files, without the list, into the new folder `to`.
void copyListed(const std::filesystem::path& copy, const std::filesystem::path& to);

}  // namespace orvix::server
