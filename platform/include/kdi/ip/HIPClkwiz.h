// The clock wizard's solver: what the commands Init_Clkwiz, GetClosestSolution and so on stand on.
//
// Frequencies in MHz, phases in degrees, duty cycles in percent unless a line says fraction, periods in ns, jitter and
// phase error in ps, modulation frequencies in kHz. Lists of numbers are texts with blanks or commas between the
// numbers; those that come back have blanks, so that a script reads them as lists.
//
// Operations may throw HEXAll or a std::exception: the commands pass both to the message manager. They may be called
// from several threads: a solver does one thing at a time.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace Ip_Clkwiz {

/// One solver: a part, options, and the last solution.
///
/// A solve replaces the last solution, also when it fails: then nothing is chosen and every figure is 0. Why it failed
/// is told by getFault and on the message channel HIPClocking (level 1).
class KDI_DOOR HIPClkwizImp {
 public:
  HIPClkwizImp();
  ~HIPClkwizImp();

  /// The input comes through the device's first clock buffer and keeps its periods. Written directly.
  std::atomic<bool> globalBufferInputClk = false;

  /// Chooses the speed data. A part that is not known has none: solving answers 2.
  void setPart(std::string part);
  void setLowBandwidth(bool on);
  void setDynReconfig(bool on);  ///< only primitives whose counters can change while they run
  void setSpreadSpectrum(bool on);
  void setFinePS(bool on);
  void setSSMode(std::string& mode);  ///< empty: the primitive's first mode
  void setSSModFreq(double& kHz);     ///< 0: the lowest that the mode has
  void setClkInUIJitter(double& ui);  ///< of the input, peak to peak, in parts of its period

  /// Peak-to-peak jitter of an output and static phase error, by the model of device/Clocking.h, of the primitive that
  /// the last solution uses (before one: the MMCM). `bandwidth` is LOW, HIGH or OPTIMIZED in letters of either case;
  /// the spread's share is in if `ssModFreq` is above 0. False: `error` says which figure is outside which limits.
  bool getPkToPkJitter(double fIn, double fVco, double fOut, std::string& bandwidth, double inputJitter,
                       double ssModFreq, std::string& error, double* result);
  bool getPhaseError(double fIn, double fVco, std::string& bandwidth, std::string& error, double* result);

  /// The best setting for the first `count` of `freqs`, which are all within the primitive's limits and are rewritten
  /// with what comes out. In spite of the name, power only decides between settings that are equally near: for the
  /// lowest VCO frequency, unless `minJitter` asks for the highest and `minPower` does not object.
  ///
  /// \param fIn2         a second input that the same setting serves; 0: none
  /// \param integerOnly  no fractional counters
  /// \param usePll       0: an MMCM, 1: a PLL (with `clkoutPhy` one that has the output for I/O banks)
  /// \param inPeriod     period of the first input as the design states it; the solver goes by `fIn1`
  /// \return 1 solved, 2 no data on such a primitive, 3 solved for either input alone but not for both, others: no
  ///         solution
  int getMinPowerOutFreqs(std::string& freqs, double fIn1, double fIn2, int count, bool minJitter, bool integerOnly,
                          int usePll, bool minPower, double inPeriod, bool clkoutPhy, double clkoutPhyFreq);

  /// The same with phases and duty cycles, at the highest VCO frequency unless `minPower` asks for the lowest and
  /// `minJitter` does not object. The three lists are rewritten.
  ///
  /// \return as above, and 5: no primitive of the part has the output for I/O banks, 6: MMCMs have none, 8: an input
  ///         frequency that is no number above 0 or outside the primitive's limits
  int getClosestSolution(std::string& freqs, std::string& phases, std::string& dutyCycles, double fIn1, double fIn2,
                         int count, bool minJitter, bool integerOnly, int usePll, double inPeriod, bool minPower,
                         bool clkoutPhy, double clkoutPhyFreq);

  /// The nearest phase and duty cycle that an MMCM's output with this divider has; the duty cycle is asked for in
  /// percent and given as a fraction. Without `fractional` the divider counts as its nearest whole number, with it as
  /// the nearest value that the counter has.
  double mmcmCalculateActualPhase(double& phase, double& divide, bool fractional);
  double mmcmCalculateActualDutyCycle(double& dutyCycle, double& divide, bool fractional);

  /// Why the last solve failed, in words: the limits that bind, the nearest setting with its error in ppm, and inputs
  /// with which all outputs are exact. Empty if it did not.
  std::string getFault() const;

  /// The last solution. Outputs count from 0; one that the solution does not have is 0.
  double getChosenM();
  int getChosenD();
  double getChosenVCO();
  double getChosenDiv0();
  int getChosenDivN(int index);
  double getChosenOutFreqN(int index);
  double getChosenPhaseN(int index);
  double getChosenDutyCycleN(int index);
  double getActualModFreq();
  std::string getChosenClkoutXiPhyMode();
  double getActualClkoutXiPhyFreq();

  /// Whether this is as good as a new one: no part was chosen, and no option.
  bool isBlank() const;

  /// A limit of the part by its key (data/devices). False: there is none.
  bool getKeyValue(std::string key, double* value);
  /// The shortest period that the buffer carries; the longest that the device's first buffer carries.
  bool getMinPeriodSpdData(std::string const& buffer, std::string& text);
  bool getMaxPeriodSpdData(std::string& text);

  /// Up to `count` (1 to 1000) frequencies that output `count2` can have, at most `margin` percent from `frequency`,
  /// nearest first, made from the input and by the primitive of the last request. False: `text` says why.
  bool getClkwizOutputFrequencies(double const& frequency, int const& count, int const& count2, std::string& text,
                                  double margin);
  /// Up to `count` input frequencies of the primitive `name` at most `margin` percent from `frequency`, nearest first,
  /// from which every output of `list` comes exactly. An empty list: the inputs nearest to `frequency` that it takes.
  bool getClkwizInputFrequencies(std::string const& name, double const& frequency, std::vector<double> const& list,
                                 int const& count, std::string& text, double margin);

 private:
  struct KDI_INSIDE State;
  std::unique_ptr<State> state_;
};

/// The solvers, by part and instance.
///
/// A solver that is handed out stays there for the thread that asked, also when another one ends it, until the thread
/// has asked for kdi::kLentAtOnce (common/KdiInstances.h) others.
class KDI_DOOR HIPClkwizTclMgr {
 public:
  /// Solvers beyond these are not made: more than any design has, and few enough for the memory of a small machine.
  static constexpr std::size_t kMost = 16384;

  /// Never null and never destroyed.
  static HIPClkwizTclMgr* GetInstance();

  /// Finds or makes the solver of the two keys. Blank ones are kept as long as they are few; null if kMost others are
  /// there.
  HIPClkwizImp* getClkwizImp(std::string& part, std::string& instance);
  /// Unknown keys have no effect.
  void deleteClkwizImp(std::string& part, std::string& instance);
  /// Re-keys a solver. An unknown old name has no effect; the solver of a taken new name is replaced.
  void changeCompInstName(std::string& part, std::string& oldName, std::string& newName);

 private:
  HIPClkwizTclMgr();
  ~HIPClkwizTclMgr();

  struct KDI_INSIDE Solvers;
  std::unique_ptr<Solvers> solvers_;
};

}  // namespace Ip_Clkwiz
