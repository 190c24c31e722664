// SPDX-License-Identifier: Apache-2.0
// The socket against a peer on loopback that the test drives itself: ownership of the descriptor,
// ends of the stream, readiness. Every wait of a peer is bounded.
#include "infra/oss/qorSocket.h"

#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <list>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "infra/oss/qorSocketException.h"
#include "tests/support/qorBytes.h"
#include "tests/support/qorLoopback.h"

namespace {
bool ownEndIsPeer = false;  // as when the kernel gives a connection the port that it goes to
}

/// In place of the C library's, for the library under test as well.
extern "C" __attribute__((visibility("default"))) int getsockname(int descriptor, sockaddr* address,
                                                                  socklen_t* size) noexcept {
  const long call = ownEndIsPeer ? SYS_getpeername : SYS_getsockname;
  return static_cast<int>(::syscall(call, descriptor, address, size));
}

namespace orvix::test {
namespace {

using oss::Socket;
using oss::SocketException;
using Clock = std::chrono::steady_clock;

constexpr int PATIENCE = 10000;  // milliseconds that a peer waits for what must come

/// One descriptor of the test's own side.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_;
};

class SocketTest : public testing::Test {
 protected:
  SocketTest() : listener(listenOnLoopback(0, port)) {}

  Descriptor accept() const {
    pollfd polled{listener.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, PATIENCE), 1);
    return Descriptor(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  }

  void connect(Socket& socket) {
    socket.connect(u"127.0.0.1", port, Socket::NullAddrInfoExternal, nullptr);
    peer = accept();
  }

  /// `act` must fail with an exception that names the peer.
  template <class Act>
  static void expectFailure(unsigned int peerPort, Act act) {
    try {
      act();
      ADD_FAILURE() << "nothing failed";
    } catch (const oss::BaseException& error) {
      const std::string name = "127.0.0.1:" + std::to_string(peerPort);
      EXPECT_NE(std::string(error.what()).find(name), std::string::npos) << error.what();
    }
  }

  void peerSends(const std::string& bytes) const {
    ASSERT_EQ(::send(peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

  /// Whether the peer has been told that the connection ended.
  [[nodiscard]] bool peerSeesEnd(int wait) const {
    pollfd polled{peer.get(), POLLIN, 0};
    char byte = 0;
    return ::poll(&polled, 1, wait) == 1 && ::recv(peer.get(), &byte, 1, 0) == 0;
  }

  unsigned int port = 0;
  Descriptor listener;
  Descriptor peer;
};

TEST_F(SocketTest, ConnectionToItselfIsRefused) {
  Socket socket;
  ownEndIsPeer = true;
  try {
    connect(socket);
    ADD_FAILURE() << "a socket read back what it wrote";
  } catch (SocketException& e) {
    EXPECT_EQ(e.getErrorMessage().getMessageText(), u"Connection refused");
  }
  ownEndIsPeer = false;
}

TEST_F(SocketTest, CopiesShareTheConnectionAndTheLastOwnerClosesIt) {
  Socket first;
  connect(first);
  {
    Socket copy(first);
    Socket assigned;
    assigned = copy;
    first.close();
    first.close();
    copy.write("x", 0, 1);
    char got = 0;
    ASSERT_EQ(::recv(peer.get(), &got, 1, 0), 1);
    EXPECT_EQ(got, 'x');
    copy.close();
    EXPECT_FALSE(peerSeesEnd(20));
    EXPECT_THROW(copy.write("x", 0, 1), SocketException);
  }
  EXPECT_TRUE(peerSeesEnd(PATIENCE));
}

TEST_F(SocketTest, OpensADescriptorThatChildrenDoNotInheritAndThatSendsAtOnce) {
  const int next = ::dup(listener.get());
  ::close(next);
  Socket socket;
  socket.connect(u"127.0.0.1", port, Socket::NullAddrInfoExternal, nullptr);
  EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(::fcntl(next, F_GETFL) & O_NONBLOCK, 0);
  int on = 0;
  socklen_t size = sizeof on;
  EXPECT_EQ(::getsockopt(next, IPPROTO_TCP, TCP_NODELAY, &on, &size), 0);
  EXPECT_NE(on, 0);
  socket.close();
  EXPECT_EQ(::fcntl(next, F_GETFD), -1);
  expectFailure(
      65616, [&] { socket.connect(u"127.0.0.1", 65616, Socket::NullAddrInfoExternal, nullptr); });
  char byte = 0;
  EXPECT_THROW(socket.readOnce(&byte, 0, 1), SocketException);
}

TEST_F(SocketTest, SelectLeavesOnlyWhatIsReadyAmongDescriptorsAbove1023) {
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, 1200);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  std::vector<Descriptor> fillers;
  do {
    fillers.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_GE(fillers.back().get(), 0);
  } while (fillers.back().get() < 1023);
  Socket quiet;
  connect(quiet);
  const Descriptor quietPeer = std::move(peer);
  Socket busy;
  connect(busy);
  fillers.clear();
  std::list<Socket> readable{quiet, busy};
  std::list<Socket> writable;
  std::list<Socket> failed;
  const unsigned long long wait = 30;
  const auto start = Clock::now();
  EXPECT_EQ(Socket::select(readable, writable, failed, &wait), 0U);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
  peerSends("xy");
  readable = {quiet, busy};
  writable = {quiet};
  failed = {quiet, busy};
  while (!busy.isReadable()) std::this_thread::yield();
  EXPECT_EQ(Socket::select(readable, writable, failed, nullptr), 2U);
  ASSERT_EQ(readable.size(), 1U);
  char got = 0;
  EXPECT_EQ(readable.front().readOnce(&got, 0, 1), 1U);  // it is the busy one
  EXPECT_EQ(writable.size(), 1U);
  EXPECT_TRUE(failed.empty());
  readable = {quiet, busy};
  writable.clear();
  EXPECT_EQ(Socket::select(readable, writable, failed, nullptr), 1U);  // what was received ahead
  EXPECT_EQ(readable.front().readOnce(&got, 0, 1), 1U);
  EXPECT_EQ(got, 'y');
}

}  // namespace
}  // namespace orvix::test
