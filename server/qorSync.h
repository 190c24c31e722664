// SPDX-License-Identifier: Apache-2.0
// Makes files and folders outlive a power cut. A file's own sync says nothing about its name: that
// is an entry of its folder, which has to be synced, too.
#pragma once

#include <filesystem>

namespace orvix::server {

/// Throws: STORAGE_FAILED, naming the path and what the system said.
void syncFile(const std::filesystem::path& file);
/// The names in the folder, not what they lead to.
void syncFolder(const std::filesystem::path& folder);
/// Every file and folder below, and the folder itself.
void syncTree(const std::filesystem::path& folder);

/// Throws STORAGE_FAILED: "`what` `path` failed: " and the text of errno.
[[noreturn]] void refuseByErrno(const char* what, const std::filesystem::path& path);

}  // namespace orvix::server
