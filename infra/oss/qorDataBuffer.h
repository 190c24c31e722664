// SPDX-License-Identifier: Apache-2.0
// A byte buffer that knows its length.
#pragma once

#include <limits>
#include <string>
#include <utility>

namespace orvix::oss {

/// Owned bytes.
class DataBuffer {
 public:
  DataBuffer() = default;
  explicit DataBuffer(std::string bytes) : bytes_(std::move(bytes)) {}

  /// The number of bytes held, at most what an int can say.
  [[nodiscard]] int length() const {
    constexpr auto MOST = static_cast<std::size_t>(std::numeric_limits<int>::max());
    return static_cast<int>(bytes_.size() < MOST ? bytes_.size() : MOST);
  }
  [[nodiscard]] const char* data() const { return bytes_.data(); }

 private:
  std::string bytes_;
};

}  // namespace orvix::oss
