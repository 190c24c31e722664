// SPDX-License-Identifier: Apache-2.0
// Renames keep readers from ever meeting half a folder; what is renamed was synced before, and the
// folder of the new name is synced afterwards, so that a power cut leaves the old or the new one.
#include "server/qorDataDirectory.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

#include "server/qorRefusal.h"
#include "server/qorSync.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

/// In one step where the file system can: otherwise a crash between two would leave neither in
/// place.
void swapFolders(const fs::path& fresh, const fs::path& folder) {
  if (::renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, folder.c_str(), RENAME_EXCHANGE) == 0) return;
  if (errno != EINVAL && errno != ENOSYS) refuseByErrno("Replacing", folder);
  const fs::path old = fresh.string() + ".old";
  fs::rename(folder, old);
  fs::rename(fresh, folder);
  fs::rename(old, fresh);
}

/// What cannot be removed now is removed at the next start: the change itself is done.
void removeLeisurely(const fs::path& folder) {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

}  // namespace

DataDirectory::DataDirectory(fs::path root, bool writes) : root_(std::move(root)) {
  fs::create_directories(collections());
  fs::create_directories(backups());
  lock();
  role_.emplace(root_, writes);
  if (writes) board_.setRole(&*role_);
  fs::remove_all(root_ / "scratch");
  fs::create_directories(root_ / "scratch");
  syncFolder(root_);
}

DataDirectory::~DataDirectory() {
  if (lockDescriptor_ >= 0) ::close(lockDescriptor_);
}

void DataDirectory::lock() {
  const std::string file = (root_ / "lock").string();
  lockDescriptor_ = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lockDescriptor_ < 0 || ::flock(lockDescriptor_, LOCK_EX | LOCK_NB) != 0) {
    if (lockDescriptor_ >= 0) ::close(std::exchange(lockDescriptor_, -1));
    refuse(MessageId::STORAGE_FAILED, "The data directory " + root_.string() +
                                          " cannot be locked; is another server using it?");
  }
}

fs::path DataDirectory::freshScratch() {
  return root_ / "scratch" / std::to_string(++scratchCount_);
}

void DataDirectory::replace(const fs::path& folder, const fs::path& fresh) {
  board_.requireRole();
  const fs::path parent = folder.parent_path();
  syncTree(fresh);
  if (fs::create_directories(parent)) syncFolder(parent.parent_path());
  if (fs::exists(folder)) {
    swapFolders(fresh, folder);
  } else {
    fs::rename(fresh, folder);
  }
  if (parent == collections()) {
    board_.rearranged();
  } else {
    board_.progressed();
  }
  syncFolder(parent);
  removeLeisurely(fresh);
}

void DataDirectory::discard(const fs::path& folder) {
  board_.requireRole();
  const fs::path old = freshScratch();
  fs::rename(folder, old);
  board_.rearranged();
  syncFolder(folder.parent_path());
  removeLeisurely(old);
}

}  // namespace orvix::server
