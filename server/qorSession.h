// SPDX-License-Identifier: Apache-2.0
// One connection: bytes in, frames to the dispatcher, replies out, in order.
#pragma once

#include <asio.hpp>
#include <functional>

#include "server/qorDispatcher.h"

namespace orvix::server {

/// Serves the connection until the peer leaves, the position in the stream is lost or the server
/// stops. Reads nothing while a reply is being written, so a peer that does not read is not read
/// from.
/// Borrows: dispatcher, until the io_context is gone. Calls `stop` when a request ends the server.
asio::awaitable<void> serveConnection(asio::ip::tcp::socket socket, Dispatcher& dispatcher,
                                      std::function<void()> stop);

}  // namespace orvix::server
