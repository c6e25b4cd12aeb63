// Explanations as text: whole texts of some, and that lines keep to their width.
#include <gtest/gtest.h>

#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiText.h"
#include "kdi/corepages/ExplanationText.h"
#include "kdi/cores/Explain.h"
#include "tests/support/clock_core.h"
#include "tests/support/golden.h"

namespace {

using kdi::corepages::explanation_text;
using kdi::cores::Core;
using kdi::cores::Instance;

constexpr char const* kCore = R"J({"format": 1, "core": "made", "version": "1.0",
"device": [{"word": "old", "type": "truth", "without": "1"}], "parameters": [
{"name": "ECC", "type": "truth", "widget": "CHECKBOX", "description": "Error correction.", "default": "0"},
{"name": "MODE", "type": "text", "widget": "COMBO", "description": "How.", "default": "slow", "values": ["slow", "fast", "very fast", ""],
 "messages": [{"name": "given", "severity": "warning", "when": "given(MODE)", "text": "Somebody chose {MODE}"},
   {"name": "old_part", "severity": "critical_warning", "when": "device('old')", "text": "The part is old"}]},
{"name": "CLOCK", "user_names": ["MHZ"], "type": "decimal", "widget": "EDIT", "display_name": "Clock",
 "description": "In MHz.", "default": "100", "skips": true, "enabled": "ECC and (MODE == 'fast' or MODE == 'very fast')",
 "range": "[50, if ECC then 200 else 400.5]",
 "messages": [{"name": "hot", "severity": "error", "when": "MODE == 'fast' and CLOCK > 150", "text": "{CLOCK} MHz"}]},
{"name": "HALF", "type": "decimal", "widget": "EDIT", "description": "Half of it.", "default": "50", "derived": "quotient(CLOCK, 2, 3)"}
]})J";

std::string told(Instance const& instance, std::uint32_t parameter, std::size_t width = 80) {
  return explanation_text(kdi::cores::explain(instance, parameter), width);
}
std::string told(Instance const& instance, std::uint32_t parameter, char const* message) {
  return explanation_text(kdi::cores::explain(instance, parameter, message), 80);
}

TEST(ExplanationText, LooksLikeThis) {
  Instance instance(Core::parse(kCore, "made.json"));
  std::string all = told(instance, 2) + "====\n" + told(instance, 0) + "====\n" + told(instance, 2, "hot");
  instance.set({{0, "1"}, {1, "fast"}, {2, "180"}});
  all += "====\n" + told(instance, 2) + "====\n" + told(instance, 1) + "====\n" + told(instance, 3);
  instance.set({{2, "300"}});
  all += "====\n" + told(instance, 2) + "====\n" + told(instance, 2, "range");
  kdi::cores::Record hurried = kdi::cores::explain(instance, 2, {1, 3, 0});
  all += "====\n" + explanation_text(hurried, 60);
  Instance clocks(Core::parse(clock_core::core(), "clocks.json"));
  clocks.set({{*clocks.core().find("V_ON"), "1"}, {*clocks.core().find("V_MOST"), "1"}});
  all += "====\n" + told(clocks, *clocks.core().find("V_ACT"), "clock");
  test_support::expect_golden("cores/explanation.txt", all);
}

TEST(ExplanationText, KeepsToTheWidthAndShowsAnyText) {
  Instance instance(Core::parse(kCore, "made.json"));
  for (std::string const& hostile :
       {std::string("\x1B[31m red\xFF"), std::string(100'000, 'x'), std::string("a b ğ\n\tc")}) {
    instance.set({{1, hostile}});
    for (const std::size_t width : {std::size_t{0}, std::size_t{40}, std::size_t{120}}) {
      const std::string text = told(instance, 1, width);
      EXPECT_TRUE(kdi::text::is_utf8(text));
      EXPECT_EQ(text.find('\x1B'), std::string::npos);
      EXPECT_LT(text.size(), 60'000U);
    }
  }
  instance.take_back({1});
  const std::string text = told(instance, 2, 50);
  for (std::string_view const line : kdi::text::lines(text)) EXPECT_LE(line.size(), 50U) << line;
}

}  // namespace
