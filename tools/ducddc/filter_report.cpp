// What the filters of a catalogue chain achieve, as designed and as quantised: filter_report [RULES.json] CONFIGURATION
//
// For each stage the error of its pass-band and how far its images lie down, and the same for the chain, whose stages
// meet at the rates where they run. Designed anew here: the catalogue holds the quantised filters only.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "kdi/common/KdiDataDir.h"
#include "tools/ducddc/chain.h"
#include "tools/ducddc/response.h"

namespace {

using namespace ducddc;

template <class Row>
Row const& row_of(std::vector<Row> const& rows, std::function<bool(Row const&)> const& is_it, char const* what) {
  const auto found = std::find_if(rows.begin(), rows.end(), is_it);
  if (found == rows.end()) throw std::runtime_error(std::string("no rule for this ") + what);
  return *found;
}

Demand demand_of(Rules const& rules, std::string const& name) {
  char kind[4] = {};
  int chbw = 0, carriers = 0, passband = 0, real_if = 0, frf = 0, os = 0, end = 0;
  if (std::sscanf(name.c_str(), "%3[duc]_chbw%d_C%d_pb%d_if%d_frf%d_os%d%n", kind, &chbw, &carriers, &passband,
                  &real_if, &frf, &os, &end) != 7 ||
      static_cast<std::size_t>(end) != name.size() || os < 1 || carriers < 1)
    throw std::runtime_error("not of the form <ddc or duc>_chbw<n>_C<n>_pb<n>_if<n>_frf<n>_os<n>");
  return {&row_of<Kind>(
              rules.kinds, [&](Kind const& row) { return row.name == kind; }, "kind"),
          &row_of<Channel>(
              rules.channels, [&](Channel const& row) { return row.chbw == chbw; }, "channel width"),
          &row_of<RfRate>(
              rules.rf, [&](RfRate const& row) { return row.frf == frf; }, "radio rate"),
          carriers,
          passband,
          real_if != 0,
          os};
}

struct Achieved {
  double pass_error = 0;  // largest |A - 1|
  double image = 0;       // largest |A| in the images, and for the channel filter in its stop-band
};

struct StageReport {
  Stage stage;
  double rate = 0, edge = 0, stop = 0;  // Hz
  std::vector<double> designed, quantised;
};

Achieved achieved(std::vector<double> const& taps, StageReport const& stage) {
  const double edge = stage.edge / stage.rate;
  Achieved result{fir::largest_error(taps, {0, edge, 1}), 0};
  if (stage.stage.step == 1) {
    result.image = fir::largest_error(taps, {stage.stop / stage.rate, 0.5, 0});
  } else {
    for (int image = 1; 2 * image <= stage.stage.step; ++image) {
      const double middle = static_cast<double>(image) / stage.stage.step;
      result.image = std::max(result.image, fir::largest_error(taps, {middle - edge, std::min(0.5, middle + edge), 0}));
    }
  }
  return result;
}

double decibels(double ratio) { return 20 * std::log10(ratio); }

void print(char const* what, Achieved const& designed, Achieved const& quantised) {
  std::printf("%-34s %.12f %.12f  %9.3f %9.3f\n", what, designed.pass_error, quantised.pass_error,
              decibels(designed.image), decibels(quantised.image));
}

using Taps = std::vector<double> StageReport::*;

// Gain of the stages from `first` to before `last` at a frequency in Hz.
double gain(std::vector<StageReport> const& stages, std::size_t first, std::size_t last, Taps taps, double hertz) {
  double product = 1;
  for (std::size_t s = first; s < last; ++s) {
    const double turns = hertz / stages[s].rate;
    product *= fir::amplitude(stages[s].*taps, turns);
  }
  return product;
}

// One carrier through all its stages: the error over its pass-band, and the largest of all its images.
Achieved chain_achieved(std::vector<StageReport> const& stages, std::size_t first, Taps taps, double pass, double clean,
                        double mixer_rate, double base_rate) {
  constexpr int kPoints = 2000;
  Achieved result;
  for (int i = 0; i <= kPoints; ++i) {
    const double offset = static_cast<double>(i) / kPoints;
    result.pass_error =
        std::max(result.pass_error, std::fabs(gain(stages, first, stages.size(), taps, pass * offset) - 1));
    for (double image = base_rate; image <= mixer_rate / 2; image += base_rate)
      for (double side : {-1.0, 1.0})
        result.image =
            std::max(result.image, std::fabs(gain(stages, first, stages.size(), taps, image + side * clean * offset)));
  }
  return result;
}

void report(Rules const& rules, std::string const& name) {
  FilterBank bank(rules);
  const Demand demand = demand_of(rules, name);
  Chain chain;
  if (!design_chain(rules, bank, demand, chain)) throw std::runtime_error("no chain keeps the rules");

  const double stop = rules.stop_edge_per_width * static_cast<double>(demand.channel->width);
  const double pass = static_cast<double>(demand.channel->pass);
  const double clean = demand.kind->cleans_to_stop_edge ? stop : pass;
  std::vector<StageReport> stages;
  double rate = static_cast<double>(demand.rf->rate), mixer_rate = rate;
  for (std::size_t s = 0; s < chain.stages.size(); ++s) {
    Stage const& stage = chain.stages[s];
    const bool composite = static_cast<int>(s) < chain.mixer_stage;
    if (static_cast<int>(s) == chain.mixer_stage) mixer_rate = rate;
    Filter const& filter = bank[stage.filter];
    const double edge = composite ? demand.passband_mhz * 0.5e6 : stage.step == 1 ? pass : clean;
    stages.push_back({stage, rate, edge, stop, filter.designed, filter.taps});
    rate /= stage.step;
  }

  std::printf("%s\n%-34s %-29s  %s\n%-34s %14s %14s  %9s %9s\n", name.c_str(), "", "largest pass-band error",
              "images or stop-band, dB", "", "designed", "quantised", "designed", "quantised");
  for (std::size_t s = 0; s < stages.size(); ++s) {
    char what[64];
    std::snprintf(what, sizeof what, "stage %zu: %6.2f MHz / %d, %3zu taps", s + 1, stages[s].rate / 1e6,
                  stages[s].stage.step, stages[s].quantised.size());
    print(what, achieved(stages[s].designed, stages[s]), achieved(stages[s].quantised, stages[s]));
  }
  const auto first = static_cast<std::size_t>(std::max(chain.mixer_stage, 0));
  print(first == 0 ? "chain" : "chain behind the mixer",
        chain_achieved(stages, first, &StageReport::designed, pass, clean, mixer_rate, rate),
        chain_achieved(stages, first, &StageReport::quantised, pass, clean, mixer_rate, rate));
  std::printf("settling time: %d samples, %.3f us\n", chain.settling_samples,
              chain.settling_samples * 1e6 / static_cast<double>(demand.rf->rate));
}

constexpr char kHelp[] = R"(NAME
       filter_report - what the filters of a chain achieve

SYNOPSIS
       filter_report [RULES.json] CONFIGURATION

DESCRIPTION
       Designs an up- or down-converter chain by the rules of the catalogue,
       those of the installed data unless a file of others is named, and prints
       for each stage and for the chain the largest error of the pass-band and
       how far images or the stop-band lie down, as designed and with the
       coefficients as they are quantised; and how long a step settles.

OPTIONS
       --help, --version

EXIT STATUS
       0 done; 1 there is no such chain, or the rules cannot be read; 2 a
       mistake in the words.

EXAMPLE
       filter_report ddc_chbw10_C4_pb40_if0_frf122_os2
)";

std::string installed_rules() {
  const std::vector<std::string> folders = kdi::data_directories("ducddc");
  if (folders.empty()) throw std::runtime_error("no data directory has a folder ducddc");
  return folders.front() + "/rules.json";
}

int printed() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? 0 : 1; }

}  // namespace

int main(int argc, char** argv) {
  const std::string first = argc > 1 ? argv[1] : "";
  if (first == "--help" || first == "-h") return std::fputs(kHelp, stdout), printed();
  if (first == "--version") return std::puts("filter_report " IPTASKS_VERSION), printed();
  if (argc < 2 || argc > 3 || first.starts_with('-')) {
    std::fputs("usage: filter_report [RULES.json] CONFIGURATION\nfilter_report --help tells more\n", stderr);
    return 2;
  }
  char const* const name = argv[argc - 1];
  try {
    report(read_rules(argc == 3 ? first : installed_rules()), name);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "filter_report: %s: %s\n", name, error.what());
    return 1;
  }
  return printed();
}
