// SPDX-License-Identifier: Apache-2.0
// A peer that answers every request at once and rightly, on loopback, with a thread per connection,
// and what other peers need. Knows nothing of the library, so that a host without it can run it.
#pragma once

#include <string_view>

namespace orvix::torture {

/// Sends all of `bytes`; false when the client is gone.
bool sendAll(int descriptor, std::string_view bytes);

/// Starts the peer, which lives as long as the process, and gives its port. It replies by the
/// "action" of a request. A search finds one hit whose key is its "query", with the score 0.5; a
/// collection's status comes in two chunks; "takeover" is refused. What is meant for the index
/// "broken" is left unread, and the connection ended and reset while the client writes.
unsigned int startResponder();

}  // namespace orvix::torture
