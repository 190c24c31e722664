// SPDX-License-Identifier: Apache-2.0
#include "server/qorReaders.h"

#include <algorithm>
#include <limits>
#include <string>

#include "server/qorCollection.h"
#include "server/qorRefusal.h"

namespace orvix::server {

void CollectionView::open(const std::filesystem::path& folder) {
  database = Xapian::Database(folder.string());
  readMetadata();
}

void CollectionView::refresh() {
  if (database.reopen() || stale) readMetadata();
}

/// Should it fail, the next refresh() must not take the old metadata for those of the new revision.
void CollectionView::readMetadata() {
  stale = true;
  config = Collection::configIn(database);
  fields = Collection::fieldsIn(database);
  stale = false;
}

/// The board is read before the disk: what changes in between is looked for once more next time.
Readers::Lease Readers::take(std::string_view name) {
  if (lent_ >= maxLent_) {
    refuse(MessageId::TOO_BUSY, "There are " + std::to_string(lent_) +
                                    " searches under way or waiting for their readers, as many as "
                                    "files can be kept open for; try again later");
  }
  const std::uint64_t commits = board_.commits();
  const std::uint64_t layouts = board_.layouts();
  auto view = takeIdle(name);
  if (!view) {
    store_.requireExisting(name);
    view = std::make_unique<CollectionView>();
    view->name = name;
    view->layouts = layouts;
    steadily(board_, [&] { view->open(store_.folderOf(name)); });
  } else if (view->commits != commits) {
    steadily(board_, [&] { view->refresh(); });
  }
  view->commits = commits;
  ++lent_;
  return {*this, std::move(view)};
}

std::unique_ptr<CollectionView> Readers::takeIdle(std::string_view name) {
  std::list<std::unique_ptr<CollectionView>> dropped;  // closed outside the lock
  const std::scoped_lock lock(mutex_);
  if (const std::uint64_t now = board_.layouts(); now != layouts_) {
    layouts_ = now;
    dropped.swap(idle_);
  }
  const auto found = std::find_if(idle_.begin(), idle_.end(),
                                  [name](const auto& view) { return view->name == name; });
  if (found == idle_.end()) return nullptr;
  auto view = std::move(*found);
  idle_.erase(found);
  return view;
}

/// A view that was opened before a rearrangement may show a folder that is gone.
void Readers::giveBack(std::unique_ptr<CollectionView> view) {
  --lent_;
  std::unique_ptr<CollectionView> dropped;
  const std::scoped_lock lock(mutex_);
  if (view->layouts != board_.layouts()) {
    dropped = std::move(view);
    return;
  }
  idle_.push_front(std::move(view));
  if (idle_.size() <= MAX_IDLE) return;
  dropped = std::move(idle_.back());
  idle_.pop_back();
}

Xapian::doccount Readers::documentsIn(std::string_view name) const {
  const std::scoped_lock lock(mutex_);
  for (const auto& view : idle_) {
    if (view->name == name) return view->database.get_doccount();
  }
  return std::numeric_limits<Xapian::doccount>::max();
}

}  // namespace orvix::server
