// SPDX-License-Identifier: Apache-2.0
#include "tests/comm/transport/qorTransportKit.h"

#include <cstdio>
#include <utility>

#include "comm/support/qorRESTException.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::test {

using comm::ClientRequest;
using comm::ClientResponse;

namespace {

std::string number(std::size_t value) { return std::to_string(value); }

std::string raised(comm::RESTException& e, unsigned int port) {
  std::string line = inOneLine(e.getErrorMessage());
  const std::string digits = '|' + std::to_string(port);
  if (const auto at = line.find(digits); at != std::string::npos) {
    line.replace(at, digits.size(), "|PORT");
  }
  bool first = true;
  for (const auto& message : e.getMessages()) {
    if (!first) line += '+' + text(message.getMessageID());
    first = false;
  }
  return e.isServerReported() ? line + " (server)" : line;
}

}  // namespace

ClientRequest plainRequest(std::uint32_t kind) {
  ClientRequest request;
  request.buildRequest(static_cast<ClientRequest::REQUEST>(kind), util::ExtendedProperties());
  return request;
}

DocumentRequest::DocumentRequest(std::uint32_t kind, std::string key, std::string content)
    : ClientRequest(plainRequest(kind)), key_(std::move(key)), content_(std::move(content)) {
  setDocKey(key_.data(), static_cast<unsigned int>(key_.size()));
  setContent({}, content_.data(), static_cast<unsigned int>(content_.size()));
}

std::string plainFrame(const std::string& action, const std::string& accessClass) {
  return frame("Content-Length  : \naction: " + action + "\nactionType: " + accessClass +
               "\nver: 1.1\n\r\n");
}

std::string documentFrame(const std::string& key, const std::string& content) {
  std::string fields = u32(5) + "rowId" + u32(static_cast<std::uint32_t>(key.size())) + key;
  if (!content.empty()) {
    fields += u32(4) + "data" + u32(static_cast<std::uint32_t>(content.size())) + content;
  }
  const std::string body =
      hex("00000000") + u32(static_cast<std::uint32_t>(fields.size())) + fields;
  return frame("Content-Length  : " + number(body.size()) +
                   "\naction: asyncAddDocument\nactionType: update\nver: 1.1\n\r\n",
               body);
}

std::string lastDocumentFrame() {
  return frame("Content-Length  : 8\naction: asyncAddDocument\nactionType: update\nver: 1.1\n\r\n",
               std::string(8, '\0'));
}

std::string keyForFrameOf(std::size_t size) { return std::string(size - 2 - 77 - 21, 'k'); }

std::string hits(comm::SearchResponse& list) {
  std::string line;
  while (list.hasMore()) {
    const comm::SearchResult& hit = list.getNext();
    char rest[32];
    std::snprintf(rest, sizeof rest, " %.3f %u)", hit.getScore(), unsigned{hit.getStatus()});
    line += " hit(" + text(hit.getKey()).substr(sizeof "base64:" - 1) + rest;
  }
  return line;
}

std::string documents(comm::ParseResponse& list) {
  std::string line;
  while (list.hasMore()) {
    const comm::ParseResult& result = list.getNext();
    line += " doc(" + text(result.getText()) + ' ' + inOneLine(result.getMessage()) + ')';
  }
  return line;
}

std::string outcome(OpenClient& client, ClientRequest& request, ClientResponse& response,
                    unsigned int port) {
  std::string line = "ok";
  try {
    client.sendAndRecvMesg(request, response);
  } catch (comm::RESTException& e) {
    line = raised(e, port);
  } catch (const std::exception& e) {
    line = std::string("another exception: ") + e.what();
  }
  line += client.isReplyComplete() ? " complete" : " incomplete";
  if (!client.isEndOfStream()) line += " open";
  if (response.getStatusCode() != 0) line += " status=" + number(response.getStatusCode());
  const std::string message = inOneLine(response.getStatusMessage());
  if (!message.empty()) line += " message=" + message;
  if (!response.getContent().isEmpty()) line += " text=" + text(response.getContent());
  if (response.getResultCount() != 0) line += " count=" + number(response.getResultCount());
  if (response.getResultCode() != 0) line += " code=" + number(response.getResultCode());
  line += hits(response.getSearchResponse()) + documents(response.getParseResponse());
  if (request.getRequestType() == comm::kinds::SELECTIVITY) {
    const comm::SelectivityInfo& estimate = response.getSelectivityInfo();
    line += " estimate(" + number(estimate.getValue1()) + ' ' + number(estimate.getValue2()) + ' ' +
            number(estimate.getValue3()) + ')';
  }
  return line;
}

std::string outcome(OpenClient& client, ClientRequest& request, const ScriptedPeer& peer) {
  ClientResponse response;
  return outcome(client, request, response, peer.port());
}

std::string askStatus(OpenClient& client, const ScriptedPeer& peer) {
  ClientRequest request = plainRequest(comm::kinds::GET_STATUS);
  return outcome(client, request, peer);
}

}  // namespace orvix::test
