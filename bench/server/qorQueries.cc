// SPDX-License-Identifier: Apache-2.0
#include "bench/server/qorQueries.h"

#include <array>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <xapian.h>

#include "bench/server/qorFeeds.h"
#include "bench/server/qorPlaces.h"
#include "bench/server/qorTexts.h"

namespace orvix::bench {

namespace {

constexpr const char* COLLECTION = "texts";
constexpr std::size_t RAW_REQUEST = 192;
constexpr std::size_t RAW_HEADER = 2;
constexpr std::size_t RAW_REPLY = RAW_HEADER + WANTED_HITS * (2 + 2 + 2 + 16) + 4;

void requireHits(std::size_t found) {
  if (found != WANTED_HITS) {
    throw std::runtime_error("a search has found " + std::to_string(found) + " documents");
  }
}

class RoadQueries : public Operation {
 public:
  RoadQueries(int core, const Cores& cores, std::size_t documents)
      : server_(serverOn(core, cores)), road_(server_->port(), COLLECTION) {
    road_.create();
    for (std::size_t first = 0; first < documents; first += FEED_BATCH) {
      feedBatch(road_, first, textsFrom(first, FEED_BATCH));
    }
    for (const std::string& query : textQueries()) {
      requests_.push_back(road_.searchRequest(query, WANTED_HITS));
    }
  }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i, ++next_) {
      requireHits(road_.countHits(requests_[next_ % requests_.size()]));
    }
  }

 private:
  std::unique_ptr<road::ServerProcess> server_;
  Road road_;
  std::vector<comm::ClientRequest> requests_;
  std::size_t next_ = 0;
};

/// The engine by itself, as the server uses it.
class EngineQueries : public Operation {
 public:
  explicit EngineQueries(std::size_t documents) {
    EngineFeed feed(folder_.path() + "/index");
    for (std::size_t first = 0; first < documents; first += FEED_BATCH) {
      feed.batch(first, textsFrom(first, FEED_BATCH));
    }
    database_ = Xapian::Database(folder_.path() + "/index");
  }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i, ++next_) {
      requireHits(search(queries_[next_ % queries_.size()]));
    }
  }

 private:
  std::size_t search(const std::string& query) {
    Xapian::QueryParser parser;
    parser.set_database(database_);
    parser.set_stemmer(Xapian::Stem("en"));
    parser.set_stemming_strategy(Xapian::QueryParser::STEM_SOME);
    Xapian::Enquire enquire(database_);
    enquire.set_query(parser.parse_query(
        query, Xapian::QueryParser::FLAG_DEFAULT | Xapian::QueryParser::FLAG_WILDCARD |
                   Xapian::QueryParser::FLAG_PURE_NOT | Xapian::QueryParser::FLAG_CJK_NGRAM));
    enquire.set_weighting_scheme(Xapian::BM25Weight(2, 0, 1, 0.75, 0));
    const Xapian::MSet matches = enquire.get_mset(0, WANTED_HITS);
    std::size_t found = 0;
    for (auto match = matches.begin(); match != matches.end(); ++match) {
      if (match.get_weight() > 0 && !match.get_document().get_data().empty()) ++found;
    }
    return found;
  }

  TemporaryFolder folder_;
  Xapian::Database database_;
  std::vector<std::string> queries_ = textQueries();
  std::size_t next_ = 0;
};

class RawExchange : public Operation {
 public:
  explicit RawExchange(int core)
      : peer_(core, answering(RAW_REQUEST, std::string(RAW_REPLY, 'r'))),
        connection_(connectTo(peer_.port())) {}
  ~RawExchange() override { ::close(connection_); }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) {
      writeAll(connection_, request_.data(), request_.size());
      receive(RAW_HEADER);
      receive(RAW_REPLY - RAW_HEADER);
    }
  }

 private:
  void receive(std::size_t wanted) {
    if (::recv(connection_, reply_.data(), wanted, MSG_WAITALL) != static_cast<ssize_t>(wanted)) {
      throw std::runtime_error("a raw reply did not come whole");
    }
  }

  Peer peer_;
  int connection_;
  std::string request_ = std::string(RAW_REQUEST, 'q');
  std::array<char, RAW_REPLY> reply_{};
};

/// What the road is made of, with caches as cold as the one leaves them to the other.
class EngineThenExchange : public Operation {
 public:
  EngineThenExchange(int core, std::size_t documents) : engine_(documents), exchange_(core) {}

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) {
      engine_.run(1);
      exchange_.run(1);
    }
  }

 private:
  EngineQueries engine_;
  RawExchange exchange_;
};

}  // namespace

std::unique_ptr<Operation> roadQueries(int core, const Cores& cores, std::size_t documents) {
  return std::make_unique<RoadQueries>(core, cores, documents);
}

std::unique_ptr<Operation> engineQueries(std::size_t documents) {
  return std::make_unique<EngineQueries>(documents);
}

std::unique_ptr<Operation> rawExchange(int core) { return std::make_unique<RawExchange>(core); }

std::unique_ptr<Operation> engineThenExchange(int core, std::size_t documents) {
  return std::make_unique<EngineThenExchange>(core, documents);
}

}  // namespace orvix::bench
