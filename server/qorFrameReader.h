// SPDX-License-Identifier: Apache-2.0
// Cuts the bytes of one connection into request frames, whatever the segmentation. Pure: no I/O, no
// engine. Bytes go in through feed(), whole frames come out of next(), in order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "server/qorProperties.h"
#include "server/qorRefusal.h"

namespace orvix::server {

/// What is known about the sender's right to make a request.
enum class Admission : std::uint32_t {
  NOT_SCREENED = 1,  // nobody has looked yet
  ADMITTED = 2,      // a right token, and one that allows this
  NO_TOKEN = 3,      // no token, or a wrong one: status 401
  FORBIDDEN = 4  // a right token that does not allow this: the frame's fault says what is missing
};

/// One request as it stood on the wire.
struct Frame {
  Properties properties;
  std::string body;  ///< whole, or its first KEPT_HEAD bytes when `fault` says it is too large
  std::uint32_t bodyLength = 0;  ///< as announced
  std::size_t headerLength = 0;
  std::optional<std::string> text;  ///< of a document's content, when it was read ahead
  std::optional<Fault> fault;  ///< set: answer with it (or not at all) and do not obey the request
  bool positionLost = false;   ///< set: nothing after this frame can be understood; close
  Admission admission = Admission::NOT_SCREENED;

  /// About the memory that it takes.
  [[nodiscard]] std::size_t size() const noexcept {
    return headerLength + body.size() + (text ? text->size() : 0);
  }
};

/// Shape:  { length: u16, header text: u8[length], body: u8[Content-Length] }*
///         header text = { key ": " value "\n" }* "\r\n"
/// Limits: a body over MAX_BODY is skipped by its announced length, never stored; memory for a body
///         is taken only as it arrives. A header has at most MAX_LINES lines, with keys of MAX_KEY
///         bytes.
/// Once a frame with `positionLost` came out, next() yields nothing more.
class FrameReader {
 public:
  static constexpr std::uint32_t MAX_BODY = 64U << 20U;
  static constexpr std::size_t KEPT_HEAD = 64U << 10U;
  static constexpr std::size_t MAX_LINES = 1000;
  static constexpr std::size_t MAX_KEY = 1000;

  /// Called once a header is understood and before any byte of its body is kept. May set admission,
  /// fault and positionLost.
  using Screen = std::function<void(Frame&)>;

  FrameReader() = default;
  explicit FrameReader(Screen screen) : screen_(std::move(screen)) {}

  void feed(std::string_view bytes);
  [[nodiscard]] std::optional<Frame> next();
  /// A part of a frame has arrived: of its length or header, of its body.
  [[nodiscard]] bool inHeader() const noexcept;
  [[nodiscard]] bool inBody() const noexcept { return state_ == State::BODY; }
  /// Bytes to feed at most: while a header is coming in, no more than KEPT_HEAD are held in all.
  [[nodiscard]] std::size_t room() const noexcept {
    return inBody() ? KEPT_HEAD : KEPT_HEAD - std::min(KEPT_HEAD, held().size());
  }
  /// Bytes that are kept of a body that is still coming in.
  [[nodiscard]] std::size_t keptOfBody() const noexcept { return frame_.body.size(); }

 private:
  enum class State : std::uint32_t {
    LENGTH = 1,  // nothing consumed; awaits the 2 length bytes
    HEADER = 2,  // length consumed; awaits headerLength_ bytes
    BODY = 3,    // header consumed; bodyLeft_ bytes of the body are still to come
    LOST = 4     // a frame without a usable length went by; everything is ignored
  };

  [[nodiscard]] std::string_view held() const noexcept;
  void consume(std::size_t count);
  void reset();
  bool readLength();
  bool readHeader();
  bool readBody();

  Screen screen_;
  std::string buffer_;
  std::size_t at_ = 0;  // consumed bytes at the start of buffer_
  State state_ = State::LENGTH;
  std::size_t headerLength_ = 0;
  std::uint32_t bodyLeft_ = 0;
  Frame frame_;
};

}  // namespace orvix::server
