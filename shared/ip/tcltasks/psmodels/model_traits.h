// What tells the models apart in what they do alike.
#pragma once

#include "tcltasks/psmodels/debug_log.h"

namespace psmodels {

struct PspmcTraits {
  static constexpr char const* kChannel = "PSPMC.DBG";
  static constexpr int kUpdateLevel = kUsualLevel;

  /// Of outputs: where they are told, whether a new one takes the place of an old one, and whether the dictionaries of
  /// measurements come with tokens in the place of what would take them apart.
  static constexpr char const* kOutputChannel = kChannel;
  static constexpr bool kReplacesOutputs = false;
  static constexpr bool kRestoresMeasurements = false;

  /// Of what a change by the user moved.
  static constexpr char const* kModifiedChannel = kChannel;
  static constexpr char const* kModifiedFormat = "Modified params to GUI param %s\n";
  static constexpr char const* kModifiedErrorFormat = "Modified param errmsg %s \n";
};

/// No changes by a user go through it.
struct PcwTraits {
  static constexpr char const* kChannel = "PCW.DBG";
  static constexpr int kUpdateLevel = 0;
  static constexpr char const* kOutputChannel = kChannel;
  static constexpr bool kReplacesOutputs = false;
  static constexpr bool kRestoresMeasurements = false;
};

struct PsxlTraits {
  static constexpr char const* kChannel = "PSXL.DBG";
  static constexpr char const* kOutputChannel = "PSXL.OUT.DBG";
  static constexpr bool kReplacesOutputs = true;
  static constexpr bool kRestoresMeasurements = true;
  static constexpr char const* kModifiedChannel = "PSXL.INTERNAL.DBG";
  static constexpr char const* kModifiedFormat = "\t\t Modified params to GUI param %s\n";
  static constexpr char const* kModifiedErrorFormat = "\t\t Modified param errmsg %s \n";
};

}  // namespace psmodels
