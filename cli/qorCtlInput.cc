// SPDX-License-Identifier: Apache-2.0
// Reads with the system's calls: the streams of the C++ library go on reading when Ctrl-C comes.
#include "cli/qorCtlInput.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "cli/qorCtlInterrupt.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

std::string reasonOf(int error) { return std::generic_category().message(error); }

}  // namespace

std::string inputName(const std::string& path) {
  return path == STANDARD_INPUT ? "standard input" : "'" + printable(path) + "'";
}

ByteInput::ByteInput(const std::string& path) : name_(inputName(path)) {
  descriptor_ = path == STANDARD_INPUT ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) problem_ = name_ + " cannot be read: " + reasonOf(errno);
}

ByteInput::~ByteInput() {
  if (descriptor_ > STDIN_FILENO) ::close(descriptor_);
}

bool ByteInput::refill() {
  while (problem_.empty() && interrupt::awaitReadable(descriptor_)) {
    const ssize_t got = ::read(descriptor_, buffer_.data(), buffer_.size());
    if (got > 0) {
      at_ = 0;
      held_ = static_cast<std::size_t>(got);
      return true;
    }
    if (got == 0) return false;
    if (errno != EINTR) {
      problem_ = name_ + " cannot be read to its end: " + reasonOf(errno);
    }
  }
  return false;
}

}  // namespace orvix::ctl
