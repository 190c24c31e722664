// SPDX-License-Identifier: Apache-2.0
// A failed accept (no descriptor left, say) is tried again after a pause instead of spinning.
#include "server/qorListener.h"

#include <charconv>
#include <chrono>
#include <sstream>
#include <system_error>
#include <utility>

#include "server/qorLog.h"
#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

constexpr std::chrono::milliseconds ACCEPT_PAUSE{100};

std::uint16_t portOf(const std::string& text, std::string_view digits) {
  std::uint16_t port = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, port);
  if (error != std::errc() || stop != end) {
    refuse(MessageId::REQUEST_MALFORMED, inQuotes(text) + " has no port from 0 to 65535");
  }
  return port;
}

asio::ip::tcp::acceptor acceptorOn(asio::io_context& context,
                                   const asio::ip::tcp::endpoint& endpoint) {
  try {
    return {context, endpoint};
  } catch (const std::system_error& error) {
    std::ostringstream where;
    where << endpoint;
    refuse(MessageId::REQUEST_MALFORMED,
           "Listening on " + where.str() + " failed: " + error.code().message() +
               "; listen on another address, or end the program that has this one");
  }
}

}  // namespace

ListenAddress listenAddressOf(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) {
    refuse(MessageId::REQUEST_MALFORMED, inQuotes(text) + " is not of the form HOST:PORT");
  }
  std::string host = text.substr(0, colon);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  if (host == "localhost") host = "127.0.0.1";
  std::error_code error;
  const auto address = asio::ip::make_address(host, error);
  if (error) {
    refuse(MessageId::REQUEST_MALFORMED, inQuotes(host) + " is not an address to listen on");
  }
  return {address, portOf(text, std::string_view(text).substr(colon + 1))};
}

Listener::Listener(asio::io_context& context, const ListenAddress& address,
                   Connections& connections)
    : context_(context),
      acceptor_(acceptorOn(context, {address.host, address.port})),
      connections_(connections) {}

void Listener::stop() {
  std::error_code ignored;
  acceptor_.close(ignored);
}

void Listener::start() { asio::co_spawn(context_, acceptConnections(), asio::detached); }

asio::awaitable<void> Listener::acceptConnections() {
  asio::steady_timer pause(context_);
  for (;;) {
    std::error_code error;
    auto socket = co_await acceptor_.async_accept(asio::redirect_error(asio::use_awaitable, error));
    if (!error) {
      connections_.add(std::move(socket));
      continue;
    }
    if (!acceptor_.is_open()) co_return;
    log(LogLevel::WARNING, "accept_failed", {{"text", error.message()}});
    pause.expires_after(ACCEPT_PAUSE);
    co_await pause.async_wait(asio::use_awaitable);
  }
}

}  // namespace orvix::server
