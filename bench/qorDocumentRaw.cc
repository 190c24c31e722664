// SPDX-License-Identifier: Apache-2.0
// The bytes of a document as bare system calls, in writes of the sizes that the client's have.
#include <algorithm>
#include <string>
#include <unistd.h>
#include <vector>

#include "bench/qorDocuments.h"
#include "bench/qorPeer.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

// More content than PIECE is written in pieces of it, all but HEAD bytes that go with the frame.
constexpr std::size_t PIECE = 10'000;
constexpr std::size_t HEAD = 5'000;

class RawDocuments : public Operation {
 public:
  RawDocuments(int core, std::size_t size)
      : frame_(documentFrame(Document(size))), peer_(core, drain_.serve()) {
    std::size_t left = size > PIECE ? size - HEAD : 0;
    writes_.push_back(frame_.size() - left);
    for (; left != 0; left -= writes_.back()) writes_.push_back(std::min(left, PIECE));
    connection_ = connectTo(peer_.port());
  }
  ~RawDocuments() override { ::close(connection_); }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) {
      const char* at = frame_.data();
      for (const std::size_t length : writes_) {
        writeAll(connection_, at, length);
        at += length;
      }
    }
    drain_.await(count * frame_.size());
  }

 private:
  std::string frame_;
  std::vector<std::size_t> writes_;
  Drain drain_;
  Peer peer_;
  int connection_ = -1;
};

}  // namespace

std::unique_ptr<Operation> rawDocuments(int core, std::size_t size) {
  return std::make_unique<RawDocuments>(core, size);
}

}  // namespace orvix::bench
