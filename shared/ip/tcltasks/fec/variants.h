// The two FEC cores that the subsystem serves, and everything that tells them apart.
//
// All logic is written once, in the namespace fec, over one of these two descriptions; the namespaces sd_fec and ldpc
// (sd_fec.h, ldpc.h) give it to callers under the names of their core. A difference that is not in this file does not
// exist, but for the fields of core_config_t, whose set the core itself fixes.
#pragma once

#include <array>
#include <cstdint>

namespace fec {

/// Capacities of the core's memories as the performance analyser counts them, in the order of its counters:
/// c, d, s, k, g, v, mins, and the number of codes at once.
using CapacityRow = std::array<unsigned, 8>;

}  // namespace fec

namespace sd_fec {

/// A core that decodes LDPC and Turbo and encodes LDPC.
struct Variant {
  static constexpr char const* kName = "sd_fec";

  // Core configuration: FEC_CODE register and width codes, interrupt masks.
  static constexpr bool kSelectsCode = true;
  static constexpr std::uint32_t kIerMask = 0x3F;
  static constexpr char const* kIerComment = "IER: Enable all interupts";  // sic: scripts compare this text
  static constexpr std::uint32_t kEccAllMask = 0x3FFFFFFF;
  static constexpr std::uint32_t kEccTwoBitMask = 0x3C3FF800;

  // LDPC specification and compiler.
  static constexpr bool kReadsEnableWgt1 = true;  // circulant weights above 1
  static constexpr unsigned kMinSlots = 3;        // least number of slots of a layer

  // Register image: special_qc and lat_ctrl in the third code register, extra_layer in the LA word.
  static constexpr bool kImageHasSpecialQc = true;

  // Performance model: cycles between the two stages, memories.
  static constexpr unsigned kDecoderDelay = 11;
  static constexpr unsigned kEncoderDelay = 11;
  static constexpr fec::CapacityRow kCapacities{8192, 1024, 256, 256, 256, 4, 256, 8};
};

}  // namespace sd_fec

namespace ldpc {

/// A core that runs LDPC only.
struct Variant {
  static constexpr char const* kName = "ldpc";

  static constexpr bool kSelectsCode = false;
  static constexpr std::uint32_t kIerMask = 0x7F;
  static constexpr char const* kIerComment = "IER: Enable all interrupts";
  static constexpr std::uint32_t kEccAllMask = 0x3FFFFF;
  static constexpr std::uint32_t kEccTwoBitMask = 0x3FF800;

  static constexpr bool kReadsEnableWgt1 = false;
  static constexpr unsigned kMinSlots = 1;

  static constexpr bool kImageHasSpecialQc = false;

  static constexpr unsigned kDecoderDelay = 15;
  static constexpr unsigned kEncoderDelay = 7;
  static constexpr fec::CapacityRow kCapacities{8192, 1024, 512, 512, 512, 4, 512, 32};
};

}  // namespace ldpc
