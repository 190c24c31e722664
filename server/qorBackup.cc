// SPDX-License-Identifier: Apache-2.0
// Copies are made in scratch, or beside their place on another file system, checked, queried and
// renamed into place. The files are copied as they lie: this runs on the thread of the writer,
// right after a commit, so nothing changes them.
#include "server/qorBackup.h"

#include <utility>
#include <xapian.h>

#include "server/qorManifest.h"
#include "server/qorNameEncoding.h"
#include "server/qorRefusal.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

constexpr const char* UNFINISHED = "unfinished";  // no collection's folder is called so

/// Fails with the engine's error when the folder does not hold a whole collection that answers.
void proveSearchable(std::string_view name, const fs::path& folder) {
  const Xapian::Database copy = Collection(std::string(name), folder).reader();
  Xapian::Enquire everything(copy);
  everything.set_query(Xapian::Query::MatchAll);
  const Xapian::MSet hits = everything.get_mset(0, 1);
  if (!hits.empty()) static_cast<void>(hits.begin().get_document().get_data());
}

/// Errors tell of the folder as the request named it.
template <typename Work>
void inTermsOf(const BackupFolder& folder, const Work& work) {
  try {
    work();
  } catch (...) {
    Fault fault = currentFault("The backup at " + inQuotes(folder.shown) + " failed");
    refuse(fault.id, folder.readable(std::move(fault.text)));
  }
}

}  // namespace

void Backups::take(std::string_view backup, std::string_view collection) {
  if (!BackupRoots::isPath(backup)) return takeInto(folderOf(backup), collection, false);
  const BackupFolder folder = roots_.make(backup);
  inTermsOf(folder, [&] { takeInto(folder.path, collection, true); });
}

void Backups::takeInto(const fs::path& target, std::string_view collection, bool elsewhere) {
  if (!collection.empty()) return takeOne(target, collection, elsewhere);
  for (const std::string& name : store_.names()) takeOne(target, name, elsewhere);
  fs::create_directories(target);
}

void Backups::restore(std::string_view backup, std::string_view collection, OnExisting onExisting) {
  if (!BackupRoots::isPath(backup)) {
    const fs::path source = folderOf(backup);
    if (fs::is_directory(source)) return restoreFrom(source, collection, onExisting);
    refuse(MessageId::BACKUP_UNKNOWN, "There is no backup " + inQuotes(backup) + " on this server");
  }
  const BackupFolder folder = roots_.find(backup);
  inTermsOf(folder, [&] { restoreFrom(folder.path, collection, onExisting); });
}

void Backups::restoreFrom(const fs::path& source, std::string_view collection,
                          OnExisting onExisting) {
  std::vector<std::string> names{std::string(collection)};
  if (collection.empty()) names = heldBy(source);
  for (const std::string& name : names) {
    if (onExisting != OnExisting::REFUSE || !store_.exists(name)) continue;
    refuse(MessageId::COLLECTION_EXISTS,
           "The collection " + inQuotes(name) + " exists; drop it first, or send " +
               inQuotes(words().incremental) + " as \"false\" to replace it");
  }
  for (const std::string& name : names) {
    if (onExisting != OnExisting::KEEP || !store_.exists(name)) restoreOne(source, name);
  }
}

std::vector<std::string> Backups::heldBy(const fs::path& source) const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(source)) {
    auto name = nameOfFolder(entry.path().filename().string());
    if (name) names.push_back(std::move(*name));
  }
  return names;
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

void Backups::takeOne(const fs::path& target, std::string_view collection, bool elsewhere) {
  Collection& source = store_.open(collection);
  source.commit();
  const fs::path fresh = elsewhere ? target / UNFINISHED : directory_.freshScratch();
  fs::remove_all(fresh);  // a kill may have left one behind
  const Unfinished unfinished(directory_, fresh);
  copyWithManifest(source.folder(), fresh);
  checkManifest(fresh);
  proveSearchable(collection, fresh);
  directory_.replace(target / store_.folderOf(collection).filename(), fresh);
}

void Backups::restoreOne(const fs::path& source, std::string_view collection) {
  const fs::path copy = source / store_.folderOf(collection).filename();
  if (!fs::is_directory(fs::symlink_status(copy))) {
    refuse(MessageId::BACKUP_UNKNOWN, "The backup holds no collection " + inQuotes(collection));
  }
  checkManifest(copy);
  const fs::path fresh = directory_.freshScratch();
  const Unfinished unfinished(directory_, fresh);
  copyListed(copy, fresh);
  Collection::complete(fresh);
  proveSearchable(collection, fresh);
  store_.install(collection, fresh);
}

}  // namespace orvix::server
