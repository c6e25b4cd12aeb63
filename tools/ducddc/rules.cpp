#include "tools/ducddc/rules.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace ducddc {
namespace {

using Json = nlohmann::json;

void require(bool holds, char const* what) {
  if (!holds) throw std::runtime_error(what);
}

Rules from_json(Json const& json) {
  Rules rules;
  for (Json const& row : json.at("channels"))
    rules.channels.push_back({row.at("chbw"), row.at("width_hz"), row.at("pass_hz"), row.at("base_rate_hz")});
  for (Json const& row : json.at("rf")) rules.rf.push_back({row.at("frf"), row.at("rate_hz"), row.at("most_os")});
  json.at("stop_edge_per_width").get_to(rules.stop_edge_per_width);
  json.at("carriers").get_to(rules.carriers);
  json.at("passbands_mhz").get_to(rules.passbands_mhz);
  json.at("passband_per_rate").at("complex").get_to(rules.complex_passband_per_rate);
  json.at("passband_per_rate").at("real").get_to(rules.real_passband_per_rate);
  json.at("stage_ripple").get_to(rules.stage_ripple);
  json.at("channel_ripple").get_to(rules.channel_ripple);
  json.at("coefficient_bits").get_to(rules.coefficient_bits);
  json.at("most_paths").get_to(rules.most_paths);
  json.at("most_dsps").get_to(rules.most_dsps);
  json.at("most_settling_samples").get_to(rules.most_settling_samples);
  for (Json const& row : json.at("kinds")) {
    const std::string clean = row.at("clean_band");
    require(clean == "stop" || clean == "pass", "kinds: clean_band is neither \"stop\" nor \"pass\"");
    rules.kinds.push_back({row.at("kind"), row.at("records"), row.at("without_chbw"), row.at("without_carriers"),
                           row.at("least_fill"), clean == "stop"});
  }
  for (Channel const& channel : rules.channels) {
    const double stop = rules.stop_edge_per_width * static_cast<double>(channel.width);
    require(channel.pass > 0 && static_cast<double>(channel.pass) < stop &&
                2 * stop < static_cast<double>(channel.base_rate),
            "channels: pass edge, stop edge and half the base rate must ascend");
  }
  for (RfRate const& rf : rules.rf) require(rf.rate > 0 && rf.most_os > 0, "rf: rate_hz and most_os are above 0");
  require(rules.stage_ripple > 0 && rules.channel_ripple > 0, "ripples are above 0");
  require(rules.coefficient_bits >= 8 && rules.coefficient_bits <= 24, "coefficient_bits is 8 to 24");
  return rules;
}

}  // namespace

Rules read_rules(std::string const& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  try {
    return from_json(Json::parse(file));
  } catch (std::exception const& error) {
    throw std::runtime_error(path + ": " + error.what());
  }
}

}  // namespace ducddc
