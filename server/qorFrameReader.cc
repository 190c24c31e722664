// SPDX-License-Identifier: Apache-2.0
// One function per state; each answers false while bytes are missing. The header text is length
// prefixed, so a bad line costs only its own frame unless it hides the length of the body.
#include "server/qorFrameReader.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "comm/protocol/internal/qorWireStatus.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

constexpr std::size_t COMPACT_FROM = 64U << 10U;
/// What an idle connection may keep of its buffer.
constexpr std::size_t IDLE_CAPACITY = 4096;

void spoil(Frame& frame, const std::string& text) {
  frame.fault = Fault{MessageId::REQUEST_MALFORMED, text + "; the connection is closed"};
  frame.positionLost = true;
}

bool isControl(char byte) noexcept {
  return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
}

/// What is wrong with a key, or nothing.
std::string complaintAbout(std::string_view key) {
  if (key.size() > FrameReader::MAX_KEY) return "A header key has more than 1000 bytes";
  if (std::any_of(key.begin(), key.end(), isControl)) return "A header key has control characters";
  return {};
}

/// One `key ": " value`; answers what is wrong with it, or nothing.
std::string takeLine(std::string_view line, Properties& properties) {
  const std::size_t cut = line.find(words().separator);
  if (cut == std::string_view::npos) return "A header line has no \": \" between key and value";
  if (properties.size() == FrameReader::MAX_LINES) return "The header has more than 1000 lines";
  std::string wrong = complaintAbout(line.substr(0, cut));
  if (!wrong.empty()) return wrong;
  const std::string_view value = line.substr(cut + words().separator.size());
  const bool fresh =
      properties.emplace(std::string(line.substr(0, cut)), std::string(value)).second;
  return fresh ? "" : "The header key " + inQuotes(line.substr(0, cut)) + " comes twice";
}

/// Fills the properties; a fault leaves those that were read before it.
void parseHeaderText(std::string_view text, Frame& frame) {
  if (!text.ends_with(words().headerEnd)) {
    spoil(frame, "The header text does not end in a carriage return and a line feed");
    return;
  }
  text.remove_suffix(words().headerEnd.size());
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const bool ended = end != std::string_view::npos;
    const std::string wrong = ended ? takeLine(text.substr(0, end), frame.properties)
                                    : "The last header line does not end in a line feed";
    if (!wrong.empty()) {
      spoil(frame, wrong);
      return;
    }
    text.remove_prefix(end + 1);
  }
}

void parseBodyLength(Frame& frame) {
  const auto line = frame.properties.find(words().contentLength);
  if (line == frame.properties.end()) {
    spoil(frame, "The header has no " + inQuotes(words().contentLength) + " line");
    return;
  }
  const std::string& text = line->second;
  if (text.empty()) return;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, frame.bodyLength);
  if (error != std::errc() || stop != end) {
    frame.bodyLength = 0;
    spoil(frame, "The content length " + inQuotes(text) + " is not a number of bytes");
  } else if (frame.bodyLength > FrameReader::MAX_BODY) {
    frame.fault = Fault{MessageId::DOCUMENT_TOO_LARGE,
                        "The document takes " + text + " bytes; this server takes " +
                            std::to_string(FrameReader::MAX_BODY) + " at most"};
  }
}

}  // namespace

void FrameReader::feed(std::string_view bytes) {
  if (state_ == State::LOST) return;
  if (at_ == buffer_.size()) {
    reset();
  } else if (at_ >= COMPACT_FROM) {
    buffer_.erase(0, at_);
    at_ = 0;
  }
  buffer_.append(bytes);
}

void FrameReader::reset() {
  at_ = 0;
  buffer_.clear();
  if (buffer_.capacity() > IDLE_CAPACITY) std::string().swap(buffer_);
}

bool FrameReader::inHeader() const noexcept {
  return state_ == State::HEADER || (state_ == State::LENGTH && !held().empty());
}

std::optional<Frame> FrameReader::next() {
  bool done = false;
  while (!done) {
    bool moved = false;
    switch (state_) {
      case State::LENGTH:
        moved = readLength();
        break;
      case State::HEADER:
        moved = readHeader();
        break;
      case State::BODY:
        moved = done = readBody();
        break;
      case State::LOST:
        break;
    }
    if (!moved) {
      if (at_ == buffer_.size()) reset();
      return std::nullopt;
    }
  }
  state_ = frame_.positionLost ? State::LOST : State::LENGTH;
  return std::exchange(frame_, Frame());
}

std::string_view FrameReader::held() const noexcept {
  return std::string_view(buffer_).substr(at_);
}

void FrameReader::consume(std::size_t count) { at_ += count; }

bool FrameReader::readLength() {
  const auto length = oss::ByteReader(held()).u16();
  if (!length) return false;
  consume(comm::detail::wire::FRAME_LENGTH_SIZE);
  headerLength_ = *length;
  state_ = State::HEADER;
  return true;
}

bool FrameReader::readHeader() {
  if (held().size() < headerLength_) return false;
  parseHeaderText(held().substr(0, headerLength_), frame_);
  consume(headerLength_);
  frame_.headerLength = headerLength_;
  if (!frame_.positionLost) parseBodyLength(frame_);
  if (screen_) screen_(frame_);
  bodyLeft_ = frame_.positionLost ? 0 : frame_.bodyLength;
  state_ = State::BODY;
  return true;
}

bool FrameReader::readBody() {
  const std::string_view piece = held().substr(0, bodyLeft_);
  const std::size_t room =
      frame_.fault ? KEPT_HEAD - std::min(KEPT_HEAD, frame_.body.size()) : piece.size();
  frame_.body.append(piece.substr(0, room));
  consume(piece.size());
  bodyLeft_ -= static_cast<std::uint32_t>(piece.size());
  return bodyLeft_ == 0;
}

}  // namespace orvix::server
