// SPDX-License-Identifier: Apache-2.0
// The folder is the truth about which collections exist; the map only holds what is open.
#include "server/qorCollectionStore.h"

#include <exception>
#include <utility>

#include "server/qorNameEncoding.h"
#include "server/qorRefusal.h"
#include "server/qorTextDecoder.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

/// For somebody else's sake: its outcomes and its answers say what failed.
void commitQuietly(Collection& collection) {
  try {
    collection.commit();
  } catch (...) {
    // See above.
  }
}

}  // namespace

void CollectionStore::create(std::string_view name, const CollectionConfig& config) {
  if (exists(name)) {
    refuse(MessageId::COLLECTION_EXISTS, "The collection " + inQuotes(name) +
                                             " exists already; drop it first or take another name");
  }
  const fs::path fresh = directory_.freshScratch();
  const Unfinished unfinished(directory_, fresh);
  Collection::write(fresh, config);
  directory_.replace(folderOf(name), fresh);
}

void CollectionStore::drop(std::string_view name) {
  requireExisting(name);
  directory_.board().requireRole();  // before anything in memory goes
  forget(name);
  directory_.discard(folderOf(name));
}

Collection& CollectionStore::open(std::string_view name) {
  const auto found = opened_.find(name);
  if (found != opened_.end()) return *found->second;
  requireExisting(name);
  auto opened =
      std::make_unique<Collection>(std::string(name), folderOf(name), &directory_.board());
  order_.emplace_back(name);
  Collection& collection = *opened_.emplace(std::string(name), std::move(opened)).first->second;
  directory_.board().metrics().collectionsOpen.set(opened_.size());
  return collection;
}

void CollectionStore::close(std::string_view name) {
  requireExisting(name);
  const auto found = opened_.find(name);
  if (found == opened_.end()) return;
  found->second->commit();
  forget(name);
}

void CollectionStore::makeRoom() {
  for (;;) {
    std::uint64_t all = 0;
    Collection* largest = nullptr;
    for (const auto& [name, each] : opened_) {
      all += each->pendingBytes();
      if (largest == nullptr || each->pendingBytes() > largest->pendingBytes()) {
        largest = each.get();
      }
    }
    if (largest == nullptr || all < maxPendingBytes_) return;
    commitQuietly(*largest);
    if (largest->pendingBytes() != 0) return;  // not even given up: the next one comes back here
  }
}

void CollectionStore::trim() {
  while (opened_.size() > MAX_OPEN) {
    const std::string name = order_.front();
    commitQuietly(*opened_.at(name));
    forget(name);
  }
}

void CollectionStore::install(std::string_view name, const fs::path& fresh) {
  const fs::path folder = folderOf(name);
  directory_.board().requireRole();
  forget(name);
  directory_.replace(folder, fresh);
}

std::vector<std::string> CollectionStore::names() const {
  std::vector<std::string> all;
  for (const auto& entry : fs::directory_iterator(directory_.collections())) {
    auto name = nameOfFolder(entry.path().filename().string());
    if (name) all.push_back(std::move(*name));
  }
  return all;
}

bool CollectionStore::exists(std::string_view name) const { return fs::exists(folderOf(name)); }

fs::path CollectionStore::folderOf(std::string_view name) const {
  const auto folder = folderNameOf(name);
  if (!folder || !isWellFormedUtf8(name)) {
    refuse(MessageId::COLLECTION_NAME_INVALID,
           name.empty() ? "The request names no collection; give its name"
                        : "The collection's name is too long or no well-formed UTF-8; other than "
                          "a-z, 0-9, _ and -, each byte counts three, up to 198");
  }
  return directory_.collections() / *folder;
}

void CollectionStore::closeAll() {
  std::exception_ptr first;
  while (!opened_.empty()) {
    try {
      opened_.begin()->second->commit();
    } catch (...) {
      if (!first) first = std::current_exception();
    }
    forget(opened_.begin()->first);
  }
  if (first) std::rethrow_exception(first);
}

void CollectionStore::requireExisting(std::string_view name) const {
  if (exists(name)) return;
  refuse(MessageId::COLLECTION_UNKNOWN,
         "There is no collection " + inQuotes(name) + " on this server; create it first");
}

void CollectionStore::forget(std::string_view name) {
  const std::string held(name);  // the entry may be what the name is part of
  opened_.erase(held);
  std::erase(order_, held);
  directory_.board().metrics().collectionsOpen.set(opened_.size());
  directory_.board().forget(held);
}

}  // namespace orvix::server
