// SPDX-License-Identifier: Apache-2.0
// Open read-only handles of collections, lent to one search at a time. What a search needs to know
// of a collection it reads from the last committed revision, never from the writer.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>
#include <xapian.h>

#include "server/qorBoard.h"
#include "server/qorCollectionConfig.h"
#include "server/qorCollectionStore.h"
#include "server/qorFieldRegistry.h"
#include "server/qorKnownKeys.h"

namespace orvix::server {

/// Runs the work again when two commits have overtaken the revision that it reads: the engine then
/// uses that revision's blocks for others. After some tries nothing is published meanwhile.
template <typename Work>
auto steadily(Board& board, const Work& work) {
  constexpr int HASTY_TRIES = 3;
  for (int i = 0; i < HASTY_TRIES; ++i) {
    try {
      return work();
    } catch (const Xapian::DatabaseModifiedError&) {
      // Try again.
    }
  }
  const std::shared_lock<std::shared_mutex> steady(board.publishing());
  return work();
}

/// A collection as one revision shows it.
struct CollectionView {
  std::string name;
  Xapian::Database database;
  CollectionConfig config;
  FieldRegistry fields;
  KnownKeys keys;
  std::uint64_t commits = 0;  // of the board, when the view was last made current
  std::uint64_t layouts = 0;  // of the board, before the view was opened

  bool stale = false;  // configuration and fields are not those of the database's revision

  void open(const std::filesystem::path& folder);
  /// Takes the newest revision, with its configuration and fields.
  void refresh();
  void readMetadata();
};

/// Limits: MAX_IDLE handles are kept open while nobody uses them; the longest unused goes first.
///         MAX_LENT, or fewer, are lent at one time: peers that do not read hold theirs.
/// Threads: any; a lease belongs to one thread at a time.
class Readers {
 public:
  static constexpr std::size_t MAX_IDLE = 64;
  static constexpr std::size_t MAX_LENT = 1024;

  /// Gives the view back at its end.
  class Lease {
   public:
    Lease(Readers& readers, std::unique_ptr<CollectionView> view)
        : readers_(&readers), view_(std::move(view)) {}
    Lease(Lease&&) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    ~Lease() {
      if (view_) readers_->giveBack(std::move(view_));
    }
    [[nodiscard]] CollectionView* operator->() const noexcept { return view_.get(); }
    [[nodiscard]] CollectionView& operator*() const noexcept { return *view_; }

   private:
    Readers* readers_;
    std::unique_ptr<CollectionView> view_;
  };

  /// Borrows both, for its whole life. Of the store it asks only what every thread may ask.
  Readers(const CollectionStore& store, Board& board, std::size_t maxLent = MAX_LENT)
      : store_(store), board_(board), maxLent_(maxLent) {}

  /// A view of the last committed revision. Throws: COLLECTION_UNKNOWN, COLLECTION_NAME_INVALID,
  /// TOO_BUSY when as many are lent as there may be.
  [[nodiscard]] Lease take(std::string_view name);
  /// Documents in the collection when it was last looked at; the largest number when it never was.
  [[nodiscard]] Xapian::doccount documentsIn(std::string_view name) const;
  [[nodiscard]] Board& board() const noexcept { return board_; }

 private:
  friend class Lease;
  [[nodiscard]] std::unique_ptr<CollectionView> takeIdle(std::string_view name);
  void giveBack(std::unique_ptr<CollectionView> view);

  const CollectionStore& store_;
  Board& board_;
  mutable std::mutex mutex_;
  std::list<std::unique_ptr<CollectionView>> idle_;  // the most recently used first
  std::uint64_t layouts_ = 0;                        // of the board, when idle_ was last emptied
  std::size_t maxLent_;
  std::atomic<std::size_t> lent_ = 0;
};

}  // namespace orvix::server
