// SPDX-License-Identifier: Apache-2.0
// What the parser of markup reads from and tells its events to: hands it the document piece by
// piece, collects the text, and watches the limits of both.
#pragma once

#include <cstddef>
#include <ctime>
#include <exception>
#include <string>
#include <string_view>

namespace orvix::server {

/// Counts the attributes of a tag of XML before there is a tag: the signs of equality since its
/// first bracket, of which it can have no other. Sections of text are passed over, and whatever the
/// parser has come past.
class AttributeWatch {
 public:
  /// Answers whether there are few enough.
  [[nodiscard]] bool see(std::string_view piece) noexcept;
  void pass() noexcept { count_ = 0; }

 private:
  std::size_t sinceBracket_ = 0;
  unsigned count_ = 0;
  bool declaration_ = false;
  bool section_ = false;
};

/// Collects the text of one document. Its failure is kept and the parser stopped: no exception may
/// pass through it.
/// Borrows: the source, for its whole life.
/// Throws:  CONTENT_MALFORMED where a limit is met.
class MarkupGatherer {
 public:
  MarkupGatherer(std::string_view source, bool isXml, unsigned seconds);

  /// An element begins or ends; `html`: its name is one of HTML's.
  void start(std::string_view name, bool html);
  void end(std::string_view name, bool html);
  /// The same, for the depth of XML.
  void enter();
  void leave() noexcept { --depth_; }
  void add(std::string_view text);
  void lookAtTimes();
  /// The next piece of the source; 0 at its end.
  int read(char* buffer, int room);

  void keepFailure() noexcept { failure_ = std::current_exception(); }
  [[nodiscard]] bool failed() const noexcept { return failure_ != nullptr; }
  void raiseFailure() const;
  /// The parser's first complaint counts.
  void keepError(std::string text);
  [[nodiscard]] const std::string& error() const noexcept { return error_; }
  [[nodiscard]] std::string& text() noexcept { return text_; }

 private:
  void look() const;
  void watch(std::string_view piece);

  std::string_view source_;  // what is still to be read
  bool isXml_;
  bool started_ = false;    // the first element was seen
  std::size_t before_ = 0;  // bytes read by then
  AttributeWatch attributes_;
  std::string text_;
  std::size_t longest_;
  unsigned seconds_;
  std::time_t end_;
  unsigned events_ = 0;
  unsigned leftOut_ = 0;  // elements that are open and whose text does not count
  unsigned depth_ = 0;
  std::exception_ptr failure_;
  std::string error_;
};

}  // namespace orvix::server
