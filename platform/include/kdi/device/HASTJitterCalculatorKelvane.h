// How closely a clock primitive's loop follows its input.
#pragma once

class HASTJitterCalculatorKelvane {
 public:
  /// Scripts give the numbers: they are not to change.
  enum BANDWIDTH { BW_NONE = 0, BW_LOW = 1, BW_HIGH = 2, BW_OPTIMIZED = 3 };
};
