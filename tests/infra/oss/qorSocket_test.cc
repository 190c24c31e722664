// SPDX-License-Identifier: Apache-2.0
// The socket against a peer on loopback that the test drives itself: ownership of the descriptor,
// ends of the stream, signals, time-outs. Every wait of a peer is bounded.
#include "infra/oss/qorSocket.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <list>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "infra/oss/qorSocketException.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::oss {
namespace {

using wirelit::text;
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
  SocketTest() : listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(::bind(listener.get(), generic, size), 0);
    EXPECT_EQ(::listen(listener.get(), 0), 0);
    EXPECT_EQ(::getsockname(listener.get(), generic, &size), 0);
    port = ntohs(address.sin_port);
  }

  Descriptor accept() const {
    pollfd polled{listener.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, PATIENCE), 1);
    return Descriptor(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  }

  void connect(Socket& socket) {
    socket.connect(text("127.0.0.1"), port, Socket::NullAddrInfoExternal, nullptr);
    peer = accept();
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

  Descriptor listener;
  Descriptor peer;
  unsigned int port = 0;
};

std::set<int> openDescriptors() {
  std::set<int> open;
  DIR* folder = ::opendir("/proc/self/fd");
  while (const dirent* entry = ::readdir(folder)) {
    const int fd = std::atoi(entry->d_name);
    if (entry->d_name[0] != '.' && fd != ::dirfd(folder)) open.insert(fd);
  }
  ::closedir(folder);
  return open;
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

TEST_F(SocketTest, LengthZeroReturnsAtOnceEvenWhenNothingComes) {
  Socket socket;
  connect(socket);
  char untouched = '#';
  EXPECT_EQ(socket.read(&untouched, 0, 0), 0U);
  EXPECT_EQ(socket.readOnce(&untouched, 0, 0), 0U);
  socket.write(&untouched, 0, 0);
  EXPECT_EQ(untouched, '#');
  EXPECT_FALSE(socket.isReadable());
}

TEST_F(SocketTest, ReadFillsReadOnceTakesWhatIsThereAndTheEndIsShort) {
  Socket socket;
  connect(socket);
  std::string buffer(8, '#');
  peerSends("ab");
  EXPECT_EQ(socket.readOnce(buffer.data(), 1, 7), 2U);
  EXPECT_EQ(buffer, "#ab#####");
  std::thread sender([&] {
    for (const char* byte : {"c", "d", "e"}) {
      peerSends(byte);
      std::this_thread::yield();
    }
  });
  EXPECT_NO_THROW(socket.read(buffer.data(), 3, 3));
  sender.join();
  EXPECT_EQ(buffer, "#abcde##");
  peerSends("f");
  peer = Descriptor();
  EXPECT_EQ(socket.read(buffer.data(), 0, 8), 1U);
  EXPECT_EQ(buffer, "fabcde##");
  EXPECT_TRUE(socket.isReadable());
  EXPECT_EQ(socket.readOnce(buffer.data(), 0, 8), 0U);
}

TEST_F(SocketTest, WritingToAPeerThatHasGoneThrowsInsteadOfKilling) {
  Socket socket;
  connect(socket);
  const linger abrupt{1, 0};
  ::setsockopt(peer.get(), SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
  peer = Descriptor();           // a reset
  for (int i = 0; i < 2; ++i) {  // the first tells of the reset, later ones that the pipe is broken
    try {
      for (int write = 0; write < 3; ++write) socket.write("x", 0, 1);
      ADD_FAILURE() << "every write succeeded";
    } catch (const SocketException& error) {
      EXPECT_NE(std::string(error.what()).find("127.0.0.1:" + std::to_string(port)),
                std::string::npos)
          << error.what();
    }
  }
}

TEST_F(SocketTest, OpensDescriptorsThatChildrenDoNotInheritAndThatSendAtOnce) {
  const std::set<int> before = openDescriptors();
  Socket socket;
  socket.connect(text("127.0.0.1"), port, Socket::NullAddrInfoExternal, nullptr);
  std::size_t opened = 0;
  for (const int fd : openDescriptors()) {
    if (before.count(fd) != 0) continue;
    ++opened;
    EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(::fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    int on = 0;
    socklen_t size = sizeof on;
    EXPECT_EQ(::getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, &size), 0);
    EXPECT_NE(on, 0);
  }
  EXPECT_EQ(opened, 1U);
  socket.close();
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(SocketTest, WorksWithDescriptorsAbove1023) {
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_max < 1200) GTEST_SKIP() << "this host allows no such descriptors";
  const rlimit raised{std::max<rlim_t>(limit.rlim_cur, 1200), limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &raised), 0);
  std::vector<Descriptor> fillers;
  do {
    fillers.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_GE(fillers.back().get(), 0);
  } while (fillers.back().get() < 1023);
  Socket socket;
  connect(socket);
  fillers.clear();
  std::list<Socket> readable{socket};
  std::list<Socket> none;
  const unsigned long long now = 0;
  EXPECT_EQ(Socket::select(readable, none, none, &now), 0U);
  peerSends("k");
  readable.assign(1, socket);
  const unsigned long long patience = PATIENCE;
  EXPECT_EQ(Socket::select(readable, none, none, &patience), 1U);
  char got = 0;
  EXPECT_EQ(socket.read(&got, 0, 1), 1U);
  EXPECT_EQ(got, 'k');
}

TEST_F(SocketTest, SelectLeavesOnlyWhatIsReady) {
  Socket quiet;
  connect(quiet);
  const Descriptor quietPeer = std::move(peer);
  Socket busy;
  connect(busy);
  peerSends("x");
  std::list<Socket> readable{quiet, busy};
  std::list<Socket> writable{quiet};
  std::list<Socket> failed{quiet, busy};
  while (!busy.isReadable()) std::this_thread::yield();
  EXPECT_EQ(Socket::select(readable, writable, failed, nullptr), 2U);
  ASSERT_EQ(readable.size(), 1U);
  char got = 0;
  EXPECT_EQ(readable.front().readOnce(&got, 0, 1), 1U);  // it is the busy one
  EXPECT_EQ(writable.size(), 1U);
  EXPECT_TRUE(failed.empty());
  const unsigned long long limit = 30;
  readable.assign(1, quiet);
  writable.clear();
  const auto start = Clock::now();
  EXPECT_EQ(Socket::select(readable, writable, failed, &limit), 0U);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
}

TEST_F(SocketTest, AWriteThatThePeerDoesNotTakeEndsAtItsDeadline) {
  Socket socket;
  connect(socket);
  const std::vector<char> much(64U << 20U);  // more than the buffers of both sides
  const unsigned long long limit = 50;
  const auto start = Clock::now();
  EXPECT_THROW(socket.write(much.data(), 0, much.size(), &limit), SocketException);
  const auto took = Clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(50));
  EXPECT_LT(took, std::chrono::seconds(10));
}

TEST_F(SocketTest, AConnectThatNobodyAnswersEndsAtItsDeadline) {
  std::list<Socket> queued;  // a full queue of a listener that does not accept: the next one hangs
  const unsigned long long limit = 100;
  const auto start = Clock::now();
  try {
    for (int i = 0; i < 20; ++i) {
      queued.emplace_back();
      queued.back().connect(text("127.0.0.1"), port, Socket::NullAddrInfoExternal, &limit);
    }
    ADD_FAILURE() << "every connect succeeded";
  } catch (const SocketException& error) {
    EXPECT_NE(std::string(error.what()).find("127.0.0.1"), std::string::npos);
  }
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100));
}

TEST_F(SocketTest, FailuresToConnectAreExceptionsThatNameThePeer) {
  const Socket::_AddrInfoExternal ip6Only{AF_INET6, {}};
  EXPECT_THROW(Socket().connect(text("127.0.0.1"), port, ip6Only, nullptr), SocketException);
  listener = Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));  // nobody listens now
  const struct {
    const char* name;
    const char* host;
    unsigned int port;
  } cases[] = {{"refused", "127.0.0.1", port},
               {"no such name", "no.such.host.invalid", 80},
               {"port 0", "127.0.0.1", 0},
               {"port 65536", "127.0.0.1", 65536 + port}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Socket socket;
    try {
      socket.connect(text(c.host), c.port, Socket::NullAddrInfoExternal, nullptr);
      ADD_FAILURE() << "connected";
    } catch (const BaseException& error) {
      const std::string peerName = std::string(c.host) + ':' + std::to_string(c.port);
      EXPECT_NE(std::string(error.what()).find(peerName), std::string::npos) << error.what();
    }
    char byte = 0;
    EXPECT_THROW(socket.readOnce(&byte, 0, 1), SocketException);
  }
}

std::atomic<int> signalsSeen{0};

/// Signals to one thread as fast as they go, from construction to destruction.
class SignalStorm {
 public:
  SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalsSeen; };  // no SA_RESTART: calls end with EINTR
    ::sigaction(SIGUSR1, &action, &before_);
    signalsSeen = 0;
    thread_ = std::thread([this, target = ::pthread_self()] {
      while (!stop_) {
        ::pthread_kill(target, SIGUSR1);
        std::this_thread::sleep_for(std::chrono::microseconds(200));
      }
    });
  }
  ~SignalStorm() {
    stop_ = true;
    thread_.join();
    ::sigaction(SIGUSR1, &before_, nullptr);
  }

 private:
  struct sigaction before_ {};
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

TEST_F(SocketTest, SignalsNeitherLoseBytesNorStretchAWait) {
  Socket socket;
  connect(socket);
  std::string sent(8U << 20U, '\0');  // more than the buffers of both sides: the write must wait
  for (std::size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i % 251);
  std::string echoed(sent.size(), '\0');
  std::thread echo([this, &sent] {
    std::string held(sent.size(), '\0');
    constexpr std::size_t PIECE = 200000;
    const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(2)); };
    for (std::size_t done = 0; done < held.size(); pause()) {
      const auto room = std::min(PIECE, held.size() - done);
      const ssize_t got = ::recv(peer.get(), held.data() + done, room, 0);
      if (got <= 0) break;
      done += static_cast<std::size_t>(got);
    }
    for (std::size_t done = 0; done < held.size(); done += PIECE, pause()) {
      peerSends(held.substr(done, PIECE));
    }
    peer = Descriptor();
  });
  {
    const SignalStorm storm;
    EXPECT_NO_THROW(socket.write(sent.data(), 0, sent.size()));
    EXPECT_NO_THROW(socket.read(echoed.data(), 0, echoed.size()));
  }
  socket.close();
  echo.join();
  EXPECT_GE(signalsSeen, 10);
  EXPECT_TRUE(echoed == sent);  // too long to be printed
  connect(socket);
  const SignalStorm storm;
  const unsigned long long limit = 60;
  std::list<Socket> readable{socket};
  std::list<Socket> none;
  const auto start = Clock::now();
  EXPECT_EQ(Socket::select(readable, none, none, &limit), 0U);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(60));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace orvix::oss
