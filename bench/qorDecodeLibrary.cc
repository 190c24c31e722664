// SPDX-License-Identifier: Apache-2.0
// Hits out of the records of a reply, as this library's parser and lists hand them out.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "bench/qorDecodes.h"
#include "bench/qorInside.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

void takeHit(const comm::SearchResult& hit, KeyForm form, Sink& sink) {
  sink.take(hit.getScore());
  if (form == KeyForm::BYTES) {
    sink.take({reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength()});
    return;
  }
  const icu::UnicodeString& key = hit.getKey();
  sink.take(static_cast<std::uint64_t>(key.length()) + key.charAt(key.length() - 1));
}

std::size_t drain(comm::SearchResponse& hits, KeyForm form, Sink& sink) {
  std::size_t found = 0;
  for (; hits.hasMore(); ++found) takeHit(hits.getNext(), form, sink);
  return found;
}

class PulledDecode : public Operation {
 public:
  PulledDecode(KeyForm form, std::size_t replyHits)
      : form_(form), replyHits_(replyHits), piece_(records(0, PIECE_HITS)) {
    parser_.begin(response_);
  }

  void run(std::size_t count) override {
    std::size_t left = 0;  // of the reply
    while (count != 0) {
      if (replyHits_ != 0 && left == 0) {
        parser_.begin(response_);
        left = replyHits_;
      }
      const std::size_t hits = std::min({PIECE_HITS, count, replyHits_ == 0 ? count : left});
      parser_.pull(std::string_view(piece_).substr(0, hits * RECORD_SIZE), response_);
      requireCount("hits of a piece", drain(response_.getSearchResponse(), form_, sink_), hits);
      count -= hits;
      left -= replyHits_ == 0 ? 0 : hits;
    }
  }

 private:
  KeyForm form_;
  std::size_t replyHits_;
  std::string piece_;
  ReplyParser parser_;
  comm::ClientResponse response_;
  Sink sink_;
};

class HeldDecode : public Operation {
 public:
  HeldDecode(std::size_t listHits, bool fresh)
      : listHits_(listHits), fresh_(fresh), piece_(records(0, PIECE_HITS)) {}

  /// Lists that are long enough to need new pages each time get a list's worth of them beforehand:
  /// a virtual machine's host may have taken back what lay free since the last round.
  void prepare() override {
    constexpr std::size_t LONG = 100'000;
    if (listHits_ >= LONG) {
      comm::ClientResponse response;
      fillAndWalk(response);
    }
    startCold(listHits_);
  }

  void run(std::size_t count) override {
    for (; count >= listHits_; count -= listHits_) {
      if (fresh_) {
        comm::ClientResponse response;
        fillAndWalk(response);
      } else {
        fillAndWalk(response_);
        response_.getSearchResponse().reset();
      }
    }
    requireCount("hits that are left over", count, 0);
  }

 private:
  void fillAndWalk(comm::ClientResponse& response) {
    parser_.begin(response);
    for (std::size_t left = listHits_; left != 0;) {
      const std::size_t hits = std::min(PIECE_HITS, left);
      parser_.append(std::string_view(piece_).substr(0, hits * RECORD_SIZE), response);
      left -= hits;
    }
    requireCount("hits of a list", drain(response.getSearchResponse(), KeyForm::BYTES, sink_),
                 listHits_);
  }

  std::size_t listHits_;
  bool fresh_;
  std::string piece_;
  ReplyParser parser_;
  comm::ClientResponse response_;
  Sink sink_;
};

}  // namespace

std::unique_ptr<Operation> pulledDecode(KeyForm form, std::size_t replyHits) {
  return std::make_unique<PulledDecode>(form, replyHits);
}

std::unique_ptr<Operation> heldDecode(std::size_t listHits, bool fresh) {
  return std::make_unique<HeldDecode>(listHits, fresh);
}

}  // namespace orvix::bench
