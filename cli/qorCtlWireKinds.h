// SPDX-License-Identifier: Apache-2.0
// The request kinds as captured bytes show them: docs/protocol.md in a table. It is a reader of its
// own beside the library's, which keeps such facts to itself; the tests compare the two.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "qorcomm.h"

namespace orvix::ctl {

/// What follows a reply's status 1.
enum class ReplyShape : std::uint32_t {
  NOTHING,
  HITS,      ///< records and their end
  OUTCOMES,  ///< records of pairs and their end
  ESTIMATE,  ///< records of three numbers and their end
  TEXT,      ///< one record
  CHUNKS,
  NO_REPLY  ///< not even a status: the request is never answered
};

struct WireKind {
  comm::ClientRequest::REQUEST kind;
  std::string_view name;
  std::string_view action;
  std::string_view mode;    ///< empty: none
  std::string_view access;  ///< told only where it tells two kinds with one action apart
  ReplyShape reply;
};

[[nodiscard]] std::span<const WireKind> wireKinds();
[[nodiscard]] std::vector<std::string> wireKindNames();
/// By name, also in capitals and with underscores. Null: there is none.
[[nodiscard]] const WireKind* findWireKind(std::string_view name);

}  // namespace orvix::ctl
