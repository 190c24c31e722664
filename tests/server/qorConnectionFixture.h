// SPDX-License-Identifier: Apache-2.0
// A whole server on a loopback socket, with its threads, for tests that talk to it as a peer does.
#pragma once

#include <asio.hpp>
#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "server/qorConnections.h"
#include "server/qorListener.h"
#include "server/qorWriter.h"
#include "tests/server/qorServerFixture.h"

namespace orvix::server::testing {

class ConnectionFixture : public ServerFixture {
 protected:
  ConnectionFixture() {
    thread_ = std::thread([this] { loop_.run(); });
  }
  ~ConnectionFixture() override {
    loop_.stop();
    thread_.join();
    pool_.join();
    writer_.finish();
  }

  static Limits limits() {
    Limits limits;
    limits.header = std::chrono::seconds(1);
    limits.idle = std::chrono::seconds(3);
    limits.connections = 8;
    limits.unfinishedInAll = 500000;
    return limits;
  }
  /// What belongs to the writer runs on its thread here, too.
  std::string answer(const Frame& request) override {
    Frame screened = request;
    dispatcher().screen(screened);
    if (dispatcher().laneOf(screened) != Lane::WRITER) return ServerFixture::answer(screened);
    std::promise<std::string> reply;
    writer_.post([&] { reply.set_value(ServerFixture::answer(screened)); });
    return reply.get_future().get();
  }

  Writer& writer() { return writer_; }
  asio::ip::tcp::socket connect() {
    asio::ip::tcp::socket socket(client_);
    socket.connect(listener_.endpoint());
    socket.set_option(asio::ip::tcp::no_delay(true));
    return socket;
  }
  static void write(asio::ip::tcp::socket& socket, const std::string& bytes) {
    asio::write(socket, asio::buffer(bytes));
  }
  /// Exactly as many bytes as are expected, so that surplus ones show in the next read.
  static std::string read(asio::ip::tcp::socket& socket, std::size_t count) {
    std::string bytes(count, '\0');
    std::error_code error;
    bytes.resize(asio::read(socket, asio::buffer(bytes), error));
    return bytes;
  }

 private:
  struct Started {
    Started(Listener& listener, Writer& writer) {
      writer.start();
      listener.start();
    }
  };

  asio::io_context loop_{1};
  asio::io_context client_;
  asio::thread_pool pool_{1};
  Writer writer_{dispatcher(), board(), loop_};
  Connections connections_{loop_, dispatcher(), writer_, pool_, limits()};
  Listener listener_{loop_, listenAddressOf("127.0.0.1:0"), connections_};
  Started started_{listener_, writer_};
  std::thread thread_;
};

}  // namespace orvix::server::testing
