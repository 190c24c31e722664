// SPDX-License-Identifier: Apache-2.0
// A path is walked folder by folder, each opened relative to the one before: nobody can swap a name
// for a link between a check and its use.
#include "server/qorBackupRoots.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "server/qorRefusal.h"
#include "server/qorSync.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

bool isSameFolder(int descriptor, const fs::path& folder) {
  struct stat one {};
  struct stat other {};
  return ::fstat(descriptor, &one) == 0 && ::stat(folder.c_str(), &other) == 0 &&
         one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// "/a/b/" and "/a//b" as "/a/b".
fs::path plain(const fs::path& path) {
  fs::path normal = path.lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();
}

bool isWithin(const fs::path& inner, const fs::path& outer) {
  return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

bool namesItself(const fs::path& part) { return part == "." || part == ".."; }

bool isCopysName(const fs::path& name) { return name.string().starts_with("n-"); }

[[noreturn]] void refusePath(std::string_view path, const std::string& why) {
  refuse(MessageId::BACKUP_NAME_INVALID,
         "The backup cannot be placed at " + inQuotes(path) + ": " + why);
}

}  // namespace

std::string BackupFolder::readable(std::string text) const {
  const std::string internal = path.string();
  for (std::size_t at = text.find(internal); at != std::string::npos;
       at = text.find(internal, at)) {
    text.replace(at, internal.size(), shown);
    at += shown.size();
  }
  return text;
}

BackupRoots::BackupRoots(const std::vector<std::string>& roots, const fs::path& data)
    : data_(fs::absolute(data)) {
  const fs::path held = fs::weakly_canonical(data_);
  for (const std::string& each : roots) {
    const fs::path root(each);
    if (!root.is_absolute()) {
      refuse(MessageId::STORAGE_FAILED,
             "The backup root " + inQuotes(each) + " is no absolute path; write it from / on");
    }
    if (isWithin(fs::weakly_canonical(root), held)) {
      refuse(MessageId::STORAGE_FAILED, "The backup root " + inQuotes(each) +
                                            " lies in the data directory; take a folder outside");
    }
    roots_.push_back(plain(root));
  }
}

const fs::path& BackupRoots::rootOf(const fs::path& path) const {
  const auto root = std::find_if(roots_.begin(), roots_.end(), [&](const fs::path& each) {
    return path != each && isWithin(path, each);
  });
  if (root != roots_.end()) return *root;
  std::string all;
  for (const fs::path& each : roots_) all += (all.empty() ? "" : ", ") + each.string();
  refusePath(path.string(), all.empty() ? "the server was started without --backup-root; give a "
                                          "name, which it keeps in its data directory"
                                        : "it must lie below " + all);
}

BackupFolder BackupRoots::walk(std::string_view given, bool making) const {
  const fs::path path = plain(given);
  const fs::path asGiven(given);
  if (std::any_of(asGiven.begin(), asGiven.end(), namesItself)) {
    refusePath(given, "it must not contain . or ..");
  }
  if (std::any_of(asGiven.begin(), asGiven.end(), isCopysName)) {
    refusePath(given,
               "no folder of it may start with n-, as the copies of collections do, which "
               "the next backup replaces");
  }
  const fs::path& root = rootOf(path);
  Descriptor folder(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) refuseByErrno("Opening the backup root", root);
  for (const fs::path& name : path.lexically_relative(root)) {
    folder = step(folder.get(), name.string(), making, given);
    if (isSameFolder(folder.get(), data_)) {
      refusePath(given, "it lies in the data directory; give a name instead");
    }
  }
  BackupFolder found{std::move(folder), {}, path.string()};
  found.path = "/proc/self/fd/" + std::to_string(found.opened.get());
  return found;
}

Descriptor BackupRoots::step(int folder, const std::string& name, bool making,
                             std::string_view path) const {
  constexpr int FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor next(::openat(folder, name.c_str(), FLAGS));
  if (next) return next;
  if (errno == ENOENT && making) {
    if (::mkdirat(folder, name.c_str(), 0700) != 0 && errno != EEXIST) {
      refuseByErrno("Making the folder", fs::path(path));
    }
    if (::fsync(folder) != 0) refuseByErrno("Syncing the folder of", fs::path(path));
    next = Descriptor(::openat(folder, name.c_str(), FLAGS));
    if (next) return next;
  }
  if (errno == ENOENT) {
    refuse(MessageId::BACKUP_UNKNOWN, "There is no backup at " + inQuotes(path));
  }
  if (errno == ENOTDIR || errno == ELOOP) {
    refusePath(path, inQuotes(name) + " in it is no folder, or a symbolic link");
  }
  refuseByErrno("Opening", fs::path(path));
}

}  // namespace orvix::server
