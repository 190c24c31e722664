// SPDX-License-Identifier: Apache-2.0
// A failed sync is reported and never repeated here: what it covered must be written again.
#include "server/qorSync.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <system_error>
#include <unistd.h>

#include "server/qorDescriptor.h"
#include "server/qorRefusal.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

void syncOpened(const fs::path& path, int flags) {
  const Descriptor opened(::open(path.c_str(), flags | O_CLOEXEC));
  if (!opened || ::fsync(opened.get()) != 0) refuseByErrno("Syncing", path);
}

}  // namespace

void refuseByErrno(const char* what, const fs::path& path) {
  const std::string reason = std::generic_category().message(errno);
  refuse(MessageId::STORAGE_FAILED, std::string(what) + " " + path.string() + " failed: " + reason);
}

void syncFile(const fs::path& file) { syncOpened(file, O_RDONLY); }

void syncFolder(const fs::path& folder) { syncOpened(folder, O_RDONLY | O_DIRECTORY); }

void syncTree(const fs::path& folder) {
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_directory()) {
      syncFolder(entry.path());
    } else {
      syncFile(entry.path());
    }
  }
  syncFolder(folder);
}

}  // namespace orvix::server
