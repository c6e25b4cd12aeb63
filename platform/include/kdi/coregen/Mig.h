// What the two versions of the elder model have in common.
#pragma once

#include "kdi/coregen/Controller.h"

namespace kdi::coregen {

class KDI_DOOR MigController : public Controller {
 public:
  using Controller::Controller;

  // ------------------------------------------------------------------------------------------------------------ the
  // pins

  /// Where a signal is, and where a pad is; texts are empty where there is nothing.
  void getSignalDetails(std::string const& signal, std::string& bank, std::string& byteGroup, std::string& pin,
                        std::string& ioStandard);
  void getPadDetails(std::string const& pad, std::string& bank, std::string& byteGroup, std::string& pin,
                     std::string& site);
  /// The signal of a pin, of a pad, and the pad of a signal.
  void getSignal(std::string const& pin, std::string& signal);
  void getSignalForPad(std::string const& pad, std::string& signal);
  void getPadNameForSignal(std::string const& signal, std::string& pad);
  /// The port of a controller: `polarity` is `P`, `N` or empty.
  void getSignalName(std::string const& controller, std::string const& group, std::string const& index,
                     std::string const& polarity, std::string& signal);

  /// The byte groups where the pins say; others stay.
  void setSelectedBytes(PinMap const& pins, OptionMap const& options);
  /// By group bank and lane: a proposal, and what is.
  PinMap getDefaultbyteSelections(OptionMap const& options);
  PinMap getSelectedByteMap(int controller);
  /// By signal pin, pad, bank, lane and standard; of the controller -1: all.
  PinMap getAssignedPinDetails(std::string const& controller);

  // -----------------------------------------------------------------------------------------------------------
  // questions

  /// Input clock periods from which the memory clock comes, ascending.
  MigEnabledRange InputClockPeriod(std::string const& type, std::string const& period);
  /// How the memory clock is made: multiplier, dividers, VCO and what follows.
  OptionMap getClockingModelParams(std::string const& kind, std::string const& inputPeriod, std::string const& period);
  StrList getValidMemoryVoltages(std::string const& type, std::string const& part, std::string const& bankKind,
                                 std::string const& grade);
  /// The clock region with the least worst skew to the pins of a bank.
  std::string getClockRoot(std::string const& bank, std::string const& clock);

  // -------------------------------------------------------------------------------------------------------------
  // figures

  /// Pads that are placed; banks that a group could use; banks used; pads needed; ports of the top level.
  int getAsssignedPinCount(OptionMap const& options);
  int getBanksAvailable(OptionMap const& options);
  int getBanksUsed(OptionMap const& options);
  int getTotalPinCnt(OptionMap const& options);
  int getTotalPortCnt(OptionMap const& options);

  /// `NAME value` an element; of the physical layer by lane.
  StrList getParamVector(OptionMap const& options);
  StrList getPhyParamVector(OptionMap const& options);
};

template <Model model, class Instance>
class MigManagerOf : public ManagerOf<model, Instance> {
 public:
  static MigEnabledRange checkCSVs(OptionMap const& options) { return Manager::checkCSVs(options); }
};

}  // namespace kdi::coregen
