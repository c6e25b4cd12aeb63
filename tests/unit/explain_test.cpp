// What is told of parameters and messages: one record word for word, and its claims held against the instance.
#include "kdi/cores/Explain.h"

#include <gtest/gtest.h>

#include "kdi/common/KdiJson.h"
#include "tests/support/clock_core.h"
#include "tests/support/made_up_core.h"
#include "tests/support/places.h"

namespace {

using namespace kdi::cores;

constexpr char const* kCore = R"J({"format": 1, "core": "made", "version": "1.0", "parameters": [
{"name": "ECC", "type": "truth", "widget": "CHECKBOX", "description": "Error correction.", "default": "0"},
{"name": "MODE", "type": "text", "widget": "COMBO", "description": "How.", "default": "slow", "values": ["slow", "fast"]},
{"name": "CLOCK", "user_names": ["MHZ"], "type": "decimal", "widget": "EDIT", "display_name": "Clock",
 "description": "In MHz.", "default": "100", "skips": true, "enabled": "not ECC and (MODE == 'fast' or true)",
 "range": "[50, if ECC then 200 else 400.5]",
 "messages": [{"name": "hot", "severity": "warning", "when": "MODE == 'fast' and CLOCK > 300", "text": "{CLOCK} MHz"}]}
]})J";

TEST(Explain, OneRecordWordForWord) {
  const std::shared_ptr<Core const> core = Core::parse(kCore, "made.json");
  Instance instance(core);
  instance.set({{1, "fast"}, {2, "350"}});
  EXPECT_EQ(explain(instance, 2).json(), R"J({
  "parameter": "CLOCK",
  "user_names": [
    "MHZ"
  ],
  "display_name": "Clock",
  "description": "In MHz.",
  "type": "decimal",
  "value": "350",
  "backup": "350",
  "default": "100",
  "origin": "user",
  "given": "350",
  "rule": {},
  "enabled": {
    "state": "1",
    "rule": {
      "text": "not ECC and (MODE == 'fast' or true)",
      "place": "made.json:5: parameters[2].enabled",
      "terms": {
        "term": "not ECC and (MODE == 'fast' or true)",
        "value": "1",
        "decides": "1",
        "terms": [
          {
            "term": "not ECC",
            "value": "1",
            "decides": "1",
            "terms": [
              {
                "term": "ECC",
                "value": "0",
                "decides": "1"
              }
            ]
          },
          {
            "term": "MODE == 'fast' or true",
            "value": "1",
            "decides": "1",
            "terms": [
              {
                "term": "MODE == 'fast'",
                "value": "1",
                "decides": "1",
                "terms": [
                  {
                    "term": "MODE",
                    "value": "fast",
                    "decides": "1"
                  }
                ]
              },
              {
                "term": "true",
                "value": "1",
                "decides": "1"
              }
            ]
          }
        ]
      }
    }
  },
  "range": {
    "kind": "limits",
    "values": [
      "50",
      "400.5"
    ],
    "permits": "1",
    "rule": {
      "text": "[50, if ECC then 200 else 400.5]",
      "place": "made.json:6: parameters[2].range",
      "terms": {
        "term": "[50, if ECC then 200 else 400.5]",
        "value": "[50, 400.5]",
        "decides": "1",
        "terms": [
          {
            "term": "if ECC then 200 else 400.5",
            "value": "400.5",
            "decides": "1",
            "terms": [
              {
                "term": "ECC",
                "value": "0",
                "decides": "1"
              }
            ]
          }
        ]
      }
    }
  },
  "depends_on": [
    {
      "term": "ECC",
      "value": "0"
    },
    {
      "term": "MODE",
      "value": "fast"
    }
  ],
  "dependants": [
    {
      "name": "CLOCK",
      "of": "message",
      "message": "hot"
    }
  ],
  "messages": [
    {
      "parameter": "CLOCK",
      "message": "hot",
      "severity": "warning",
      "due": "1",
      "text": "350 MHz",
      "condition": {
        "text": "MODE == 'fast' and CLOCK > 300",
        "place": "made.json:7: parameters[2].messages[0].when",
        "terms": {
          "term": "MODE == 'fast' and CLOCK > 300",
          "value": "1",
          "decides": "1",
          "terms": [
            {
              "term": "MODE == 'fast'",
              "value": "1",
              "decides": "1",
              "terms": [
                {
                  "term": "MODE",
                  "value": "fast",
                  "decides": "1"
                }
              ]
            },
            {
              "term": "CLOCK > 300",
              "value": "1",
              "decides": "1",
              "terms": [
                {
                  "term": "CLOCK",
                  "value": "350",
                  "decides": "1"
                }
              ]
            }
          ]
        }
      },
      "advice": [
        {
          "wish": "cleared",
          "parameter": "CLOCK",
          "message": "hot",
          "outcome": "found",
          "changes": [
            {
              "parameter": "CLOCK",
              "change": "set",
              "value": "300"
            }
          ],
          "verified": "1",
          "smallest": "1",
          "first": "1",
          "trials": "7",
          "moves": [
            "CLOCK"
          ]
        }
      ]
    }
  ],
  "advice": []
}
)J");
}

TEST(Explain, MessagesDueAndNot) {
  const std::shared_ptr<Core const> core = Core::parse(kCore, "made.json");
  Instance instance(core);
  EXPECT_EQ(explain(instance, 2, "hot").find("due")->text(), "0");
  EXPECT_EQ(explain(instance, 2, "range").find("due")->text(), "0");
  EXPECT_THROW(explain(instance, 2, "cold"), std::invalid_argument);
  instance.set({{2, "20"}});
  const Record record = explain(instance, 2, "range");
  EXPECT_EQ(record.find("due")->text(), "1");
  EXPECT_EQ(record.find("text")->text(), "PARAM CLOCK::20 is out of range  { 50,400.5 }");
  EXPECT_EQ(record.find("condition")->find("permits")->text(), "0");
}

TEST(Explain, FaultsNameTheRuleAndThePartThatHasNone) {
  const std::shared_ptr<Core const> core =
      Core::parse(R"({"format": 1, "core": "made", "version": "1.0", "parameters": [
{"name": "N", "type": "integer", "widget": "EDIT", "description": "one", "default": "1"},
{"name": "SHARE", "type": "integer", "widget": "EDIT", "description": "one", "default": "12",
 "derived": "let half = 6; half + 6 div N"}]})",
                  "made.json");
  Instance instance(core);
  instance.set({{0, "0"}});
  const Record fault = explain(instance, 1, "rule").find("condition")->items().at(0);
  EXPECT_EQ(fault.find("fault")->text(), "division by zero");
  Record const& terms = *fault.find("rule")->find("terms");
  EXPECT_EQ(terms.find("value")->text(), "(none)");
  Record const& sum = terms.find("terms")->items().at(0);
  EXPECT_EQ(sum.find("term")->text(), "half + 6 div N");
  EXPECT_EQ(sum.find("decides")->text(), "1");
  instance.set({{0, "2"}});
  EXPECT_EQ(explain(instance, 1).find("rule")->find("terms")->find("value")->text(), "9");
}

TEST(Explain, WhatASearchSays) {
  const std::shared_ptr<Core const> core = Core::parse(clock_core::core(), "made.json");
  const auto number = [&](char const* name) { return core->find(name).value_or(0); };
  Instance instance(core);
  instance.set({{number("V_ON"), "1"}, {number("V_SRC"), "PLL B"}, {number("V_DIV"), "3"}, {number("MANUAL"), "1"}});
  const std::vector<Due> due = instance.messages();
  ASSERT_EQ(due.size(), 1U);
  const Record record = explain(instance, due[0].parameter, "clock");
  EXPECT_EQ(record.find("text")->text(), "V would run at 100 MHz, its limit is 80 MHz");
  EXPECT_EQ(record.find("due")->text(), "1");
  Record const& condition = *record.find("condition");
  EXPECT_EQ(condition.find("search")->text(), "clocks");
  EXPECT_GT(condition.find("terms")->items().size(), 10U);
  Record const& advice = record.find("advice")->items().at(0);
  EXPECT_EQ(advice.find("outcome")->text(), "found");
  EXPECT_EQ(advice.find("changes")->items().size(), 1U);
  EXPECT_EQ(explain(instance, number("U_DIV"), "clock").find("due")->text(), "0");
  instance.take_back({number("MANUAL")});
  const Record searched = explain(instance, number("V_DIV"));
  EXPECT_EQ(searched.find("origin")->text(), "search");
  EXPECT_GT(searched.find("depends_on")->items().size(), 10U);
}

// A truth is what its parts make it, and those that decide are enough.
void expect_sound(Record const& term) {
  Record const* const parts = term.find("terms");
  if (parts == nullptr) return;
  const std::string& words = term.find("term")->text();
  const std::string& value = term.find("value")->text();
  int deciding = 0;
  for (Record const& part : parts->items()) {
    if (part.find("decides") == nullptr) continue;  // of a loop
    deciding += part.find("decides")->text() == "1";
    EXPECT_TRUE(term.find("decides")->text() == "1" || part.find("decides")->text() == "0") << words;
    expect_sound(part);
  }
  if (value == "(none)" || term.find("decides")->text() == "0") return;
  if (parts->items().front().find("decides") != nullptr) {
    EXPECT_GT(deciding, 0) << words << " is " << value;
  }
}

TEST(Explain, SaysOfMadeUpCoresWhatTheirInstancesSay) {
  int rules = 0, disabled = 0, due = 0;
  for (std::uint64_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    test_support::MadeUpCore made(seed, 14);
    const std::shared_ptr<Core const> core = Core::parse(made.text(), "made.json");
    Instance instance(core);
    for (int change = 0; change < 4; ++change) {
      for (int i = 0; i < 3; ++i) {
        const auto parameter = static_cast<std::uint32_t>(made.below(core->parameters().size()));
        instance.set({{parameter, made.value(core->parameters()[parameter])}});
      }
      const std::vector<Due> messages = instance.messages();
      std::size_t told = 0;
      for (std::uint32_t i = 0; i < core->parameters().size(); ++i) {
        const Record record = explain(instance, i, Effort{0, 0, 0});
        EXPECT_EQ(record.find("value")->text(), instance.value(i));
        Record const& enabled = *record.find("enabled");
        EXPECT_EQ(enabled.find("state")->text(), instance.is_enabled(i) ? "1" : "0");
        disabled += !instance.is_enabled(i);
        if (Record const* const terms = enabled.find("rule")->find("terms")) {
          ++rules;
          EXPECT_EQ(terms->find("value")->text(), enabled.find("state")->text());
          expect_sound(*terms);
        }
        if (Record const* const terms = record.find("rule")->find("terms")) {
          EXPECT_EQ(terms->find("value")->text(), instance.value(i));
        }
        for (Record const& one : record.find("messages")->items()) {
          EXPECT_EQ(one.find("due")->text(), "1");
          EXPECT_TRUE(std::any_of(messages.begin(), messages.end(), [&](Due const& message) {
            return message.parameter == i && message.text == one.find("text")->text();
          }));
          ++told;
          if (Record const* const terms = one.find("condition")->find("terms")) {
            expect_sound(*terms);
            ++due;
          }
        }
      }
      EXPECT_EQ(told, messages.size());
    }
  }
  EXPECT_GT(rules, 300);
  EXPECT_GT(disabled, 100);
  EXPECT_GT(due, 20);
}

TEST(Records, JsonIsReadBackWhateverTheBytes) {
  Record record = Record::dictionary();
  record.set("quote\" back\\ line\n zero\x01", "caf\xC3\xA9 \xF0\x9F\x98\x80 \x7F");
  record.set("broken", std::string("\xC3(\xED\xA0\x80\xC0\x80\xF5"));
  record.set("empty", Record::list()).set("none", Record::dictionary());
  const kdi::JsonFile file(record.json(), "record");
  const kdi::JsonValue root = file.root();
  EXPECT_EQ(root.member("quote\" back\\ line\n zero\x01").text(), "caf\xC3\xA9 \xF0\x9F\x98\x80 \x7F");
  const std::string bad = "\xEF\xBF\xBD";
  EXPECT_EQ(root.member("broken").text(), bad + "(" + bad + bad + bad + bad + bad + bad);
  EXPECT_TRUE(root.member("empty").is_list());
  EXPECT_TRUE(root.member("none").is_object());
}

}  // namespace
