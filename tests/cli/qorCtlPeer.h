// SPDX-License-Identifier: Apache-2.0
// A small server on loopback that answers with prepared bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/qorCtlSettings.h"
#include "tests/support/qorScriptedPeer.h"
#include "tests/support/qorWire.h"

namespace orvix::ctl::testing {

using namespace std::string_literals;
using test::END_MARKER;
using test::pair;
using test::record;

inline const std::string OK = "\0\1"s;

inline std::string accepted(const std::string& key) { return record(1, pair("Doc", key)); }

inline std::string rejected(const std::string& key) {
  return record(1, pair("Doc", key) + pair("MsgId", "E_BAD") + pair("MsgText", "no good"));
}

/// Answers the requests that want an answer with the given replies in turn, and then closes.
class Peer {
 public:
  explicit Peer(const std::vector<std::string>& replies) {
    test::PeerScript& script = peer_.connection();
    for (const std::string& reply : replies) script.expectQuestion().reply(reply);
    script.close();
  }

  [[nodiscard]] Settings settings() const {
    Settings settings;
    settings.port = static_cast<std::uint16_t>(peer_.port());
    settings.collection = "c";
    settings.query = "q";
    settings.retries = 0;
    settings.timeout = 10;
    return settings;
  }

 private:
  test::ScriptedPeer peer_;
};

}  // namespace orvix::ctl::testing
