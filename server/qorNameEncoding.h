// SPDX-License-Identifier: Apache-2.0
// Maps names that callers choose to names of folders, so that no name leaves its parent folder and
// no two names meet in one, on file systems that fold case, too.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvix::server {

/// "n-" and then each byte: a-z, 0-9, '_' and '-' as they are, every other one as %XX.
/// Nothing when the name is empty or its folder name would exceed 200 bytes.
[[nodiscard]] std::optional<std::string> folderNameOf(std::string_view name);

/// The inverse; nothing when `folder` is no result of folderNameOf.
[[nodiscard]] std::optional<std::string> nameOfFolder(std::string_view folder);

}  // namespace orvix::server
