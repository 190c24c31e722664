// SPDX-License-Identifier: Apache-2.0
#include "server/qorBoard.h"

namespace orvix::server {

void Board::report(const std::string& collection, bool pending,
                   const std::optional<Fault>& lastError) {
  const std::scoped_lock lock(mutex_);
  if (pending) {
    pending_.insert(collection);
  } else {
    pending_.erase(collection);
  }
  if (lastError) {
    errors_.insert_or_assign(collection, *lastError);
  } else {
    errors_.erase(collection);
  }
}

void Board::forget(const std::string& collection) { report(collection, false, std::nullopt); }

bool Board::busy() const {
  const std::scoped_lock lock(mutex_);
  return working_ || !pending_.empty();
}

std::optional<Fault> Board::lastError() const {
  try {
    if (role_ != nullptr) role_->requireAtOnce();
  } catch (...) {
    return currentFault("Looking who may write failed");
  }
  const std::scoped_lock lock(mutex_);
  if (errors_.empty()) return std::nullopt;
  return errors_.begin()->second;
}

}  // namespace orvix::server
