// The clock engines on the reference devices: what they answer is consistent with itself and with the device data, and
// held against enumerations of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <sstream>

#include "kdi/common/HEXAll.h"
#include "kdi/device/host/PartCatalogue.h"
#include "kdi/ip/HIPClkwiz.h"
#include "kdi/ip/HIPClocking.h"
#include "tests/support/random.h"

namespace {

using kdi::device::ClockPrimitive;
using kdi::device::Part;

// A part of the device's slowest (first) or fastest speed grade.
Part const& part_of(std::string const& device) {
  auto& catalogue = kdi::device::PartCatalogue::global();
  const std::vector<std::string> names = catalogue.parts(device);
  if (names.empty()) throw std::runtime_error("no parts of " + device);
  return catalogue.part(names.front())->values();
}

std::vector<double> numbers(std::string const& text) {
  std::istringstream stream(text);
  std::vector<double> values;
  for (double value = 0; stream >> value;) values.push_back(value);
  EXPECT_TRUE(stream.eof()) << text;
  return values;
}

std::string joined(std::vector<double> const& values) {
  std::ostringstream stream;
  stream.precision(12);
  for (double value : values) stream << value << ' ';
  return stream.str();
}

// One wizard with a request that changes from test to test.
struct Wizard {
  explicit Wizard(Part const& of) : part(of) { solver.setPart(of.name); }

  int solve() {
    std::string f = joined(frequencies), p = joined(phases), d = joined(duties);
    const int status = solver.getClosestSolution(f, p, d, input, second, static_cast<int>(frequencies.size()),
                                                 min_jitter, whole, pll, 10, min_power, phy, phy_mhz);
    if (status == 1) {
      solved_frequencies = numbers(f);
      solved_phases = numbers(p);
      solved_duties = numbers(d);
    }
    return status;
  }

  Part const& part;
  Ip_Clkwiz::HIPClkwizImp solver;
  std::vector<double> frequencies{100}, phases{0}, duties{50};
  double input = 100, second = 0, phy_mhz = 300;
  bool min_jitter = false, whole = false, min_power = false, phy = false;
  int pll = 0;
  std::vector<double> solved_frequencies, solved_phases, solved_duties;
};

bool is_multiple(double value, double step) {
  const double ratio = value / step;
  return std::abs(ratio - std::round(ratio)) < 1e-4;
}

ClockPrimitive const& primitive_of(Part const& part, int pll) {
  using Kind = kdi::device::ClockPrimitiveKind;
  return *part.clock_primitive(pll == 0 ? Kind::mmcm : Kind::pll);
}

// ===================================================================================================== clock wizard

TEST(ClkwizEngine, WhatIsReadBackBelongsTogether) {
  for (char const* device : {"zrv7030", "zrv9010", "brvn3716"}) {
    test_support::Random random(7);
    Part const& part = part_of(device);
    int solved = 0;
    for (int round = 0; round < 150; ++round) {
      Wizard wizard(part);
      wizard.pll = random.one_in(3) ? 1 : 0;
      wizard.whole = random.one_in(4);
      wizard.min_power = random.one_in(3);
      ClockPrimitive const& data = primitive_of(part, wizard.pll);
      wizard.input = 20 + random.below(300) + random.below(1000) / 1000.0;
      const std::size_t count = 1 + random.below(static_cast<unsigned>(std::min<std::size_t>(data.outputs.size(), 7)));
      wizard.frequencies.clear();
      wizard.phases.clear();
      wizard.duties.clear();
      for (std::size_t i = 0; i < count; ++i) {
        wizard.frequencies.push_back(10 + random.below(400));
        wizard.phases.push_back(static_cast<double>(random.below(720)) - 360);
        wizard.duties.push_back(10 + random.below(80));
      }
      if (wizard.solve() != 1) continue;
      ++solved;
      auto& solver = wizard.solver;
      const double m = solver.getChosenM(), d = solver.getChosenD(), vco = solver.getChosenVCO();
      SCOPED_TRACE(std::string(device) + " round " + std::to_string(round) + " input " + std::to_string(wizard.input));
      EXPECT_NEAR(vco, wizard.input * m / d, 1e-6 * vco);
      EXPECT_TRUE(data.vco_mhz.contains(vco)) << vco;
      EXPECT_TRUE(data.pfd_mhz.contains(wizard.input / d));
      EXPECT_TRUE(m >= data.multiply.min && m <= data.multiply.max && d >= data.divide.min && d <= data.divide.max);
      EXPECT_TRUE(is_multiple(m, wizard.whole ? 1 : 1.0 / data.multiply.steps_per_unit)) << m;
      for (int i = 0; i < static_cast<int>(count); ++i) {
        const auto at = static_cast<std::size_t>(i);
        const double divide = i == 0 ? solver.getChosenDiv0() : solver.getChosenDivN(i);
        EXPECT_EQ(solver.getChosenDivN(i), std::floor(divide));
        EXPECT_NEAR(solver.getChosenOutFreqN(i), vco / divide, 1e-6 * vco);
        EXPECT_NEAR(wizard.solved_frequencies[at], solver.getChosenOutFreqN(i), 1e-6);
        EXPECT_TRUE(data.output_mhz.contains(solver.getChosenOutFreqN(i)));
        EXPECT_TRUE(is_multiple(solver.getChosenPhaseN(i), 45 / divide)) << solver.getChosenPhaseN(i);
        EXPECT_NEAR(wizard.solved_phases[at], solver.getChosenPhaseN(i), 1e-5);
        EXPECT_NEAR(wizard.solved_duties[at], solver.getChosenDutyCycleN(i), 1e-5);
        if (divide == std::floor(divide) && divide > 1) {
          EXPECT_TRUE(is_multiple(solver.getChosenDutyCycleN(i), 50 / divide)) << solver.getChosenDutyCycleN(i);
        }
      }
      for (int none : {-1, static_cast<int>(count), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(solver.getChosenDivN(none), 0);
        EXPECT_EQ(solver.getChosenOutFreqN(none), 0);
        EXPECT_EQ(solver.getChosenPhaseN(none), 0);
        EXPECT_EQ(solver.getChosenDutyCycleN(none), 0);
      }
    }
    EXPECT_GT(solved, 100) << device;
  }
}

// Every value of a counter, in the steps that the data state.
std::vector<double> values_of(kdi::device::CounterRange const& counter) {
  std::vector<double> values;
  for (int whole = counter.min; whole <= counter.max; ++whole)
    for (int part = 0; part < counter.steps_per_unit; ++part)
      if (part == 0 || (whole >= counter.fraction_min && whole < counter.max))
        values.push_back(whole + static_cast<double>(part) / counter.steps_per_unit);
  return values;
}

// Calls `visit` with every output frequency of the primitive's first counter from this input, in MHz.
template <class Visit>
void for_each_output(ClockPrimitive const& data, double input, Visit visit) {
  const std::vector<double> dividers = values_of(data.outputs.front().divide);
  for (int d = data.divide.min; d <= data.divide.max; ++d) {
    if (!data.pfd_mhz.contains(input / d)) continue;
    for (double m : values_of(data.multiply)) {
      const double vco = input * m / d;
      if (!data.vco_mhz.contains(vco)) continue;
      for (double o : dividers)
        if (data.output_mhz.contains(vco / o)) visit(vco / o);
    }
  }
}

TEST(ClkwizEngine, NoSettingIsNearerThanTheOneChosen) {
  for (char const* device : {"zrv7030", "brvn2104"})
    for (int pll : {0, 1}) {
      Part const& part = part_of(device);
      Wizard wizard(part);
      wizard.pll = pll;
      wizard.input = 66.6;
      static constexpr double kWanted[] = {10.007, 33.3333, 74.25, 123.456, 148.5, 245.76, 399.9};
      std::array<double, std::size(kWanted)> least{};
      least.fill(std::numeric_limits<double>::infinity());
      for_each_output(primitive_of(part, pll), wizard.input, [&least](double made) {
        for (std::size_t i = 0; i < least.size(); ++i) least[i] = std::min(least[i], std::abs(made - kWanted[i]));
      });
      for (std::size_t i = 0; i < least.size(); ++i) {
        wizard.frequencies = {kWanted[i]};
        ASSERT_EQ(wizard.solve(), 1);
        EXPECT_NEAR(std::abs(wizard.solver.getChosenOutFreqN(0) - kWanted[i]), least[i], 1e-7)
            << device << ' ' << kWanted[i];
      }
    }
}

TEST(ClkwizEngine, ListsTheNearestOutputs) {
  Part const& part = part_of("zrv7030");
  Wizard wizard(part);
  wizard.input = 66.6;
  ASSERT_EQ(wizard.solve(), 1);
  std::vector<double> all;
  for_each_output(primitive_of(part, 0), wizard.input, [&all](double made) { all.push_back(made); });
  std::ranges::sort(all, {}, [](double one) { return std::abs(one - 123.456); });
  // the same frequency comes from many settings
  all.erase(std::unique(all.begin(), all.end(), [](double a, double b) { return std::abs(a - b) < 1e-9; }), all.end());
  std::string text;
  ASSERT_TRUE(wizard.solver.getClkwizOutputFrequencies(123.456, 12, 0, text, 100));
  const std::vector<double> listed = numbers(text);
  ASSERT_EQ(listed.size(), 12U);
  for (std::size_t i = 0; i < listed.size(); ++i) EXPECT_NEAR(listed[i], all[i], 1e-6) << i;

  ASSERT_TRUE(wizard.solver.getClkwizOutputFrequencies(123.456, 1000, 0, text, 0.01));
  for (double one : numbers(text)) EXPECT_LE(std::abs(one - 123.456), 0.0123457);
  EXPECT_TRUE(wizard.solver.getClkwizOutputFrequencies(123.456, 1, 0, text, 0));
  EXPECT_EQ(text, "");
}

TEST(ClkwizEngine, EveryInputOfTheListMakesTheOutputsExactly) {
  Part const& part = part_of("zrv9010");
  Wizard wizard(part);
  std::string text;
  ASSERT_TRUE(wizard.solver.getClkwizInputFrequencies("MMCM", 100, {148.5, 74.25}, 20, text, 10));
  const std::vector<double> inputs = numbers(text);
  ASSERT_FALSE(inputs.empty());
  double distance = 0;
  for (double input : inputs) {
    EXPECT_LE(std::abs(input - 100), 10);
    EXPECT_GE(std::abs(input - 100), distance - 1e-6);
    distance = std::abs(input - 100);
    wizard.frequencies = {148.5, 74.25};
    wizard.phases = {0, 0};
    wizard.duties = {50, 50};
    wizard.input = input;
    ASSERT_EQ(wizard.solve(), 1);
    // the input in the list has six decimals
    EXPECT_NEAR(wizard.solver.getChosenOutFreqN(0), 148.5, 2e-6) << input;
    EXPECT_NEAR(wizard.solver.getChosenOutFreqN(1), 74.25, 2e-6) << input;
  }
  ASSERT_TRUE(wizard.solver.getClkwizInputFrequencies("MMCM", 100, {}, 5, text, 10));
  EXPECT_EQ(text, "100");
  ASSERT_TRUE(wizard.solver.getClkwizInputFrequencies("MMCM", 5, {}, 5, text, 100));
  EXPECT_EQ(text, "10");  // the least that the primitive takes
}

TEST(ClkwizEngine, ListsSayWhyThereIsNone) {
  Wizard wizard(part_of("zrv9010"));
  std::string text;
  const auto outputs = [&](double frequency, int count, int output, double margin) {
    EXPECT_FALSE(wizard.solver.getClkwizOutputFrequencies(frequency, count, output, text, margin));
    return text;
  };
  EXPECT_EQ(outputs(100, 5, 0, 10), "nothing was solved yet, so there is no input clock");
  ASSERT_EQ(wizard.solve(), 1);
  EXPECT_EQ(outputs(100, 5, 7, 10), "output 7 is outside 0 to 6");
  EXPECT_EQ(outputs(100, 5, -1, 10), "output -1 is outside 0 to 6");
  EXPECT_EQ(outputs(-1, 5, 0, 10), "-1 MHz is no frequency");
  EXPECT_EQ(outputs(NAN, 5, 0, 10), "nan MHz is no frequency");
  EXPECT_EQ(outputs(100, 0, 0, 10), "the count 0 is outside 1 to 1000");
  EXPECT_EQ(outputs(100, 1001, 0, 10), "the count 1001 is outside 1 to 1000");
  EXPECT_EQ(outputs(100, 5, 0, -1), "the margin -1 is outside 0 to 1000000 percent");
  EXPECT_FALSE(wizard.solver.getClkwizInputFrequencies("XYZ", 100, {}, 5, text, 10));
  EXPECT_EQ(text, wizard.part.name + " has no clock primitive \"XYZ\"");
  EXPECT_FALSE(wizard.solver.getClkwizInputFrequencies("MMCM", 100, {1, 2, 3, 4, 5, 6, 7, 8}, 5, text, 10));
  EXPECT_EQ(text, "8 outputs are asked for; the primitive has 7");
  EXPECT_FALSE(wizard.solver.getClkwizInputFrequencies("MMCM", 100, {0}, 5, text, 10));
  EXPECT_NE(text, "");
  Ip_Clkwiz::HIPClkwizImp none;
  none.setPart("nothing");
  EXPECT_FALSE(none.getClkwizInputFrequencies("MMCM", 100, {}, 5, text, 10));
  EXPECT_EQ(text, "part \"nothing\" is not known");
}

TEST(ClkwizEngine, Statuses) {
  Wizard none(part_of("zrv9010"));
  none.solver.setPart("nothing");
  EXPECT_EQ(none.solve(), 2);
  Wizard wizard(part_of("zrv9010"));
  EXPECT_EQ(wizard.solve(), 1);
  EXPECT_NE(wizard.solver.getChosenM(), 0);
  wizard.frequencies = {5000};
  EXPECT_EQ(wizard.solve(), 4);
  EXPECT_EQ(wizard.solver.getChosenM(), 0) << "what is chosen is of the last request";
  wizard.frequencies = {100};
  for (double bad : {0.0, -5.0, 9.0, 900.0, static_cast<double>(NAN), static_cast<double>(INFINITY)}) {
    wizard.input = bad;
    EXPECT_EQ(wizard.solve(), 8) << bad;
    wizard.input = 100;
    wizard.second = bad;
    if (bad != 0) {
      EXPECT_EQ(wizard.solve(), 8) << bad;
    }
    wizard.second = 0;
  }
  wizard.second = 150;
  EXPECT_EQ(wizard.solve(), 1);
  wizard.second = 800;
  EXPECT_EQ(wizard.solve(), 3);
  wizard.second = 0;
  wizard.phy = true;
  EXPECT_EQ(wizard.solve(), 6);
  wizard.pll = 1;
  wizard.phy_mhz = 1200;
  EXPECT_EQ(wizard.solve(), 1);
  EXPECT_NEAR(wizard.solver.getActualClkoutXiPhyFreq(), 1200, 1e-6);
  const double ratio = wizard.solver.getActualClkoutXiPhyFreq() / wizard.solver.getChosenVCO();
  const std::string mode = wizard.solver.getChosenClkoutXiPhyMode();
  for (auto const& one : primitive_of(wizard.part, 1).phy_output->modes)
    if (one.name == mode) {
      EXPECT_NEAR(one.vco_ratio, ratio, 1e-9);
    }
  EXPECT_NE(mode, "");
  wizard.phy_mhz = 9000;
  EXPECT_EQ(wizard.solve(), 4);
  EXPECT_EQ(wizard.solver.getChosenClkoutXiPhyMode(), "");
  Wizard old(part_of("zrv7030"));
  old.phy = true;
  EXPECT_EQ(old.solve(), 5);
}

// A status has no room for it, so the solver keeps the words.
TEST(ClkwizEngine, TheFaultTellsWhatBindsHowNearItComesAndWhichInputsWouldDo) {
  Wizard wizard(part_of("zrv9010"));
  const auto fault = [&wizard] {
    EXPECT_NE(wizard.solve(), 1);
    return wizard.solver.getFault();
  };
  wizard.frequencies = {100, 5000};
  wizard.phases = {0, 0};
  wizard.duties = {50, 50};
  EXPECT_EQ(fault(),
            "output frequency 5000 MHz is outside 6.25 to 667 MHz. Nearest: M 93.375, D 7, outputs 99.732977 "
            "666.964286 MHz, worst error 866607.143 ppm.");
  wizard.frequencies = {100};
  wizard.input = 5;
  EXPECT_EQ(fault().substr(0, 121),
            "input frequency 5 MHz is outside 10 to 800 MHz. No valid setting: input range 10 to 800 MHz would have to "
            "be 5 to 800 MHz");
  EXPECT_NE(wizard.solver.getFault().find(" Exact with an input of 10 or "), std::string::npos);
  wizard.input = 100;
  wizard.second = 800;
  EXPECT_EQ(fault().substr(0, 30), "No valid setting: second input");
  wizard.second = 0;
  EXPECT_EQ(wizard.solve(), 1);
  EXPECT_EQ(wizard.solver.getFault(), "");
  std::string list = "100 x", none;
  EXPECT_EQ(wizard.solver.getMinPowerOutFreqs(list, 100, 0, 2, false, false, 0, false, 10, false, 0), 4);
  EXPECT_EQ(wizard.solver.getFault(), "the frequencies \"100 x\" are not all numbers");
  list = "100";
  EXPECT_EQ(wizard.solver.getMinPowerOutFreqs(list, 100, 0, 2, false, false, 0, false, 10, false, 0), 4);
  EXPECT_EQ(wizard.solver.getFault(), "2 clocks are asked for, with 1 frequencies");
  double ui = -0.01;
  wizard.solver.setClkInUIJitter(ui);
  EXPECT_EQ(fault(), "input jitter -100.000000 ps is outside 0 to 10^12");
}

TEST(ClkwizEngine, ThePhyOutputIsMadeByThePrimitiveThatHasOne) {
  Wizard wizard(part_of("brvn3716"));
  wizard.pll = 1;
  wizard.phy = true;
  wizard.phy_mhz = 3200;
  ASSERT_EQ(wizard.solve(), 1);
  EXPECT_EQ(wizard.solver.getActualClkoutXiPhyFreq(), 3200);
}

TEST(ClkwizEngine, ListsThatAreShortOrNoNumbersHaveNoSolution) {
  Wizard wizard(part_of("zrv9010"));
  const auto status = [&](std::string f, std::string p, std::string d, int count) {
    return wizard.solver.getClosestSolution(f, p, d, 100, 0, count, false, false, 0, 10, false, false, 0);
  };
  EXPECT_EQ(status("100 200", "0 0", "50 50", 2), 1);
  EXPECT_EQ(status("100,200", "0,0", "50,50", 2), 1);
  EXPECT_EQ(status("100 200", "", "", 2), 1) << "phase 0 and 50 percent";
  EXPECT_EQ(status("100 200 300", "0 0 x", "50 50", 2), 4);
  EXPECT_EQ(status("100", "0 0", "50 50", 2), 4);
  EXPECT_EQ(status("100 200", "0", "50 50", 2), 4);
  EXPECT_EQ(status("100 x", "0 0", "50 50", 1), 4);
  EXPECT_EQ(status("100", "0", "100", 1), 4);
  EXPECT_EQ(status("100", "0", "0", 1), 4);
  EXPECT_EQ(status("100", "1e300", "50", 1), 4);
  EXPECT_EQ(status("100", "0", "50", 0), 4);
  EXPECT_EQ(status("100", "0", "50", -1), 4);
  EXPECT_EQ(status("100", "0", "50", std::numeric_limits<int>::max()), 4);
  std::string eight = "10 20 30 40 50 60 70 80";
  EXPECT_EQ(wizard.solver.getMinPowerOutFreqs(eight, 100, 0, 8, false, false, 0, false, 10, false, 0), 4);
  EXPECT_EQ(eight, "10 20 30 40 50 60 70 80") << "rewritten by a solution only";
}

TEST(ClkwizEngine, PreferencesChooseTheVcoFrequency) {
  Part const& part = part_of("zrv9010");
  ClockPrimitive const& mmcm = primitive_of(part, 0);
  Ip_Clkwiz::HIPClkwizImp solver;
  solver.setPart(part.name);
  const auto vco = [&](bool closest, bool min_jitter, bool min_power) {
    std::string f = "100", p = "0", d = "50";
    EXPECT_EQ(closest ? solver.getClosestSolution(f, p, d, 100, 0, 1, min_jitter, false, 0, 10, min_power, false, 0)
                      : solver.getMinPowerOutFreqs(f, 100, 0, 1, min_jitter, false, 0, min_power, 10, false, 0),
              1);
    return solver.getChosenVCO();
  };
  EXPECT_EQ(vco(true, false, false), mmcm.vco_mhz.max);
  EXPECT_EQ(vco(true, true, true), mmcm.vco_mhz.max);
  EXPECT_EQ(vco(true, false, true), mmcm.vco_mhz.min);
  EXPECT_EQ(vco(false, false, false), mmcm.vco_mhz.min);
  EXPECT_EQ(vco(false, true, true), mmcm.vco_mhz.min);
  EXPECT_EQ(vco(false, true, false), mmcm.vco_mhz.max);
}

TEST(ClkwizEngine, Options) {
  Part const& part = part_of("zrv9010");
  Wizard wizard(part);
  // spread spectrum: the VCO's excursions stay within its range, and the modulation is what a divider makes
  wizard.solver.setSpreadSpectrum(true);
  ASSERT_EQ(wizard.solve(), 1);
  EXPECT_NEAR(wizard.solver.getActualModFreq(), part.clock_primitive("MMCM")->spread_spectrum->modulation_khz.min,
              1e-9);
  std::string mode = "CENTER_HIGH";
  double khz = 101;
  wizard.solver.setSSMode(mode);
  wizard.solver.setSSModFreq(khz);
  ASSERT_EQ(wizard.solve(), 1);
  const double pfd_khz = 100000.0 / wizard.solver.getChosenD();
  EXPECT_TRUE(is_multiple(pfd_khz, wizard.solver.getActualModFreq()));
  EXPECT_NEAR(wizard.solver.getActualModFreq(), khz, 1);
  EXPECT_LE(wizard.solver.getChosenVCO() * 1.0075, part.clock_primitive("MMCM")->vco_mhz.max + 1e-6);
  mode = "NO_SUCH_MODE";
  wizard.solver.setSSMode(mode);
  EXPECT_EQ(wizard.solve(), 4);
  wizard.solver.setSpreadSpectrum(false);
  wizard.pll = 1;
  EXPECT_EQ(wizard.solve(), 1);
  wizard.solver.setSpreadSpectrum(true);
  EXPECT_EQ(wizard.solve(), 4) << "the PLL has none";
  wizard.solver.setSpreadSpectrum(false);
  EXPECT_EQ(wizard.solver.getActualModFreq(), 0);

  // fine phase, which only whole counters have
  wizard.pll = 0;
  wizard.whole = true;
  wizard.phases = {7};
  ASSERT_EQ(wizard.solve(), 1);
  const double coarse = std::abs(wizard.solver.getChosenPhaseN(0) - 7);
  wizard.solver.setFinePS(true);
  ASSERT_EQ(wizard.solve(), 1);
  EXPECT_LT(std::abs(wizard.solver.getChosenPhaseN(0) - 7), coarse);
  wizard.solver.setFinePS(false);
  wizard.whole = false;

  // an input that the buffer does not carry
  wizard.solver.globalBufferInputClk = true;
  ASSERT_EQ(wizard.solve(), 1);
  wizard.input = 1000 / part.speed->clock_buffers.front().period_ns.min + 1;
  wizard.frequencies = {wizard.input / 4};
  ASSERT_LT(wizard.input, part.clock_primitive("MMCM")->input_mhz.max);
  EXPECT_EQ(wizard.solve(), 4);
  wizard.solver.globalBufferInputClk = false;
  EXPECT_EQ(wizard.solve(), 1);

  // too much input jitter
  double ui = part.clock_primitive("MMCM")->input_jitter_max_ui;
  wizard.solver.setClkInUIJitter(ui);
  EXPECT_EQ(wizard.solve(), 1);
  ui *= 1.01;
  wizard.solver.setClkInUIJitter(ui);
  EXPECT_EQ(wizard.solve(), 4);
}

TEST(ClkwizEngine, JitterAndPhaseErrorFollowTheModelOfTheData) {
  Part const& part = part_of("zrv9010");
  Wizard wizard(part);
  std::string error, bandwidth = "low";
  double value = 0;
  auto const* const loop = part.clock_primitive("MMCM")->loop(HASTJitterCalculatorKelvane::BW_LOW);
  ASSERT_TRUE(wizard.solver.getPkToPkJitter(100, 1000, 100, bandwidth, 50, 0, error, &value));
  const double plain = std::sqrt(std::pow(loop->input_gain * 50, 2) + loop->vco_ps * loop->vco_ps * 1000 / 1000 +
                                 loop->output_ps * loop->output_ps);
  EXPECT_NEAR(value, plain, 1e-9);
  ASSERT_TRUE(wizard.solver.getPkToPkJitter(100, 1000, 100, bandwidth, 50, 100, error, &value));
  EXPECT_NEAR(value, plain + loop->spread_ps, 1e-9);
  wizard.solver.setFinePS(true);
  ASSERT_TRUE(wizard.solver.getPkToPkJitter(100, 1000, 100, bandwidth, 50, 100, error, &value));
  EXPECT_NEAR(value, plain + loop->spread_ps + loop->fine_ps, 1e-9);
  wizard.solver.setFinePS(false);

  ASSERT_TRUE(wizard.solver.getPhaseError(100, 1000, bandwidth, error, &value));
  EXPECT_NEAR(value, loop->phase_error_ps + loop->phase_error_pfd_ps, 1e-9) << "D 1: the PFD runs at 100 MHz";
  wizard.frequencies = {74.3};
  ASSERT_EQ(wizard.solve(), 1);
  ASSERT_GT(wizard.solver.getChosenD(), 1);
  ASSERT_TRUE(wizard.solver.getPhaseError(100, wizard.solver.getChosenVCO(), bandwidth, error, &value));
  EXPECT_NEAR(value, loop->phase_error_ps + loop->phase_error_pfd_ps * wizard.solver.getChosenD(), 1e-9);

  EXPECT_FALSE(wizard.solver.getPkToPkJitter(5, 1000, 100, bandwidth, 50, 0, error, &value));
  EXPECT_EQ(error, "input frequency 5 MHz is outside 10 to 800 MHz");
  EXPECT_FALSE(wizard.solver.getPkToPkJitter(100, 100, 100, bandwidth, 50, 0, error, &value));
  EXPECT_EQ(error, "VCO frequency 100 MHz is outside 800 to 1600 MHz");
  EXPECT_FALSE(wizard.solver.getPkToPkJitter(100, 1000, 0, bandwidth, 50, 0, error, &value));
  EXPECT_EQ(error, "output frequency 0 MHz is outside 6.25 to 667 MHz");
  EXPECT_FALSE(wizard.solver.getPkToPkJitter(100, 1000, 100, bandwidth, -1, 0, error, &value));
  EXPECT_EQ(error, "input jitter -1 ps is outside 0 to 1000000");
  EXPECT_FALSE(wizard.solver.getPhaseError(799.9, 1000.123, bandwidth, error, &value));
  EXPECT_EQ(error, "no M and D make a VCO frequency of 1000.123 MHz from 799.9 MHz");
  bandwidth = "wide";
  EXPECT_FALSE(wizard.solver.getPhaseError(100, 1000, bandwidth, error, &value));
  EXPECT_EQ(error, "bandwidth \"wide\" is none of LOW, HIGH, OPTIMIZED");
  Ip_Clkwiz::HIPClkwizImp none;
  EXPECT_FALSE(none.getPhaseError(100, 1000, bandwidth, error, &value));
  EXPECT_EQ(error, "part \"\" is not known, or has no clock primitive");
}

TEST(ClkwizEngine, ActualPhaseAndDutyCycleAreTheNearestOnes) {
  Wizard wizard(part_of("zrv9010"));
  test_support::Random random(3);
  for (int round = 0; round < 300; ++round) {
    double divide = 1 + random.below(128), phase = random.below(3600) / 10.0, duty = 1 + random.below(98);
    const double actual = wizard.solver.mmcmCalculateActualPhase(phase, divide, false);
    const double step = 45 / divide;
    EXPECT_TRUE(is_multiple(actual, step));
    const double away = std::abs(actual - phase);
    // of 64 VCO periods at most, so that long periods are not reached everywhere
    if (phase / 360 * divide < 64) {
      EXPECT_LE(std::min(away, 360 - away), step / 2 + 1e-9) << divide << ' ' << phase;
    }
    const double fraction = wizard.solver.mmcmCalculateActualDutyCycle(duty, divide, false);
    EXPECT_GT(fraction, 0);
    EXPECT_LT(fraction, 1);
    EXPECT_TRUE(is_multiple(fraction, 0.5 / divide));
    if (duty / 100 > 0.5 / divide && duty / 100 < 1 - 0.5 / divide) {
      EXPECT_LE(std::abs(fraction - duty / 100), 0.25 / divide + 1e-9);
    }
  }
  double phase = 10, divide = 2.5, duty = 30;
  EXPECT_NEAR(wizard.solver.mmcmCalculateActualPhase(phase, divide, true), 18, 1e-9);
  EXPECT_NEAR(wizard.solver.mmcmCalculateActualDutyCycle(duty, divide, true), 0.5, 1e-9);
  for (double bad : {0.0, 0.9, 129.0, static_cast<double>(NAN)})
    EXPECT_THROW(wizard.solver.mmcmCalculateActualPhase(phase, bad, true), HEXAlgException);
  divide = 4;
  for (double bad : {0.0, 100.0, -1.0, static_cast<double>(NAN)})
    EXPECT_THROW(wizard.solver.mmcmCalculateActualDutyCycle(bad, divide, true), HEXAlgException);
  Ip_Clkwiz::HIPClkwizImp none;
  EXPECT_THROW(none.mmcmCalculateActualPhase(phase, divide, true), HEXAlgException);
}

TEST(ClkwizEngine, SpeedData) {
  Wizard wizard(part_of("zrv9010"));
  double value = 0;
  std::string text;
  EXPECT_TRUE(wizard.solver.getKeyValue("MMCM_FVCO_MAX", &value));
  EXPECT_EQ(value, wizard.part.clock_primitive("MMCM")->vco_mhz.max);
  EXPECT_FALSE(wizard.solver.getKeyValue("NOTHING", &value));
  EXPECT_TRUE(wizard.solver.getMinPeriodSpdData("BUFGCE", text));
  EXPECT_EQ(text, "1.500");
  EXPECT_FALSE(wizard.solver.getMinPeriodSpdData("NOTHING", text));
  EXPECT_TRUE(wizard.solver.getMaxPeriodSpdData(text));
  EXPECT_EQ(text, "1000.000");
  Ip_Clkwiz::HIPClkwizImp none;
  EXPECT_FALSE(none.getKeyValue("MMCM_FVCO_MAX", &value));
  EXPECT_FALSE(none.getMinPeriodSpdData("BUFGCE", text));
  EXPECT_FALSE(none.getMaxPeriodSpdData(text));
}

TEST(ClkwizEngine, SolversAreKeptByPartAndInstance) {
  auto& manager = *Ip_Clkwiz::HIPClkwizTclMgr::GetInstance();
  std::string part = "p", other_part = "q", a = "a", b = "b", none = "none";
  auto* const first = manager.getClkwizImp(part, a);
  auto* const second = manager.getClkwizImp(part, b);
  EXPECT_EQ(manager.getClkwizImp(part, a), first);
  EXPECT_NE(first, second);
  EXPECT_NE(manager.getClkwizImp(other_part, a), first);
  manager.changeCompInstName(part, a, b);  // replaces b
  EXPECT_EQ(manager.getClkwizImp(part, b), first);
  manager.changeCompInstName(part, none, b);
  EXPECT_EQ(manager.getClkwizImp(part, b), first);
  manager.changeCompInstName(part, b, b);
  EXPECT_EQ(manager.getClkwizImp(part, b), first);
  first->globalBufferInputClk = true;
  manager.deleteClkwizImp(part, b);
  manager.deleteClkwizImp(part, none);
  EXPECT_FALSE(manager.getClkwizImp(part, b)->globalBufferInputClk) << "a new one";
}

// What a script has said to a solver, it may ask of it later.
TEST(ClkwizEngine, ASolverIsBlankUntilItIsToldAnything) {
  using Imp = Ip_Clkwiz::HIPClkwizImp;
  std::string mode = "DOWN_LOW";
  double number = 1;
  const std::function<void(Imp&)> sayings[] = {[](Imp& solver) { solver.setPart("unknown"); },
                                               [](Imp& solver) { solver.setLowBandwidth(true); },
                                               [](Imp& solver) { solver.setDynReconfig(true); },
                                               [](Imp& solver) { solver.setSpreadSpectrum(true); },
                                               [](Imp& solver) { solver.setFinePS(true); },
                                               [&](Imp& solver) { solver.setSSMode(mode); },
                                               [&](Imp& solver) { solver.setSSModFreq(number); },
                                               [&](Imp& solver) { solver.setClkInUIJitter(number); },
                                               [](Imp& solver) { solver.globalBufferInputClk = true; }};
  for (auto const& say : sayings) {
    Imp solver;
    EXPECT_TRUE(solver.isBlank());
    say(solver);
    EXPECT_FALSE(solver.isBlank()) << &say - sayings;
  }
}

TEST(ClkwizEngine, SolversThatNobodyToldAnythingAreForgottenAndOthersAreLimited) {
  auto& manager = *Ip_Clkwiz::HIPClkwizTclMgr::GetInstance();
  constexpr std::size_t kMost = Ip_Clkwiz::HIPClkwizTclMgr::kMost;
  std::string key = "many";
  const auto solver_of = [&](std::size_t number) {
    std::string instance = std::to_string(number);
    return manager.getClkwizImp(key, instance);
  };
  solver_of(0)->setLowBandwidth(true);
  for (std::size_t i = 1; i < 2 * kMost; ++i) ASSERT_NE(solver_of(i), nullptr) << i;
  EXPECT_FALSE(solver_of(0)->isBlank());
  std::size_t told = 0;
  for (; told < 2 * kMost; ++told) {
    auto* const solver = solver_of(told);
    if (solver == nullptr) break;
    solver->setLowBandwidth(true);
  }
  EXPECT_EQ(told, kMost);
  for (std::size_t i = 0; i < told; ++i) {
    std::string instance = std::to_string(i);
    manager.deleteClkwizImp(key, instance);
  }
  EXPECT_NE(solver_of(0), nullptr);
}

// ========================================================================================================= clocking

using Ip_Clocking::HIPClock;
using Ip_Clocking::HIPClockingMgr;
using Ip_Clocking::HIPClockingSoln;

// The value of a key in a flat dictionary text; braced values without their braces.
std::string value_of(std::string const& dict, std::string const& key) {
  const std::string words = " " + dict;
  const std::size_t at = words.find(" " + key + " ");
  if (at == std::string::npos) return "(none)";
  const std::size_t begin = at + key.size() + 2;
  if (words[begin] != '{') return words.substr(begin, words.find(' ', begin) - begin);
  std::size_t end = begin;
  for (int depth = 0; end < words.size(); ++end) {
    depth += (words[end] == '{') - (words[end] == '}');
    if (depth == 0) break;
  }
  return words.substr(begin + 1, end - begin - 1);
}

struct Clocks {
  explicit Clocks(std::string const& device) : part(part_of(device)), solver(part.name), name(part.name) {}

  bool solve(std::vector<double> const& frequencies) {
    clocks.clear();
    errors.clear();
    for (double frequency : frequencies) clocks.push_back({.frequency = frequency});
    return solver.calculateMandD(clocks, name, errors, input, second, primitive, false, fine, false, low_bandwidth,
                                 spread, "CENTER_LOW", 50, 10, 10, solution);
  }

  Part const& part;
  HIPClockingSoln solver;
  std::string name, solution;
  std::vector<HIPClock> clocks;
  StrVec errors;
  double input = 100, second = 0;
  Ip_Clocking::ClockPrimitive primitive = Ip_Clocking::CLKPRIM_MMCM;
  bool fine = false, low_bandwidth = false, spread = false;
};

TEST(ClockingEngine, TheSolutionIsADictionaryThatBelongsTogether) {
  Clocks of("brvn3716");
  of.spread = true;
  of.low_bandwidth = true;
  ASSERT_TRUE(of.solve({100, 80, 33}));
  const auto number = [&](char const* key) { return std::stod(value_of(of.solution, key)); };
  EXPECT_EQ(value_of(of.solution, "primitive"), "MMCM");
  EXPECT_EQ(value_of(of.solution, "bandwidth"), "LOW");
  EXPECT_EQ(value_of(of.solution, "ss_mode"), "CENTER_LOW");
  EXPECT_EQ(value_of(of.solution, "second_input"), "(none)");
  EXPECT_EQ(number("input"), 100);
  EXPECT_NEAR(number("pfd"), 100 / number("d"), 1e-6);
  EXPECT_NEAR(number("vco"), 100 * number("m") / number("d"), 1e-3);
  EXPECT_NEAR(number("mod_freq"), 50, 0.1);
  std::string rest = value_of(of.solution, "outputs");
  for (std::size_t i = 0; i < 3; ++i) {
    const std::string output = value_of("x " + rest, "x");
    rest.erase(0, rest.find("} {") + 2);
    EXPECT_EQ(value_of(output, "index"), std::to_string(i));
    EXPECT_NEAR(std::stod(value_of(output, "frequency")), of.clocks[i].actualFrequency, 1e-6);
    EXPECT_NEAR(number("vco") / std::stod(value_of(output, "divide")), of.clocks[i].actualFrequency, 1e-5);
    EXPECT_EQ(std::stod(value_of(output, "requested")), of.clocks[i].frequency);
    EXPECT_NEAR(std::stod(value_of(output, "error_ppm")),
                std::abs(of.clocks[i].actualFrequency / of.clocks[i].frequency - 1) * 1e6, 0.01);
    EXPECT_EQ(std::stod(value_of(output, "duty_cycle")), of.clocks[i].actualDutyCycle);
    auto const* const loop = of.part.clock_primitive("MMCM")->loop(HASTJitterCalculatorKelvane::BW_LOW);
    EXPECT_NEAR(std::stod(value_of(output, "jitter")),
                std::hypot(loop->vco_ps * std::sqrt(1000 / number("vco")), loop->output_ps) + loop->spread_ps, 1e-3);
  }
  double error = 0;
  ASSERT_TRUE(of.solver.getPhaseError(&error, 2));
  EXPECT_NEAR(error, number("phase_error"), 1e-3);
  EXPECT_FALSE(of.solver.getPhaseError(&error, 3));
  EXPECT_FALSE(of.solver.getPhaseError(&error, -1));
  EXPECT_FALSE(of.solve({5000}));
  EXPECT_FALSE(of.solver.getPhaseError(&error, 0)) << "there is no last solution";
}

TEST(ClockingEngine, FailuresSayWhatStandsInTheWay) {
  Clocks of("brvn3716");
  const auto fault = [&](std::vector<double> const& frequencies) {
    EXPECT_FALSE(of.solve(frequencies));
    return of.errors.empty() ? std::string() : of.errors.front();
  };
  EXPECT_EQ(fault({}), "no output is asked for");
  EXPECT_EQ(fault({2000}),
            "output frequency 2000 MHz is outside 5 to 850 MHz. Nearest: M 42.5, D 1, outputs 850 MHz, worst error "
            "575000 ppm.");
  EXPECT_EQ(fault({1, 2, 3, 4, 5, 6, 7, 8}).substr(0, 18), "output frequency 1");
  EXPECT_EQ(fault({10, 20, 30, 40, 50, 60, 70, 80}), "8 outputs are asked for; the primitive has 7");
  of.input = 0;
  EXPECT_EQ(fault({100}), "input 0 MHz is no frequency above 0");
  of.input = 5;
  EXPECT_NE(fault({100}).find("input range"), std::string::npos) << fault({100});
  of.input = 100;
  of.second = 800;
  EXPECT_NE(fault({100}).find("second input"), std::string::npos) << fault({100});
  of.second = 0;
  of.fine = true;
  of.primitive = Ip_Clocking::CLKPRIM_PLL;
  EXPECT_EQ(fault({100}), "the primitive has no fine phase shift");
  of.fine = false;
  of.spread = true;
  EXPECT_EQ(fault({100}), "the primitive has no spread-spectrum mode \"CENTER_LOW\"");
  Clocks older("zrv7030");
  older.primitive = Ip_Clocking::CLKPRIM_PHYPLL;
  EXPECT_FALSE(older.solve({100}));
  EXPECT_EQ(older.errors.front(), older.name + " has no PHYPLL");
  older.name = "nothing";
  EXPECT_FALSE(older.solve({100}));
  EXPECT_EQ(older.errors.back(), "part \"nothing\" is not known");
}

TEST(ClockingEngine, PhasesAndDutyCycles) {
  Clocks of("zrv9010");
  HIPClock clock{.phase = 17, .dutyCycle = 33, .divide = 10};
  ASSERT_TRUE(of.solver.calculateActualPhase(clock, of.errors));
  EXPECT_NEAR(clock.actualPhase, 18, 1e-9);
  ASSERT_TRUE(of.solver.calculateActualDutyCycle(clock, of.errors, 3, Ip_Clocking::CLKPRIM_PLL));
  EXPECT_NEAR(clock.actualDutyCycle, 35, 1e-9);
  clock.divide = 0;
  ASSERT_TRUE(of.solver.calculateActualDutyCycle(clock, of.errors, 3, Ip_Clocking::CLKPRIM_PLL));
  EXPECT_NEAR(clock.actualDutyCycle, 100.0 / 3, 1e-9);
  EXPECT_TRUE(of.errors.empty());
  EXPECT_FALSE(of.solver.calculateActualPhase(clock, of.errors));
  clock = {.phase = 1e9, .dutyCycle = 100, .divide = 4};
  EXPECT_FALSE(of.solver.calculateActualPhase(clock, of.errors));
  EXPECT_FALSE(of.solver.calculateActualDutyCycle(clock, of.errors, 4, Ip_Clocking::CLKPRIM_MMCM));
  EXPECT_EQ(of.errors, (StrVec{"the divider 0 is outside 1 to 128", "phase 1000000000 is outside -360000 to 360000",
                               "duty cycle 100 is outside 0.0001 to 99.9999"}));
}

TEST(ClockingEngine, SpeedValues) {
  Clocks of("zrv9010");
  std::string key = "BUFGCE_PERIOD_MIN";
  EXPECT_EQ(of.solver.getSpeedFileProperty(of.name, key, of.errors), "1.5");
  EXPECT_TRUE(of.errors.empty());
  key = "NOTHING";
  of.solver.getSpeedFileProperty(of.name, key, of.errors);
  EXPECT_EQ(of.errors, StrVec{of.name + " has no value \"NOTHING\""});
}

TEST(ClockingEngine, Jitter) {
  Clocks of("zrv9010");
  using Calculator = HASTJitterCalculatorKelvane;
  double named = 0, numbered = 0;
  const auto jitter = [&](std::string const& primitive, Calculator::BANDWIDTH bandwidth, double& value) {
    return of.solver.getPeakToPeakJitter(100, 1000, 100, bandwidth, primitive, true, false, 0, &value);
  };
  ASSERT_TRUE(jitter("PLL", Calculator::BW_OPTIMIZED, named));
  ASSERT_TRUE(jitter("1", Calculator::BW_NONE, numbered));
  EXPECT_EQ(named, numbered);
  ASSERT_TRUE(jitter("PLL", Calculator::BW_LOW, numbered));
  EXPECT_NE(named, numbered);
  EXPECT_FALSE(jitter("nothing", Calculator::BW_LOW, named));
  EXPECT_FALSE(jitter("2", Calculator::BW_LOW, named));
  EXPECT_FALSE(of.solver.getPeakToPeakJitter(100, 1000, 100, Calculator::BW_LOW, "0", true, false, 7, &named));
  EXPECT_FALSE(of.solver.getPeakToPeakJitter(NAN, 1000, 100, Calculator::BW_LOW, "0", true, false, 0, &named));
}

TEST(ClockingEngine, InputsMakeEverythingExactly) {
  Clocks of("brvn3716");
  of.primitive = Ip_Clocking::CLKPRIM_PHYPLL;
  std::string text, first;
  ASSERT_TRUE(of.solver.getInputClkFrequencies(3200, 200, 100, 0, 0, of.primitive, text, 8, true, "NONE")) << text;
  ASSERT_TRUE(of.solver.getInputClockFrequencies(3200, 200, 100, 0, 0, of.primitive, first, 8, true));
  const std::vector<double> inputs = numbers(text);
  EXPECT_EQ(inputs.size(), 100U);
  EXPECT_EQ(numbers(first).front(), inputs.front());
  EXPECT_TRUE(std::ranges::is_sorted(inputs, {}, [](double input) { return std::abs(input - 125); }));
  auto const& data = *of.part.clock_primitive("PHYPLL");
  for (double input : inputs) {
    // some M and D reach a VCO frequency of 3200 or 6400 MHz, of which the second is too fast
    bool reached = false;
    for (int d = data.divide.min; d <= data.divide.max; ++d)
      if (const double m = 3200 * d / input; data.pfd_mhz.contains(input / d))
        reached |= std::abs(m - std::round(m)) < 1e-5 && m > data.multiply.min - 0.5 && m < data.multiply.max + 0.5;
    EXPECT_TRUE(reached) << input;
  }
}

TEST(ClockingEngine, ListsSayWhyThereIsNone) {
  Clocks of("brvn3716");
  of.primitive = Ip_Clocking::CLKPRIM_PHYPLL;
  std::string text;
  const auto inputs = [&](double phy, double out1, double period, std::string const& controller) {
    EXPECT_FALSE(of.solver.getInputClkFrequencies(phy, out1, 0, 0, 0, of.primitive, text, period, true, controller));
    return text;
  };
  EXPECT_EQ(inputs(0, 0, 10, "NONE"), "no output is asked for");
  EXPECT_EQ(inputs(3200, 200, 0, "NONE"), "the input period 0 ns is not above 0");
  EXPECT_EQ(inputs(3200, -2, 10, "NONE"), "output -2 MHz is no frequency above 0");
  EXPECT_EQ(inputs(3200, 200, 10, "DDR9"), of.name + " has no memory controller for \"DDR9\"");
  EXPECT_EQ(inputs(100, 200, 10, "DDR4"), "clkoutphy 100 MHz is outside the data rates of DDR4, 1600 to 2933 Mb/s");
  EXPECT_EQ(inputs(3200, 199, 10, "NONE"),
            "no input frequency makes all of these exactly; from 100 MHz the farthest is off by 5025.126 ppm");
  EXPECT_EQ(inputs(3200, 200, 1e-9, "NONE"),
            "the frequency of the input period, 999999999999.9999 MHz is no frequency above 0");
  of.primitive = Ip_Clocking::CLKPRIM_MMCM;
  EXPECT_EQ(inputs(3200, 200, 10, "NONE"), "the primitive has no high-speed output");
  const auto outputs = [&](double input, int factor, std::string const& controller) {
    EXPECT_FALSE(of.solver.getOutputClockFrequencies(input, of.primitive, factor, text, 10, true, controller));
    return text;
  };
  EXPECT_EQ(outputs(100, 2, "NONE"), "the multiplication factor 2 is outside 1 to 1");
  EXPECT_EQ(outputs(100, 1, "DDR4"), "MMCM has no output for I/O banks");
  EXPECT_EQ(outputs(-1, 1, "NONE"), "input -1 MHz is no frequency above 0");
  EXPECT_EQ(outputs(5, 1, "NONE").substr(0, 27), "input 5 MHz is outside 10 t");
  EXPECT_EQ(outputs(100.000003, 1, "NONE"), "no whole M and D make an output from 100.000003 MHz");
}

TEST(ClockingEngine, OutputsBesideThePhyOutput) {
  Clocks of("zrv9010");
  of.primitive = Ip_Clocking::CLKPRIM_PLL;
  auto const& data = *of.part.clock_primitive("PLL");
  std::string text;
  ASSERT_TRUE(of.solver.getOutputClockFrequencies(100, of.primitive, 8, text, 10, true, "NONE"));
  std::vector<double> expected;  // D is 1
  for (int m = data.multiply.min; m <= data.multiply.max; ++m)
    for (auto const& mode : data.phy_output->modes) {
      const double phy = 100.0 * m * mode.vco_ratio;
      const double divide = 8 / mode.vco_ratio;
      if (data.vco_mhz.contains(100.0 * m) && data.phy_output->output_mhz.contains(phy) &&
          data.output_mhz.contains(phy / 8) && divide == std::floor(divide))
        expected.push_back(phy / 8);
    }
  std::ranges::sort(expected);
  expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
  EXPECT_EQ(numbers(text), expected);

  of.primitive = Ip_Clocking::CLKPRIM_MMCM;
  ASSERT_TRUE(of.solver.getOutputClockFrequencies(100, of.primitive, 1, text, 10, true, "NONE"));
  const std::vector<double> listed = numbers(text);
  EXPECT_GT(listed.size(), 100U);
  EXPECT_TRUE(std::ranges::is_sorted(listed));
  for (double one : listed) EXPECT_TRUE(is_multiple(one, 0.001)) << one;
}

TEST(ClockingEngine, WithoutSpeedDataTheLimitsAreTheWidest) {
  Clocks of("zrv9010");  // the slower of two grades
  auto const& slow = *of.part.clock_primitive("MMCM");
  double fastest = 0;
  for (auto const& grade : of.part.device->speed_grades)
    for (auto const& one : grade.clock_primitives)
      if (one.name == "MMCM") fastest = std::max(fastest, one.input_mhz.max);
  ASSERT_GT(fastest, slow.input_mhz.max);
  const double between = (fastest + slow.input_mhz.max) / 2;
  std::string text;
  EXPECT_FALSE(of.solver.getOutputClockFrequencies(between, of.primitive, 1, text, 10, true, "NONE"));
  EXPECT_TRUE(of.solver.getOutputClockFrequencies(between, of.primitive, 1, text, 10, false, "NONE"));
}

// The fewest groups by trying every way of dividing the outputs; a group is made by one MMCM if it is exact.
std::size_t fewest_groups(Clocks& of, std::vector<double> const& outputs, std::vector<double> const& inputs) {
  std::size_t fewest = outputs.size();
  std::vector<std::size_t> group(outputs.size(), 0);
  const auto is_made = [&](std::size_t g) {
    std::vector<double> members;
    for (std::size_t i = 0; i < outputs.size(); ++i)
      if (group[i] == g) members.push_back(outputs[i]);
    if (members.empty()) return true;
    return std::ranges::any_of(inputs, [&](double input) {
      std::ranges::sort(members);
      do {  // the first counter is special
        of.input = input;
        if (!of.solve(members)) return false;
        if (std::ranges::all_of(of.clocks, [](HIPClock const& c) { return c.actualFrequency == c.frequency; }))
          return true;
      } while (std::ranges::next_permutation(members).found);
      return false;
    });
  };
  const auto divide = [&](auto&& self, std::size_t at, std::size_t used) -> void {
    if (used >= fewest) return;
    if (at == outputs.size()) {
      for (std::size_t g = 0; g < used; ++g)
        if (!is_made(g)) return;
      fewest = used;
      return;
    }
    for (std::size_t g = 0; g <= used; ++g) {
      group[at] = g;
      self(self, at + 1, std::max(used, g + 1));
    }
  };
  divide(divide, 0, 0);
  return fewest;
}

TEST(ClockingEngine, TheNumberOfInstancesIsMinimal) {
  Clocks of("zrv9010");
  const std::vector<double> inputs{100, 135};
  const std::vector<std::vector<double>> requests = {
      {100, 50}, {74.25, 148.5, 100}, {100, 133, 27, 74.25}, {33, 66, 99, 125}, {148.5, 125, 156.25, 50, 27}};
  for (auto const& outputs : requests) {
    std::string text;
    ASSERT_TRUE(of.solver.computeMinimalClkInst(outputs, {{100, 0}, {135, 0}}, 10, of.name, text)) << text;
    EXPECT_EQ(value_of(text, "count"), std::to_string(fewest_groups(of, outputs, inputs))) << joined(outputs);
    EXPECT_EQ(value_of(text, "minimal"), "1");
    // every output once, and exact
    for (std::size_t i = 0; i < outputs.size(); ++i) {
      const std::string entry = "{index " + std::to_string(i) + " ";
      const std::size_t at = text.find(entry);
      ASSERT_NE(at, std::string::npos);
      EXPECT_EQ(text.find(entry, at + 1), std::string::npos);
      EXPECT_NE(text.find("error_ppm 0.000", at), std::string::npos);
    }
  }
}

TEST(ClockingEngine, InstancesOfNothingSayWhy) {
  Clocks of("zrv9010");
  std::string text;
  const auto fault = [&](std::vector<double> const& outputs, std::vector<std::pair<double, double>> const& inputs,
                         double period) {
    EXPECT_FALSE(of.solver.computeMinimalClkInst(outputs, inputs, period, of.name, text)) << text;
    return text;
  };
  EXPECT_EQ(fault({}, {{100, 0}}, 10), "0 outputs are outside 1 to 32");
  EXPECT_EQ(fault(std::vector<double>(33, 100), {{100, 0}}, 10), "33 outputs are outside 1 to 32");
  EXPECT_EQ(fault({100}, std::vector<std::pair<double, double>>(17, {100, 0}), 10), "17 inputs are outside 1 to 16");
  EXPECT_EQ(fault({100}, {}, 0), "there is no input, and its period 0 ns is not above 0");
  EXPECT_EQ(fault({100}, {}, 1e-9), "the frequency of the input period, 999999999999.9999 MHz is no frequency above 0");
  EXPECT_EQ(fault({100}, {{-1, 0}}, 10), "input -1 MHz is no frequency above 0");
  EXPECT_EQ(fault({1}, {{100, 0}}, 10), "output frequency 1 MHz is outside 6.25 to 667 MHz");
  EXPECT_EQ(fault({100}, {{5, 0}}, 10).substr(0, 86),
            "clock 0, 100 MHz, cannot be made from any of the inputs: No valid setting: input range");
  ASSERT_TRUE(of.solver.computeMinimalClkInst({100}, {}, 8, of.name, text));
  EXPECT_NE(text.find("input 125 "), std::string::npos);
  of.name = "nothing";
  EXPECT_EQ(fault({100}, {{100, 0}}, 10), "part \"nothing\" is not known");
}

// A clock that no input makes exactly costs no other one its exactness for the sake of fewer instances than need be.
TEST(ClockingEngine, InstancesKeepTheLeastErrorThatTheWorstClockHas) {
  Clocks of("zrv9010");
  std::string text;
  ASSERT_TRUE(of.solver.computeMinimalClkInst({100, 123.4567}, {{100, 0}}, 10, of.name, text));
  ASSERT_TRUE(of.solve({123.4567}));
  const double alone = std::abs(of.clocks[0].actualFrequency / 123.4567 - 1) * 1e6;
  EXPECT_GT(alone, 0);
  const std::size_t at = text.find("{index 1 ");
  EXPECT_NEAR(std::stod(value_of(text.substr(at + 1, 200), "error_ppm")), alone, 1e-3);
}

TEST(ClockingEngine, TheManagerKeepsSolversByName) {
  HIPClockingMgr::terminateInstance();
  HIPClockingMgr::terminateInstance();
  auto& manager = *HIPClockingMgr::GetInstance();
  std::string name = "n", empty, other = "m";
  auto* const first = manager.getClkwizSoln(name);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(manager.getClkwizSoln(name), first);
  EXPECT_NE(manager.getClkwizSoln(other), first);
  EXPECT_EQ(manager.getClkwizSoln(empty), nullptr);
  manager.deleteClockingSoln(name);
  manager.deleteClockingSoln(name);
  EXPECT_NE(manager.getClkwizSoln(name), nullptr);
  HIPClockingMgr::terminateInstance();
  EXPECT_NE(HIPClockingMgr::GetInstance()->getClkwizSoln(name), nullptr);
  HIPClockingMgr::terminateInstance();
}

TEST(ClockingEngine, TheManagerForgetsWhatSolvedNothing) {
  HIPClockingMgr::terminateInstance();
  auto& manager = *HIPClockingMgr::GetInstance();
  Clocks of("zrv9010");
  auto* const solver = manager.getClkwizSoln(of.name);
  EXPECT_TRUE(solver->isBlank());
  std::vector<HIPClock> clocks{{.frequency = 100}};
  std::string dict;
  ASSERT_TRUE(solver->calculateMandD(clocks, of.name, of.errors, 100, 0, of.primitive, true, false, false, false, false,
                                     "", 0, 10, 0, dict));
  EXPECT_FALSE(solver->isBlank());
  for (int i = 0; i < 20000; ++i) {  // more than are ever kept
    std::string unknown = "unknown" + std::to_string(i);
    ASSERT_NE(manager.getClkwizSoln(unknown), nullptr) << i;
  }
  double value = 0;
  EXPECT_EQ(manager.getClkwizSoln(of.name), solver);
  EXPECT_TRUE(solver->getPhaseError(&value, 0));
  HIPClockingMgr::terminateInstance();
}

TEST(ClockingEngine, Periods) {
  HIPClockingSoln solver("x");
  EXPECT_EQ(solver.getInClkPeriod(125, Ip_Clocking::CLKPRIM_PLL, true), 8);
  for (double none : {0.0, -5.0, static_cast<double>(NAN)})
    EXPECT_EQ(solver.getInClkPeriod(none, Ip_Clocking::CLKPRIM_MMCM, false), 0);
}

// Nothing that a script can say makes an operation throw or hang.
TEST(ClockingEngine, OddFiguresAreAnsweredInWords) {
  Clocks of("brvn3716");
  const double odd[] = {0,   -1,  1e-9,  1e-3, 0.001,    17,     100,        1e3,         123456.789,
                        1e6, 1e9, 1e300, NAN,  INFINITY, 5e-324, 33.3333333, 99.999999999};
  test_support::Random random(11);
  const auto any = [&] { return odd[random.below(static_cast<unsigned>(std::size(odd)))]; };
  for (int round = 0; round < 400; ++round) {
    auto primitive = static_cast<Ip_Clocking::ClockPrimitive>(random.below(3));
    std::string text;
    if (!of.solver.getInputClkFrequencies(any(), any(), any(), 0, 0, primitive, text, any(), random.one_in(2),
                                          "NONE")) {
      EXPECT_NE(text, "");
    }
    text.clear();
    if (!of.solver.getOutputClockFrequencies(any(), primitive, static_cast<int>(random.below(70)) - 5, text, any(),
                                             random.one_in(2), "NONE")) {
      EXPECT_NE(text, "");
    }
    std::vector<HIPClock> clocks{{.frequency = any(), .phase = any(), .dutyCycle = any()}};
    StrVec errors;
    const bool solved =
        of.solver.calculateMandD(clocks, of.name, errors, any(), any(), primitive, true, random.one_in(2), true, true,
                                 random.one_in(2), "CENTER_HIGH", any(), any(), any(), text);
    EXPECT_NE(solved, !errors.empty());
    text.clear();
    of.solver.computeMinimalClkInst({any(), any()}, {{any(), 0}}, any(), of.name, text);
    EXPECT_NE(text, "");
  }
}

}  // namespace
