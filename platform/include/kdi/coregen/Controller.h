// What the models of memory controllers have in common: an instance is one controller, with its plan of pins, and a
// manager has the instances of one model by name.
//
// Three models use it, in namespaces of their own, each with instances of its own: kdi/coregen/mig_v7_0.h, mig_v7_1.h
// and memory_v1.h. All operations throw a std::string, in words for the user, for what they cannot do or read. They may
// be called from several threads; an instance does one thing at a time.
//
// Words: a signal is a port of the interface ("DQ[3]"), a pin a ball of the package, a pad its name on the die, a site
// the place in a byte lane. Periods are decimals in ps, clocks in MHz. Option maps have keys in lower case with their
// dash.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/coregen/MigEnabledRange.h"

namespace kdi::coregen {

/// One controller.
class KDI_DOOR Controller {
 public:
  struct KDI_INSIDE State;

  explicit Controller(std::unique_ptr<State> state);
  Controller(Controller const&) = delete;
  Controller& operator=(Controller const&) = delete;
  ~Controller();

  // ---------------------------------------------------------------------------------------------------- the user's
  // pins

  /// The byte groups where the pins say (group: bank, lane), in place of all that were set. Names of older versions are
  /// taken; a group that fits no more is dropped with a warning.
  void setSelectedBytes_upgrade(PinMap const& pins, OptionMap const& options);
  /// The byte groups as the option `-bytes` says, a list of group, bank and lane; others stay.
  void setSelectedBytes_new(OptionMap const& options);
  /// A signal on a pad, or where all of this says; refused by the id of a rule that would be broken.
  void setSignal(std::string const& signal, std::string const& bank, std::string const& lane, std::string const& pin,
                 std::string const& standard);
  void setSignal(std::string const& signal, std::string const& pad);
  /// 4, 8, 9 or 18.
  void setDataBitsPerStrobe(std::string const& bits);
  /// The state of the bytes of a bank, or of `all`, anew from the pins that are set; `controller` is 0.
  void updateBankBytePropertiesAsPerPins(int controller, std::string const& bank);

  // ------------------------------------------------------------------------------------------------------- memory
  // parts

  /// The parts that a CSV file has of a memory type; nothing is loaded of a file with a fault.
  void loadCustomParts(std::string const& file, std::string const& type);

  /// What is known of the memory type or part: widths, latencies in clocks, timings in ps, by parameter.
  OptionMap getmodelParams(std::string const& type, OptionMap const& options);
  /// `min`, `max`, and what binds them, `min_by` and `max_by`.
  OptionMap getMinMaxPeriodOfMemoryType(std::string const& type, OptionMap const& options);
  /// For a memory type and part: data bits of one strobe; data bits of one device.
  std::string getDataBitsPerStrobe(std::string const& type, std::string const& part);
  std::string getDeviceWidth(std::string const& type, std::string const& part);

  // ------------------------------------------------------------------------------------------------------------ the
  // plan

  /// By bank: its kind, Vcco, free lanes, the groups that may be in it, or why none may.
  OptionMap getBankSelModelParams(std::string const& type, std::string const& part, OptionMap const& options);
  /// Pads that a signal beside the interface may have, best first, by signal.
  OptionMap getLocModelParams(std::string const& signal, OptionMap const& options);
  /// 1: whole and valid, 0: open, -1: a rule is broken; and the same of one byte group.
  int CheckIOPlanningCompletion(std::string const& controller, OptionMap const& options);
  int byteSelectionStatus(std::string const& group);

  // -------------------------------------------------------------------------------------------------------------
  // outputs

  /// Constraint commands of a component, controller and section (`all`, `pins`, `clocks`, `standards`), one an element.
  /// `internalVref` is `true` or `false`.
  StrList getXDCInfo(std::string const& component, std::string const& controller, std::string const& section,
                     std::string const& internalVref, OptionMap const& options);
  StrList getExampleXDCInfo(std::string const& component, std::string const& controller, std::string const& section,
                            OptionMap const& options);
  StrList getIOStandardConstraints(std::string const& component, std::string const& controller,
                                   std::string const& section, OptionMap const& options);
  /// `port value` an element.
  StrList getOutputImpedencePorts(std::string const& component, std::string const& controller,
                                  OptionMap const& options);
  /// `name direction msb lsb` an element.
  StrList getTopLevelPorts(std::string const& component);
  /// `bank lane address` an element.
  StrList getRIUMapVector(OptionMap const& options);
  /// By bank one character a pad of `- I O B C`; by lane the index of the signal by site, -1 where it is free.
  StrList getIOBMapStr(OptionMap const& options);
  StrList getDDRMapStr(OptionMap const& options);

  State& state() { return *state_; }

 protected:
  /// As of a memory type; not all models ask it.
  OptionMap getMinMaxPeriodOfMemoryPart(std::string const& part, OptionMap const& options);

 private:
  std::unique_ptr<State> state_;
};

enum class Model { mig_v7_0, mig_v7_1, memory_v1 };

/// The instances of the models. They live until they are released; who was lent one has it until it is done
/// (kdi/common/KdiInstances.h). What is asked of a model's own manager comes here.
class KDI_DOOR Manager {
 public:
  /// Makes the instance that `-instance_name` names, for `-part`, or puts it in the place of the one of that name.
  static void loadMigPkgData(Model model, OptionMap const& options);
  /// Ends the instance that `-instance_name` names, or all; one that is not there is no error.
  static void releasePkgData(Model model, OptionMap const& options);
  /// The instance `-instance_name` is `-new_instance_name` from then on, which no other may be.
  static void updateInstanceName(Model model, OptionMap const& options);
  /// Null if there is none; else of the model's class. The options name it by `-instance_name`.
  static Controller* getIPInstance(Model model, std::string const& name);
  static Controller* getIPInstance(Model model, OptionMap const& options);
  /// With `-parameter`, whether that parameter can be set, and the values that it can have beside those that the
  /// options give others: a list, or one `min:max`. Without it the options are checked, and stored if there are no
  /// findings.
  static MigEnabledRange doCustomize(Model model, std::string const& instance, OptionMap const& options);
  /// Whether the file `-file` is good as one of custom parts of the type `-type`; findings: file, line, field, reason.
  static MigEnabledRange checkCSVs(OptionMap const& options);
};

/// The manager of one model, whose instances have a class of their own.
template <Model model, class Instance>
class ManagerOf {
 public:
  static void loadMigPkgData(OptionMap const& options) { Manager::loadMigPkgData(model, options); }
  static void releasePkgData(OptionMap const& options) { Manager::releasePkgData(model, options); }
  static void updateInstanceName(OptionMap const& options) { Manager::updateInstanceName(model, options); }
  static Instance* getIPInstance(std::string name) {
    return static_cast<Instance*>(Manager::getIPInstance(model, name));
  }
  static Instance* getIPInstance(OptionMap const& options) {
    return static_cast<Instance*>(Manager::getIPInstance(model, options));
  }
  static MigEnabledRange doCustomize(std::string instance, OptionMap const& options) {
    return Manager::doCustomize(model, instance, options);
  }
};

}  // namespace kdi::coregen
