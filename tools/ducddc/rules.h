// The rules of the catalogue as data/ducddc/rules.json states them; the README beside that file explains each.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ducddc {

using Hertz = std::int64_t;

struct Channel {
  int chbw;         // the name's whole megahertz
  Hertz width;      // spacing of two neighbouring carriers
  Hertz pass;       // half the occupied width: edge of the pass-band
  Hertz base_rate;  // complex samples a second at base band
};

struct RfRate {
  int frf;      // the name's whole megahertz
  Hertz rate;   // samples a second at the radio side
  int most_os;  // clock cycles a sample, at most
};

struct Kind {
  std::string name;     // ddc or duc
  std::size_t records;  // rows of the catalogue
  std::vector<int> without_chbw, without_carriers;
  double least_fill;         // share of the pass-band that several carriers fill at least
  bool cleans_to_stop_edge;  // images fall outside the channel filter's stop edge, or only outside its pass edge
};

struct Rules {
  std::vector<Channel> channels;
  double stop_edge_per_width;
  std::vector<RfRate> rf;
  std::vector<int> carriers;
  std::vector<int> passbands_mhz;
  double complex_passband_per_rate, real_passband_per_rate;
  double stage_ripple, channel_ripple;
  int coefficient_bits;
  int most_paths;
  int most_dsps;
  int most_settling_samples;
  std::vector<Kind> kinds;
};

// Throws std::runtime_error, whose text names file and field.
Rules read_rules(std::string const& path);

}  // namespace ducddc
