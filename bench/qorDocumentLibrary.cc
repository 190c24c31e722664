// SPDX-License-Identifier: Apache-2.0
// Documents through this library, without an answer: gathered in batches, or one by one.
#include <string>
#include <vector>

#include "bench/qorDocuments.h"
#include "bench/qorPeer.h"
#include "bench/qorWorkload.h"
#include "comm/transport/qorTamberPerfClient.h"

namespace orvix::bench {

namespace {

class LibraryDocuments : public Operation {
 public:
  LibraryDocuments(int core, std::size_t size, DocumentFilling filling, bool batched)
      : document_(size),
        keys_(documentKeys()),
        frameSize_(documentFrame(document_).size()),
        peer_(core, drain_.serve()),
        client_(u"127.0.0.1", peer_.port()),
        filling_(filling),
        batched_(batched) {
    client_.useBufferedConnection(batched);
    document_.fill(kept_);
    last_.buildRequest(document_.collection, comm::ClientRequest::LAST_DOC_SENT,
                       document_.properties);
  }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) {
      document_.key = keys_[i % keys_.size()];
      if (filling_ == DocumentFilling::FRESH) {
        comm::ClientRequest request;
        document_.fill(request);
        client_.sendAndRecvMesg(request, response_);
        continue;
      }
      if (filling_ == DocumentFilling::BUILT) document_.fill(kept_);
      if (filling_ == DocumentFilling::KEY) document_.setKey(kept_);
      client_.sendAndRecvMesg(kept_, response_);
    }
    if (batched_) {
      client_.sendAndRecvMesg(last_, response_);
    } else {
      drain_.await(count * frameSize_);
    }
  }

 private:
  Document document_;
  std::vector<std::string> keys_;
  std::size_t frameSize_;
  Drain drain_;
  Peer peer_;
  comm::TamberPerfClient client_;
  DocumentFilling filling_;
  bool batched_;
  comm::ClientRequest kept_;
  comm::ClientRequest last_;
  comm::ClientResponse response_;
};

}  // namespace

std::unique_ptr<Operation> batchedDocuments(int core, std::size_t size, DocumentFilling filling) {
  return std::make_unique<LibraryDocuments>(core, size, filling, true);
}

std::unique_ptr<Operation> singleDocuments(int core, std::size_t size, DocumentFilling filling) {
  return std::make_unique<LibraryDocuments>(core, size, filling, false);
}

}  // namespace orvix::bench
