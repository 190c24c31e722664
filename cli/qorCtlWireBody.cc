// SPDX-License-Identifier: Apache-2.0
// The body of a document. A field may carry a number behind its value without saying so; whether it
// does follows from where the body has to end, so both readings are tried.
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/qorCtlText.h"
#include "cli/qorCtlWireExplain.h"

namespace orvix::ctl {

namespace {

constexpr std::string_view KEY_NAME = "rowId";
constexpr std::string_view CONTENT_NAME = "data";
constexpr std::size_t WORD = sizeof(std::uint32_t);
constexpr std::uint32_t TOP_BITS = 0xc0000000U;

/// One record of the body, by its offsets.
struct Record {
  std::string_view name;
  std::size_t end;
};

std::optional<std::size_t> runEnd(std::string_view body, std::size_t at) {
  const PartSink nobody = [](const WirePart&) {};
  if (at > body.size() || body.size() - at < WORD) return std::nullopt;
  WireReader in(body.substr(at), nobody);
  const std::uint32_t length = in.u32("a length");
  if (length > in.remaining()) return std::nullopt;
  return at + WORD + length;
}

std::optional<Record> recordAt(std::string_view body, std::size_t at) {
  const auto nameEnd = runEnd(body, at);
  const auto end = nameEnd ? runEnd(body, *nameEnd) : std::nullopt;
  if (!end) return std::nullopt;
  return Record{body.substr(at + WORD, *nameEnd - at - WORD), *end};
}

/// Whether the body ends here as it must: with the key, or the key and the content.
bool endsAt(std::string_view body, std::size_t at) {
  const auto key = recordAt(body, at);
  if (!key || key->name != KEY_NAME) return false;
  if (key->end == body.size()) return true;
  const auto content = recordAt(body, key->end);
  return content && content->name == CONTENT_NAME && content->end == body.size();
}

/// Which of the fields, in their order, carry a number; nothing when no reading fits. No offset is
/// tried twice, so that hostile bytes cost no more than honest ones.
class FieldPlan {
 public:
  explicit FieldPlan(std::string_view body) : body_(body), seen_(body.size() + 1) {}

  std::optional<std::vector<bool>> find() {
    enter(0);
    while (!steps_.empty()) {
      Step& step = steps_.back();
      if (endsAt(body_, step.at)) return numbered();
      const auto record = recordAt(body_, step.at);
      if (!record || step.tried == 2) {
        steps_.pop_back();
        continue;
      }
      enter(record->end + (step.tried++ == 0 ? 0 : WORD));
    }
    return std::nullopt;
  }

 private:
  struct Step {
    std::size_t at;
    int tried = 0;  // 1: without a number, 2: with one
  };

  void enter(std::size_t at) {
    if (at >= body_.size() || seen_[at]) return;
    seen_[at] = true;
    steps_.push_back({at});
  }

  [[nodiscard]] std::vector<bool> numbered() const {
    std::vector<bool> fields;
    for (std::size_t at = 0; at + 1 < steps_.size(); ++at) fields.push_back(steps_[at].tried == 2);
    return fields;
  }

  std::string_view body_;
  std::vector<bool> seen_;
  std::vector<Step> steps_;
};

/// A length and its run.
std::string_view explainRun(WireReader& in, const std::string& what) {
  const std::string lengthOf = "the length of " + what;
  const std::uint32_t length = in.u32(lengthOf.c_str());
  if ((length & TOP_BITS) != 0) {
    throw WireFault(in.offset() - WORD, lengthOf + " with its top two bits clear");
  }
  if (length <= in.remaining()) in.tell(lengthOf + ": " + std::to_string(length));
  const std::string_view run = in.bytes(length, what);
  in.tell(what + (run.size() > WORD * WORD ? "" : ": " + inQuotes(run)));
  return run;
}

std::string marksOf(std::string_view name) {
  std::string marks;
  if (name.find("Indexable:") != std::string_view::npos) marks += ", searchable";
  if (name.find("[sortable]") != std::string_view::npos) marks += ", sortable";
  return marks;
}

void explainField(WireReader& in, bool numbered) {
  const std::string name(explainRun(in, "a record's name"));
  static_cast<void>(explainRun(in, "the value of field " + inQuotes(name) + marksOf(name)));
  if (!numbered) return;
  const std::uint32_t number = in.u32("a field's number");
  in.tell("the field's number: " + std::to_string(number));
}

void explainEnd(WireReader& in) {
  static_cast<void>(explainRun(in, "a record's name"));
  static_cast<void>(explainRun(in, "the document's key"));
  if (in.remaining() == 0) return;
  static_cast<void>(explainRun(in, "a record's name"));
  static_cast<void>(explainRun(in, "the document's content"));
}

/// No reading fits: the plain one shows where it breaks off.
[[noreturn]] void explainUntilFault(WireReader& in) {
  while (in.remaining() != 0) explainField(in, false);
  in.fault("the document's key in a record \"rowId\", last or last but one before \"data\"");
}

void explainBodyHeader(WireReader& in) {
  const std::uint32_t format = in.u32("the body's format");
  if (format != 0) throw WireFault(in.offset() - WORD, "0, the format of a document's body");
  in.tell("body: its format, 0");
  const std::uint32_t rest = in.u32("the length of the rest of the body");
  if (rest != in.remaining()) {
    throw WireFault(in.offset() - WORD, std::to_string(in.remaining()) +
                                            ", the bytes left by Content-Length; it is " +
                                            std::to_string(rest));
  }
  in.tell("body: " + std::to_string(rest) + " bytes follow, the content included");
}

}  // namespace

void explainBody(WireReader& in) {
  explainBodyHeader(in);
  const auto plan = FieldPlan(in.rest()).find();
  if (!plan) explainUntilFault(in);
  for (const bool numbered : *plan) explainField(in, numbered);
  explainEnd(in);
}

}  // namespace orvix::ctl
