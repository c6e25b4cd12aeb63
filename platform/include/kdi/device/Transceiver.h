// Serial transceivers: what a kind of them can do at one speed grade, and where its quads are.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/Clocking.h"
#include "kdi/device/IoBank.h"
#include "kdi/device/Range.h"

namespace kdi::device {

/// Fvco = Fref feedback / reference_divide; symbol rate = 2 Fvco / output_divide. A symbol carries one bit with NRZ,
/// two with PAM4.
struct TransceiverPll {
  std::string name;     ///< unique in the transceiver type
  bool shared = false;  ///< one serves all channels of the quad; otherwise each channel has its own
  Range vco_ghz;
  CounterRange feedback;
  CounterRange reference_divide;
  std::vector<int> output_divides;  ///< ascending
  int fraction_bits = 0;            ///< of a feedback with a fraction; 0 without
};

struct KDI_DOOR Transceiver {
  std::string type;  ///< unique in the device, the word that scripts use
  int channels_per_quad = 4;
  std::vector<Range> line_rate_gbps;  ///< ascending, with gaps between them; one channel, one direction
  Range reference_mhz;
  std::vector<TransceiverPll> plls;
  std::vector<int> internal_widths;      ///< bits, ascending
  std::vector<int> user_widths;          ///< bits, ascending
  std::vector<std::string> encodings;    ///< words such as RAW, 8B10B, 64B66B
  std::vector<std::string> modulations;  ///< NRZ, PAM4

  bool reaches(double gbps) const;
};

/// A quad of a device; in a package, with its pins.
struct Quad {
  int number = 0;    ///< unique in the device, I/O banks included
  std::string type;  ///< a Transceiver's
  int slr = 0;
  std::vector<Pad> pads;  ///< nibble, strobe and clock unused
};

}  // namespace kdi::device
