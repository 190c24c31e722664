// SPDX-License-Identifier: Apache-2.0
// What the handling of one request hands to the session that writes it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "server/qorRefusal.h"

namespace orvix::server {

/// The rest of a long reply, made piece by piece as the connection takes it.
class ReplyStream {
 public:
  ReplyStream() = default;
  ReplyStream(const ReplyStream&) = delete;
  ReplyStream& operator=(const ReplyStream&) = delete;
  virtual ~ReplyStream() = default;

  /// Appends the next piece, tens of kilobytes at most, and answers whether more follows.
  /// A failure becomes an error record inside the piece; nothing is thrown.
  virtual bool next(std::string& out) = 0;
};

class Collection;

/// A promise: the reply must not leave before this collection was committed, and becomes an error
/// when changes of it were lost meanwhile.
struct CommitTicket {
  Collection* collection = nullptr;  // open until the ticket is settled
  std::uint64_t losses = 0;          // of the collection, before the change
};

struct Reply {
  std::string bytes;  ///< written first, in one piece; empty: the kind is not answered
  std::unique_ptr<ReplyStream> more;  ///< null when `bytes` is all
  std::optional<CommitTicket> ticket;
  std::function<void()> received;  ///< if set: call it once the peer is known to have got the reply
  std::optional<Fault> fault;      ///< if set: why it is not what was asked for, for the log
  bool failed = false;             ///< what was asked for was not done
  std::uint32_t kind = 0;          ///< of the request; 0: its action is not known
  bool close = false;              ///< close the connection afterwards
  bool stop = false;               ///< end the server afterwards

  void fail(const Fault& why) {
    failed = true;
    fault = why;
  }
};

}  // namespace orvix::server
