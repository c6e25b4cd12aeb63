// Memory controllers, the newer model; and plans of pins for plain serial interfaces.
#pragma once

#include "kdi/coregen/Controller.h"

namespace memory::memory_v1 {

class KDI_DOOR HIPMigInstance : public kdi::coregen::Controller {
 public:
  using Controller::Controller;

  // ------------------------------------------------------------------------------------------------------- memory
  // parts

  /// Whether all parts of a CSV file are good.
  bool validateCustomParts(std::string const& file);
  using Controller::loadCustomParts;
  /// One part by its attributes, whose names keep their case.
  void loadCustomParts(std::string const& name, ParamMap const& attributes);
  /// The attributes of a part, by memory type and name, of a file or, if that is empty, of those that are loaded.
  OptionMap retrieveCustomParts(std::string const& type, std::string const& name, std::string const& file);

  using Controller::getMinMaxPeriodOfMemoryPart;
  OptionMap getMinMaxPeriodOfSlot(std::string const& slot, OptionMap const& options);
  OptionMap getMinMaxPeriodOfDataWidth(std::string const& width, OptionMap const& options);
  /// `true` if two half controllers drive four mirrored ranks.
  std::string getEnablePP4RMirParameter(std::string const& name, OptionMap const& options);
  /// Voltages of the interface, `1.2V`.
  StrList getIOVoltage(OptionMap const& options);

  // ------------------------------------------------------------------------------------------------------------
  // clocking

  /// Input clock periods from which the memory clock comes, ascending.
  MigEnabledRange getInputClockPeriodValues(OptionMap const& options);
  /// How the memory clock is made; the options are `-inputclockperiod`, `-controllertype` and `-timeperiod`.
  OptionMap getClockingModelParams(OptionMap const& options);
  /// `min` and `max`, MHz, of a primitive.
  OptionMap getVCORange(std::string const& primitive, OptionMap const& options);
  /// A limit of the device by its key in the data of devices, in its unit; the same by keyword. Finite.
  double getSpeedFileData(std::string const& key, OptionMap const& options);
  double getKeywordValue(std::string const& keyword, OptionMap const& options);
  /// What a clock buffer carries, MHz.
  double getBUFGCEMax(std::string const& buffer, OptionMap const& options);
  double getBUFGCEMin(OptionMap const& options);

  /// `port value` an element.
  StrList getODTPorts(std::string const& component, std::string const& controller, OptionMap const& options);

  // --------------------------------------------------------------------------------------------- plain serial
  // interfaces

  /// By port: `bank,lane,nibble,site,pin,standard`.
  OptionMap advwizDefaultPinAssignment(OptionMap const& options);
  /// By nibble (`bank_n`) six ports in the order of sites, `-` where free.
  PinMap advwizNibbleGrouping(OptionMap const& options);
  /// By parameter its value, from which the plan can be read back.
  OptionMap advwizGenerateMapData(std::string const& component, std::string const& controller);
  /// By strobe port the nibbles that it clocks, in the order of hops.
  PinMap adwizGetStrobeVsDataNibbles(OptionMap const& options);
};

class HIPMigIPMgr : public kdi::coregen::ManagerOf<kdi::coregen::Model::memory_v1, HIPMigInstance> {};

}  // namespace memory::memory_v1
