// Clock synthesis for the Ip_Clocking_... commands.
//
// Frequencies in MHz, phases in degrees, duty cycles in percent, periods in ns, jitter and phase error in ps,
// modulation frequencies in kHz. Texts that carry results are Tcl lists and dictionaries. No operation throws anything
// but std::bad_alloc, getPeakToPeakJitter and getPhaseError apart, whose callers catch. All may be called from several
// threads: what a solver remembers, it works on for one at a time.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/device/HASTJitterCalculatorKelvane.h"

namespace Ip_Clocking {

/// Scripts give the numbers: they are not to change.
enum ClockPrimitive { CLKPRIM_MMCM = 0, CLKPRIM_PLL = 1, CLKPRIM_PHYPLL = 2 };

/// One output: what is asked for, and what comes of it.
struct HIPClock {
  double frequency = 0;
  double phase = 0;
  double dutyCycle = 50;
  double divide = 0;
  double actualFrequency = 0;
  double actualPhase = 0;
  double actualDutyCycle = 0;
};

/// The solver of one part, and its last solution.
class KDI_DOOR HIPClockingSoln {
 public:
  explicit HIPClockingSoln(std::string const& name);
  ~HIPClockingSoln();

  /// The nearest phase and duty cycle that an output with the divider `clock.divide` has (the nearest value of
  /// its counter; 0: `divide`). Phases are those of an MMCM's outputs. False fills `errors`.
  bool calculateActualPhase(HIPClock& clock, StrVec& errors);
  bool calculateActualDutyCycle(HIPClock& clock, StrVec& errors, int divide, ClockPrimitive primitive);

  /// Whether it has solved nothing, and so is as good as a new one.
  bool isBlank() const;

  /// A limit of the part `name`, which need not be this solver's, by its key (data/devices). Failure is a non-empty
  /// `errors`.
  std::string getSpeedFileProperty(std::string& name, std::string& key, StrVec& errors);

  /// Input frequencies from which the outputs and the output for I/O banks come exactly; one of 0 is not asked for.
  /// The first has the one nearest to 1000 / `inPeriod`, the second a list of up to 100, nearest first. With
  /// `useSpeedData` the limits are those of the part's speed grade, without it the widest of all its grades. A
  /// controller type other than NONE is one of the part's memory types, whose data rates (Mb/s of a pin, which is the
  /// number of `phyFreq`) are kept. False: `text` says why.
  bool getInputClockFrequencies(double const& phyFreq, double const& out1, double const& out2, double const& out3,
                                double const& out4, ClockPrimitive& primitive, std::string& text, double inPeriod,
                                bool useSpeedData);
  bool getInputClkFrequencies(double const& phyFreq, double const& out1, double const& out2, double const& out3,
                              double const& out4, ClockPrimitive& primitive, std::string& text, double inPeriod,
                              bool useSpeedData, std::string const& nocmcControllerType);
  /// The frequencies that an output can have from this input, not those of the clocks of a setting: ascending, with
  /// whole M and the smallest D that has any. On a primitive with the output for I/O banks, those with which that one
  /// runs at `multiplication` times the output; on others those that are a whole number of kHz, and `multiplication`
  /// is 1. False: `text` says why.
  bool getOutputClockFrequencies(double const& inFreq, ClockPrimitive& primitive, int const& multiplication,
                                 std::string& text, double inPeriod, bool useSpeedData,
                                 std::string const& nocmcControllerType);

  /// By the model of device/Clocking.h with an input free of jitter. `primitive` is a primitive's name or number;
  /// BW_NONE counts as BW_OPTIMIZED. False: unknown names, figures outside the limits.
  bool getPeakToPeakJitter(double fIn, double fVco, double fOut, HASTJitterCalculatorKelvane::BANDWIDTH bandwidth,
                           std::string const& primitive, bool spreadSpectrum, bool finePs, int output, double* value);
  /// Static phase error of an output of the last solution. False: there is no such output.
  bool getPhaseError(double* value, int output);

  /// The period in ns of a frequency in MHz, whatever the primitive, and of either input; 0.0 for a frequency that is
  /// not above 0.
  double getInClkPeriod(double const& frequency, ClockPrimitive primitive, bool secondary);

  /// In spite of the name the whole setting, dividers of the outputs included: the best for `clocks`, whose
  /// frequencies are within the primitive's limits. True fills `solution`, a
  /// dictionary, and the actual values of `clocks`; false fills `errors` with what stands in the way. The frequencies
  /// say what the periods say, so the solver goes by them; a secondary frequency of 0 is none. Of `minJitter` and
  /// `minPower` the first counts.
  bool calculateMandD(std::vector<HIPClock>& clocks, std::string& part, StrVec& errors, double const& primFreq,
                      double const& secondaryFreq, ClockPrimitive& primitive, bool minJitter, bool finePs,
                      bool minPower, bool lowBandwidth, bool spreadSpectrum, std::string const& ssMode,
                      double ssModFreq, double inclk1Period, double inclk2Period, std::string& solution);

  /// In spite of the name it computes no instances alone but their settings too: the least number of MMCMs (of PLLs
  /// where the part has no MMCM) that make the outputs from the inputs. An input is a frequency and 0. Without inputs
  /// there is one of the period `inPeriod`. `result` is a dictionary, or says why there is none.
  bool computeMinimalClkInst(std::vector<double> const& outputs, std::vector<std::pair<double, double>> const& inputs,
                             double inPeriod, std::string& part, std::string& result);

 private:
  struct KDI_INSIDE State;
  std::unique_ptr<State> state_;
};

/// The solvers, by the name of their part.
///
/// A solver that is handed out stays there for the thread that asked, also when another one ends it or the manager
/// goes, until the thread has asked for kdi::kLentAtOnce (common/KdiInstances.h) others.
class KDI_DOOR HIPClockingMgr {
 public:
  /// Made at the first call; never null.
  static HIPClockingMgr* GetInstance();

  /// Finds or makes the solver of this name, one of these and not the clock wizard's; null for an empty one. The solver
  /// of a name that is no part's has no data, and says so. Those that have solved nothing are kept as long as they are
  /// few.
  HIPClockingSoln* getClkwizSoln(std::string& name);
  /// An unknown name has no effect.
  void deleteClockingSoln(std::string& name);
  /// Releases the solvers, if there was a first call. Another one begins anew.
  static void terminateInstance();

 private:
  HIPClockingMgr();
  ~HIPClockingMgr();

  struct KDI_INSIDE Solvers;
  std::unique_ptr<Solvers> solvers_;
};

class KDI_DOOR HIPClockingUtils {
 public:
  /// Reads the words of a command by its schema: `-name <necessity:type:default>` for each option, with blanks between.
  /// Necessity is mandatory or optional; the types and what `values` then points to are
  ///   string std::string, double double (finite), long long, bool bool (true, false, yes, no, on, off, 1, 0, in
  ///   letters of either case), list std::vector<std::string> (the parts of the word between blanks and commas).
  /// An optional option that is not given has its default; "" is the empty text. The caller deletes the values.
  ///
  /// False, with `values` empty: a schema of another form, an option that is unknown, given twice, without a value
  /// (another option's name is none) or with one of another type, or a mandatory option that is not given.
  static bool parseArgs(std::string const& schema, StrVec const& words, std::map<std::string, void*>& values);

  /// True if the whole text is a finite number.
  static bool validateAndConvertDouble(std::string const& text, double& value);
  /// Three decimals; false for a value that is not finite.
  static bool convertDoubleToString(double const& value, std::string& text);
  /// "MODE FREQUENCY", in kHz, with blanks or commas between: "CENTER_HIGH 250". Empty, or NONE: no spread spectrum.
  /// Whether a primitive has the mode is the solver's to say. False fills `error`.
  static bool validateSSArgs(std::string& text, bool& enabled, std::string& mode, double& modFreq, std::string& error);
};

}  // namespace Ip_Clocking
