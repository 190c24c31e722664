// SPDX-License-Identifier: Apache-2.0
#include "bench/server/qorRoad.h"

#include <list>
#include <stdexcept>

#include "comm/protocol/qorStaticDefs.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::bench {

using comm::ClientRequest;
using comm::StaticDefs;
using icu::UnicodeString;

namespace {

UnicodeString textOf(unsigned number) { return {std::to_string(number).c_str(), ""}; }

std::string_view keyOf(const comm::SearchResult& hit) {
  return {reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength()};
}

}  // namespace

Road::Road(unsigned int port, const char* collection)
    : collection_(collection, ""), client_(u"127.0.0.1", port) {
  client_.useBufferedConnection(true);
  document_.buildRequest(collection_, ClientRequest::ASYNC_ADD_DOCUMENT, {});
}

void Road::ask(ClientRequest::REQUEST kind) {
  ClientRequest request;
  request.buildRequest(collection_, kind, {});
  client_.sendAndRecvMesg(request, response_);
}

void Road::create() { ask(ClientRequest::CREATE_COLLECTION); }

void Road::settle() { ask(ClientRequest::UPDATE_INDEX); }

void Road::add(std::string_view key, std::string_view content) {
  static const std::list<comm::KVPair> NO_FIELDS;
  document_.setDocKey(key.data(), static_cast<unsigned int>(key.size()));
  document_.setContent(NO_FIELDS, content.data(), static_cast<unsigned int>(content.size()));
  client_.sendAndRecvMesg(document_, response_);
}

void Road::endBatch(std::size_t documents) {
  ask(ClientRequest::LAST_DOC_SENT);
  ask(ClientRequest::PARSE_RESULT);
  std::size_t indexed = 0;
  for (comm::ParseResponse& outcomes = response_.getParseResponse(); outcomes.hasMore();) {
    if (outcomes.getNext().getMessage().getMessageID().isEmpty()) ++indexed;
  }
  if (indexed == documents) return;
  throw std::runtime_error("the server has indexed " + std::to_string(indexed) + " of " +
                           std::to_string(documents) + " documents");
}

ClientRequest Road::searchRequest(const std::string& query, unsigned wanted) const {
  util::ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_QUERY, UnicodeString::fromUTF8(query));
  properties.putProperty(StaticDefs::PARAM_SEARCH_SIZE, textOf(wanted));
  ClientRequest request;
  request.buildRequest(collection_, ClientRequest::SCALAR_SEARCH, properties);
  return request;
}

Ranking Road::search(ClientRequest& request) {
  client_.sendAndRecvMesg(request, response_);
  Ranking ranking;
  for (comm::SearchResponse& hits = response_.getSearchResponse(); hits.hasMore();) {
    ranking.emplace_back(keyOf(hits.getNext()));
  }
  return ranking;
}

std::size_t Road::countHits(ClientRequest& request) {
  client_.sendAndRecvMesg(request, response_);
  std::size_t count = 0;
  for (comm::SearchResponse& hits = response_.getSearchResponse(); hits.hasMore(); ++count) {
    const comm::SearchResult& hit = hits.getNext();
    if (keyOf(hit).empty() || hit.getScore() <= 0) {
      throw std::runtime_error("a hit without a key or a score");
    }
  }
  return count;
}

}  // namespace orvix::bench
