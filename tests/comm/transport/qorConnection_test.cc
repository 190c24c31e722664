// SPDX-License-Identifier: Apache-2.0
// When the client connects, and how it says that it cannot.
#include <chrono>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// A loopback port that is bound: nobody listens on it, or nobody accepts and no more can queue.
class DeafPort {
 public:
  explicit DeafPort(bool listens) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(::bind(socket_, generic, size), 0);
    EXPECT_EQ(::getsockname(socket_, generic, &size), 0);
    port_ = ntohs(address.sin_port);
    if (!listens) return;
    EXPECT_EQ(::listen(socket_, 0), 0);
    for (int ready = 1; ready != 0 && queued_.size() < 16;) {  // until one has to wait
      queued_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
      ::connect(queued_.back(), generic, size);
      pollfd polled{queued_.back(), POLLOUT, 0};
      ready = ::poll(&polled, 1, 50);
    }
  }
  DeafPort(const DeafPort&) = delete;
  DeafPort& operator=(const DeafPort&) = delete;
  ~DeafPort() {
    ::close(socket_);
    for (const int queued : queued_) ::close(queued);
  }
  [[nodiscard]] unsigned int port() const { return port_; }

 private:
  int socket_;
  unsigned int port_ = 0;
  std::vector<int> queued_;
};

void request(OpenClient& client) {
  comm::ClientRequest status = plainRequest(GET_STATUS);
  comm::ClientResponse response;
  client.sendAndRecvMesg(status, response);
}

TEST(Connection, IsKeptWhilePersistentAndOpenedAnewWhenNot) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(STATUS_REPLY).expectFrames(2).reply(STATUS_REPLY);
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  peer.connection().expectFrames(1).reply(STATUS_REPLY).expectFrames(1).reply(STATUS_REPLY);
  OpenClient client(peer);
  EXPECT_FALSE(client.isConnected());
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  DocumentRequest document(ASYNC_ADD_DOCUMENT, "k");
  EXPECT_EQ(outcome(client, document, peer), "ok complete");
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), 1U);
  client.usePeristentConnection(false);
  EXPECT_TRUE(client.isConnected()) << "the switch alone closes nothing";
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), 2U);
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), 3U);
  client.usePeristentConnection(true);
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), 3U);
}

TEST(Connection, IsClosedWithItsClient) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(STATUS_REPLY).expectClose();
  {
    OpenClient client(peer);
    EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
    client.closeConnection();
    client.closeConnection();
    EXPECT_FALSE(client.isConnected());
  }
  EXPECT_TRUE(peer.awaitPlayed(1));
}

/// Neither a document nor a request is written to a peer that has gone meanwhile.
TEST(Connection, IsOpenedAnewWhenThePeerHasClosedItMeanwhile) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(STATUS_REPLY).close();
  peer.connection().expectFrames(1).reset();
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  OpenClient client(peer);
  client.setNumRetries(0);
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  ASSERT_TRUE(peer.awaitPlayed(1));
  DocumentRequest document(ASYNC_ADD_DOCUMENT, "k");
  EXPECT_EQ(outcome(client, document, peer), "ok complete");
  ASSERT_TRUE(peer.awaitPlayed(2));
  EXPECT_EQ(peer.received(1), documentFrame("k"));
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
}

TEST(Connection, FailureSaysHostPortAndReason) {
  const DeafPort closed(false);
  const std::string port = std::to_string(closed.port());
  using Reasons = std::vector<std::string>;
  OpenClient client(closed.port());
  client.setNumRetries(0);
  EXPECT_EQ(expectSite([&] { request(client); }, "ERR_CONNECT_SERVER", "qorCorvaneClient", 236,
                       {HOST, port}),
            Reasons{"SOCKET_CONNECT"});
  EXPECT_FALSE(client.isConnected());

  OpenClient nowhere(closed.port(), "no such host.invalid");
  EXPECT_EQ(expectSite([&] { request(nowhere); }, "ERR_CONNECT_SERVER", "qorCorvaneClient", 236,
                       {"no such host.invalid", port}),
            Reasons{"SOCKET_RESOLVE"});

  for (const unsigned int wrong : {0U, 65536U, 70000U, 4294967295U}) {
    OpenClient portless(wrong);
    EXPECT_EQ(expectSite([&] { request(portless); }, "ERR_CONNECT_SERVER", "qorCorvaneClient", 242,
                         {HOST, std::to_string(wrong)}),
              Reasons{});
  }
}

TEST(Connection, OfADefaultClientLeadsNowhere) {
  class DefaultClient : public comm::CorvaneClient {
   public:
    using CorvaneClient::openConnection;
  };
  DefaultClient client;
  expectSite([&] { client.openConnection(); }, "ERR_CONNECT_SERVER", "qorCorvaneClient", 242,
             {"<unspecified>", "0"});
}

TEST(Connection, TakesTheFamilyHintOfItsAddressInformation) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  const icu::UnicodeString host(HOST, "");
  comm::TamberPerfClient other(host, peer.port(), oss::Socket::_AddrInfoExternal{AF_INET6, {}});
  comm::TamberPerfClient fitting(host, peer.port(), oss::Socket::_AddrInfoExternal{AF_INET, {}});
  comm::ClientRequest status = plainRequest(GET_STATUS);
  comm::ClientResponse response;
  expectSite([&] { other.sendAndRecvMesg(status, response); }, "ERR_CONNECT_SERVER",
             "qorCorvaneClient", 236, {HOST, std::to_string(peer.port())});
  fitting.sendAndRecvMesg(status, response);
  EXPECT_EQ(response.getStatusCode(), 1U);
}

TEST(Connection, GivesUpConnectingAfterItsTimeOut) {
  const DeafPort deaf(true);
  OpenClient client(deaf.port());
  client.setNumRetries(1);
  client.setTimeOut(100);
  const auto start = Clock::now();
  expectSite([&] { request(client); }, "ERR_CONNECT_SERVER", "qorCorvaneClient", 236,
             {HOST, std::to_string(deaf.port())});
  const auto took = Clock::now() - start;
  EXPECT_GE(took, milliseconds(200)) << "two attempts";
  EXPECT_LT(took, milliseconds(3000)) << "the system's own limit is far beyond";
}

}  // namespace
}  // namespace orvix::test
