// Plans of pins for memory and serial interfaces: hard controllers of DDR4 and DDR5, soft DDR4, buses of the physical
// layer, converters, the advanced wizard, and the wizard and physical layer of octads.
//
// An instance is one interface. Its pads are those of the plan that it was last asked for, beside those of all others
// on the device, controllers of memories too, until it ends; asked the same again it has the same pads. All operations
// throw a std::string, in words for the user, for what they cannot do or read. They may be called from several threads;
// an instance does one thing at a time. It is lent for a command (kdi/common/KdiInstances.h).
//
// Keys of the maps: `IP_NAME` the interface; `SW_DIR_PATH` and `MEM_DIR_PATH` directories for its software and for
// memory files; `XGUI_CONFIG`, `BUS_CONFIG_DATA`, `TRANSLATED_PORTS`, `PORT_LOCS` Tcl dictionaries of its settings, its
// buses, the names of its ports outside, and where its ports are; `ELF_NAME` a program image; `NUM_BANKS` a number.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

namespace kelvane_io::kelvane_io_v1 {

class KDI_DOOR HIPKelvaneIoInstance {
 public:
  struct KDI_INSIDE State;

  explicit HIPKelvaneIoInstance(std::unique_ptr<State> state);
  HIPKelvaneIoInstance(HIPKelvaneIoInstance const&) = delete;
  HIPKelvaneIoInstance& operator=(HIPKelvaneIoInstance const&) = delete;
  ~HIPKelvaneIoInstance();

  /// Removes a directory with all that is in it. It has to be below one that the instance was given as `SW_DIR_PATH` or
  /// `MEM_DIR_PATH`, or to hold the file kMarkerFile; it is no link, no root of a file system, no home and not relative
  /// with a `..` in it. Links in it are removed, never followed; other file systems in it are left, which is told.
  /// False if there is no such directory.
  bool removeDir(std::string const& directory);
  /// What marks a directory as one that was made for an interface and holds nothing else.
  static constexpr char const* kMarkerFile = ".iptasks_generated";

  // By port: `bank,lane,nibble,site,ball,standard`.
  OptionMap soft_DDR4_defaultIOPlanning(OptionMap const& options);
  OptionMap advwiz_defaultIOPlanning(OptionMap const& options);
  OptionMap x5io_wizard_defaultIOPlanning(OptionMap const& options);
  OptionMap hard_DDR4_defaultIOPlanning(ParamMap const& params);
  OptionMap hard_DDR5_defaultIOPlanning(ParamMap const& params);
  OptionMap xphy_io_defaultIOPlanning(ParamMap const& params);
  OptionMap xphy_io_defaultIOPlanning_adcDac(ParamMap const& params);
  OptionMap x5phio_defaultIOPlanning(ParamMap const& params);

  // By nibble or octad (`bank_n`) six or eight ports in the order of sites, `-` where free.
  PinMap soft_DDR4_nibbleGrouping(OptionMap const& options);
  PinMap advwiz_nibbleGrouping(OptionMap const& options);
  PinMap x5io_wizard_octadGrouping(OptionMap const& options);
  PinMap hard_DDR4_nibbleGrouping(ParamMap const& params);
  PinMap hard_DDR5_nibbleGrouping(ParamMap const& params);

  // By strobe port the nibbles or octads that it clocks, in the order of hops.
  OptionMap soft_DDR4_getStrobeToDataNibbles(ParamMap const& params);
  OptionMap advwiz_getDqsVsDataNibbles(OptionMap const& options);
  OptionMap x5io_wizard_getStrobeToDataOctads(ParamMap const& pinInfo);
  OptionMap x5io_wizard_getStrobetoDataOctads(OptionMap const& options);
  OptionMap hardmcDqsVsDataNibbles(ParamMap const& params);
  OptionMap hard_DDR4_getStrobeToDataNibbles(ParamMap const& params);
  OptionMap hard_DDR5_getStrobeToDataNibbles(ParamMap const& params);
  OptionMap xphy_io_getStrobeToDataNibbles(ParamMap const& params);
  OptionMap x5phio_getStrobeToDataNibbles(ParamMap const& params);

  // By port its constraint properties; by parameter its value, from which the plan can be read back.
  OptionMap soft_DDR4_generateXDCMap(ParamMap const& params);
  OptionMap xphy_io_generateXDCMap(ParamMap const& params);
  OptionMap xphy_io_generateXDCMap_adcDac(ParamMap const& params);
  OptionMap advwiz_generateMapData(MultiMap const& interface);
  OptionMap x5io_wizard_generateMapData(MultiMap const& interface);
  OptionMap hard_DDR4_generateMapParams(ParamMap const& params);
  OptionMap hard_DDR5_generateMapParams(ParamMap const& params);

  // Derived widths, rates and ranks; by port role, direction, ball, pad, site and standard.
  OptionMap hard_DDR4_getConfigurationInfo(ParamMap const& params);
  OptionMap hard_DDR5_getConfigurationInfo(ParamMap const& params);
  OptionMap hard_DDR5_getPinDataDict(ParamMap const& params);
  OptionMap x5io_wizard_getPinDataDict(MultiMap const& interface);
  OptionMap x5phio_getPinDataDict(ParamMap const& params);

  // `interface {name {port {dir width role}}}`; the wizard's is empty or ends in a blank.
  std::string x5io_wizard_IntfInfoDict(OptionMap const& options);
  std::string IntfInfoDict(ParamMap const& params);
  std::string x5phio_IntfInfoDict(ParamMap const& params);

  /// Banks of the last plan that own pins.
  int advwiz_getNonShadowBanksCount(OptionMap const& options);
  int x5io_wizard_getNonShadowBanksCount(OptionMap const& options);
  /// `NUM_BANKS` and `BANKS`; `RESULT` and both bank numbers.
  OptionMap xphyio_getNumBanks(ParamMap const& params);
  OptionMap xphy_io_isSysClkInMasterBank(ParamMap const& params);

  // Writes a memory file, whole or not at all, and gives its path.
  std::string soft_DDR4_generateMemFile(ParamMap const& params);
  std::string hard_DDR4_generateMemFile(ParamMap const& params);
  std::string hard_DDR5_generateMemFile(ParamMap const& params);

  State& state() { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

class KDI_DOOR HIPKelvaneIPMgr {
 public:
  /// Makes the instance that `-instance_name` names, for `-part`, or puts it in the place of the one of that name.
  static void loadMigPkgData(OptionMap const& options);
  /// Ends the instance that `-instance_name` names, or all; one that is not there is no error.
  static void releasePkgData(OptionMap const& options);
  /// Null if there is none.
  static HIPKelvaneIoInstance* getIPInstance(std::string name);
};

}  // namespace kelvane_io::kelvane_io_v1
