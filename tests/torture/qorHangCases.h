// SPDX-License-Identifier: Apache-2.0
// The stalls of torture-hang: what the peer does, what is asked of it, and what must come of that.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "comm/protocol/qorRequestKind.h"
#include "tests/torture/qorHangPeer.h"

namespace orvix::torture {

struct HangCase {
  std::string name;
  bool bare = false;  // a write to a socket, not a request
  std::uint32_t kind = comm::kinds::GET_STATUS;
  bool streamed = false;
  bool storm = false;
  bool mayEnd = false;  // before time runs out: no unit of it takes that long
  HangPlan plan;
  std::string expected;  // ID:line
};

/// A stall before every byte of a reply of every shape, and trickles.
void addReceiving(std::vector<HangCase>& cases);
/// Peers that do not read or accept, that never stop, that cannot be connected to.
void addOthers(std::vector<HangCase>& cases);

}  // namespace orvix::torture
