// SPDX-License-Identifier: Apache-2.0
// Copies are made in scratch, opened once as a check, and renamed into place.
#include "server/qorBackup.h"

#include <string>
#include <vector>
#include <xapian.h>

#include "server/qorNameEncoding.h"
#include "server/qorRefusal.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

/// Fails with the engine's error when the folder does not hold a whole collection.
void proveReadable(std::string_view name, const fs::path& folder) {
  static_cast<void>(Collection(std::string(name), folder).reader().get_doccount());
}

}  // namespace

void Backups::take(std::string_view backup, std::string_view collection) {
  const fs::path target = folderOf(backup);
  if (!collection.empty()) {
    takeOne(target, collection);
    return;
  }
  for (const std::string& name : store_.names()) takeOne(target, name);
  fs::create_directories(target);
}

void Backups::restore(std::string_view backup, std::string_view collection) {
  const fs::path source = folderOf(backup);
  if (!fs::is_directory(source)) {
    refuse(MessageId::BACKUP_UNKNOWN, "There is no backup " + inQuotes(backup) + " on this server");
  }
  if (!collection.empty()) {
    restoreOne(source, collection);
    return;
  }
  for (const auto& entry : fs::directory_iterator(source)) {
    const auto name = nameOfFolder(entry.path().filename().string());
    if (name) restoreOne(source, *name);
  }
}

fs::path Backups::folderOf(std::string_view backup) const {
  const auto folder = folderNameOf(backup);
  if (!folder) {
    refuse(MessageId::BACKUP_NAME_INVALID,
           "The backup's name is " + std::string(backup.empty() ? "missing" : "too long") +
               "; give a name, which the server makes a folder of its own of");
  }
  return directory_.backups() / *folder;
}

void Backups::takeOne(const fs::path& target, std::string_view collection) {
  Collection& source = store_.open(collection);
  source.commit();
  const fs::path fresh = directory_.freshScratch();
  source.reader().compact(fresh.string(), Xapian::DBCOMPACT_NO_RENUMBER);
  proveReadable(collection, fresh);
  directory_.replace(target / store_.folderOf(collection).filename(), fresh);
}

void Backups::restoreOne(const fs::path& source, std::string_view collection) {
  const fs::path copy = source / store_.folderOf(collection).filename();
  if (!fs::is_directory(copy)) {
    refuse(MessageId::BACKUP_UNKNOWN, "The backup holds no collection " + inQuotes(collection));
  }
  const fs::path fresh = directory_.freshScratch();
  fs::copy(copy, fresh, fs::copy_options::recursive);
  proveReadable(collection, fresh);
  store_.install(collection, fresh);
}

}  // namespace orvix::server
