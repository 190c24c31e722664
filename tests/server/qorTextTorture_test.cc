// SPDX-License-Identifier: Apache-2.0
// Documents damaged at random, in every type and under many character sets: each gives text or is
// refused. What is looked for are crashes, hangs and ill-formed text; build it with sanitizers. The
// seed is fixed, and a failure prints the document.
#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>

#include "server/qorMarkupText.h"
#include "server/qorRefusal.h"
#include "server/qorTextDecoder.h"
#include "server/qorTextExtraction.h"

namespace orvix::server {
namespace {

constexpr std::array<std::string_view, 6> SEEDS{
    "<!DOCTYPE html><html><head><meta charset=utf-8><title>a</title><style>b</style></head><body "
    "class='c'><p>d<b>e</b><img alt=\"f &amp; g\"><script>if (h < i) j();</script><!-- k -->"
    "<table><tr><td>l<td>m</table>&nbsp;&#x41;</body></html>",
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><!DOCTYPE r [<!ENTITY a \"b<c>d</c>\"><!ELEMENT r "
    "ANY><!ATTLIST r e CDATA \"f\"><!ENTITY % g \"<!ENTITY h 'i'>\">%g;]><r xmlns:j=\"k\" "
    "l=\"&a;\">"
    "&a;<j:m><![CDATA[n]]></j:m><?o p?>&#xFC;<!-- q --></r>",
    R"({"a": [1, -2.5e3, true, null, "b\u00fc\ud83d\ude00\n"], "c": {"d": {}, "e": []}})",
    "<a><b><c><d><e><f>g</f></e></d></c></b></a>",
    "\xFE\xFF\0<\0a\0>\0x\0<\0/\0a\0>",
    "plain \xC3\xBC text \xE6\x9D\xB1\xE4\xBA\xAC",
};
constexpr std::array<const char*, 4> TYPES{"text/html", "text/xml", "application/json",
                                           "text/plain"};
constexpr std::array<const char*, 8> CHARSETS{"",          "UTF-8",       "UTF-16", "ISO-8859-1",
                                              "Shift_JIS", "ISO-2022-JP", "UTF-7",  "GB18030"};
constexpr std::array<std::string_view, 16> PIECES{
    "<",         ">",        "&",         ";",   "\"",
    "<!--",      "-->",      "<![CDATA[", "]]>", "<!DOCTYPE a [",
    "<!ENTITY ", "<script>", "</",        "\\u", std::string_view("\0", 1),
    "\xFF"};

class Damage {
 public:
  std::string document() {
    std::string text(SEEDS.at(below(SEEDS.size())));
    for (std::size_t i = 1 + below(6); i > 0; --i) damage(text);
    return text;
  }
  std::size_t below(std::size_t end) { return random_() % end; }

 private:
  void damage(std::string& text) {
    const std::size_t at = below(text.size() + 1);
    const std::size_t count = std::min(below(12), text.size() - at);
    switch (below(5)) {
      case 0:
        text.erase(at, count);
        break;
      case 1:
        text.insert(at, PIECES.at(below(PIECES.size())));
        break;
      case 2:
        text.insert(at, text.substr(below(text.size() + 1), 1 + below(40)));
        break;
      case 3:
        if (at < text.size()) text[at] = static_cast<char>(below(256));
        break;
      case 4:
        text.resize(at);
        break;
      default:
        break;
    }
  }

  std::mt19937 random_{20240229};
};

TEST(TextTorture, DamagedDocumentsGiveTextOrAreRefused) {
  constexpr int DOCUMENTS = 20000;
  Damage damage;
  int texts = 0;
  for (int i = 0; i < DOCUMENTS; ++i) {
    const std::string document = damage.document();
    const char* type = TYPES.at(damage.below(TYPES.size()));
    const char* charset = CHARSETS.at(damage.below(CHARSETS.size()));
    SCOPED_TRACE(std::string(type) + " " + charset + ": " + document);
    try {
      const std::string text = extractText(document, {type, {}}, charset);
      ASSERT_TRUE(isWellFormedUtf8(text));
      ++texts;
    } catch (const Refusal& refusal) {
      const MessageId id = refusal.fault().id;
      ASSERT_TRUE(id == MessageId::CONTENT_MALFORMED || id == MessageId::CHARSET_UNKNOWN)
          << refusal.fault().text;
    }
  }
  EXPECT_GT(texts, DOCUMENTS / 4);
}

std::string faultOf(std::string (*read)(std::string_view, unsigned), const std::string& text) {
  try {
    static_cast<void>(read(text, 1));
    return "it was read";
  } catch (const Refusal& refusal) {
    return refusal.fault().text;
  }
}

/// Attributes cost the parser their square.
TEST(TextTorture, ElementsOfVeryManyAttributesAreGivenUp) {
  std::string attributes;
  std::string defaults;
  for (int i = 0; i < 300000; ++i) {
    attributes += " a" + std::to_string(i) + "='>'";
    defaults += " a" + std::to_string(i) + " CDATA ''";
  }
  const auto of = [](const char* what) { return "The document's markup " + std::string(what); };
  EXPECT_EQ(faultOf(textOfHtml, "<r" + attributes + ">"),
            of("takes more than 1 seconds of processor time to read"));
  const std::string tooMany = of("has an element of more than 20000 attributes");
  EXPECT_EQ(faultOf(textOfXml, "<r>x<![CDATA[y]]><a b='c'" + attributes + "/></r>"), tooMany);
  EXPECT_EQ(faultOf(textOfXml, "<!DOCTYPE r [<!ATTLIST r" + defaults + ">]><r/>"),
            of("has more than 65536 bytes before its first element"));
  const std::string equations(100000, '=');
  EXPECT_EQ(textOfXml("<r><![CDATA[" + equations + "]]></r>").size(), 100002U);
  EXPECT_EQ(textOfXml("<r>" + equations + "<!--" + equations + "--></r>").size(), 100002U);
}

}  // namespace
}  // namespace orvix::server
