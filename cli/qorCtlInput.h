// SPDX-License-Identifier: Apache-2.0
// Bytes of a file or of standard input, one after the other, in bounded memory. A wish to end
// (Ctrl-C) ends the input.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace orvix::ctl {

/// What standard input is called where a file is asked for.
inline constexpr char STANDARD_INPUT[] = "-";

/// One pass over a file. Owns its descriptor, unless it is standard input's.
class ByteInput {
 public:
  static constexpr int END = -1;

  explicit ByteInput(const std::string& path);
  ByteInput(const ByteInput&) = delete;
  ByteInput& operator=(const ByteInput&) = delete;
  ~ByteInput();

  /// The next byte, or END.
  int next() {
    if (at_ == held_ && !refill()) return END;
    return static_cast<unsigned char>(buffer_[at_++]);
  }
  /// Why the file could not be opened or read further; empty when nothing went wrong.
  [[nodiscard]] const std::string& problem() const { return problem_; }
  /// How messages call it: the path in quotes, or "standard input".
  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  bool refill();

  std::string name_;
  std::string problem_;
  int descriptor_ = -1;
  std::array<char, 65536> buffer_;  // not filled: only what was read is looked at
  std::size_t at_ = 0;
  std::size_t held_ = 0;
};

/// The path in quotes, or "standard input" for "-".
[[nodiscard]] std::string inputName(const std::string& path);

}  // namespace orvix::ctl
