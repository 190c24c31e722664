// SPDX-License-Identifier: Apache-2.0
// What counts as the text of a document, type by type; and documents that are made to harm.
#include "server/qorTextExtraction.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "server/qorJsonText.h"
#include "server/qorMarkupText.h"
#include "server/qorRefusal.h"
#include "tests/server/qorServerFixture.h"

namespace orvix::server {
namespace {

/// Words with one blank between them: how many there are is nobody's concern.
std::string squeezed(std::string_view text) {
  std::string out;
  for (const char c : text) {
    const bool blank = c == ' ' || c == '\n' || c == '\t' || c == '\r';
    if (!blank) {
      out += c;
    } else if (!out.empty() && out.back() != ' ') {
      out += ' ';
    }
  }
  if (out.ends_with(' ')) out.pop_back();
  return out;
}

/// The text, or the refusal as "MsgId: text".
std::string told(std::string_view type, std::string_view content, std::string_view charset = {}) {
  const ContentType parsed = parseContentType(type);
  try {
    return squeezed(extractText(content, parsed, charset.empty() ? parsed.charset : charset));
  } catch (const Refusal& refusal) {
    return std::string(messageIdText(refusal.fault().id)) + ": " + refusal.fault().text;
  }
}

struct Case {
  const char* name;
  std::string_view type;
  std::string content;
  std::string_view expected;
};

void expectAll(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(told(c.type, c.content), c.expected);
  }
}

TEST(TextExtraction, TheTypeSaysHowAContentIsRead) {
  const std::string markup = "<p>a</p>";
  expectAll({{"none", "", markup, "<p>a</p>"},
             {"not known", "unknown", markup, "<p>a</p>"},
             {"not defined", "ContentTypeNotDefined", markup, "<p>a</p>"},
             {"plain", "text/plain", markup, "<p>a</p>"},
             {"another text", "text/markdown", markup, "<p>a</p>"},
             {"HTML in any case", " Text/HTML ", markup, "a"},
             {"with a parameter", "text/html; charset=utf-8", markup, "a"},
             {"XHTML", "application/xhtml+xml", markup, "a"},
             {"XML", "text/xml", markup, "a"},
             {"XML of an application", "application/xml", markup, "a"},
             {"a kind of XML", "application/rss+xml", markup, "a"},
             {"JSON", "application/json", R"({"k":"a"})", "a"},
             {"a kind of JSON", "application/ld+json", R"(["a"])", "a"}});
  for (const char* type : {"image/png", "application/pdf", "application/*", "texts", "unknown/x"}) {
    EXPECT_TRUE(told(type, "x").starts_with("SRV_CONTENT_TYPE_UNSUPPORTED")) << type;
  }
  for (const char* type : {"text/html", "text/xml", "application/json", "text/plain"}) {
    EXPECT_EQ(told(type, ""), "") << type;
  }
}

TEST(TextExtraction, OfHtmlTheTextCountsAndNotTheMarkup) {
  expectAll(
      {{"blocks separate", "text/html", "<p>a</p><p>b</p>", "a b"},
       {"cells and breaks, too", "text/html", "<table><tr><td>a<td>b</table>c<br>d", "a b c d"},
       {"elements within a line do not", "text/html", "<b>a</b>b<i>c</i>", "abc"},
       {"unknown elements do", "text/html", "<x-y>a</x-y>b", "a b"},
       {"title", "text/html", "<head><title>t</title></head>b", "t b"},
       {"texts for images", "text/html", "a<img src=x alt='b &amp; c'>d", "a b & c d"},
       {"other attributes", "text/html", "<a href=x title=y>a</a>", "a"},
       {"scripts", "text/html", "a<script>var b = '<p>c</p>';</script>d", "a d"},
       {"styles", "text/html", "a<style>p { b: c }</style>d", "a d"},
       {"templates", "text/html", "a<template><p>b</p></template>c", "a c"},
       {"comments", "text/html", "a<!-- <p>b</p> -->c", "ac"},
       {"entities", "text/html", "gr&uuml;&#223; &amp; &#x41;&nbsp;b &lt;c", "grüß & A\u00a0b <c"},
       {"left open", "text/html", "<div><p>a<p>b", "a b"},
       {"crossed", "text/html", "<b>a<i>b</b>c</i>", "abc"},
       {"cut off", "text/html", "a<p>b<a href='", "a b"},
       {"a loose sign", "text/html", "1 < 2 and 3 > 2", "1 < 2 and 3 > 2"},
       {"a zero byte", "text/html", std::string("a\0<p>b", 6), "a b"},
       {"an unclosed script", "text/html", "a<script>b", "a"},
       {"nothing but markup", "text/html", "<p></p>", ""}});
}

TEST(TextExtraction, OfXmlTheTextOfElementsCounts) {
  expectAll(
      {{"elements separate", "text/xml", "<r><a>x</a><b>y</b></r>", "x y"},
       {"of XHTML as in HTML", "text/xml",
        "<p xmlns='http://www.w3.org/1999/xhtml'><b>x</b>y<script>z</script></p>", "xy"},
       {"script and style are only names", "text/xml", "<r><style>x</style></r>", "x"},
       {"attributes", "text/xml", "<r a='x'>y</r>", "y"},
       {"CDATA", "text/xml", "<r><![CDATA[<x>&y]]></r>", "<x>&y"},
       {"comments and instructions", "text/xml", "<r><?x y?>a<!-- b -->c</r>", "ac"},
       {"given entities", "text/xml", "<r>&lt;&#252;&amp;</r>", "<ü&"},
       {"its own entities", "text/xml",
        "<!DOCTYPE r [<!ENTITY e 'x<b>y</b>'><!ENTITY f '&e;z'>]><r>&f;-&e;</r>", "x y z-x y"},
       {"prefixes nobody declared", "text/xml", "<r><n:a>x</n:a></r>", "x"}});
}

TEST(TextExtraction, OfJsonTheValuesCount) {
  expectAll(
      {{"values and not names", "application/json",
        R"({"a":"x","b":[1,-2,3.50,true,null,"y\u00fc\n"],"c":{"d":"z"}})", "x 1 -2 3.50 yü z"},
       {"a bare string", "application/json", "\"x\"", "x"},
       {"a bare number", "application/json", " 12345678901234567890123 ",
        "12345678901234567890123"}});
}

TEST(TextExtraction, IllFormedContentIsRefusedWithItsPlace) {
  struct Fault {
    std::string_view type, content, expected;
  };
  const std::vector<Fault> cases{
      {"text/xml", "<r>\n <a></b></r>", "XML is ill-formed at line 2, column 9: "},
      {"text/xml", "<r>", "XML is ill-formed at line 1"},
      {"text/xml", "no markup", "XML is ill-formed at line 1, column 1"},
      {"text/xml", "<r/><r/>", "XML is ill-formed at line 1"},
      {"text/xml", "<r>&nowhere;</r>", "'nowhere' not defined"},
      {"text/xml", std::string_view("<r>\0</r>", 8), "XML is ill-formed at line 1"},
      {"text/xml", "  ", "XML is ill-formed at line 1"},
      {"application/json", "{\"a\":\n  x}", "JSON cannot be read at line 2, byte 3: "},
      {"application/json", "[1", "JSON cannot be read at line 1, byte 3: "},
      {"application/json", "[1] 2", "JSON cannot be read at line 1, byte 5: "},
      {"application/json", "[1e400]", "line 1, byte 6: number overflow"},
      {"application/json", "\"\\ud800\"", "JSON cannot be read at line 1"},
  };
  for (const Fault& c : cases) {
    const std::string text = told(c.type, c.content);
    EXPECT_TRUE(text.starts_with("SRV_CONTENT_MALFORMED: The document's")) << text;
    EXPECT_NE(text.find(c.expected), std::string::npos) << text;
  }
  EXPECT_LT(told("application/json", "[" + std::string(100000, 'x')).size(), 300U);
  EXPECT_LT(told("text/xml", "<" + std::string(100000, 'x') + "></y>").size(), 500U);
}

TEST(TextExtraction, TheRequestsCharacterSetCountsThenTheDocuments) {
  const std::string wide = std::string("\xFE\xFF\0<\0r\0>\0\xFC\0<\0/\0r\0>", 18);
  const std::string bare = std::string("\0<\0?\0x\0m\0l\0 \0?\0>", 16) + wide.substr(2);
  expectAll({
      {"XML declaration", "text/xml", "<?xml version='1.0' encoding='ISO-8859-1'?><r>\xFC</r>",
       "ü"},
      {"meta", "text/html", "<META Charset = iso-8859-1><p>\xFC", "ü"},
      {"meta as a header", "text/html",
       "<meta http-equiv='Content-Type' content='text/html; charset=iso-8859-1'>\xFC", "ü"},
      {"commented out", "text/html", "<!-- <meta charset=iso-8859-1> -->\xC3\xBC", "ü"},
      {"meta with a name nobody knows", "text/html", "<meta charset=klingon>\xC3\xBC", "ü"},
      {"meta that cannot be true", "text/html", "<meta charset=utf-16>\xC3\xBC", "ü"},
      {"mark", "text/plain", "\xEF\xBB\xBF\xC3\xBC", "ü"},
      {"mark of two bytes", "text/xml", wide, "ü"},
      {"mark before JSON", "application/json", "\xEF\xBB\xBF[\"\xC3\xBC\"]", "ü"},
      {"mark against the declaration", "text/xml",
       "\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?><r>\xC3\xBC</r>", "ü"},
      {"of the type", "text/html; x=y; Charset=\"iso-8859-1\"", "<meta charset=utf-8>\xFC", "ü"},
      {"ill-formed", "text/xml", "<r>a\xFF</r>", "a\uFFFD"},
  });
  EXPECT_EQ(told("text/xml", "<?xml version='1.0' encoding='utf-8'?><r>\xFC</r>", "latin1"), "ü");
  EXPECT_EQ(told("application/json", "\xEF\xBB\xBF[\"a\"]", "UTF-8"), "a");
  EXPECT_TRUE(told("text/xml", "<?xml version='1.0' encoding='klingon'?><r/>")
                  .starts_with("SRV_CHARSET_UNKNOWN"));
  EXPECT_TRUE(told("text/xml", bare).starts_with("SRV_CONTENT_MALFORMED")) << "no version in it";
}

/// Each level ten times the one below: a file of a kilobyte, a text of gigabytes.
std::string bomb(const std::string& innermost) {
  std::string declared = "<!ENTITY e0 '" + innermost + "'>";
  for (int level = 1; level <= 9; ++level) {
    declared += "<!ENTITY e" + std::to_string(level) + " '";
    for (int i = 0; i < 10; ++i) declared += "&e" + std::to_string(level - 1) + ";";
    declared += "'>";
  }
  return "<!DOCTYPE r [" + declared + "]><r a='&e9;'>&e9;</r>";
}

TEST(TextExtraction, EntitiesDoNotGrowBeyondMeasure) {
  std::string wide = "<!DOCTYPE r [<!ENTITY e '" + std::string(30000, 'x') + "'>]><r>";
  for (int i = 0; i < 40000; ++i) wide += "&e;";
  for (const std::string& text :
       {bomb("lol"), bomb(""), bomb("<a/>"), wide + "</r>",
        std::string("<!DOCTYPE r [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><r>&e;</r>")}) {
    EXPECT_TRUE(told("text/xml", text).starts_with("SRV_CONTENT_MALFORMED")) << text.substr(0, 100);
  }
}

TEST(TextExtraction, NothingOutsideOfTheDocumentIsRead) {
  const test::Folder folder;
  const std::string at =
      "'file://" + folder.file("outside", "<!ENTITY leaked 'outside'>outside") + "'";
  expectAll(
      {{"an entity", "text/xml", "<!DOCTYPE r [<!ENTITY e SYSTEM " + at + ">]><r>in&e;</r>", "in"},
       {"its DTD", "text/xml", "<!DOCTYPE r SYSTEM " + at + "><r>in&leaked;&euml;</r>", "in ë"},
       {"an inclusion", "text/xml",
        "<r xmlns:xi='http://www.w3.org/2001/XInclude'>in<xi:include parse='text' href=" + at +
            "/></r>",
        "in"}});
  const std::string parameter =
      told("text/xml", "<!DOCTYPE r [<!ENTITY % e SYSTEM " + at + ">%e;]><r>in&leaked;</r>");
  EXPECT_NE(parameter.find("'leaked' not defined"), std::string::npos) << parameter;
}

TEST(TextExtraction, DepthIsBoundedAndCostsNoStack) {
  const auto nested = [](std::size_t depth, const std::string& open, const std::string& close) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += open;
    text += "\"x\"";
    for (std::size_t i = 0; i < depth; ++i) text += close;
    return text;
  };
  EXPECT_EQ(told("text/xml", nested(MAX_XML_DEPTH, "<a>", "</a>")), "\"x\"");
  EXPECT_NE(told("text/xml", nested(MAX_XML_DEPTH + 1, "<a>", "</a>")).find("200 elements"),
            std::string::npos);
  EXPECT_EQ(told("application/json", nested(MAX_JSON_DEPTH, "[", "]")), "x");
  EXPECT_NE(told("application/json", nested(1000000, "[", "]")).find("1000 arrays"),
            std::string::npos);
  EXPECT_EQ(told("text/html", nested(20000, "<div>", "</div>")), "\"x\"");
  EXPECT_EQ(told("text/html", nested(200000, "<b>", "")), "\"x\"");
}

class TextKinds : public testing::ServerFixture {};

TEST_F(TextKinds, AreFoundByTheirText) {
  create("c");
  add("page", "<p>alpha</p><script>beta</script>", {}, {{"mimeType", "text/html"}});
  add("known", "<p>alpha</p>", {}, {{"mimeType", "image/png"}, {"KnownContentType", "text/xml"}});
  add("open", "<p>alpha</p>", {}, {{"mimeType", "text/html"}, {"KnownContentType", "unknown"}});
  add("json", R"({"beta":"alpha"})", {}, {{"mimeType", "application/json"}});
  EXPECT_EQ(find("alpha").size(), 4U);
  EXPECT_EQ(find("p OR script OR beta"), std::vector<std::string>{});
  EXPECT_EQ(verdict("addDocument", {{"index", "c"}, {"mimeType", "text/xml"}},
                    testing::documentOf("k", "<r>")),
            "SRV_CONTENT_MALFORMED");
}

}  // namespace
}  // namespace orvix::server
