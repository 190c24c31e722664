// SPDX-License-Identifier: Apache-2.0
// What the tests of the transport share: requests, the frames they must become, and the outcome of
// a request as one line of text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "comm/request/qorClientRequest.h"
#include "comm/response/qorClientResponse.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "tests/support/qorBytes.h"
#include "tests/support/qorScriptedPeer.h"

namespace orvix::test {

inline constexpr char HOST[] = "127.0.0.1";

/// A client with the doors of a derived class open.
class OpenClient : public comm::TamberPerfClient {
 public:
  explicit OpenClient(unsigned int port, const char* host = HOST)
      : TamberPerfClient(icu::UnicodeString(host, ""), port) {}
  explicit OpenClient(const ScriptedPeer& peer) : OpenClient(peer.port()) {}
  using CorvaneClient::closeConnection;
  using CorvaneClient::getPort;
  using CorvaneClient::isConnected;
  using CorvaneClient::openConnection;
};

/// A client in which something else happens, once, at the start of a step.
class SteppedClient : public OpenClient {
 public:
  using OpenClient::OpenClient;
  using Step = std::function<void()>;
  Step once;
  Step sending;
  Step sent;  // at the end of sending
  Step receiving;
  Step streaming;
  comm::RESTMessage* instead = nullptr;  // of the request's own message

  void sendAndRecvMesgOnce(comm::ClientRequest& request, comm::ClientResponse& response) override {
    take(once);
    OpenClient::sendAndRecvMesgOnce(request, response);
  }
  void sendMesg(comm::RESTMessage& message) override {
    take(sending);
    OpenClient::sendMesg(instead != nullptr ? *instead : message);
    take(sent);
  }
  void recvMesg(comm::ClientResponse& response) override {
    take(receiving);
    OpenClient::recvMesg(response);
  }
  void recvStream(comm::ClientResponse& response) override {
    take(streaming);
    OpenClient::recvStream(response);
  }

 private:
  static void take(Step& step) {
    if (const auto now = std::exchange(step, nullptr)) now();
  }
};

/// A request of `kind` without properties, key, fields or content.
comm::ClientRequest plainRequest(std::uint32_t kind);
/// A document; owns its key and content.
class DocumentRequest : public comm::ClientRequest {
 public:
  DocumentRequest(std::uint32_t kind, std::string key, std::string content = {});
  DocumentRequest(const DocumentRequest&) = delete;
  DocumentRequest& operator=(const DocumentRequest&) = delete;

 private:
  std::string key_;
  std::string content_;
};

/// The frame of a request; `action` and `accessClass` are the words of its kind.
std::string frameOf(const std::string& action, const std::string& accessClass,
                    const std::string& body = {});
/// Of an asynchronous add: 2 + 74 + digits of the body's length, then 21 + key and, when there is
/// content, 12 + content.
std::string documentFrame(const std::string& key, const std::string& content = {});
std::string times(const std::string& bytes, std::size_t count);

/// What a call raises, in one line; "ok" when nothing. The client's port reads PORT, and
/// " (server)" follows what the server reported.
std::string raised(const OpenClient& client, const std::function<void()>& act);

/// Runs a request and says what came of it, in one line:
///   result   what was raised, or "ok"
///   framing  " complete" or " incomplete"; " open" when the stream has not ended
///   the rest what the response holds: status=, message=, text=, hit(key score status),
///            doc(text message), estimate(value1 value2 value3), count=, code=
std::string outcome(OpenClient& client, const comm::ClientRequest& request,
                    comm::ClientResponse* response = nullptr);
/// Of a plain request.
inline std::string outcome(OpenClient& client, std::uint32_t kind,
                           comm::ClientResponse* response = nullptr) {
  return outcome(client, plainRequest(kind), response);
}
/// The hits, or the outcomes of documents, that the list hands out now; a key is in Base64.
std::string hits(comm::SearchResponse& list);
std::string documents(comm::ParseResponse& list);

/// Asks for the status; what comes back is STATUS_OUTCOME when the reply was STATUS_REPLY.
inline std::string askStatus(OpenClient& client) {
  return outcome(client, comm::kinds::GET_STATUS);
}
inline const std::string STATUS_REPLY = hex("0005");
inline constexpr char STATUS_OUTCOME[] = "ok complete status=1";

/// The ends of outcomes: whatever is behind the place where the error was raised is cut off.
std::string errorOf(const std::string& outcome);
inline constexpr char TIMED_OUT[] = "ERR_SERVER_COMM_TIMEOUT@qorCorvaneClient:119[127.0.0.1|PORT]";
inline constexpr char NOT_SENT[] = "ERR_SERVER_COMM_SEND@qorTamberPerfClient:280[127.0.0.1|PORT]";
inline constexpr char NO_HEADER[] = "ERR_SERVER_COMM_RECV@qorTamberPerfClient:382[127.0.0.1|PORT]";
inline constexpr char NO_STREAM[] = "ERR_SERVER_COMM_RECV@qorTamberPerfClient:508[127.0.0.1|PORT]";
inline constexpr char REQUEST_FAILED[] =
    "ERR_CLIENT_INTERNAL@qorTamberPerfClient:112[unknown error from sendandrecvMesgOnce]";
inline constexpr char PULL_FAILED[] =
    "ERR_CLIENT_INTERNAL@qorTamberPerfClient:146[unknown error from sendandrecvMesgOnce]";

}  // namespace orvix::test
