// The report of a configuration: its structure on a small core, that nothing in any text is markup, that links lead
// somewhere, and that the same configuration gives the same bytes.
#include "kdi/corepages/Report.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>

#include "kdi/common/KdiText.h"
#include "kdi/cores/Record.h"
#include "kdi/cores/Store.h"
#include "tests/support/clock_core.h"
#include "tests/support/foreign_locale.h"
#include "tests/support/golden.h"
#include "tests/support/pad_core.h"
#include "tests/support/sanitized.h"
#include "tests/support/threads.h"

namespace {

using kdi::corepages::Bounds;
using kdi::corepages::Heading;
using kdi::cores::Configuration;
using kdi::cores::Core;
using kdi::cores::Facts;

// Clocks, pads, a message with a condition, and texts that are markup.
std::string description() {
  return R"({"format": 1, "core": "made", "version": "1.0", "parameters": [)" + clock_core::parameters() + ",\n" +
         pad_core::parameters() + R"J(,
{"name": "LABEL", "type": "text", "widget": "EDIT", "group": "Texts & <more>", "display_name": "A \"label\" <i>",
 "description": "What is written on it, as in </summary>.", "default": "", "user_names": ["name_of_it"]},
{"name": "DEPTH", "type": "integer", "widget": "EDIT", "group": "Texts & <more>", "description": "one", "default": "2",
 "skips": true, "enabled": "LABEL != '' and (U_ON or not V_ON)", "range": "if U_ON then [1, 8] else [1, 4]",
 "messages": [{"name": "deep", "severity": "warning", "when": "DEPTH > 6 and U_ON", "text": "{LABEL} is {DEPTH} deep"}]}
], "clocks": )J" +
         clock_core::clocks() + R"(, "pads": )" + pad_core::pads() + "}";
}

using Values = std::map<std::string, std::string>;

class Made {
 public:
  explicit Made(Values const& values = {})
      : configuration(Core::parse(description(), "made.json"), {}, [](auto&&...) { return nullptr; }) {
    std::vector<std::pair<Configuration::Place, std::string>> given;
    for (auto const& [name, value] : values) given.emplace_back(configuration.find(name).value(), value);
    configuration.set(given);
  }
  std::string page(Bounds const& bounds = {}) {
    return kdi::corepages::report(configuration, {"", {{"Part", "a<b> & \"c\""}}}, bounds);
  }
  Configuration configuration;
};

const Values kConflicts = {{"UART1_ON", "1"}, {"SPI0_ON", "1"}, {"V_ON", "1"},
                           {"V_MHZ", "90"},   {"LABEL", "x"},   {"DEPTH", "7"}};

std::string without(std::string page, std::string const& from, std::string const& to) {
  for (std::size_t begin = 0; (begin = page.find(from, begin)) != std::string::npos;) {
    const std::size_t end = page.find(to, begin);
    if (end == std::string::npos) break;
    page.erase(begin + from.size(), end - begin - from.size());
    begin += from.size();
  }
  return page;
}

std::size_t count_of(std::string const& page, std::string const& piece) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = page.find(piece, at)) != std::string::npos; at += piece.size()) ++count;
  return count;
}

// Every tag is closed in its turn, and no text looks like one.
void expect_balanced(std::string const& page) {
  const std::set<std::string> alone = {"meta", "input", "!DOCTYPE", "rect", "line", "path", "circle"};
  const std::string body = without(without(page, "<style>", "</style>"), "<script>", "</script>");
  std::vector<std::string> open;
  for (std::size_t at = 0; (at = body.find('<', at)) != std::string::npos; ++at) {
    const std::size_t end = body.find('>', at);
    ASSERT_NE(end, std::string::npos);
    const std::string tag = body.substr(at + 1, end - at - 1);
    ASSERT_EQ(tag.find('<'), std::string::npos) << body.substr(at, 80);
    const std::string name = tag.substr(tag[0] == '/' ? 1 : 0, tag.find_first_of(" /", 1) - (tag[0] == '/' ? 1 : 0));
    if (tag[0] == '/') {
      ASSERT_FALSE(open.empty()) << tag;
      ASSERT_EQ(open.back(), tag.substr(1)) << body.substr(at > 300 ? at - 300 : 0, 320);
      open.pop_back();
    } else if (!tag.ends_with('/') && !alone.contains(name)) {
      open.push_back(name);
    }
  }
  EXPECT_TRUE(open.empty());
}

// What stands behind `before` up to the next quote, wherever that is in the page.
std::vector<std::string> quoted_behind(std::string const& page, std::string const& before) {
  std::vector<std::string> all;
  for (std::size_t at = 0; (at = page.find(before, at)) != std::string::npos;) {
    at += before.size();
    all.push_back(page.substr(at, page.find('"', at) - at));
  }
  return all;
}

std::set<std::string> ids_of(std::string const& page) {
  std::set<std::string> ids;
  for (std::string const& one : quoted_behind(page, " id=\""))
    EXPECT_TRUE(ids.insert(one).second) << one << " stands twice";
  return ids;
}

void expect_links_to_lead_somewhere(std::string const& page) {
  const std::set<std::string> ids = ids_of(page);
  for (std::string const before : {"href=\"#", "data-to=\""})
    for (std::string const& one : quoted_behind(page, before)) EXPECT_TRUE(ids.contains(one)) << one;
  EXPECT_EQ(count_of(page, "href=\""), count_of(page, "href=\"#")) << "a link that leaves the page";
}

TEST(Report, HasThisStructure) {
  const std::string page = Made(kConflicts).page();
  test_support::expect_golden("cores/report.html",
                              without(without(without(page, "<style>", "</style>"), "<script>", "</script>"),
                                      "<div class=\"why\">", "</div></details>"));
  expect_balanced(page);
  expect_links_to_lead_somewhere(page);
}

std::string without_assets(std::string const& page) {
  return without(without(page, "<style>", "</style>"), "<script>", "</script>");
}
std::string without_list(std::string const& page) { return without(page, "<div id=\"list\">", "</main>"); }

// What else there may be to say: nothing given, clocks by hand, banks that are missing, no seat for everyone, values
// without effect, messages without advice, and all that is told of a parameter.
TEST(Report, OfOtherStates) {
  std::string all;
  const auto add = [&](std::string const& name, Values const& values, Bounds const& bounds = {}) {
    const std::string page = Made(values).page(bounds);
    expect_balanced(page);
    expect_links_to_lead_somewhere(page);
    all += "==== " + name + "\n" + without_list(without_assets(page));
  };
  add("nothing given", {});
  add("no effort", kConflicts, {1000, 24, 1});
  add("no advice", kConflicts, {1000, 0, 1});
  add("by hand", {{"MANUAL", "1"},
                  {"ALT_MHZ", "20"},
                  {"REF_MHZ", "60"},
                  {"V_ON", "1"},
                  {"V_SRC", "the reference"},
                  {"V_DIV", "1"},
                  {"V_MOST", "50"},
                  {"W_SRC", "none"}});
  add("no bank",
      {{"PS_THERE", "0"}, {"UART0_IO", "PS 0 .. 1"}, {"SPI0_ON", "1"}, {"SPI0_IO", "EMIO"}, {"U_MHZ", "0.001"}});
  add("no seat", {{"PS_THERE", "0"}, {"UART1_ON", "1"}, {"SPI0_ON", "1"}, {"WIDE", "1"}, {"KEY_ON", "1"}});
  add("no seat, but for one who moves", {{"UART1_ON", "1"},
                                         {"UART1_IO", "MIO 0 .. 1"},
                                         {"SPI0_ON", "1"},
                                         {"SPI0_IO", "PS 0 .. 3"},
                                         {"WIDE", "1"},
                                         {"KEY_ON", "1"}});
  add("no effect", {{"DEPTH", "4"}, {"V_MHZ", "500"}, {"U_ON", "1"}});
  test_support::expect_golden("cores/report_states.html", all);
}

TEST(Report, TellsAllOfASmallCore) {
  Configuration configuration(Core::parse(R"J({"format": 1, "core": "small", "version": "1.0",
"device": [{"word": "old", "type": "truth", "without": "1"}], "parameters": [
{"name": "ON", "type": "truth", "widget": "CHECKBOX", "description": "Whether.", "default": "1", "user_names": ["used"]},
{"name": "NOTE", "type": "text", "widget": "EDIT", "description": "Any.", "default": "", "messages": [
  {"name": "noted", "severity": "info", "when": "given(NOTE)", "text": "There is a note"}]},
{"name": "WIDTH", "type": "integer", "widget": "COMBO", "description": "In bits.", "default": "8", "skips": true,
 "enabled": "ON", "range": "if ON then [8, 16] else [8]", "messages": [
  {"name": "old_part", "severity": "critical_warning", "when": "device('old')", "text": "The part is old"}]},
{"name": "BYTES", "type": "integer", "widget": "EDIT", "description": "How many.", "default": "1", "derived": "WIDTH div 8"}
]})J",
                                          "small.json"),
                              {}, [](auto&&...) { return nullptr; });
  const auto set = [&](std::string const& name, std::string const& value) {
    configuration.set({{*configuration.find(name), value}});
  };
  set("NOTE", "hm");
  set("WIDTH", "9");
  std::string all = without_assets(kdi::corepages::report(configuration, {}));
  set("ON", "0");
  all += without_assets(kdi::corepages::report(configuration, {"Mine", {}}));
  test_support::expect_golden("cores/report_small.html", all);
}

TEST(Report, TellsOfAParameterWhyItIsSo) {
  const std::string page = Made(Values{{"U_ON", "0"}, {"V_ON", "1"}}).page();
  const std::size_t begin = page.find("<li id=\"p-DEPTH\"");
  ASSERT_NE(begin, std::string::npos);
  const std::string item = page.substr(begin, page.find("</li>\n", begin) - begin);
  const auto link = [](std::string const& name) { return "<a href=\"#p-" + name + "\">" + name + "</a>"; };
  for (std::string const& piece : std::vector<std::string>{
           "<dt>Disabled; it needs</dt><dd>" + link("LABEL") + " is not empty and (" + link("U_ON") + " is on or " +
               link("V_ON") + " is off)",
           "<code>LABEL != &#39;&#39; and (U_ON or not V_ON)</code>", link("V_ON") + " = <code>1</code>",
           "from 1 to 8 if " + link("U_ON") + " is on, otherwise from 1 to 4",
           std::string("<dt>Permitted</dt><dd>1 to 4")})
    EXPECT_NE(item.find(piece), std::string::npos) << piece << "\nin\n" << item;
}

TEST(Report, TextsAreNeverMarkup) {
  for (const std::string hostile :
       {"<script>alert(1)</script>", "\"><img src=x onerror=alert(1)>", "' onmouseover='alert(1)",
        "</title></svg></style>", "a\x1B[31m\x01\x7F", "\xFF\xFE\xC0\xAF\xED\xA0\x80", "ğüşıöçİĞÜŞÖÇ", "&lt;&amp;&#0;",
        "-->]]>", "javascript:alert(1)", "\xE2\x80\xAE txt.exe",
        "\xC2\x9B"
        "31m"}) {
    Made made(Values{{"LABEL", hostile}, {"DEPTH", "7"}, {"UART0_IO", hostile}, {"U_MHZ", hostile}});
    const std::string page = kdi::corepages::report(made.configuration, {hostile, {{hostile, hostile}}});
    expect_balanced(page);
    EXPECT_EQ(count_of(page, "<script"), 1U);
    EXPECT_EQ(count_of(page, "<img"), 0U);
    EXPECT_TRUE(kdi::cores::is_utf8(page));
    for (const char c : page) EXPECT_TRUE(c == '\n' || c == '\t' || !kdi::text::is_control(c)) << int{c};
    const std::string body = without(page, "<script>", "</script>");
    EXPECT_FALSE(std::regex_search(body, std::regex("<[^>]* on[a-z]+=[^>]*>"))) << "an event in a tag";
  }
  EXPECT_NE(Made(Values{{"LABEL", "ğüşıöçİĞÜŞÖÇ"}}).page().find("<code>ğüşıöçİĞÜŞÖÇ</code>"), std::string::npos);
}

TEST(Report, IsTheSameOnEveryThreadAndInEveryLocale) {
  const std::string expected = Made(kConflicts).page();
  {
    const ForeignLocale turkish("tr_TR", "ISO-8859-9");
    EXPECT_EQ(Made(kConflicts).page(), expected);
  }
  {
    const ForeignLocale german("de_DE", "UTF-8");
    EXPECT_EQ(Made(kConflicts).page(), expected);
  }
  std::vector<std::string> pages(4);
  in_threads(4, [&](int number) { pages[static_cast<std::size_t>(number)] = Made(kConflicts).page(); });
  for (std::string const& page : pages) EXPECT_EQ(page, expected);
}

TEST(Report, LeavesTheConfigurationAsItIs) {
  Made made(kConflicts);
  const std::string first = made.page();
  EXPECT_EQ(made.page(), first);
  EXPECT_EQ(made.configuration.value(made.configuration.find("UART1_ON")->number), "1");
}

TEST(Report, SaysWhereAdviceWasLeftOut) {
  Made made(kConflicts);
  const std::string none = made.page({1000, 0, 100'000});
  EXPECT_EQ(count_of(none, "What clears it"), 0U);
  EXPECT_NE(none.find("Advice was sought for the first 0 messages"), std::string::npos);
  EXPECT_NE(made.page({1000, 24, 1}).find("No advice was found within the effort"), std::string::npos);
  EXPECT_GT(count_of(made.page(), "What clears it"), 0U);
}

TEST(Report, MarksClocksThatAreFarOff) {
  Made made(Values{{"W_MHZ", "47.11"}});
  EXPECT_NE(made.page().find("off its request"), std::string::npos);
  EXPECT_EQ(made.page({1'000'000, 24, 100'000}).find("off its request"), std::string::npos);
}

// Of every core that is shipped, with its sub-cores: each parameter once, links that lead somewhere.
TEST(Report, OfEveryCore) {
  for (std::string const& name : kdi::cores::core_names()) {
    if (test_support::kSanitized && name != "xram" && name != "psx_wizard") continue;
    const std::string version = kdi::cores::core_versions(name).back();
    Configuration configuration(kdi::cores::core_description(name, version), {}, kdi::cores::core_description);
    const std::string page = kdi::corepages::report(configuration, {}, {1000, 0, 0});
    SCOPED_TRACE(name);
    const std::set<std::string> ids = ids_of(page);
    for (kdi::cores::Parameter const& one : configuration.core().parameters())
      EXPECT_TRUE(ids.contains("p-" + one.name)) << one.name;
    expect_links_to_lead_somewhere(page);
    expect_balanced(page);
  }
}

}  // namespace
