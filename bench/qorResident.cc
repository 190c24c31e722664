// SPDX-License-Identifier: Apache-2.0
// Pulls a long stream of hits from a peer and watches this process's memory meanwhile.
// Usage: qor-resident HITS. Prints "growth" in MiB: the most that was resident while pulling, less
// what was before.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/qorPeer.h"
#include "bench/qorWorkload.h"
#include "comm/transport/qorTamberPerfClient.h"

namespace orvix::bench {
namespace {

constexpr std::size_t WARM_UP = 10'000;
constexpr std::size_t LOOK_EVERY = 1'000;  // pulls

double residentMiB() {
  std::ifstream statm("/proc/self/statm");
  double size = 0;
  double pages = 0;
  if (!(statm >> size >> pages)) throw std::runtime_error("cannot read /proc/self/statm");
  return pages * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

/// Answers the first request with a short list and every other with a list of `hits`.
Peer::Serve streaming(std::size_t hits) {
  return [hits](int connection) {
    constexpr std::size_t BLOCK_HITS = 3'000;
    const std::string block = records(0, BLOCK_HITS);
    char buffer[4096];
    std::size_t count = WARM_UP;
    while (::recv(connection, buffer, sizeof buffer, 0) > 0) {
      writeAll(connection, "\0\x01", 2);
      for (std::size_t left = count; left != 0;) {
        const std::size_t now = std::min(left, BLOCK_HITS);
        writeAll(connection, block.data(), now * RECORD_SIZE);
        left -= now;
      }
      writeAll(connection, endMarker().data(), endMarker().size());
      count = hits;
    }
  };
}

/// Pulls one list; the most that was resident meanwhile.
double pull(comm::TamberPerfClient& client, comm::ClientRequest& request,
            comm::ClientResponse& response, std::size_t wanted) {
  double most = 0;
  std::size_t found = 0;
  std::size_t pulls = 0;
  Sink sink;
  client.sendAndRecvMesg(request, response);
  for (;;) {
    comm::SearchResponse& hits = response.getSearchResponse(client, true);
    if (!hits.hasMore()) break;
    for (; hits.hasMore(); ++found) {
      const comm::SearchResult& hit = hits.getNext();
      sink.take({reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength()});
    }
    if (pulls++ % LOOK_EVERY == 0) most = std::max(most, residentMiB());
  }
  requireCount("hits of a stream", found, wanted);
  return std::max(most, residentMiB());
}

int run(std::size_t hits) {
  const Peer peer(chooseCores().peer, streaming(hits));
  comm::TamberPerfClient client(u"127.0.0.1", peer.port());
  client.useStreamedResults(true);
  comm::ClientRequest request;
  comm::ClientResponse response;
  util::ExtendedProperties properties;
  Search().fill(properties);
  request.buildRequest(u"notes", comm::ClientRequest::STREAM_SEARCH, properties);
  pull(client, request, response, WARM_UP);
  const double before = residentMiB();
  std::printf("growth %.3f\n", std::max(0.0, pull(client, request, response, hits) - before));
  return 0;
}

}  // namespace
}  // namespace orvix::bench

int main(int argc, char** argv) try {
  const unsigned long hits = argc == 2 ? std::strtoul(argv[1], nullptr, 10) : 0;
  if (hits == 0) {
    std::fputs("usage: qor-resident HITS\n", stderr);
    return 2;
  }
  return orvix::bench::run(hits);
} catch (const std::exception& e) {
  std::fprintf(stderr, "qor-resident: %s\n", e.what());
  return 1;
}
