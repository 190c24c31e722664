// SPDX-License-Identifier: Apache-2.0
// The search as bare system calls.
#include <array>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/qorPeer.h"
#include "bench/qorSearches.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

constexpr std::size_t HEADER_SIZE = 2;

class RawSearch : public Operation {
 public:
  explicit RawSearch(int core)
      : frame_(searchFrame()),
        peer_(core, answering(REQUEST_SIZE, searchReply(REPLY_HITS))),
        connection_(connectTo(peer_.port())) {}
  ~RawSearch() override { ::close(connection_); }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) {
      writeAll(connection_, frame_.data(), frame_.size());
      receive(HEADER_SIZE, HEADER_SIZE);
      receive(reply_.size(), REPLY_SIZE - HEADER_SIZE);
    }
  }

 private:
  void receive(std::size_t most, std::size_t wanted) {
    const ssize_t got = ::recv(connection_, reply_.data(), most, 0);
    if (got != static_cast<ssize_t>(wanted)) throw std::runtime_error("a reply came in pieces");
  }

  std::string frame_;
  Peer peer_;
  int connection_;
  std::array<char, 4096> reply_{};
};

}  // namespace

std::unique_ptr<Operation> rawSearch(int core) { return std::make_unique<RawSearch>(core); }

}  // namespace orvix::bench
