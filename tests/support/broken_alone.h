// What a change of a good plan breaks: one rule, and how it is told.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "kdi/planning/Placement.h"

/// All violations are of this rule, and one is told by a text that begins like this.
inline void expect_broken_alone(std::vector<kdi::planning::Violation> const& violations, std::string const& rule,
                                std::string const& text) {
  std::set<std::string> rules, texts;
  for (kdi::planning::Violation const& one : violations) {
    rules.insert(one.rule);
    texts.insert(one.text);
  }
  EXPECT_EQ(rules, std::set<std::string>{rule});
  const std::string begin = rule + ": " + text;
  EXPECT_TRUE(texts.lower_bound(begin) != texts.end() && texts.lower_bound(begin)->starts_with(begin))
      << (texts.empty() ? "" : *texts.begin());
}
