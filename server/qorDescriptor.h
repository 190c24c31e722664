// SPDX-License-Identifier: Apache-2.0
// Owner of one file descriptor.
#pragma once

#include <unistd.h>
#include <utility>

namespace orvix::server {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  /// False when the call that should have made it failed; errno tells why.
  explicit operator bool() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int get() const noexcept { return descriptor_; }

 private:
  int descriptor_ = -1;
};

}  // namespace orvix::server
