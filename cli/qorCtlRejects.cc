// SPDX-License-Identifier: Apache-2.0
// One line per document, handed on with every batch.
#include "cli/qorCtlRejects.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "cli/qorCtlBytesText.h"
#include "cli/qorCtlExit.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

using Json = nlohmann::ordered_json;

Json bytesValue(const std::string& bytes) {
  if (isUtf8(bytes)) return bytes;
  return {{BASE64_MEMBER, toBase64(bytes)}};
}

}  // namespace

RejectLog::RejectLog(const std::string& path, const SourceOptions& options)
    : path_(path),
      keyMember_(options.keyMember),
      contentMember_(options.contentMember),
      file_(path, std::ios::binary | std::ios::trunc) {
  if (!file_) {
    throw CtlFailure(ExitCode::LOCAL_FILE,
                     "--rejects: '" + printable(path_) + "' cannot be opened for writing");
  }
}

const Document& RejectLog::hold(Document document) {
  held_.push_back({std::move(document)});
  return held_.back().document;
}

void RejectLog::settle(const comm::ParseResult& outcome) {
  Held* const held = find(outcome.getText());
  if (held == nullptr) return;
  held->settled = true;
  const oss::Message& message = outcome.getMessage();
  if (message.getMessageID().isEmpty()) {
    held->document.content = std::string();  // not needed any more
  } else {
    write(held->document, {toUtf8(message.getMessageID()), toUtf8(message.getMessageText())});
  }
}

void RejectLog::endBatch() {
  for (const Held& held : held_) {
    if (!held.settled) write(held.document, {"", "sent, but no outcome came back"});
  }
  held_.clear();
  next_ = 0;
  file_.flush();
  if (!file_) {
    throw CtlFailure(ExitCode::LOCAL_FILE,
                     "--rejects: '" + printable(path_) + "' cannot be written; is it full?");
  }
}

/// Outcomes come in the order of their documents; where that fails, the key decides. A server may
/// cut a long key.
RejectLog::Held* RejectLog::find(const icu::UnicodeString& key) {
  const std::size_t due = next_;
  const auto fits = [&](std::size_t at) {
    return !held_[at].settled && toUnicode(held_[at].document.key) == key;
  };
  const auto take = [this](std::size_t at) {
    next_ = at + 1;
    return &held_[at];
  };
  if (due < held_.size() && fits(due)) return take(due);
  for (std::size_t at = 0; at < held_.size(); ++at) {
    if (fits(at)) return take(at);
  }
  const bool cut = due < held_.size() && !held_[due].settled && !key.isEmpty() &&
                   toUnicode(held_[due].document.key).startsWith(key);
  return cut ? take(due) : nullptr;
}

void RejectLog::write(const Document& document, const Reason& reason) {
  Json object;
  object[keyMember_] = bytesValue(document.key);
  for (const Field& field : document.fields) {
    object[field.column.empty() ? field.name : field.column] = field.value;
  }
  object[contentMember_] = bytesValue(document.content);
  object[REJECTED_MEMBER] = {{"id", reason.id}, {"message", reason.text}};
  file_ << object.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace orvix::ctl
