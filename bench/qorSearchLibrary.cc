// SPDX-License-Identifier: Apache-2.0
// The search through this library.
#include <memory>

#include "bench/qorPeer.h"
#include "bench/qorSearches.h"
#include "bench/qorWorkload.h"
#include "comm/transport/qorTamberPerfClient.h"

namespace orvix::bench {

namespace {

class LibrarySearch : public Operation {
 public:
  LibrarySearch(int core, Filling filling)
      : peer_(core, answering(REQUEST_SIZE, searchReply(REPLY_HITS))),
        client_(u"127.0.0.1", peer_.port()),
        filling_(filling) {
    requireCount("bytes of the search request", searchFrame().size(), REQUEST_SIZE);
    search_.fill(request_);
  }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) {
      switch (filling_) {
        case Filling::REUSED:
          ask(request_, response_);
          break;
        case Filling::EACH_TIME:
          askAnew(response_);
          break;
        case Filling::ALL_FRESH: {
          comm::ClientResponse fresh;
          askAnew(fresh);
          break;
        }
      }
    }
  }

 private:
  void askAnew(comm::ClientResponse& response) {
    comm::ClientRequest request;
    search_.fill(request);
    ask(request, response);
  }

  void ask(comm::ClientRequest& request, comm::ClientResponse& response) {
    client_.sendAndRecvMesg(request, response);
    std::size_t found = 0;
    for (comm::SearchResponse& hits = response.getSearchResponse(); hits.hasMore(); ++found) {
      const comm::SearchResult& hit = hits.getNext();
      sink_.take({reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength()});
      sink_.take(hit.getScore());
    }
    requireCount("hits of a search", found, REPLY_HITS);
  }

  Search search_;
  Peer peer_;
  comm::TamberPerfClient client_;
  comm::ClientRequest request_;
  comm::ClientResponse response_;
  Filling filling_;
  Sink sink_;
};

}  // namespace

std::unique_ptr<Operation> librarySearch(int core, Filling filling) {
  return std::make_unique<LibrarySearch>(core, filling);
}

}  // namespace orvix::bench
