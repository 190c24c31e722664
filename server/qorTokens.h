// SPDX-License-Identifier: Apache-2.0
// Who may use the server: the tokens of a file, or everybody when no file is configured.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::server {

class Tokens {
 public:
  /// Admits everybody.
  Tokens() = default;
  /// One token a line; blank lines and lines that start with '#' do not count.
  /// Throws: STORAGE_FAILED when the file cannot be read or holds no token.
  explicit Tokens(const std::filesystem::path& file);

  /// Compares in a time that does not depend on how much of a token was right.
  [[nodiscard]] bool admit(std::string_view token) const noexcept;
  [[nodiscard]] bool required() const noexcept { return required_; }

 private:
  std::vector<std::string> tokens_;
  bool required_ = false;
};

}  // namespace orvix::server
