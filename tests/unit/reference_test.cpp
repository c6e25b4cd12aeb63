// The reference of cores: every parameter of every core is told, and every link leads to a heading.
#include "kdi/corepages/Reference.h"

#include <gtest/gtest.h>

#include <set>

#include "kdi/common/KdiText.h"
#include "kdi/cores/Store.h"
#include "tests/support/clock_core.h"
#include "tests/support/golden.h"
#include "tests/support/pad_core.h"

namespace {

using kdi::cores::Core;

std::vector<std::shared_ptr<Core const>> all_cores() {
  std::vector<std::shared_ptr<Core const>> cores;
  for (std::string const& name : kdi::cores::core_names())
    for (std::string const& version : kdi::cores::core_versions(name))
      cores.push_back(kdi::cores::core_description(name, version));
  return cores;
}

// What a link may lead to: the headings of a page.
std::set<std::string> anchors(std::string const& page) {
  std::set<std::string> all;
  for (std::string_view const line : kdi::text::lines(page))
    if (line.starts_with("### ")) all.insert(kdi::text::lowered(line.substr(4)));
  return all;
}

TEST(CoreReference, TellsEveryParameterAndLinksLeadSomewhere) {
  const auto cores = all_cores();
  const auto pages = kdi::corepages::reference_pages(cores);
  ASSERT_EQ(pages.size(), cores.size() + 1);
  std::map<std::string, std::set<std::string>> there;
  for (auto const& [name, page] : pages) there[name] = anchors(page);
  for (auto const& core : cores) {
    const std::string newest = core->name() + "-" + kdi::cores::core_versions(core->name()).back() + ".md";
    const std::string own = core->name() + "-" + core->version() + ".md";
    for (auto const& one : core->parameters()) {
      const std::string anchor = kdi::text::lowered(one.name);
      EXPECT_TRUE(there[own].contains(anchor) || there[newest].contains(anchor)) << own << " " << one.name;
    }
  }
  std::size_t links = 0;
  for (auto const& [name, page] : pages)
    for (std::size_t at = 0; (at = page.find("](", at)) != std::string::npos;) {
      at += 2;
      const std::string target = page.substr(at, page.find(')', at) - at);
      const std::size_t hash = target.find('#');
      const auto place = there.find(hash == 0 ? name : target.substr(0, hash));
      ASSERT_NE(place, there.end()) << name << ": " << target;
      const bool is_there = hash == std::string::npos || place->second.contains(target.substr(hash + 1));
      EXPECT_TRUE(is_there) << name << ": " << target;
      ++links;
    }
  EXPECT_GT(links, 10'000U);
}

TEST(CoreReference, TellsOfCoresWithinAndOfTextsThatHoldParameters) {
  const auto pages = kdi::corepages::reference_pages(all_cores());
  const auto has = [&](std::string const& page, std::string const& text) {
    EXPECT_NE(pages.at(page).find(text), std::string::npos) << page << ": " << text;
  };
  has("psxl_wizard-1.0.md", "## Cores within\n\n| Name | Core |\n|---|---|\n| ");
  has("psxl_wizard-1.0.md", "[psxl 1.0](psxl-1.0.md) |\n");
  has("pspmc-1.4.md", "## Texts that hold parameters\n\n| Text | All values | Members |\n|---|---|---|\n| ");
  has("pspmc-1.4.md", "## Choices of DEVICE_INTEGRITY_MODE\n\n| Name | What it is | Settings |\n|---|---|---|\n| ");
}

TEST(CoreReference, LooksLikeThis) {
  const std::string old = R"J({"format": 1, "core": "made", "version": "1.0", "parameters": [
{"name": "OLD_ONE", "type": "truth", "widget": "CHECKBOX", "description": "Gone since.", "default": "0"},
{"name": "WIDTH", "type": "integer", "widget": "EDIT", "description": "In bits.", "default": "8", "limits": ["1", "32"]}]})J";
  const std::string present = R"J({"format": 1, "core": "made", "version": "2.0", "parameters": [)J" +
                              clock_core::parameters() + ",\n" + pad_core::parameters() + R"J(,
{"name": "WIDTH", "user_names": ["BITS"], "type": "integer", "widget": "EDIT", "group": "Data | <b>", "display_name": "Width_of *it*",
 "description": "In bits.", "default": "8", "limits": ["1", "64"]},
{"name": "PARITY", "type": "text", "widget": "COMBO", "group": "Data | <b>", "description": "Which.", "default": "none",
 "values": ["none", "odd", "even"], "skips": true, "enabled": "WIDTH > 7 and not MANUAL",
 "messages": [{"name": "wide", "severity": "critical_warning", "when": "WIDE_ONE", "text": "{WIDTH} bits with {PARITY}"}]},
{"name": "TOTAL", "type": "integer", "widget": "EDIT", "description": "All.", "default": "8", "derived": "WIDTH + (if PARITY == 'none' then 0 else 1)"}
], "definitions": {"WIDE_ONE": "WIDTH > 32"},
"presets": [{"name": "narrow", "description": "Few.", "settings": {"WIDTH": "8"}}],
"clocks": )J" + clock_core::clocks() +
                              R"(, "pads": )" + pad_core::pads() + "}";
  const auto pages =
      kdi::corepages::reference_pages({Core::parse(old, "old.json"), Core::parse(present, "present.json")});
  std::string all;
  for (auto const& [name, page] : pages) all += "==== " + name + "\n" + page;
  test_support::expect_golden("cores/reference.md", all);
}

}  // namespace
