// SPDX-License-Identifier: Apache-2.0
// How the server says no: an identifier that programs match on and a text for people, carried by
// one exception type from wherever the fault is seen to the place that answers the request.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "server/qorMessageIds.h"

namespace orvix::server {

/// What goes into an error reply or a rejected outcome.
struct Fault {
  MessageId id = MessageId::INTERNAL_FAILURE;
  std::string text;  ///< UTF-8: what happened, where, and what to do about it
};

class Refusal : public std::exception {
 public:
  explicit Refusal(Fault fault) : fault_(std::move(fault)) {}
  [[nodiscard]] const Fault& fault() const noexcept { return fault_; }
  [[nodiscard]] const char* what() const noexcept override { return fault_.text.c_str(); }

 private:
  Fault fault_;
};

/// `text` in double quotes, cut to its first 200 bytes or so: requests can carry much longer ones,
/// and the reason must not be cut away behind them.
[[nodiscard]] std::string inQuotes(std::string_view text);

[[noreturn]] void refuse(MessageId id, std::string text);

/// The fault behind the exception being handled: a refusal's own, or one that names the layer which
/// failed (engine, file system, memory). `where` opens the text of the latter. Call it in a
/// handler, and let that be `catch (...)`: the engine's exceptions do not derive from
/// std::exception.
[[nodiscard]] Fault currentFault(const std::string& where);

}  // namespace orvix::server
