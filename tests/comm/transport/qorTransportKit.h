// SPDX-License-Identifier: Apache-2.0
// What the tests of the transport share: requests, the frames they must become, and the outcome of
// a request as one line of text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

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
  using CorvaneClient::isConnected;
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

/// The frames of these requests. `action` and `accessClass` are the words of the kind.
std::string plainFrame(const std::string& action, const std::string& accessClass);
/// Of an asynchronous add: 2 + 75 + digits of the body's length, then 21 + key and, when there is
/// content, 12 + content.
std::string documentFrame(const std::string& key, const std::string& content = {});
std::string lastDocumentFrame();
/// A key that makes documentFrame() `size` bytes long; `size` is 200 to 1000.
std::string keyForFrameOf(std::size_t size);

/// Runs a request and says what came of it, in one line:
///   result   "ok", or the first message of what was raised, "+ID" for each further message,
///            " (server)" when the server reported it; a number that is the port reads PORT
///   framing  " complete" or " incomplete"; " open" when the stream has not ended
///   the rest what the response holds: status=, message=, text=, hit(key score status),
///            doc(text message), estimate(value1 value2 value3), count=, code=
std::string outcome(OpenClient& client, comm::ClientRequest& request,
                    comm::ClientResponse& response, unsigned int port);
std::string outcome(OpenClient& client, comm::ClientRequest& request, const ScriptedPeer& peer);
/// The hits, or the outcomes of documents, that the list hands out now.
std::string hits(comm::SearchResponse& list);
std::string documents(comm::ParseResponse& list);

/// Asks for the status; what comes back is "ok complete status=1" when the reply was STATUS_REPLY.
std::string askStatus(OpenClient& client, const ScriptedPeer& peer);
inline const std::string STATUS_REPLY = hex("0005");
inline constexpr char STATUS_OUTCOME[] = "ok complete status=1";

/// While this lives, allocations by operator new of `from` bytes or more fail on this thread.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t from);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace orvix::test
