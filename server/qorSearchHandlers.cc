// SPDX-License-Identifier: Apache-2.0
// Searches and estimates. The hits are counted and ordered at once; their keys are read page by
// page as the connection takes them.
#include <string>
#include <utility>
#include <vector>

#include "comm/protocol/internal/qorWireStatus.h"
#include "server/qorHandlers.h"
#include "server/qorReplyWriter.h"
#include "server/qorSearcher.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

constexpr std::size_t PIECE = 64U << 10U;
/// Hits whose keys are read and held together: some kilobytes, a few megabytes of the longest.
constexpr std::size_t PAGE = 256;

class HitStream : public ReplyStream {
 public:
  HitStream(SearchRun run, bool scoreWanted) : run_(std::move(run)), scoreWanted_(scoreWanted) {}

  bool next(std::string& out) override {
    const std::size_t enough = out.size() + PIECE;
    try {
      while (next_ != run_.hits().size() && out.size() < enough) putNext(out);
    } catch (...) {
      putErrorRecord(out, currentFault("Reading the hits failed"));
      next_ = run_.hits().size();
    }
    const bool more = next_ != run_.hits().size();
    if (!more) putEndMarker(out);
    return more;
  }

 private:
  void putNext(std::string& out) {
    const std::size_t inPage = next_ % PAGE;
    if (inPage == 0) keys_ = run_.keysFrom(next_, PAGE);
    const std::string& key = keys_[inPage];
    const Hit& hit = run_.hits()[next_++];
    if (key.empty()) return;  // deleted since; an empty record would end the stream
    if (scoreWanted_) {
      putScoredHit(out, static_cast<double>(hit.score), key);
    } else {
      putHit(out, key);
    }
  }

  SearchRun run_;
  bool scoreWanted_;
  std::size_t next_ = 0;
  std::vector<std::string> keys_;  // of the page that next_ is in
};

bool isScoreWanted(const Properties& wishes) {
  return valueOf(wishes, words().scoreWanted) != words().stringFalse;
}

}  // namespace

Reply search(ServerContext& context, const Frame& request) {
  const Properties& wishes = request.properties;
  Reply reply = plainSuccess();
  reply.more = std::make_unique<HitStream>(
      runSearch(context.readers, collectionNameOf(request), wishes), isScoreWanted(wishes));
  return reply;
}

Reply estimateSelectivity(ServerContext& context, const Frame& request) {
  const Estimate estimate =
      estimateMatches(context.readers, collectionNameOf(request), request.properties);
  Reply reply = plainSuccess();
  putSelectivity(reply.bytes, estimate.matches, estimate.lowerBound, estimate.documents);
  putEndMarker(reply.bytes);
  return reply;
}

}  // namespace orvix::server
