#include "tcltasks/hardip/attributes.h"

#include <optional>
#include <string>
#include <string_view>

#include "kdi/common/KdiText.h"
#include "tcltasks/hardip/output_parts.h"

namespace {

using Value = std::optional<std::string>;
using kdi::text::words;

// What becomes of the value of a parameter: the attribute's, or none.
using Rule = Value (*)(std::string const& value);

struct Row {
  char const* attribute;
  char const* parameter;
  Rule rule;
};

Value as_it_is(std::string const& value) { return value; }
Value exactly_one(std::string const& value) { return value == "1" ? Value(value) : std::nullopt; }

Value interface_in_use(std::string const& value) {
  return value == "1" && !hardip::is_on("cips.cpmdecouple") ? Value("1") : std::nullopt;
}
Value interface_in_use_in_any_case(std::string const& value) {
  return kdi::text::same_but_case(value, "1") ? interface_in_use("1") : std::nullopt;
}

bool tells_pins(std::string const& value) { return !words(value).empty() && value != "SKIP"; }

Value first_word(std::string const& value) { return tells_pins(value) ? Value(words(value).front()) : std::nullopt; }

// The word that carries the width is `8_Bit` or `{8_Bit}`'s end; where none does, the last one that says anything.
Value width_word(std::string const& value) {
  if (!tells_pins(value)) return std::nullopt;
  std::string width;
  for (const std::string_view word : words(value)) {
    if (word.find("_Bit") != word.npos) {
      width = word;
      break;
    }
    if (word != "IO") width = word;
  }
  for (const std::string_view unit : {"_Bit}", "_Bit"})
    for (std::size_t at; (at = width.find(unit)) != std::string::npos;) width.erase(at, unit.size());
  return width.empty() ? std::nullopt : Value(width);
}

constexpr Row kRows[] = {
    {"SEM_MEM_SCAN", "SEM_CONFIG_MEM_SCAN", exactly_one},
    {"PMC_SEM_NPI_SCAN_ENABLE", "SEM_CONFIG_NPI_SCAN", exactly_one},
    {"PMC_SEM_NPI_GOLDEN_CHECKSUM_SW", "SEM_NPI_GOLDEN_CHECKSUM_SW", as_it_is},
    {"PMC_CDO_STAGE", "PMC_CDO_LOAD_STAGE", as_it_is},
    {"FPD_CDO_STAGE", "FPD_CDO_LOAD_STAGE", as_it_is},
    {"LPD_CDO_STAGE", "LPD_CDO_LOAD_STAGE", as_it_is},
    {"LPD_PL_IF", "PS_LPD_PL_INTERFACE_ENABLE", as_it_is},
    {"FPD_PL_IF", "PS_FPD_PL_INTERFACE_ENABLE", as_it_is},
    {"PMC_PL_IF", "PMC_PMC_PL_INTERFACE_ENABLE", as_it_is},
    {"PL_RESET", "PS_NUM_FABRIC_RESETS", as_it_is},
    {"PL_CLK0", "PS_USE_PMCPL_CLK0", as_it_is},
    {"PL_CLK1", "PS_USE_PMCPL_CLK1", as_it_is},
    {"PL_CLK2", "PS_USE_PMCPL_CLK2", as_it_is},
    {"PL_CLK3", "PS_USE_PMCPL_CLK3", as_it_is},
    {"SMAP_WIDTH", "PMC_SMAP_PERIPHERAL_IO", first_word},
    {"PCIEA0_PL_IF", "CPM_PCIE0_PL_INTERFACE_ENABLE", interface_in_use},
    {"PCIEA1_PL_IF", "CPM_PCIE1_PL_INTERFACE_ENABLE", interface_in_use},
    {"CHI0_PL_IF", "CPM_REQ_AGENTS_0_ENABLE", interface_in_use},
    {"CHI1_PL_IF", "CPM_REQ_AGENTS_1_ENABLE", interface_in_use},
};

// A later row of an attribute wins.
constexpr Row kPsxlRows[] = {
    {"SEM_MEM_SCAN", "SEM_CONFIG_MEM_SCAN", as_it_is},
    {"SEM_MEM_SCAN", "SEM_MEM_SCAN", as_it_is},
    {"PMC_SEM_NPI_SCAN_ENABLE", "SEM_NPI_SCAN", as_it_is},
    {"PMC_SEM_NPI_GOLDEN_CHECKSUM_SW", "SEM_NPI_GOLDEN_CHECKSUM_SW", as_it_is},
    {"PMC_CDO_STAGE", "PMC_CDO_LOAD_STAGE", as_it_is},
    {"PMC_CDO_STAGE", "PMCX_CDO_LOAD_STAGE", as_it_is},
    {"FPD_CDO_STAGE", "FPD_CDO_LOAD_STAGE", as_it_is},
    {"LPD_CDO_STAGE", "LPD_CDO_LOAD_STAGE", as_it_is},
    {"LPD_PL_IF", "PSX_LPD_PL_INTERFACE_ENABLE", as_it_is},
    {"FPD_PL_IF", "PSX_FPD_PL_INTERFACE_ENABLE", as_it_is},
    {"PMC_PL_IF", "PMC_PMC_PL_INTERFACE_ENABLE", as_it_is},
    {"PMCX_PL_IF", "PMCX_PMCX_PL_INTERFACE_ENABLE", as_it_is},
    {"PL_RESET", "PS_NUM_FABRIC_RESETS", as_it_is},
    {"PL_RESET", "PSX_NUM_FABRIC_RESETS", as_it_is},
    {"PL_CLK0", "PS_USE_PMCPL_CLK0", as_it_is},
    {"PL_CLK0", "PSX_USE_PMCPL_CLK0", as_it_is},
    {"PL_CLK1", "PS_USE_PMCPL_CLK1", as_it_is},
    {"PL_CLK1", "PSX_USE_PMCPL_CLK1", as_it_is},
    {"PL_CLK2", "PS_USE_PMCPL_CLK2", as_it_is},
    {"PL_CLK2", "PSX_USE_PMCPL_CLK2", as_it_is},
    {"PL_CLK3", "PS_USE_PMCPL_CLK3", as_it_is},
    {"PL_CLK3", "PSX_USE_PMCPL_CLK3", as_it_is},
    {"SMAP_WIDTH", "PMCX_SMAP_PERIPHERAL", width_word},
    {"SMAP_WIDTH", "PMC_SMAP_PERIPHERAL", width_word},
    {"PCIEA0_PL_IF", "CPM_PCIE0_PL_INTERFACE_ENABLE", interface_in_use_in_any_case},
    {"PCIEA1_PL_IF", "CPM_PCIE1_PL_INTERFACE_ENABLE", interface_in_use_in_any_case},
    {"CHI0_PL_IF", "CPM_REQ_AGENTS_0_ENABLE", interface_in_use_in_any_case},
    {"CHI1_PL_IF", "CPM_REQ_AGENTS_1_ENABLE", interface_in_use_in_any_case},
};

}  // namespace

void kelvane_config::kdi_tcltasks::fillHwDefAttributes(hardip_eng::HardIPInterface* instance, ParamMap& attributes,
                                                       AttrMap& fileAttributes) {
  for (Row const& row : kRows)
    if (const Value value = row.rule(instance->getParamValue(row.parameter))) attributes[row.attribute] = *value;
  if (instance->implements(hardip_eng::HardIPOp::addHwDefFileAttributes))
    instance->addHwDefFileAttributes(fileAttributes);
}

void hardip_config::hardip_tcltasks::fillPsxlHwDefAttributes(ParamMap const& values, ParamMap& attributes) {
  for (Row const& row : kPsxlRows)
    if (const auto given = values.find(row.parameter); given != values.end())
      if (const Value value = row.rule(given->second)) attributes[row.attribute] = *value;
}
