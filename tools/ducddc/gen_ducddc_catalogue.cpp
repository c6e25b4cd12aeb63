// Designs the catalogue of up- and down-converter chains and writes it as C++ tables:
// gen_ducddc_catalogue RULES.json OUTPUT.cpp ?FILTERS.csv?
// The list of filters, if one is asked for, has step, taps, pass edge, stop edge and ripple of each.
//
// Every combination of the rules' values is a demand. Those that keep the rules get their cheapest chain; of two clocks
// that give the same cost the slower one is listed; and of what is left the cheapest fill the catalogue's stated size,
// ties going to the name that comes first. The same bytes come out of every build: all arithmetic that decides anything
// is addition, multiplication, division and square root.
#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"
#include "tools/ducddc/chain.h"

namespace {

using namespace ducddc;

struct Row {
  std::string name;
  Chain chain;
};

bool is_in(std::vector<int> const& values, int value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

// Demands of one kind that the values alone allow, clocks of one configuration in ascending order one after the other.
template <class Visit>
void for_each_demand(Rules const& rules, Kind const& kind, Visit visit) {
  for (Channel const& channel : rules.channels)
    for (int carriers : rules.carriers) {
      if (is_in(kind.without_chbw, channel.chbw) || is_in(kind.without_carriers, carriers)) continue;
      bool found_band = false;
      for (int passband : rules.passbands_mhz) {
        const double band = passband * 1e6;
        const double filled = static_cast<double>(carriers) * static_cast<double>(channel.width);
        // One carrier needs no mixer and no band wider than its own.
        if (filled > band || (carriers == 1 && found_band)) continue;
        found_band = true;
        if (carriers > 1 && filled < kind.least_fill * band) continue;
        for (bool real_if : {false, true})
          for (RfRate const& rf : rules.rf) {
            const double limit = real_if ? rules.real_passband_per_rate : rules.complex_passband_per_rate;
            if ((carriers == 1 && real_if) || band > limit * static_cast<double>(rf.rate)) continue;
            visit(Demand{&kind, &channel, &rf, carriers, passband, real_if, 1});
          }
      }
    }
}

std::vector<Row> rows_of(Rules const& rules, FilterBank& bank, Kind const& kind) {
  std::vector<Row> rows;
  for_each_demand(rules, kind, [&](Demand demand) {
    std::optional<int> cost_of_slower;
    for (demand.os = 1; demand.os <= demand.rf->most_os; ++demand.os) {
      Chain chain;
      if (!design_chain(rules, bank, demand, chain) || chain.cost > rules.most_dsps) continue;
      if (cost_of_slower && chain.cost >= *cost_of_slower) continue;
      cost_of_slower = chain.cost;
      rows.push_back({demand.name(), std::move(chain)});
    }
  });
  if (rows.size() < kind.records)
    throw std::runtime_error(kind.name + ": the rules give " + std::to_string(rows.size()) + " rows, " +
                             std::to_string(kind.records) + " are wanted");
  std::cerr << kind.name << ": " << rows.size() << " rows keep the rules, the cheapest " << kind.records
            << " are listed\n";
  std::sort(rows.begin(), rows.end(),
            [](Row const& a, Row const& b) { return std::tie(a.chain.cost, a.name) < std::tie(b.chain.cost, b.name); });
  rows.resize(kind.records);
  std::sort(rows.begin(), rows.end(), [](Row const& a, Row const& b) { return a.name < b.name; });
  return rows;
}

// Consecutive values that were stored before, under any start, are shared.
template <class Value>
class Runs {
 public:
  std::size_t offset_of(std::vector<Value> const& run) {
    const auto known = starts_.find(run);
    if (known != starts_.end()) return known->second;
    const std::size_t offset = values_.size();
    values_.insert(values_.end(), run.begin(), run.end());
    // Every window that ends in the new part can be shared from now on; none is longer than the longest chain.
    for (std::size_t end = offset + 1; end <= values_.size(); ++end)
      for (std::size_t length = 1; length <= std::min<std::size_t>(kLongest, end); ++length)
        starts_.try_emplace({values_.begin() + static_cast<std::ptrdiff_t>(end - length),
                             values_.begin() + static_cast<std::ptrdiff_t>(end)},
                            end - length);
    return offset;
  }
  std::vector<Value> const& values() const { return values_; }

 private:
  static constexpr std::size_t kLongest = 8;
  std::vector<Value> values_;
  std::map<std::vector<Value>, std::size_t> starts_;
};

// Pieces of text, each stored once behind its length.
class TextPool {
 public:
  std::size_t offset_of(std::string const& piece) {
    if (piece.size() > ducddcgen_init::kPieceRoom) throw std::runtime_error(piece + ": too long a piece of a name");
    const auto [at, fresh] = known_.try_emplace(piece, text_.size());
    if (fresh) (text_ += static_cast<char>(piece.size())) += piece;
    if (text_.size() > 65536) throw std::runtime_error("the pieces of the names exceed their 16-bit offsets");
    return at->second;
  }
  // Ends in zeros, so that every piece has its room.
  std::string text() const { return text_ + std::string(ducddcgen_init::kPieceRoom, '\0'); }

 private:
  std::map<std::string, std::size_t> known_;
  std::string text_;
};

class Tables {
 public:
  explicit Tables(FilterBank const& bank) : bank_(bank) {}

  void add(Row const& row) {
    Chain const& chain = row.chain;
    std::vector<int> stages;
    std::vector<unsigned char> steps, ones, paths, growths;
    for (Stage const& stage : chain.stages) {
      stages.push_back(stored_filter(stage.filter));
      steps.push_back(static_cast<unsigned char>(stage.step));
      ones.push_back(1);
      paths.push_back(static_cast<unsigned char>(stage.paths));
      growths.push_back(stage.grows ? 1 : 0);
    }
    buckets_[ducddcgen_init::name_hash(row.name)].push_back(count_);
    const std::size_t split = row.name.find("_frf");
    records_ << '{' << names_.offset_of(row.name.substr(0, split)) << ',' << names_.offset_of(row.name.substr(split))
             << ',' << chain.stages.size() << ',' << chain.mixer_stage << ',' << chain.mixer_dsps << ','
             << chain.mixer_growth << ',' << chain.mixer_rate << ',' << stages_.offset_of(stages) << ','
             << bytes_.offset_of(steps) << ',' << bytes_.offset_of(ones) << ',' << bytes_.offset_of(paths) << ','
             << bytes_.offset_of(growths) << ',' << resources_.size() << ',' << chain.settling_samples << ",0,-1},\n";
    for (bool speed : {false, true})
      for (bool block_memory : {false, true}) {
        std::vector<unsigned char> dsps, brams, latencies;
        for (Stage const& stage : chain.stages) {
          const int taps = static_cast<int>(bank_[stage.filter].taps.size());
          const Resources figures = resources_of(stage, taps, speed, block_memory);
          dsps.push_back(static_cast<unsigned char>(figures.dsps));
          brams.push_back(static_cast<unsigned char>(figures.brams));
          latencies.push_back(static_cast<unsigned char>(figures.latency));
        }
        for (auto const& figures : {dsps, brams, latencies}) resources_.push_back(bytes_.offset_of(figures));
      }
    ++count_;
  }

  std::string text() const {
    std::ostringstream out;
    out << "// Made by gen_ducddc_catalogue from data/ducddc/rules.json.\n"
           "#include \"tcltasks/dsp/ducddcgen/ducddc_catalogue.h\"\n\nnamespace ducddcgen_init {\n\n";
    out << "constinit const Record database[" << count_ << "] = {\n" << records_.str() << "};\n\n";
    out << "constinit const TapStage tap_stages[" << stages_.values().size() << "] = {\n";
    for (int filter : stages_.values()) {
      const auto [taps, start] = filters_[static_cast<std::size_t>(filter)];
      out << '{' << taps << ',' << taps << ",0," << start << "},\n";
    }
    out << "};\n\n";
    out.precision(9);
    write_array(out, "float coef_data", coefficients_, [&](float value) { out << value; });
    write_array(out, "std::uint8_t per_stage_data", bytes_.values(), [&](unsigned char value) { out << +value; });
    write_array(out, "std::int32_t rsrc_data", resources_, [&](std::size_t value) { out << value; });
    std::vector<std::size_t> starts, rows;
    for (auto const& bucket : buckets_) {
      if (bucket.size() > ducddcgen_init::kMostInBucket)
        throw std::runtime_error(std::to_string(bucket.size()) + " names have the same hash");
      starts.push_back(rows.size());
      rows.insert(rows.end(), bucket.begin(), bucket.end());
    }
    starts.push_back(rows.size());
    write_array(out, "std::uint16_t name_starts", starts, [&](std::size_t value) { out << value; });
    write_array(out, "std::uint16_t name_rows", rows, [&](std::size_t value) { out << value; });
    const std::string pieces = names_.text();
    out << "constinit const char name_pieces[" << pieces.size() << "] = {";
    for (char letter : pieces) out << +letter << ',';
    out << "};\n\n}  // namespace ducddcgen_init\n";
    return out.str();
  }

  std::string filter_list() const {
    std::ostringstream out;
    out.precision(17);
    for (int index : used_filters_) {
      Filter const& filter = bank_[index];
      out << filter.step << ',' << filter.taps.size() << ',' << filter.pass << ',' << filter.stop << ','
          << filter.ripple << '\n';
    }
    return out.str();
  }

  void report(std::ostream& out) const {
    out << count_ << " records, " << filters_.size() << " filters, " << coefficients_.size() << " coefficients, "
        << stages_.values().size() << " stages, " << bytes_.values().size() << " bytes by stage, " << resources_.size()
        << " resource rows, " << names_.text().size() << " bytes of names\n";
  }

 private:
  template <class Values, class Write>
  static void write_array(std::ostream& out, char const* name, Values const& values, Write write) {
    out << "constinit const " << name << '[' << values.size() << "] = {\n";
    for (std::size_t i = 0; i < values.size(); ++i) {
      write(values[i]);
      out << (i % 24 == 23 ? ",\n" : ",");
    }
    out << "};\n\n";
  }

  int stored_filter(int filter) {
    const auto [at, fresh] = known_filters_.try_emplace(bank_[filter].taps, static_cast<int>(filters_.size()));
    if (fresh) {
      used_filters_.push_back(filter);
      filters_.push_back({at->first.size(), coefficients_.size()});
      for (double tap : at->first) {
        coefficients_.push_back(static_cast<float>(tap));
        if (static_cast<double>(coefficients_.back()) != tap)
          throw std::runtime_error("a coefficient needs more bits than the tables hold");
      }
    }
    return at->second;
  }

  struct StoredFilter {
    std::size_t taps, start;
  };

  FilterBank const& bank_;
  std::size_t count_ = 0;
  std::ostringstream records_;
  std::vector<std::vector<std::size_t>> buckets_{ducddcgen_init::kNameBuckets};
  TextPool names_;
  Runs<int> stages_;
  Runs<unsigned char> bytes_;
  std::vector<std::size_t> resources_;
  std::map<std::vector<double>, int> known_filters_;
  std::vector<StoredFilter> filters_;
  std::vector<int> used_filters_;  // in the bank
  std::vector<float> coefficients_;
};

void write_file(char const* path, std::string const& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error(std::string(path) + ": cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::cerr << "usage: gen_ducddc_catalogue RULES.json OUTPUT.cpp ?FILTERS.csv?\n";
    return 2;
  }
  try {
    const Rules rules = read_rules(argv[1]);
    FilterBank bank(rules);
    Tables tables(bank);
    for (Kind const& kind : rules.kinds)
      for (Row const& row : rows_of(rules, bank, kind)) tables.add(row);
    tables.report(std::cerr);
    write_file(argv[2], tables.text());
    if (argc > 3) write_file(argv[3], tables.filter_list());
  } catch (std::exception const& error) {
    std::cerr << "gen_ducddc_catalogue: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
