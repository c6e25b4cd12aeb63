// The table of parameter names: everything that is known of it beside the names themselves.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "tests/support/places.h"

namespace {

constexpr char const* kSmall = "PSPMCParameters";
constexpr char const* kWizard = "PSParameters";
constexpr char const* kLarge = "PSXLParameters";

struct Row {
  std::string type, getter, key, settled;
};

std::vector<Row> const& rows() {
  static const std::vector<Row> all = [] {
    std::vector<Row> read;
    const std::string text = kdi::read_file(places::data("psmodels/names.csv"));
    for (std::string_view line : kdi::text::words(text, "\n")) {
      const std::vector<std::string_view> fields = kdi::text::split(line, ',');
      if (fields.size() != 4) throw std::runtime_error("a row of another form: " + std::string(line));
      read.push_back({std::string(fields[0]), std::string(fields[1]), std::string(fields[2]), std::string(fields[3])});
    }
    return read;
  }();
  return all;
}

std::vector<Row> table() { return {rows().begin() + 1, rows().end()}; }

std::string key_of(std::string const& type, std::string const& getter) {
  for (Row const& row : rows())
    if (row.type == type && row.getter == getter) return row.key;
  return "(no such getter)";
}

std::map<std::string, std::string> keys_of(std::string const& type) {
  std::map<std::string, std::string> keys;
  for (Row const& row : table())
    if (row.type == type) keys.emplace(row.getter, row.key);
  return keys;
}

std::set<std::string> distinct(std::map<std::string, std::string> const& keys) {
  std::set<std::string> all;
  for (auto const& [getter, key] : keys) all.insert(key);
  return all;
}

TEST(NameTable, HasARowForEachGetter) {
  ASSERT_EQ(rows().front().type + "," + rows().front().getter + "," + rows().front().key + "," + rows().front().settled,
            "class,getter,key,settled");
  EXPECT_EQ(table().size(), 1612U);
  EXPECT_EQ(keys_of(kSmall).size(), 429U);
  EXPECT_EQ(keys_of(kWizard).size(), 575U);
  EXPECT_EQ(keys_of(kLarge).size(), 608U);
  std::set<std::string> names;
  for (Row const& row : table()) names.insert(row.getter);
  EXPECT_EQ(names.size(), 757U);
}

TEST(NameTable, KeysAreNames) {
  for (Row const& row : table()) {
    EXPECT_TRUE(row.getter.starts_with("get")) << row.getter;
    const auto is_of_name = [](char c) { return kdi::text::is_letter_or_digit(c) || c == '_'; };
    EXPECT_TRUE(!row.key.empty() && std::all_of(row.key.begin(), row.key.end(), is_of_name)) << row.key;
    const bool is_upper = std::none_of(row.key.begin(), row.key.end(), kdi::text::is_lower);
    EXPECT_TRUE(is_upper || row.key.starts_with("quad_usage_")) << row.key;
  }
}

TEST(NameTable, KeysFallIntoTheirGroups) {
  std::map<std::string, int> groups;
  std::set<std::string> keys, alone;
  for (Row const& row : table()) keys.insert(row.key);
  EXPECT_EQ(keys.size(), 1137U);
  for (std::string const& key : keys) {
    bool found = false;
    for (char const* group : {"PSX_", "PS_", "PMCX_", "PMC_", "quad", "SMON_", "SEM_"})
      if (!found && key.starts_with(group)) {
        ++groups[group];
        found = true;
      }
    if (!found) alone.insert(key);
  }
  const std::map<std::string, int> expected = {{"PSX_", 372}, {"PS_", 281},  {"PMCX_", 180}, {"PMC_", 260},
                                               {"quad", 16},  {"SMON_", 12}, {"SEM_", 8}};
  EXPECT_EQ(groups, expected);
  EXPECT_EQ(alone, (std::set<std::string>{"ADV_PMC_GPO_ENABLE", "AURORA_LINE_RATE_GPBS", "CMN_CONFIG_MODE",
                                          "DDRMC_HSM1_CLOCK_PORT", "DESIGN_MODE", "DEVICE_INTEGRITY_MODE",
                                          "GT_REFCLK_MHZ", "PL_ACP_CLUSTER_CTRL"}));
}

// How many getters of a class have a body of their own, if bodies are written for one class after the other.
TEST(NameTable, BodiesAreShared) {
  const auto small = distinct(keys_of(kSmall)), wizard = distinct(keys_of(kWizard)), large = distinct(keys_of(kLarge));
  std::set<std::string> bodies = small;
  EXPECT_EQ(bodies.size(), 421U);
  bodies.insert(large.begin(), large.end());
  EXPECT_EQ(bodies.size(), 421U + 555U);
  bodies.insert(wizard.begin(), wizard.end());
  EXPECT_EQ(bodies.size(), 421U + 555U + 161U);
}

TEST(NameTable, TwinsRunWhereTheyShould) {
  const auto small = keys_of(kSmall), wizard = keys_of(kWizard), large = keys_of(kLarge);
  const auto same_name = [&](std::map<std::string, std::string> const& type) {
    return std::count_if(type.begin(), type.end(), [&](auto const& row) {
      const auto twin = small.find(row.first);
      return twin != small.end() && twin->second == row.second;
    });
  };
  EXPECT_EQ(same_name(wizard), 410);
  EXPECT_EQ(same_name(large), 38);
  // Pairs within a class that no other class brings into it.
  std::size_t inside = small.size() - distinct(small).size() + (large.size() - distinct(large).size());
  EXPECT_EQ(inside, 23U);
  int across = 0;
  const auto small_keys = distinct(small), large_keys = distinct(large);
  for (auto const& [getter, key] : wizard) across += !small_keys.contains(key) && large_keys.contains(key);
  EXPECT_EQ(across, 4);
}

TEST(NameTable, NamesOfSeveralClassesHaveSeveralKeys) {
  std::map<std::string, std::set<std::string>> keys;
  std::map<std::string, int> classes;
  for (Row const& row : table()) {
    keys[row.getter].insert(row.key);
    ++classes[row.getter];
  }
  const auto in_several = [&](std::string const& getter) { return classes.at(getter) > 1; };
  EXPECT_EQ(std::count_if(keys.begin(), keys.end(), [&](auto const& row) { return in_several(row.first); }), 451);
  EXPECT_EQ(std::count_if(keys.begin(), keys.end(), [&](auto const& row) { return row.second.size() > 1; }), 395);
}

TEST(NameTable, HoldsTheKeysThatAreFixed) {
  const std::vector<Row> fixed = {
      {kSmall, "getDesignMode", "DESIGN_MODE", ""},
      {kLarge, "getDesignMode", "DESIGN_MODE", ""},
      {kSmall, "getIrq13Enable", "PS_USE_IRQ_13", ""},
      {kSmall, "getAceLite", "PS_USE_ACE_LITE", ""},
      {kLarge, "getAceLite0", "PSX_USE_ACE_LITE0", ""},
      {kSmall, "getQspiMode", "PMC_QSPI_PERIPHERAL_MODE", ""},
      {kLarge, "getQspiMode", "PMCX_QSPI_PERIPHERAL_MODE", ""},
      {kSmall, "getQspiClkSrc", "PMC_CRP_QSPI_REF_CTRL_SRCSEL", ""},
      {kLarge, "getQspiClkSrc", "PMCX_CRP_QSPI_REF_CTRL_SRCSEL", ""},
      {kSmall, "getQspiActClk", "PMC_CRP_QSPI_REF_CTRL_ACT_FREQMHZ", ""},
      {kSmall, "getPsPlCtiInput0", "PS_FTM_CTI_IN_0", ""},
      {kSmall, "getFtmCtiIn0Enable", "PS_FTM_CTI_IN_0", ""},
      {kWizard, "getSD1EMMCClk50SdrOtap", "PMC_SD1_EMMC_CLK_50_SDR_OTAP_DLY", ""},
      {kSmall, "getTamperSUP96TO127EraseBram", "PMC_TAMPER_SUP_96_127_ERASE_BBRAM", ""},
      {kLarge, "getTamperSUP128TO151Enable", "PMCX_TAMPER_SUP_128_151_ENABLE", ""},
      {kLarge, "getAdmaCh0Coherency", "PSX_LPDMA0_COHERENCY", ""},
      {kSmall, "getGtRefClk", "GT_REFCLK_MHZ", ""},
      {kLarge, "getI3cI2c0Div0", "PSX_CRL_I3C_I2C0_REF_CTRL_DIVISOR0", ""},
      {kLarge, "getQuadQ0L1Usage", "quad_usage_q0l1", ""},
      {kSmall, "getSysMonRefSrc", "SMON_REFERENCE_SOURCE", ""},
      {kSmall, "getPowerPsLpdInterconnectLoad", "PS_LPD_INTERCONNECT_LOAD", ""},
  };
  for (Row const& row : fixed) EXPECT_EQ(key_of(row.type, row.getter), row.key) << row.getter;
  EXPECT_EQ(std::count_if(rows().begin(), rows().end(), [](Row const& row) { return row.settled == "given"; }),
            static_cast<std::ptrdiff_t>(fixed.size()));
  EXPECT_EQ(key_of(kWizard, "getAceLite"), key_of(kSmall, "getAceLite"));
}

// What other operations of the system read under these names.
TEST(NameTable, HoldsTheKeysThatOperationsName) {
  std::set<std::string> keys;
  for (Row const& row : table()) keys.insert(row.key);
  for (char const* key : {"SEM_CONFIG_MEM_SCAN",
                          "SEM_CONFIG_NPI_SCAN",
                          "SEM_NPI_GOLDEN_CHECKSUM_SW",
                          "PS_NUM_FABRIC_RESETS",
                          "PSX_NUM_FABRIC_RESETS",
                          "PMC_SMAP_PERIPHERAL_IO",
                          "PSX_HSDP_MODE",
                          "PSX_HSDP_INGRESS_TRAFFIC",
                          "PSX_HSDP_AURORA_LINE_RATE",
                          "PSX_HSDP_REFCLK_FREQMHZ",
                          "PSX_HSDP0_REFCLK",
                          "PSX_HSDP1_REFCLK",
                          "PSX_PCIE_RESET",
                          "PSX_PCIE_ROOT_RESET1_IO",
                          "PSX_PCIE_ROOT_RESET4_IO",
                          "SMON_PMBUS_ADDRESS",
                          "SMON_PMBUS_UNRESTRICTED",
                          "SMON_ALARMS",
                          "SMON_ENABLE_INT_VOLTAGE_MONITORING",
                          "SMON_VOLTAGE_AVERAGING_SAMPLES",
                          "DEVICE_INTEGRITY_MODE"})
    EXPECT_TRUE(keys.contains(key)) << key;
}

TEST(NameTable, SaysHowEachKeyIsSettled) {
  std::map<std::string, int> ways;
  for (Row const& row : table()) ++ways[row.settled];
  EXPECT_EQ(ways, (std::map<std::string, int>{{"given", 21}, {"spelled", 26}, {"twin", 472}, {"derived", 1093}}));
}

}  // namespace
