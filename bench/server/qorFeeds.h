// SPDX-License-Identifier: Apache-2.0
// Documents on their way into an index: in batches of a thousand, each committed.
#pragma once

#include <memory>
#include <string>
#include <vector>
#include <xapian.h>

#include "bench/qorMeter.h"
#include "bench/qorPeer.h"
#include "bench/server/qorRoad.h"
#include "server/qorFieldRegistry.h"

namespace orvix::bench {

inline constexpr std::size_t FEED_BATCH = 1000;

/// The engine fed in this process, through the server's own text processing.
class EngineFeed {
 public:
  /// An empty index in `folder`, whatever was there.
  explicit EngineFeed(const std::string& folder);
  /// Adds or replaces the documents from number `first` on, and commits.
  void batch(std::size_t first, const std::vector<std::string>& texts);

 private:
  Xapian::WritableDatabase database_;
  server::FieldRegistry fields_;
};

/// The same through library, protocol and server, outcomes fetched.
void feedBatch(Road& road, std::size_t first, const std::vector<std::string>& texts);

/// One operation is one document; a slice is a batch of new documents.
std::unique_ptr<Operation> roadFeed(int core, const Cores& cores);
std::unique_ptr<Operation> engineFeed();

}  // namespace orvix::bench
