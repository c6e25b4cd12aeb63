// The reference of cores: every parameter of every core is told, and every link leads to a heading.
#include "kdi/corepages/Reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "kdi/common/KdiText.h"
#include "kdi/cores/Registers.h"
#include "kdi/cores/Store.h"
#include "tests/support/clock_core.h"
#include "tests/support/golden.h"
#include "tests/support/pad_core.h"
#include "tests/support/scratch.h"

namespace {

using kdi::cores::Core;
using kdi::cores::Register;
using kdi::cores::RegisterField;
using kdi::cores::RegisterMap;

std::vector<std::shared_ptr<Core const>> all_cores() {
  std::vector<std::shared_ptr<Core const>> cores;
  for (std::string const& name : kdi::cores::core_names())
    for (std::string const& version : kdi::cores::core_versions(name))
      cores.push_back(kdi::cores::core_description(name, version));
  return cores;
}

// Made once: they are many.
std::map<std::string, std::string> const& all_pages() {
  static const auto pages = kdi::corepages::reference_pages(all_cores());
  return pages;
}

// As Markdown makes it of a heading.
std::string anchor(std::string_view heading) {
  std::string name = kdi::text::lowered(heading);
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

std::size_t with_registers(std::vector<std::shared_ptr<Core const>> const& cores) {
  return static_cast<std::size_t>(std::count_if(
      cores.begin(), cores.end(), [](auto const& core) { return !RegisterMap::of(core)->registers().empty(); }));
}

// What a link may lead to: the headings of a page.
std::set<std::string> anchors(std::string const& page) {
  std::set<std::string> all;
  for (std::string_view const line : kdi::text::lines(page))
    if (line.starts_with("### ")) all.insert(anchor(line.substr(4)));
  return all;
}

TEST(CoreReference, TellsEveryParameterAndLinksLeadSomewhere) {
  const auto cores = all_cores();
  auto const& pages = all_pages();
  ASSERT_EQ(pages.size(), cores.size() + with_registers(cores) + 1);
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

// The part of a page below the heading, up to the next one.
std::string entry(std::string const& page, std::string const& heading) {
  const std::size_t begin = page.find("\n### " + heading + "\n");
  if (begin == std::string::npos) return {};
  return page.substr(begin, page.find("\n##", begin + 1) - begin);
}

TEST(CoreReference, TellsEveryRegisterAndLeadsThereAndBack) {
  const auto cores = all_cores();
  auto const& pages = all_pages();
  std::size_t fields = 0, there_and_back = 0;
  for (auto const& core : cores) {
    const auto map = RegisterMap::of(core);
    const std::string newest = core->name() + "-" + kdi::cores::core_versions(core->name()).back();
    const std::string own = core->name() + "-" + core->version();
    const bool is_newest = own == newest;
    for (Register const& reg : map->registers()) {
      const std::string heading = map->blocks()[reg.block].name + " " + reg.name;
      const std::string here = entry(pages.at(own + "-registers.md"), heading);
      const std::string text = here.empty() ? entry(pages.at(newest + "-registers.md"), heading) : here;
      ASSERT_NE(text, "") << own << " " << heading;
      for (RegisterField const& field : reg.fields) {
        ++fields;
        EXPECT_NE(text.find(" | `" + field.name + "` | " + std::to_string(field.reset) + " | "), std::string::npos)
            << heading << " " << field.name;
        if (!is_newest || !field.value) continue;
        for (const std::uint32_t number : field.parameters) {
          std::string const& name = core->parameters()[number].name;
          const std::string parameter = entry(pages.at(own + ".md"), name);
          EXPECT_NE(parameter.find("(" + own + "-registers.md#" + anchor(heading) + ")"), std::string::npos) << name;
          there_and_back += text.find("](" + own + ".md#" + anchor(name) + ")") != std::string::npos ? 1U : 0U;
        }
      }
    }
  }
  EXPECT_GT(fields, 10'000U);
  EXPECT_GT(there_and_back, 3'000U) << "those that a rule names; others it reads by definitions";
}

TEST(CoreReference, TellsHowRegistersAreReached) {
  auto const& pages = all_pages();
  const auto has = [&](std::string const& page, std::string const& text) {
    EXPECT_NE(pages.at(page).find(text), std::string::npos) << page << ": " << text;
  };
  const std::string page = "pspmc-1.4-registers.md";
  has(page, " | who sits on PMC_MIO 0 |\n");
  has(page, " | what steps say, else as after a reset |\n");
  has(page, " It ignores writes unless [CRL LOCK](#crl-lock) holds `0x43525030`. |\n");
  has(page, "## Who sits on a pad\n\n| Value | Function | Set by |\n|---|---|---|\n| 0 | nobody | |\n| 1 | ");
  has(page, "## Parameters without a field\n\n| Parameter | Where it is, or why nowhere |\n|---|---|\n| [");
  has(page,
      "sets [APLL CONTROL](#apll-control) (`RESET` 0); polls [APLL STATUS](#apll-status) (`LOCKED` 1) for 1000 us; ");
  has("pspmc-1.0-registers.md",
      "They are as those of [pspmc 1.4](pspmc-1.4-registers.md) but for what stands here. [Parameters](pspmc-1.0.md) ");
  has("pspmc-1.0-registers.md", "## Not there yet\n\n- [");
}

TEST(CoreReference, RegistersLookLikeThis) {
  const Scratch folder;
  const std::string parameters = R"J("parameters": [
{"name": "ON", "type": "truth", "widget": "CHECKBOX", "description": "Whether it is.", "default": "0"},
{"name": "RATE", "type": "integer", "widget": "EDIT", "description": "How fast.", "default": "3"},
{"name": "NAME", "type": "text", "widget": "EDIT", "description": "Its name.", "default": ""}])J";
  const auto registers = [](std::string const& meaning) {
    return R"J({"format": 1, "blocks": [{"name": "B", "base": 256, "meaning": "A <block>.", "registers": [
{"each": {"n": "{0..1}"}, "name": "R${n}", "offset": 0, "step": 4, "meaning": "Register ${n}.", "fields": [
  {"name": "ON", "bits": "0", "meaning": "It | works.", "parameter": "ON"},
  {"name": "RATE", "bits": "7:4", "reset": 2, "meaning": ")J" +
           meaning + R"J(", "value": "if ON then RATE + 1 else 0"}]},
{"name": "LOCK", "offset": 8, "meaning": "Opens it.", "fields": [{"name": "KEY", "bits": "31:0", "meaning": "The key."}]}]}],
"sequences": [{"output": "o", "section": "s", "order": 1, "when": "ON", "steps": [
  {"set": "B.LOCK", "fields": {"KEY": "7"}}, {"block": "B.R0", "count": 2}, {"delay_us": 5, "when": "RATE > 2"},
  {"set": "B.R0"}, {"set": "B.R1"}, {"poll": "B.R0", "fields": {"ON": "ON"}, "timeout_us": 9}]}],
"locks": [{"block": "B", "register": "B.LOCK", "key": 7}],
"elsewhere": [{"parameters": ["NAME"], "reason": "it is for people"}]})J";
  };
  for (std::string const version : {"1.0", "2.0"}) {
    folder.file("made/" + version + ".json", R"J({"format": 1, "core": "made", "version": ")J" + version +
                                                 R"J(", "registers": ["made/registers_)J" + version + ".json\"], " +
                                                 parameters + "}");
    folder.file("made/registers_" + version + ".json", registers(version == "1.0" ? "How fast it was." : "How fast."));
  }
  const auto pages = kdi::corepages::reference_pages(
      {Core::read(folder.folder(), "made", "1.0"), Core::read(folder.folder(), "made", "2.0")});
  std::string all;
  for (auto const& [name, page] : pages) all += "==== " + name + "\n" + page;
  test_support::expect_golden("cores/registers.md", all);
}

TEST(CoreReference, TellsOfCoresWithinAndOfTextsThatHoldParameters) {
  auto const& pages = all_pages();
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
