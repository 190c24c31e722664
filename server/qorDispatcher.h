// SPDX-License-Identifier: Apache-2.0
// From a frame to its reply: recognises the kind, checks the right to ask, calls the handler, and
// turns whatever goes wrong into an error reply. Nothing is thrown past it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "server/qorAccess.h"
#include "server/qorFrameReader.h"
#include "server/qorHandlers.h"
#include "server/qorReply.h"

namespace orvix::server {

/// The request's kind number, from its action, mode and body; nothing when the action is unknown.
[[nodiscard]] std::optional<std::uint32_t> kindOf(const Frame& request) noexcept;

/// Where a request is to run.
enum class Lane : std::uint32_t {
  WRITER = 1,  // the one thread that changes the data directory
  SHORT = 2,   // where it was read: it takes no longer than a switch of threads
  LONG = 3     // a thread that may be kept busy
};

/// Threads: screen() and laneOf() where connections are read; begin() and settle() on the writer's
///          thread for what runs there, anywhere for the rest.
class Dispatcher {
 public:
  /// Borrows: context and tokens, for its whole life. Tokens may be replaced between two requests.
  Dispatcher(ServerContext& context, const Tokens& tokens, bool readOnly = false)
      : context_(context), tokens_(tokens), readOnly_(readOnly) {}

  /// Judges a request by its header alone. What a token allows follows from the request's action,
  /// not from the access class that the request states.
  void screen(Frame& request) const;
  [[nodiscard]] Lane laneOf(const Frame& request) const;

  /// A document whose text takes long to make: it would hold up all others on the writer's thread.
  [[nodiscard]] bool isSlowToRead(const Frame& request) const;
  /// Makes that text. A document that cannot be read gets its fault.
  /// Threads: any.
  void readAhead(Frame& request) const;

  /// Runs the request. A reply with a ticket must go through settle() before it leaves.
  [[nodiscard]] Reply begin(const Frame& request);
  /// Commits what the replies wait for, each collection once, and makes errors of those whose
  /// changes did not get to disk.
  static void settle(const std::vector<Reply*>& replies);
  /// Gives back what requests have piled up. No reply of the writer's may be unsettled.
  void tidy() { context_.store.trim(); }
  /// What is counted of requests.
  [[nodiscard]] Metrics& metrics() const noexcept { return context_.readers.board().metrics(); }
  /// Both, for one request.
  [[nodiscard]] Reply handle(const Frame& request);

 private:
  [[nodiscard]] Reply replyTo(std::optional<std::uint32_t> kind, const Frame& request);
  [[nodiscard]] Reply run(std::uint32_t kind, const Frame& request);

  ServerContext& context_;
  const Tokens& tokens_;
  bool readOnly_;
};

}  // namespace orvix::server
