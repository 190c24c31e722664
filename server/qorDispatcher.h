// SPDX-License-Identifier: Apache-2.0
// From a frame to its reply: recognises the kind, checks the token, calls the handler, and turns
// whatever goes wrong into an error reply. Nothing is thrown past it.
#pragma once

#include <cstdint>
#include <optional>

#include "server/qorFrameReader.h"
#include "server/qorHandlers.h"
#include "server/qorReply.h"
#include "server/qorTokens.h"

namespace orvix::server {

/// The request's kind number, from its action, mode and body; nothing when the action is unknown.
[[nodiscard]] std::optional<std::uint32_t> kindOf(const Frame& request) noexcept;

class Dispatcher {
 public:
  /// Borrows: context and tokens, for its whole life.
  Dispatcher(ServerContext& context, const Tokens& tokens) : context_(context), tokens_(tokens) {}

  [[nodiscard]] Reply handle(const Frame& request);

 private:
  [[nodiscard]] Reply run(std::uint32_t kind, const Frame& request);

  ServerContext& context_;
  const Tokens& tokens_;
};

}  // namespace orvix::server
