// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/qorCaller.h"

#include <list>

#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::soak {

using comm::StaticDefs;

namespace {

icu::UnicodeString text(const std::string& utf8) { return icu::UnicodeString::fromUTF8(utf8); }

/// Starting a program takes a while, so not the first version, which all documents have together.
bool isFiltered(int version) { return version % 8 == 3; }

unsigned int sizeOf(const std::string& bytes) { return static_cast<unsigned int>(bytes.size()); }

void take(comm::SearchResponse& hits, Keys& keys) {
  while (hits.hasMore()) {
    const comm::SearchResult& hit = hits.getNext();
    keys.emplace_back(reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength());
  }
}

}  // namespace

Caller::Caller(World& world, const std::string& token) : world_(world), token_(text(token)) {}

comm::TamberPerfClient& Caller::client() {
  const std::uint64_t life = world_.life();
  if (!client_ || life_ != life) {
    life_ = life;
    client_ = std::make_unique<comm::TamberPerfClient>(u"127.0.0.1", world_.port());
    const auto limit = static_cast<unsigned int>(std::chrono::milliseconds(HANG).count());
    client_->setTimeOut(limit);
    client_->setReceiveTimeOut(limit);
    client_->setSendTimeOut(limit);
    client_->useBufferedConnection(buffered_);
  }
  return *client_;
}

void Caller::useBuffer(bool buffered) {
  buffered_ = buffered;
  client().useBufferedConnection(buffered);
}

bool Caller::admitted() {
  Request request;
  request.buildRequest(Request::GET_SERVER_VERSION, propertiesOf({}));
  try {
    client().sendAndRecvMesg(request, response_);
    return true;
  } catch (comm::RESTException&) {
    return false;
  }
}

template <typename Work>
Answer Caller::timed(const Work& work) {
  const std::uint64_t life = world_.life();
  const auto start = Clock::now();
  Answer answer;
  try {
    work(client());
  } catch (comm::RESTException& error) {
    if (error.isServerReported()) {
      answer.refusal = oss::utf8(error.getErrorMessage().getMessageID());
    } else {
      answer.lost = true;
      const bool excused = life % 2 == 1 || world_.life() != life;
      if (!excused) world_.wrong(std::string("a request failed: ") + error.what());
    }
  }
  if (Clock::now() - start > HANG) {
    world_.hung();
  }
  return answer;
}

/// A reply that merely stops is one that was cut by the end of the server.
Answer Caller::send(Request& request, bool read) {
  bool whole = true;
  const std::uint64_t life = world_.life();
  Answer answer = timed([&](comm::TamberPerfClient& client) {
    client.sendAndRecvMesg(request, response_);
    whole = !read || client.isReplyComplete();
  });
  if (answer.done() && !whole) {
    answer.lost = true;
    if (life % 2 == 0 && world_.life() == life) world_.wrong("a reply was cut");
  }
  return answer;
}

util::ExtendedProperties Caller::propertiesOf(const Pairs& pairs) const {
  util::ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_AUTHENTICATION_TOKEN, token_);
  for (const auto& [key, value] : pairs) properties.putProperty(key, value);
  return properties;
}

Answer Caller::ask(Request::REQUEST kind, const std::string& collection, const Pairs& pairs) {
  Request request;
  if (collection.empty()) {
    request.buildRequest(kind, propertiesOf(pairs));
  } else {
    request.buildRequest(text(collection), kind, propertiesOf(pairs));
  }
  return send(request);
}

Answer Caller::sendDocument(Request& request, const std::string& key, int version,
                            std::uint32_t fillers) {
  const std::string content = textOf(key, version, fillers);
  const std::list<comm::KVPair> fields{
      comm::KVPair(u"Indexable:title", text(titleOf(version))),
      comm::KVPair(u"[sortable]number", text(std::to_string(version)))};
  request.setDocKey(key.data(), sizeOf(key));
  request.setContent(fields, content.data(), sizeOf(content));
  return send(request);
}

Answer Caller::add(const std::string& collection, const std::string& key, int version,
                   std::uint32_t fillers) {
  Request request;
  request.buildRequest(text(collection), Request::ADD_DOCUMENT, propertiesOf({}));
  return sendDocument(request, key, version, fillers);
}

Answer Caller::tell(const std::string& collection, const std::string& key, int version,
                    const char16_t* charset) {
  Request request;
  Pairs pairs{{StaticDefs::PARAM_KNOWN_CHARSET, charset}};
  if (isFiltered(version)) pairs.emplace_back(StaticDefs::PARAM_MIME_TYPE, text(FILTERED_TYPE));
  request.buildRequest(text(collection), Request::ASYNC_ADD_DOCUMENT, propertiesOf(pairs));
  return sendDocument(request, key, version, 40);
}

Answer Caller::endBatch(const std::string& collection) {
  return ask(Request::LAST_DOC_SENT, collection);
}

Answer Caller::remove(const std::string& collection, const std::string& key) {
  Request request;
  request.buildRequest(text(collection), Request::DELETE_DOCUMENT, propertiesOf({}));
  request.setDocKey(key.data(), sizeOf(key));
  return send(request);
}

std::optional<Keys> Caller::search(const std::string& collection, const std::string& query,
                                   const Pairs& more) {
  Pairs pairs = more;
  pairs.emplace_back(StaticDefs::PARAM_QUERY, text(query));
  const auto start = Clock::now();
  const Answer answer = ask(Request::SCALAR_SEARCH, collection, pairs);
  if (!answer.refusal.empty() && answer.refusal != "SRV_COLLECTION_UNKNOWN") {
    world_.wrong("a search was refused: " + answer.refusal);
  }
  if (!answer.done()) return std::nullopt;
  world_.searchTook(Clock::now() - start);
  Keys keys;
  take(response_.getSearchResponse(), keys);
  return keys;
}

std::optional<Keys> Caller::stream(const std::string& collection, const std::string& query) {
  Request request;
  request.buildRequest(text(collection), Request::STREAM_SEARCH,
                       propertiesOf({{StaticDefs::PARAM_QUERY, text(query)}}));
  const std::uint64_t life = world_.life();
  client().useStreamedResults(true);
  Keys keys;
  Answer answer = send(request, false);
  bool whole = false;
  if (answer.done()) {
    answer = timed([&](comm::TamberPerfClient& client) {
      for (;;) {
        comm::SearchResponse& hits = response_.getSearchResponse(client, true);
        if (!hits.hasMore()) break;
        take(hits, keys);
      }
      whole = client.isReplyComplete();
    });
  }
  client().useStreamedResults(false);
  if (answer.done() && whole) return keys;
  if (life % 2 == 0 && world_.life() == life) world_.wrong("a stream was cut or refused");
  return std::nullopt;
}

Answer Caller::abandon(const std::string& collection, const std::string& query) {
  Request request;
  request.buildRequest(text(collection), Request::STREAM_SEARCH,
                       propertiesOf({{StaticDefs::PARAM_QUERY, text(query)}}));
  client().useStreamedResults(true);
  Answer answer = send(request, false);
  client().useStreamedResults(false);
  return answer;
}

std::optional<std::vector<Outcome>> Caller::outcomes(const std::string& collection) {
  if (!ask(Request::PARSE_RESULT, collection).done()) return std::nullopt;
  std::vector<Outcome> all;
  comm::ParseResponse& list = response_.getParseResponse();
  while (list.hasMore()) {
    const comm::ParseResult& outcome = list.getNext();
    all.push_back({oss::utf8(outcome.getText()), oss::utf8(outcome.getMessage().getMessageID())});
  }
  return all;
}

std::optional<Found> Caller::everything(const std::string& collection, std::string& problem) {
  std::array<Found, PLACES> places;
  const auto all = search(collection, "common");
  if (!all) return std::nullopt;
  for (int place = 0; place < PLACES; ++place) {
    for (int bit = 0; bit < Ledger::BITS; ++bit) {
      const auto keys = search(collection, queryForBit(bit, place));
      if (!keys) return std::nullopt;
      for (const std::string& key : *keys)
        places.at(static_cast<std::size_t>(place))[key] |= 1 << bit;
    }
  }
  if (places[0] != places[1] || places[0] != places[2] || places[0].size() != all->size()) {
    problem = "a document in " + collection + " is half there";
  }
  return places[0];
}

}  // namespace orvix::soak
