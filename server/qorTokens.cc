// SPDX-License-Identifier: Apache-2.0
// Reads the token file once, at start.
#include "server/qorTokens.h"

#include <fstream>

#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

bool equalInConstantTime(std::string_view held, std::string_view given) noexcept {
  unsigned difference = held.size() == given.size() ? 0U : 1U;
  for (std::size_t i = 0; i < held.size(); ++i) {
    const char other = i < given.size() ? given[i] : '\0';
    difference |= static_cast<unsigned char>(held[i]) ^ static_cast<unsigned char>(other);
  }
  return difference == 0;
}

}  // namespace

Tokens::Tokens(const std::filesystem::path& file) : required_(true) {
  std::ifstream lines(file);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.ends_with('\r')) line.pop_back();
    if (!line.empty() && line.front() != '#') tokens_.push_back(line);
  }
  if (tokens_.empty()) {
    refuse(MessageId::STORAGE_FAILED,
           "The token file " + file.string() + " cannot be read or holds no token");
  }
}

bool Tokens::admit(std::string_view token) const noexcept {
  bool admitted = !required_;
  for (const std::string& held : tokens_) {
    if (equalInConstantTime(held, token)) admitted = true;
  }
  return admitted;
}

}  // namespace orvix::server
