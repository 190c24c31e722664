// SPDX-License-Identifier: Apache-2.0
// The receive path of a client: replies of every kind in any segmentation, from a peer in memory.
#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <unicode/unistr.h>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWireStatus.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "fuzz/qorFuzz.h"
#include "fuzz/qorTargets.h"
#include "infra/oss/internal/qorTextConversion.h"
#include "tests/torture/qorCorpus.h"

namespace orvix::torture {

using comm::ClientRequest;
using icu::UnicodeString;
namespace wire = comm::detail::wire;

namespace {

std::vector<std::uint32_t> lengthsOf(const Segments& segments) {
  std::vector<std::uint32_t> lengths;
  for (const auto& segment : segments)
    lengths.push_back(static_cast<std::uint32_t>(segment.size()));
  return lengths;
}

/// Chunks as the rules read them: a field comes with one receive or not at all.
class ChunkModel {
 public:
  explicit ChunkModel(const Segments& segments) : segments_(segments) {}

  /// The payload, or "line N" for the site that must be raised.
  std::string read() {
    std::string payload;
    for (;;) {
      const int status = field();
      if (status < 0) return "line 583";
      if (status != wire::OK && status != wire::OK_CHUNKED) return "line 590";
      const int size = field();
      if (size < 0) return "line 598";
      for (int i = 0; i < size; ++i) {
        const std::string one = receive(1);
        if (one.empty()) return "line 613";
        payload += one;
      }
      if (status == wire::OK) return payload;
    }
  }
  /// One receive of at most `most` bytes.
  std::string receive(std::size_t most) {
    while (at_ < segments_.size() && segments_[at_].empty()) ++at_;
    if (at_ == segments_.size()) return {};
    std::string got(segments_[at_].substr(0, most));
    segments_[at_].remove_prefix(got.size());
    return got;
  }

 private:
  int field() {
    const std::string bytes = receive(2);
    if (bytes.size() < 2) return -1;
    return static_cast<std::uint8_t>(bytes[0]) * 256 + static_cast<std::uint8_t>(bytes[1]);
  }

  Segments segments_;
  std::size_t at_ = 0;
};

struct ModelHits {
  std::vector<std::string> hits;
  bool cut = false;  ///< a record behind them is not whole
};

/// The hits of a list by plain arithmetic.
ModelHits modelHits(std::string_view reply) {
  ChunkModel bytes({reply.substr(2)});
  ModelHits model;
  for (;;) {
    const std::string header = bytes.receive(4);
    if (header.empty() || header == END_MARKER) return model;
    const auto word = [](const std::string& from, std::size_t at) {
      return static_cast<std::uint8_t>(from[at]) * 256U + static_cast<std::uint8_t>(from[at + 1]);
    };
    const std::size_t length = header.size() < 4 ? 1 : word(header, 2);
    std::string key = header.size() < 4 ? "" : bytes.receive(length);
    model.cut = key.size() < length;
    if (model.cut) return model;
    const unsigned int status = word(header, 0);
    double score = 0;
    if (status == wire::WITH_SCORE && length >= 2) {
      score = word(key, 0) / 1000.0;
      key.erase(0, 2);
    }
    const auto* raw = reinterpret_cast<const unsigned char*>(key.data());
    model.hits.push_back(hitText(key, comm::SearchResult::keyText(raw, key.size()), score, status));
  }
}

struct Played {
  Outcome outcome;
  std::size_t connections = 0;  ///< after a second request
};

/// One request of `kind` to a peer that says `reply` in `segments`; pulled when `streamed`. Then a
/// second request, which must not see anything of the first.
Played play(std::uint32_t kind, bool streamed, const Segments& segments, After after) {
  Played played;
  ClientRequest request;
  request.buildRequest(static_cast<ClientRequest::REQUEST>(kind), util::ExtendedProperties());
  ClientRequest status;
  status.buildRequest(ClientRequest::GET_STATUS, util::ExtendedProperties());
  bool first = true;
  Net net([&](std::string_view, std::size_t) {
    if (!std::exchange(first, false)) return Answer{u16(wire::WITH_SCORE)};  // busy
    return Answer{joined(segments), lengthsOf(segments), after};
  });
  const Meter meter;
  Meter::follow(net.consumed);
  Meter::on();
  {
    TortureClient client;
    client.setNumRetries(0);
    client.useStreamedResults(streamed);
    comm::ClientResponse response;
    played.outcome = ask(client, request, response, streamed);
    comm::ClientResponse next;
    client.sendAndRecvMesg(status, next);
    require(next.getStatusCode() == 1, "a second request reads another's reply");
  }
  Meter::off();
  std::string& error = played.outcome.error;
  if (error.starts_with("pull: ")) error.erase(0, 6);
  requireDocumented(error);
  require(net.problem.empty(), net.problem);
  require(net.openDescriptors() == 0, "a descriptor is left open");
  played.connections = net.connections.size();
  return played;
}

/// A client with the reader of a chunked payload open to callers.
class ChunkClient : public comm::TamberPerfClient {
 public:
  ChunkClient() : TamberPerfClient(UnicodeString("peer", ""), 1) { openConnection(); }

  std::string read() {
    writeSocket("\0", 0, 2);  // an empty frame, for the peer to answer
    Meter::on();
    std::string result;
    try {
      oss::SizeableBuffer<char, 0x8000> buffer;
      const std::size_t length = readPayload(buffer);
      const Unmetered own;
      result.assign(buffer.data(), length);
    } catch (comm::RESTException& error) {
      const Unmetered own;
      told(error);
      result = "line " + std::to_string(error.getErrorMessage().getLineNumber());
    }
    Meter::off();
    return result;
  }
};

}  // namespace

void fuzzReplies(std::string_view bytes) {
  Input input(bytes);
  const std::uint32_t kind = input.byte() % (comm::detail::MAX_REQUEST_KIND + 1U);
  const bool pulled = kind == comm::kinds::STREAM_SEARCH || kind == comm::kinds::PARSE_RESULT;
  const bool streamed = input.byte() % 2 != 0 && pulled;
  const Segments segments = input.segments();
  if (segments.empty() || comm::detail::isUnanswered(kind)) return;
  const std::string reply = joined(segments);
  const Played whole = play(kind, false, {reply}, After::CLOSE);
  const Played cut = play(kind, streamed, segments, After::CLOSE);
  const bool hasHits = kind == comm::kinds::STREAM_SEARCH || kind == comm::kinds::SCALAR_SEARCH;
  if (hasHits && reply.starts_with(FINE)) {
    const ModelHits model = modelHits(reply);
    require(model.hits == whole.outcome.results, "hits differ from the model's");
    require(model.cut == whole.outcome.error.starts_with("ERR_SERVER_COMM_RECV"),
            "a record that is not whole gives " + whole.outcome.error);
  }
  if (kind == comm::kinds::COLLECTION_STATUS && reply.starts_with(FINE)) {
    ChunkModel model(segments);
    for (std::size_t header = 0; header < 2;) header += model.receive(2 - header).size();
    const std::string expected = model.read();
    ChunkModel uncut({std::string_view(reply).substr(2)});
    if (expected != uncut.read()) {  // a field that was cut
      const std::string site = "qorTamberPerfClient:" + expected.substr(5);
      require(cut.outcome.error.find(site) != std::string::npos,
              "a cut chunk field gives " + cut.outcome.error);
      return;
    }
  }
  requireSame(text(whole.outcome), text(cut.outcome), "a reply in segments differs from the whole");
  if (!whole.outcome.complete) return;
  const Played open = play(kind, streamed, segments, After::OPEN);
  requireSame(text(whole.outcome), text(open.outcome), "a reply depends on the close behind it");
  const std::string_view shorter = std::string_view(reply).substr(0, reply.size() - 1);
  const bool surplus = play(kind, false, {shorter}, After::CLOSE).outcome.complete;
  require((open.connections == 1) == !surplus, surplus ? "a connection with surplus is used again"
                                                       : "a complete reply costs its connection");
}

void fuzzChunks(std::string_view bytes) {
  Input input(bytes);
  const Segments segments = input.segments();
  if (segments.empty()) return;
  Net net([&](std::string_view, std::size_t) {
    return Answer{joined(segments), lengthsOf(segments), After::CLOSE};
  });
  const Meter meter;
  Meter::follow(net.consumed);
  requireSame(ChunkModel(segments).read(), ChunkClient().read(), "a chunked payload");
}

}  // namespace orvix::torture
