// A code specification as the dictionary text that a script would give to gen_ldpc_params.
#pragma once

#include <string>

#include "tcltasks/fec/records.h"

namespace test_support {

inline std::string dict_text(fec::CodeSpec const& spec) {
  const auto list = [](std::vector<std::uint32_t> const& values) {
    std::string text;
    for (std::uint32_t value : values) text += (text.empty() ? "" : " ") + std::to_string(value);
    return text;
  };
  std::string text = "n " + std::to_string(spec.n) + " k " + std::to_string(spec.k) + " p " + std::to_string(spec.p);
  text += spec.normalization == 0 ? " normalization none" : " normalization row";
  if (!spec.scale.empty()) text += " scale {" + list(spec.scale) + "}";
  const auto option = [&text](char const* key, std::uint32_t value) {
    if (value != 0) text += std::string(" ") + key + " " + std::to_string(value);
  };
  option("encode", spec.encode);
  option("no_packing", spec.no_packing);
  option("no_final_parity", spec.no_final_parity);
  option("max_schedule", spec.max_schedule);
  option("lat_ctrl", spec.lat_ctrl);
  option("skip_enc_compatibility", spec.skip_enc_compatibility);
  option("enable_wgt1", spec.enable_wgt1);
  option("disable_transforms", spec.disable_transforms);
  option("compress_packing", spec.compress_packing);
  option("reorder_type", spec.reorder_type);
  text += " sm_array {";
  for (auto const& element : spec.sm_array) {
    text += "{row " + std::to_string(element.row) + " col " + std::to_string(element.col) + " shift {" +
            list(element.shift) + "}";
    if (element.is_cp != 0) text += " is_cp " + std::to_string(element.is_cp);
    text += "} ";
  }
  return text + "}";
}

}  // namespace test_support
