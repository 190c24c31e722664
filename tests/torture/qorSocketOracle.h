// SPDX-License-Identifier: Apache-2.0
// What a request must come to when faults strike its system calls: worked out from the reply's
// bytes and from where the faults struck, not from what the client did.
#pragma once

#include <string>
#include <vector>

#include "tests/torture/qorCorpus.h"

namespace orvix::torture {

struct Expected {
  enum What { AS_CLEAN, ERROR, SERVER_ERROR, ENDED } what = AS_CLEAN;
  std::string error{};      ///< of ERROR: all of it
  std::size_t records = 0;  ///< of ENDED: results that had arrived whole
};

/// The expected outcome of step `number` of `scenario` after `hits`, in at most `attempts`.
Expected expectedOf(const Scenario& scenario, std::size_t number, const std::vector<Hit>& hits,
                    std::size_t attempts);
/// Empty when `outcome` is as expected, else what is wrong. `clean`: the outcome without faults.
std::string difference(const Expected& expected, const Outcome& clean, const Outcome& outcome);

}  // namespace orvix::torture
