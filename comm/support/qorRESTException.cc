// SPDX-License-Identifier: Apache-2.0
#include "comm/support/qorRESTException.h"

#include "comm/results/internal/qorServerMessage.h"

namespace orvix::comm {

RESTException::RESTException(const icu::UnicodeString& id, const char* fileName,
                             unsigned int lineNumber)
    : BaseException(id, fileName, lineNumber) {}

RESTException::RESTException(const icu::UnicodeString& id, bool withProperties)
    : BaseException(id, nullptr, 0), GenRespRecord(withProperties) {}

// A copy tells of the failure, not of the properties that it was parsed from.
// NOLINTNEXTLINE(bugprone-copy-constructor-init)
RESTException::RESTException(const RESTException& other)
    : BaseException(other), GenRespRecord(), serverReported_(other.serverReported_) {}

RESTException::~RESTException() = default;

void RESTException::postParse() {
  if (getProperties() == nullptr) return;
  oss::Message message;
  detail::extractServerMessage(*getProperties(), message, 0, false);
  if (message.getMessageID().isEmpty()) return;
  messageList().clear();
  messageList().join(oss::MessageList(message));
}

}  // namespace orvix::comm
