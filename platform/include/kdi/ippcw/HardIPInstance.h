// Tells which optional operations a class of instances offers, from what it overrides.
#pragma once

#include <type_traits>

#include "kdi/ippcw/HardIP.h"

namespace hardip_eng {

/// What a class of instances derives from: `class xram : public HardIPInstance<xram>`, or, where it extends another
/// such class, `class cips : public HardIPInstance<cips, pspmc>`. An optional operation that is overridden is public
/// and not overloaded. A pointer to an inherited member has the base's class in its type, one to an overriding member
/// has not: so the compiler itself answers, and no list has to be kept.
template <class Self, class Base = HardIPInterface>
class HardIPInstance : public Base {
 public:
  using Base::Base;

  bool implements(HardIPOp op) const noexcept override {
    switch (op) {
      case HardIPOp::getRanges:
        return overrides(&Self::getRanges, &HardIPInterface::getRanges);
      case HardIPOp::getOutputParams:
        return overrides(&Self::getOutputParams, &HardIPInterface::getOutputParams);
      case HardIPOp::isDefaultInstance:
        return overrides(&Self::isDefaultInstance, &HardIPInterface::isDefaultInstance);
      case HardIPOp::setSysmonDataFile:
        return overrides(&Self::setSysmonDataFile, &HardIPInterface::setSysmonDataFile);
      case HardIPOp::getDeviceInfo:
        return overrides(&Self::getDeviceInfo, &HardIPInterface::getDeviceInfo);
      case HardIPOp::generateSysmonNpiData:
        return overrides(&Self::generateSysmonNpiData, &HardIPInterface::generateSysmonNpiData);
      case HardIPOp::keepsExistingOutput:
        return overrides(&Self::keepsExistingOutput, &HardIPInterface::keepsExistingOutput);
      case HardIPOp::getExportedData:
        return overrides(&Self::getExportedData, &HardIPInterface::getExportedData);
      case HardIPOp::addHwDefFileAttributes:
        return overrides(&Self::addHwDefFileAttributes, &HardIPInterface::addHwDefFileAttributes);
    }
    return false;
  }

 private:
  template <class Own, class Empty>
  static constexpr bool overrides(Own, Empty) {
    return !std::is_same_v<Own, Empty>;
  }
};

}  // namespace hardip_eng
