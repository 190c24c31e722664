// SPDX-License-Identifier: Apache-2.0
// Reads no further than a token can be long.
#include "cli/qorCtlToken.h"

#include <sys/stat.h>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlInput.h"
#include "cli/qorCtlValidate.h"

namespace orvix::ctl {

std::string readToken(const std::string& path) {
  ByteInput input(path);
  std::string token;
  int byte = input.next();
  while (byte != ByteInput::END && byte != '\n' && token.size() <= MAX_LINE_VALUE) {
    token += static_cast<char>(byte);
    byte = input.next();
  }
  if (!input.problem().empty()) {
    throw CtlFailure(ExitCode::LOCAL_FILE, "--token-file: " + input.problem());
  }
  if (!token.empty() && token.back() == '\r') token.pop_back();
  if (token.empty()) {
    throw CtlFailure(ExitCode::LOCAL_FILE,
                     "--token-file: the first line of " + input.name() + " is empty");
  }
  const std::string wrong = checkFilledLine(token);
  if (!wrong.empty()) {
    throw CtlFailure(ExitCode::USAGE, "--token-file: first line of " + input.name() + ": " + wrong);
  }
  return token;
}

bool isReadableByOthers(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  return (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

}  // namespace orvix::ctl
