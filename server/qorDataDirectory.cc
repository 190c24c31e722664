// SPDX-License-Identifier: Apache-2.0
// Renames keep readers from ever meeting half a folder.
#include "server/qorDataDirectory.h"

#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

#include "server/qorRefusal.h"

namespace orvix::server {

namespace fs = std::filesystem;

DataDirectory::DataDirectory(fs::path root) : root_(std::move(root)) {
  fs::create_directories(collections());
  fs::create_directories(backups());
  lock();
  fs::remove_all(root_ / "scratch");
  fs::create_directories(root_ / "scratch");
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
  fs::create_directories(folder.parent_path());
  fs::path old;
  if (fs::exists(folder)) {
    old = freshScratch();
    fs::rename(folder, old);
  }
  fs::rename(fresh, folder);
  if (!old.empty()) fs::remove_all(old);
}

void DataDirectory::discard(const fs::path& folder) {
  const fs::path old = freshScratch();
  fs::rename(folder, old);
  fs::remove_all(old);
}

}  // namespace orvix::server
