// The clock wizard: a part, options, and the last request with what came of it. Knows nothing of how its contract hands
// things over, and of threads.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kdi/device/Device.h"
#include "platform/ip/clock_faces/questions.h"

namespace kdi::clocking {

/// What a solve answers; scripts see the texts that stand for these numbers.
enum class Status {
  solved = 1,
  no_data = 2,
  inputs_too_far_apart = 3,
  no_solution = 4,
  no_phy_on_part = 5,
  no_phy_on_mmcm = 6,
  bad_input = 8
};

class ClockWizard {
 public:
  struct Options {
    bool low_bandwidth = false;
    bool dynamic_reconfiguration = false;  ///< only primitives whose counters can change while they run
    bool spread = false;
    bool fine_phase = false;
    std::string spread_mode;    ///< empty: the primitive's first
    double modulation_khz = 0;  ///< 0: the lowest that the primitive has
    double input_jitter_ui = 0;
    bool operator==(Options const&) const = default;
  };

  /// What is asked for, before it is known to make sense. Lists are texts of numbers.
  struct Question {
    std::string frequencies_mhz;
    std::string phases_deg;    ///< empty: 0
    std::string duty_percent;  ///< empty: 50
    double input_mhz = 0;
    double second_input_mhz = 0;  ///< 0: none
    int count = 0;                ///< of the lists' numbers, the first ones
    bool whole_counters = false;
    bool use_pll = false;
    Preference preference = Preference::low_power;
    bool phy_output = false;
    double phy_mhz = 0;
    bool input_buffer = false;  ///< the input comes through the device's first clock buffer and keeps its periods
  };

  Options options;

  /// Forgets the last request. A part that is not known is null.
  void set_part(std::string name, device::Part const* part);
  /// Whether this is as good as a new one: options as they come, and no part that was chosen.
  bool is_blank() const { return part_name_.empty() && options == Options(); }

  /// Replaces the last solution. Any other status than `solved` leaves none, and fault() says why.
  Status solve(Question const& question);
  std::string const& fault() const { return fault_; }

  /// The last solution, and an output of it; null if there is none.
  Solution const* solution() const { return solution_ ? &*solution_ : nullptr; }
  OutputSolution const* output(int index) const;

  /// Speed data by key, the buffer of a name, the device's first buffer; none without a part that has them.
  std::optional<double> speed_key(std::string const& key) const;
  device::ClockBuffer const* buffer(std::string const& name) const;
  device::ClockBuffer const* first_buffer() const;

  // The operations below throw Fault.

  /// Of the primitive that the last solution uses; before one, of the MMCM. An input jitter of 0 is that of the
  /// options.
  double jitter_ps(std::string const& bandwidth, double input_mhz, double vco_mhz, double output_mhz,
                   double input_jitter_ps, double modulation_khz) const;
  double phase_error_ps(std::string const& bandwidth, double input_mhz, double vco_mhz) const;

  /// The nearest phase (degrees) and duty cycle (a fraction) of an MMCM's output. A phase beyond 1000 turns throws
  /// std::invalid_argument.
  Rational actual_phase(double phase_deg, double divide, bool fractional) const;
  Rational actual_duty(double duty_percent, double divide, bool fractional) const;

  /// Up to `count` frequencies of output `index` within `margin` percent, nearest first, from the last request's input.
  std::string output_frequencies(double wanted_mhz, int count, int index, double margin) const;
  /// Up to `count` inputs of a primitive within `margin` percent, nearest first, from which all outputs come exactly.
  std::string input_frequencies(std::string const& primitive, double wanted_mhz, std::vector<double> const& outputs_mhz,
                                int count, double margin, bool input_buffer) const;

 private:
  void forget();
  device::ClockPrimitive const& choose(Question const& question) const;
  void check_inputs(Question const& question, device::ClockPrimitive const& chosen) const;
  void check_options(Question const& question, device::ClockPrimitive const& chosen) const;
  std::string advice(Question const& question, device::ClockPrimitive const& chosen) const;
  Status solve_request(device::ClockPrimitive const& chosen, Question const& question);

  Primitive solver_primitive(device::ClockPrimitive const& data) const;
  Request options_for(device::ClockPrimitive const& data, bool input_buffer) const;
  Request request_for(Question const& question, device::ClockPrimitive const& data, std::string& beyond) const;

  device::ClockPrimitive const& loop_owner() const;
  device::LoopModel const& find_loop(std::string const& bandwidth, double input_mhz, double vco_mhz) const;
  double find_pfd_mhz(double input_mhz, double vco_mhz) const;
  device::ClockPrimitive const& mmcm(char const* operation) const;

  std::string part_name_;
  device::Part const* part_ = nullptr;

  // The last request, and what came of it.
  device::ClockPrimitive const* data_ = nullptr;  // null: none
  Primitive primitive_;
  Request request_;
  std::optional<Solution> solution_;
  std::string fault_;
};

}  // namespace kdi::clocking
