// SPDX-License-Identifier: Apache-2.0
// A queue with a mark behind the last outcome that is certain.
#include "server/qorOutcomes.h"

#include <utility>

namespace orvix::server {

void Outcomes::push(Outcome outcome) {
  if (kept_.size() == MAX_KEPT) {
    kept_.pop_front();
    if (settled_ > 0) --settled_;
  }
  kept_.push_back(std::move(outcome));
}

void Outcomes::failUnsettled(const Fault& fault) {
  for (std::size_t i = settled_; i < kept_.size(); ++i) {
    if (!kept_[i].fault) kept_[i].fault = fault;
  }
  settle();
}

std::deque<Outcome> Outcomes::takeAll() {
  settled_ = 0;
  return std::exchange(kept_, {});
}

}  // namespace orvix::server
