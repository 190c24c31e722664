// SPDX-License-Identifier: Apache-2.0
// The server as a service: what it tells the manager that started it. The test plays the manager,
// with a datagram socket.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include "qorcomm.h"
#include "tests/road/qorServerProcess.h"

namespace orvix::road {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds LIMIT{30000};
constexpr milliseconds PATIENCE{2000};

/// Processes that are started while it lives report to it, and are to beat twice in PATIENCE.
class Manager {
 public:
  Manager() {
    const std::string path = folder_.path() / "notify";
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, path.c_str(), sizeof name.sun_path - 1);
    socket_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0) {
      throw std::runtime_error("no socket for notifications");
    }
    ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
    ::setenv("WATCHDOG_USEC", std::to_string(PATIENCE.count() * 1000).c_str(), 1);
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;
  ~Manager() {
    ::unsetenv("NOTIFY_SOCKET");
    ::unsetenv("WATCHDOG_USEC");
    ::close(socket_);
  }

  /// The next message that has that line; what comes before it is left out. Empty: none came.
  std::string await(const std::string& line, milliseconds limit = LIMIT) {
    const auto deadline = Clock::now() + limit;
    for (;;) {
      const std::string message = next(deadline);
      if (message.empty() || ("\n" + message + "\n").find("\n" + line) != std::string::npos) {
        return message;
      }
    }
  }

 private:
  std::string next(Clock::time_point deadline) const {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
    pollfd polled{socket_, POLLIN, 0};
    if (left <= 0 || ::poll(&polled, 1, static_cast<int>(left)) <= 0) return {};
    char bytes[4096];
    const ssize_t count = ::recv(socket_, bytes, sizeof bytes, 0);
    return {bytes, static_cast<std::size_t>(count < 0 ? 0 : count)};
  }

  test::Folder folder_;
  int socket_ = -1;
};

void ask(unsigned int port, comm::ClientRequest::REQUEST kind) {
  comm::TamberPerfClient client(icu::UnicodeString("127.0.0.1", ""), port);
  client.setReceiveTimeOut(static_cast<unsigned int>(LIMIT.count()));
  comm::ClientRequest request;
  request.buildRequest(icu::UnicodeString(), kind, {});
  comm::ClientResponse response;
  client.sendAndRecvMesg(request, response);
  EXPECT_TRUE(response.success());
}

TEST(Service, TellsItsManagerOfItsWholeLife) {
  Manager manager;
  ServerProcess server;
  const std::string ready = manager.await("READY=1");
  EXPECT_NE(ready.find("\nSTATUS=listening on 127.0.0.1:"), std::string::npos) << ready;
  ask(server.port(), comm::ClientRequest::GET_STATUS);

  EXPECT_NE(manager.await("WATCHDOG=1"), "");
  for (int i = 0; i < 2; ++i) {
    const auto since = Clock::now();
    EXPECT_NE(manager.await("WATCHDOG=1", PATIENCE), "") << "twice in the manager's patience";
    EXPECT_GT(Clock::now() - since, PATIENCE / 4) << "and not all the time";
  }
  const std::string idle = manager.await("STATUS=listening on 127.0.0.1:");
  EXPECT_NE(idle.find(", 0 connections, 0 requests wait"), std::string::npos) << idle;

  ASSERT_TRUE(server.terminate());
  const std::string stopping = manager.await("STOPPING=1");
  EXPECT_NE(stopping.find("\nWATCHDOG_USEC="), std::string::npos)
      << "the last commits may take longer than the watchdog's time: " << stopping;
}

TEST(Service, TellsItsManagerWhenARequestEndsIt) {
  Manager manager;
  ServerProcess server;
  ask(server.port(), comm::ClientRequest::SHUTDOWN);
  EXPECT_NE(manager.await("STOPPING=1"), "");
  EXPECT_TRUE(server.endsWell());
}

TEST(Service, ReportsReloadsAndStaysReady) {
  Manager manager;
  ServerProcess server;
  EXPECT_NE(manager.await("READY=1"), "");
  server.reload();
  EXPECT_NE(manager.await("RELOADING=1"), "");
  EXPECT_NE(manager.await("READY=1"), "");
}

}  // namespace
}  // namespace orvix::road
