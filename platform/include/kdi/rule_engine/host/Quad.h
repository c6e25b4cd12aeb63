// A quad of transceivers as settings describe it: checked, packed, its clocks, registers and memory contents.
//
// Settings are those of gt_wiz_ip_mgr (docs/transceivers.md). Everything here is a value; faults are std::string, as of
// the doors.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/rule_engine/host/Kinds.h"
#include "kdi/rule_engine/host/Packing.h"
#include "kdi/rule_engine/host/Rates.h"
#include "kdi/rule_engine/host/Registers.h"

namespace kdi::gt {

/// One direction of a lane at one rate.
struct LaneRate {
  Fraction gbps;
  Fraction reference_mhz;
  Modulation const* modulation = nullptr;  ///< of the kind, as below
  int encoding = 0;                        ///< index
  int internal_width = 0, user_width = 0;
  int pll = -1;  ///< asked for; -1: any
  bool takes_fraction = true;
  int clock = 0;  ///< index of the output clock's source
  int progdiv_halves = 0;
  bool has_buffer = true;
  int ppm = 0;
  Setting setting;     ///< what packing chose
  Fraction real_gbps;  ///< that it gives
};

struct Lane {
  int number = 0;
  std::vector<LaneRate> tx, rx;  ///< by rate; empty: not used
};

struct KDI_DOOR Design {
  std::shared_ptr<Kind const> kind;
  std::string part;  ///< may be empty
  std::string quad;  ///< as it was given
  Aim aim = Aim::jitter;
  std::vector<Lane> lanes;         ///< ascending
  std::vector<PackedLane> packed;  ///< the same lanes as needs
  Packing packing;
  std::vector<int> quad_numbers;  ///< those of the part's package, ascending from the quad that was given; or 0, 1, ...
  std::vector<std::string> warnings;

  std::size_t rates() const;
  LaneRate const& at(std::vector<LaneRate> const& direction, std::size_t rate) const {
    return direction[std::min(rate, direction.size() - 1)];
  }
};

/// `is_one_quad`: lane n is channel n of one quad, and it is a fault if that cannot be; otherwise lanes go to as many
/// quads as they need, and `packing` says whether they can. `keep`: they stay in the quads of quadUsage.
KDI_DOOR Design design_of(std::string const& part, std::string const& kind, std::string const& quad,
                          GtSettings const& settings, std::string const& options, bool is_one_quad, bool keep);

/// The output clock of a lane's direction in MHz.
KDI_DOOR std::optional<Fraction> output_clock(Kind const& kind, LaneRate const& lane);
KDI_DOOR std::optional<Fraction> user_clock(Kind const& kind, LaneRate const& lane);

/// A fault that says which rates there are, if `rate` is none of the design's.
KDI_DOOR void require_rate(Design const& design, std::size_t rate);

/// The names of a design's sections, in the order of their addresses: TX and RX of the lanes, PLLs, COMMON. Of one
/// quad.
KDI_DOOR std::vector<std::string> section_names(Design const& design);
/// The attributes' section, its registers and the address of its first one. Faults name the sections that there are.
struct SectionImage {
  Section const* section = nullptr;
  int address = 0;
  Quantities quantities;
  Registers registers;
};
KDI_DOOR SectionImage section_image(Design const& design, std::string const& name, std::size_t rate);

/// An entry of a rate table: register address above, 16 bits of data below.
KDI_DOOR std::vector<std::uint32_t> table_entries(Design const& design, std::string const& section, std::size_t rate);

/// What the entries of a whole quad at one rate say, read back with the references that its inputs have.
struct DecodedLane {
  std::string section;
  std::string gbps;  ///< exact
  std::string vco_mhz;
  std::string pll;
  std::string encoding, modulation;
  int output_divide = 0, internal_width = 0, user_width = 0;
};
struct Decoded {
  std::vector<DecodedLane> lanes;
  std::vector<std::string> differing;  ///< attributes that do not fit the rest, as section.name
};
KDI_DOOR Decoded decode_entries(Kind const& kind, std::vector<std::uint32_t> const& entries,
                                std::vector<Fraction> const& references_mhz);
/// The references of a design's only quad, in the order of its inputs.
KDI_DOOR std::vector<Fraction> references_of(Design const& design);

struct ReferencePort {
  std::string name;  ///< REFCLK1_203
  Fraction mhz;
  std::string pad;  ///< its positive pad; empty without a part
  int quad = 0;
};
/// The ports by which the references of all quads come in, as few as there can be, at quads that have lanes.
KDI_DOOR std::vector<ReferencePort> reference_ports(Design const& design);

}  // namespace kdi::gt
