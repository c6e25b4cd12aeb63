// The compiler as its steps are defined, one after the other: the truth that fec/code_config.h and all that it calls
// are held against.
//
// Derived from the definitions of the operations, layers and limits, not from the compiler: the matrix lies there
// whole, every column is counted, a map finds what the compiler computes, stalls come from the model that moves on
// cycle by cycle. It shares with the product the records that both fill, the orders of the base graphs, and nothing
// else, and it costs what it costs: for small matrices only.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tcltasks/fec/records.h"
#include "tcltasks/fec/xlogger.h"
#include "tests/support/cycle_model.h"
#include "tests/support/plain_packing.h"

namespace plain {

using u32 = std::uint32_t;

/// What tells the cores apart for a compiler.
struct Core {
  unsigned min_slots;
  unsigned decoder_delay, encoder_delay;
  fec::CapacityRow capacities;
};

template <class Variant>
Core core_of() {
  return {Variant::kMinSlots, Variant::kDecoderDelay, Variant::kEncoderDelay, Variant::kCapacities};
}

struct Compiled {
  fec::CodeConfig config;
  fec::CodeStats stats;
  std::vector<std::string> messages;  // severity, then text
  bool is_whole = false;              // false: it ended at a limit that lets no further step run
};

class Compiler {
 public:
  Compiler(fec::CodeSpec const& spec, Core const& core, bool quiet) : spec_(spec), core_(core), quiet_(quiet) {}

  Compiled run() && {
    result_.is_whole = run_steps();
    return std::move(result_);
  }

 private:
  using matrix = std::vector<std::vector<std::vector<u32>>>;  // rows, columns, shifts

  fec::CodeConfig& config() { return result_.config; }
  fec::CodeStats& stats() { return result_.stats; }

  void error(std::string const& text) {
    result_.messages.push_back("1" + text);
    failed_ = true;
  }
  void warn(std::string const& text) {
    if (!quiet_) result_.messages.push_back("0" + text);
  }
  void warn_of_encoder(std::string const& text) {
    if (spec_.skip_enc_compatibility == 0) warn(text);
  }
  template <class Number>
  static std::string str(Number number) {
    return std::to_string(number);
  }

  bool run_steps() {
    if (!build()) return false;
    kb_ = spec_.k / spec_.p;
    nb_ = spec_.n / spec_.p;
    const unsigned columns_given = nb_;
    encoder_ok_ = meets_encoder();
    if (spec_.encode != 0 && !encoder_ok_ && spec_.disable_transforms == 0) encoder_ok_ = rewrite_double_diagonal();
    if (!encoder_ok_) warn_of_encoder("WARNING: H matrix does not meet Encoder requirements");
    pf_ = spec_.no_packing != 0 || spec_.p > 64 ? 1 : spec_.p > 32 ? 2 : 4;
    describe();
    std::vector<u32> dv(columns_given + extra_cols_, 0);
    lay_out(dv);
    fill_scale();
    unsigned required = static_cast<unsigned>(dv.size());
    if (stats().wgt != 1.0 && spec_.enable_wgt1 != 0) {
      if (spec_.p > 128) {
        error("ERROR: W>1 only supported for P <= 128");
        return false;
      }
      config().special_qc = 1;
      warn("INFO: Detected W>1 with P <= 128");
      required = expand(static_cast<unsigned>(dv.size()));
      extra_cols_ = required - static_cast<unsigned>(dv.size()) + 1;
    }
    pack_all();
    derive();
    check_work();
    check_code(dv, required);
    if (!failed_) stall();
    finish();
    return true;
  }

  // ---------------------------------------------------------------------------------------------- the matrix

  bool build() {
    for (auto const& element : spec_.sm_array) {
      if (h_.size() <= element.row) h_.resize(element.row + 1);
      auto& row = h_[element.row];
      if (row.size() <= element.col) row.resize(element.col + 1);
      row[element.col].insert(row[element.col].end(), element.shift.begin(), element.shift.end());
      if (element.is_cp != 0 && spec_.encode != 0) cp_[{element.row, element.col}] = element.is_cp;
      max_col_ = std::max(max_col_, element.col);
    }
    const std::uint64_t width = std::uint64_t{spec_.p} * (std::uint64_t{max_col_} + 1);
    if (width <= spec_.n) return true;
    error("ERROR: Maximum sub-matrix column index, " + str(max_col_) + ", defines a LDPC parity check matrix width, " +
          str(width) + ", which exceeds the specified N, " + str(spec_.n));
    return false;
  }

  bool meets_encoder() {
    std::vector<bool> calculated(nb_, false);
    bool ok = true;
    for (u32 r = 0; r < h_.size(); ++r) {
      for (u32 c = 0; c < h_[r].size(); ++c) {
        if (h_[r][c].empty()) continue;
        const bool is_information = c < kb_;
        const long long last_information = static_cast<long long>(kb_) - 1;
        if (c + 1 == h_[r].size() || cp_.count({r, c}) != 0) {
          if (is_information) {
            warn_of_encoder("WARNING: Encoder compatibility: Last column (" + str(c) + ") in row " + str(r) +
                            " is not parity(>" + str(last_information) + ")");
            ok = false;
          } else {
            calculated[c] = true;
          }
        } else if (!is_information && !calculated[c]) {
          warn_of_encoder("WARNING: Encoder compatibility: Column " + str(c) + " in row " + str(r) + " is parity(>" +
                          str(last_information) + ") and not the end of the row(" + str(h_[r].size() - 1) +
                          ") but has not been calculated in a previously row. Only one parity location can be "
                          "calcualted per row.");  // sic
          ok = false;
        }
      }
    }
    return ok;
  }

  // ------------------------------------------------------------------------------------- the double diagonal

  // Its last row and base column: going left from the end of a row, columns of weight 2, and behind as many as there
  // are rows above the first one of weight 3.
  std::optional<std::pair<u32, u32>> diagonal() const {
    for (std::size_t r = h_.size(); r-- > 2;) {
      std::optional<std::size_t> first2;
      for (std::size_t c = h_[r].size(); c-- > 0;) {
        std::size_t w = 0;
        for (std::size_t i = 0; i <= r; ++i)
          if (c < h_[i].size()) w += h_[i][c].size();
        if (w > 3 || (w < 2 && first2)) break;
        if (w == 3 && first2) {
          if (*first2 - c == r) return std::pair(static_cast<u32>(r), static_cast<u32>(c));
          break;
        }
        if (w == 2 && !first2) first2 = c;
      }
    }
    return std::nullopt;
  }

  // The first thing that is wrong right of the base column; empty if nothing is.
  std::string fault_of_diagonal(u32 r, u32 c) const {
    for (u32 i = 0; i < r; ++i)
      for (u32 j = c + 1; j < h_[i].size(); ++j) {
        const bool on_diagonal = i == j - c - 1 || i == j - c;
        auto const& shifts = h_[i][j];
        const std::string place = ", row: " + str(i) + " col: " + str(j);
        if (shifts.size() == 1 && !on_diagonal)
          return "WARNING: Sub-matrix set outwith double diagonal characteristic" + place;
        if (shifts.empty() && on_diagonal)
          return "WARNING: Sub-matrix expected for double diagonal characteristic" + place;
        if (shifts.size() > 1) return "WARNING: Sub-matrix contains multiple circulants" + place;
        if (shifts.size() == 1 && shifts[0] != 0) return "WARNING: Non-identity sub-matrix detected" + place;
      }
    return {};
  }

  bool rewrite_double_diagonal() {
    const auto fail = [this] {
      warn_of_encoder("WARNING: Encoder double diagonal characteristic not detected");
      return false;
    };
    const auto found = diagonal();
    if (!found) return fail();
    const auto [r, c] = *found;
    warn_of_encoder("INFO: Encoder double diagonal characteristic potentially detected, base row: " + str(r) +
                    " base col: " + str(c) + ", checking ...");
    std::set<u32> left_over;  // of the base column: two equal shifts cancel
    for (u32 i = 0; i <= r; ++i)
      if (c < h_[i].size())
        for (u32 shift : h_[i][c])
          if (left_over.erase(shift) == 0) left_over.insert(shift);
    if (left_over.size() != 1 || h_[0].size() <= c || h_[0][c].empty()) return fail();
    if (const std::string fault = fault_of_diagonal(r, c); !fault.empty()) {
      warn_of_encoder(fault);
      return fail();
    }
    warn_of_encoder("INFO: Encoder double diagonal detected, applying transform ...");
    rewrite(r, c, *left_over.begin());
    return meets_encoder();
  }

  void rewrite(u32 r, u32 c, u32 shift) {
    if (max_col_ < c + r + 2) {
      extra_cols_ = c + r + 2 - max_col_;
      nb_ += extra_cols_;
      max_col_ = c + r + 2;
    }
    std::map<std::pair<u32, u32>, u32> moved;  // the points that the script named go with their rows
    for (auto const& [place, value] : cp_) {
      if (place.first > r) moved[{place.first + r + 1, place.second}] = value;
      if (place.first <= r && place.second < c) moved[place] = value;
    }
    cp_ = std::move(moved);

    const std::size_t width = c + r + 3;
    h_.insert(h_.begin() + r + 1, std::vector<std::vector<u32>>(width));
    h_[r + 1][c] = {shift};
    for (std::size_t col = c + 2; col < width; ++col) h_[r + 1][col] = {0};
    cp_[{r + 1, c}] = 1;
    for (u32 k = 0; k < r; ++k) {
      std::vector<std::vector<u32>> row(width);
      for (u32 col = c; col <= c + k + 1; ++col)
        if (col < h_[k].size()) row[col] = h_[k][col];
      row[c + k + 2] = {0};
      h_.insert(h_.begin() + r + 2 + k, row);
      cp_[{r + k + 2, c + k + 1}] = 1;
    }
    for (u32 i = 0; i <= r; ++i) {
      h_[i].resize(c);
      h_[i].resize(c + 3 + i);
      h_[i][c + 2 + i] = {0};
    }
  }

  // ------------------------------------------------------------------------------------------ layers and scale

  void describe() {
    config().p = spec_.p;
    config().nlayers = static_cast<u32>(h_.size());
    config().mv = (spec_.p + 127) / 128;
    config().n = spec_.n;
    config().parity_len = spec_.n - spec_.k;
    config().norm_type = spec_.normalization;
    config().encode = spec_.encode;
    config().no_packing = spec_.no_packing;
    config().no_final_parity = spec_.no_final_parity;
    config().max_schedule = spec_.max_schedule;
    config().compress_packing = spec_.compress_packing;
    config().lat_ctrl = spec_.lat_ctrl;
    config().dc.assign(h_.size(), 0);
    config().stall.assign(h_.size(), 0);
    config().extra_layer.assign(h_.size(), 0);
  }

  void lay_out(std::vector<u32>& dv) {
    std::set<u32> finished;
    std::size_t closing = 0;
    for (u32 r = 0; r < h_.size(); ++r) {
      std::vector<fec::ldpc_code_element_t> ops;
      std::optional<std::size_t> point;
      for (u32 c = 0; c < h_[r].size(); ++c) {
        auto const& shifts = h_[r][c];
        if (!shifts.empty() && cp_.count({r, c}) != 0) point = ops.size();
        for (std::size_t i = 0; i < shifts.size(); ++i) {
          if (shifts.size() > 1 && spec_.encode == 0 && spec_.enable_wgt1 == 0)
            error("ERROR: Circulant weight > 1 defined. Not supported for decode. Row: " + str(r) + " Col: " + str(c));
          fec::ldpc_code_element_t op;
          op.col = c;
          op.shift = shifts[i];
          op.first = finished.count(c) == 0 ? 1 : 0;
          op.last = i + 1 == shifts.size() ? 1 : 0;
          op.parity = c >= kb_ ? 1 : 0;
          closing += op.last;
          if (op.last != 0) finished.insert(c);
          ops.push_back(op);
          ++dv[c];
        }
      }
      if (ops.empty()) error("ERROR: H definition missing layer: " + str(r));
      if (point) {
        const auto op = ops[*point];
        ops.erase(ops.begin() + static_cast<std::ptrdiff_t>(*point));
        ops.push_back(op);
      }
      config().dc[r] = static_cast<u32>(ops.size());
      config().qc.insert(config().qc.end(), ops.begin(), ops.end());
    }
    stats().nlayers = config().nlayers;
    stats().nqc_raw = static_cast<u32>(config().qc.size());
    spread(config().dc, stats().dc_min, stats().dc_avg, stats().dc_max);
    spread(dv, stats().dv_min, stats().dv_avg, stats().dv_max);
    if (spec_.encode != 0)
      stats().wgt = 1.0;
    else if (!config().qc.empty())
      stats().wgt = static_cast<double>(closing) / static_cast<double>(config().qc.size());
    if (stats().wgt != 1.0 && spec_.enable_wgt1 == 0) error("ERROR: Circulant weights > 1 are unsupported");
  }

  static void spread(std::vector<u32> const& values, u32& min, double& avg, u32& max) {
    if (values.empty()) return;
    min = *std::min_element(values.begin(), values.end());
    max = *std::max_element(values.begin(), values.end());
    double sum = 0;
    for (u32 value : values) sum += value;
    avg = sum / static_cast<double>(values.size());
  }

  void fill_scale() {
    if (config().norm_type == 0) return;
    auto& scale = config().scale;
    scale = spec_.scale;
    if (scale.empty()) {
      scale.assign(config().nlayers, 12);
      warn("WARNING: Scale values undefined, using default value 12 (*0.0625 = 0.75)");
      return;
    }
    if (scale.size() >= config().nlayers) return;
    if (scale.size() >= 2)
      warn("WARNING: Filling scale list to required length (" + str(config().nlayers) +
           ") with final scale value defined");
    while (scale.size() < config().nlayers) scale.push_back(scale.back());
  }

  // --------------------------------------------------------------------------------- circulant weights above 1

  // Splits each layer, gives each copy of a column a virtual column in the bank of the real one, and puts a layer that
  // combines the copies behind each layer that has any. The m-th copy of a column has the same virtual column in every
  // layer; new ones are dealt out bank by bank, in the order in which they are met. Returns the highest.
  unsigned expand(unsigned dv_size) {
    std::vector<unsigned> next_col(pf_);
    for (unsigned i = 0; i < pf_; ++i) next_col[(dv_size + i) % pf_] = dv_size + i;
    std::map<std::pair<unsigned, unsigned>, unsigned> virtual_of;  // copy and real column
    unsigned highest = 0;

    fec::CodeConfig const before = config();
    std::vector<fec::ldpc_code_element_t> qc;
    std::vector<u32> dc, stall, extra, scale;
    const auto add_layer = [&](std::size_t of, std::vector<fec::ldpc_code_element_t> const& ops, bool is_extra) {
      qc.insert(qc.end(), ops.begin(), ops.end());
      dc.push_back(static_cast<u32>(ops.size()));
      stall.push_back(0);
      extra.push_back(is_extra ? 1 : 0);
      if (before.norm_type == 1) scale.push_back(before.scale[of]);
    };
    std::size_t at = 0;
    for (std::size_t layer = 0; layer < before.dc.size(); ++layer) {
      std::vector<std::vector<fec::ldpc_code_element_t>> positions;  // the operations of one sub-matrix each
      for (const std::size_t end = at + before.dc[layer]; at < end; ++at) {
        if (positions.empty() || positions.back().back().last != 0) positions.emplace_back();
        positions.back().push_back(before.qc[at]);
      }
      std::vector<fec::ldpc_code_element_t> ops, plain_ops, combined;
      for (auto position : positions) {
        if (position.size() == 1) {
          plain_ops.push_back(position[0]);
          continue;
        }
        for (unsigned m = 1; m < position.size(); ++m) {
          const unsigned real = position[m].col;
          if (virtual_of.count({m, real}) == 0) {
            virtual_of[{m, real}] = next_col[real % pf_];
            highest = std::max(highest, next_col[real % pf_]);
            next_col[real % pf_] += pf_;
          }
          position[m].col = virtual_of[{m, real}];
        }
        for (auto op : position) {
          ops.push_back(op);
          op.shift = position[0].shift;
          op.first = 0;
          combined.push_back(op);
        }
      }
      ops.insert(ops.end(), plain_ops.begin(), plain_ops.end());
      add_layer(layer, ops, false);
      if (!combined.empty()) add_layer(layer, combined, true);
    }
    config().qc = qc;
    config().dc = dc;
    config().stall = stall;
    config().extra_layer = extra;
    if (before.norm_type == 1) config().scale = scale;
    config().nlayers = static_cast<u32>(dc.size());
    return highest;
  }

  // ----------------------------------------------------------------------------------------- packing and sizes

  void pack_all() {
    stats().packing_efficiency = 1.0;
    if (pf_ == 1 && spec_.compress_packing == 0) return;
    if (config().nlayers == 0) {
      error("ERROR: num. layers: 0");
      stats().packing_efficiency = 0;
      return;
    }
    PackingRules rules;
    rules.pf = pf_;
    rules.min_slots = core_.min_slots;
    rules.align_closings = stats().wgt != 1.0 && spec_.enable_wgt1 != 0;
    rules.reorder_type = spec_.reorder_type;
    Packed all = pack(config(), rules);
    for (std::size_t layer : all.empty_layers) error("ERROR: DC count 0 for layer" + str(layer));
    config().qc = all.qc;
    config().dc = all.dc;
    config().qc_count = all.qc_count;
    stats().packing_efficiency = all.efficiency;
  }

  void derive() {
    const auto operations = static_cast<u32>(config().qc.size());
    const auto up = [](u32 value, u32 by) { return (value + by - 1) / by; };
    config().nmqc = up(up(operations, pf_), 4) * 4;
    const u32 bits = extra_cols_ * spec_.p + spec_.n;
    config().nm = pf_ == 1 ? config().mv * up(bits, spec_.p) : up(bits, spec_.p * pf_);
    for (u32 dc : config().dc) config().cpld.push_back(dc / pf_ - 1);
  }

  // ---------------------------------------------------------------------------------------------------- limits

  void check_work() {
    const std::string nmqc = "NMQC (number of packed QC operations)";
    const std::string mv = " * MV (cycles per QC operation) value, ";
    if (spec_.encode == 0) {
      const u32 q = config().nmqc * config().mv;
      if (q >= 1025)
        error("ERROR: " + nmqc + mv + str(q) + ", exceeds supported limit, 1024.");
      else if (q >= 1024 / pf_ + 1)
        result_.messages.push_back("0WARNING: " + nmqc + mv + str(q) + ", exceeds limit, " + str(1024 / pf_) +
                                   ", supported by the output parity check and will be disabled.");
    } else if (config().nmqc >= 2045) {
      error("ERROR: " + nmqc + " value, " + str(config().nmqc) + ", exceeds supported limit, 2044.");
    }
    for (u32 layer = 0; layer < config().nlayers; ++layer)
      if (const u32 work = config().dc[layer] * config().mv; work >= 257)
        error("ERROR: Layer " + str(layer) + ": DC (check node degree)" + mv + str(work) +
              ", exceeds supported limit, 256.");
    for (u32 layer = 0; layer < config().nlayers; ++layer)
      if (const u32 length = config().cpld[layer] * pf_; length >= 128)
        error("ERROR: Layer " + str(layer) + ": CPLD (cycles per layer) * PF (Packing Factor) value, " + str(length) +
              ", exceeds supported limit, 127. Set \"no_packing: true\" in the code definition to work around this "
              "error if DC (check node degree) <= 128.");
    if (config().special_qc == 0 && (spec_.enable_wgt1 == 0 || spec_.encode != 0)) return;
    u32 longest = 0;
    for (u32 cpld : config().cpld) longest = std::max(longest, cpld);
    if (const u32 work = (longest + 1) * config().mv; work >= 65)
      error("ERROR: Maximum \"work per layer\", max(DC)*MV/PF = " + str(work) +
            ", exceeds supported limit, 64. Note this is a reduced limit due to the code definition specifying W>1");
  }

  void check_code(std::vector<u32> const& dv, unsigned required) {
    const auto unused = std::find(dv.begin(), dv.end(), 0U);
    if (unused != dv.end())
      error("ERROR: Column " + str(unused - dv.begin()) + ": DV == 0, variable node degree must be >= 1.");
    if (const u32 cycles = config().nlayers * config().mv; cycles >= 257)
      error("ERROR: Number of layers * MV (cycles per QC operation) value, " + str(cycles) +
            ", exceeds supported limit, 256.");
    const bool p_fits = 2 <= spec_.p && spec_.p <= 512;
    if (!p_fits) error("ERROR: P size, " + str(spec_.p) + ", is out of range: 2 <= P <= 512 ");
    const bool n_fits = 4 <= spec_.n && spec_.n <= 32768 && spec_.n <= 256 * spec_.p && spec_.k <= spec_.n;
    if (!n_fits)
      error("ERROR: Unsupported codeword length: 4 <= N(" + str(spec_.n) + ") <= 32768 and N(" + str(spec_.n) +
            ") <= 256*P(" + str(256 * spec_.p) + ") and N(" + str(spec_.n) + ") > K(" + str(spec_.k) + ")");
    if (config().special_qc != 0 && required >= 257)
      error("ERROR: Required columns, " + str(required) + ", exceeds supported limit, 256.");
    const bool parity_fits = 2 <= config().parity_len && config().parity_len <= 32766;
    if (!parity_fits) error("ERROR: Unsupported parity length: 2 <= N-K(" + str(config().parity_len) + ") <= 32766");
  }

  // ---------------------------------------------------------------------------------------------------- stalls

  void stall() {
    fec::XLogger logger(
        [](void* list, int severity, char const* text) {
          static_cast<std::vector<std::string>*>(list)->push_back(std::to_string(severity) + text);
        },
        &result_.messages);
    test_support::CycleModel model(spec_.encode != 0 ? core_.encoder_delay : core_.decoder_delay, core_.capacities,
                                   logger);
    test_support::CycleModel::Code code;
    code.iterations = spec_.encode != 0 ? 1 : 4;
    code.config = config();
    model.add(code);
    while (model.finished().empty()) model.step();
    config().stall = model.finished().front()->config.stall;
  }

  void finish() {
    auto& stalls = config().stall;
    if (!stalls.empty() && stalls[0] + config().cpld[0] + 1 < 3) stalls[0] = 2 - config().cpld[0];
    for (u32 layer = 0; layer < stalls.size(); ++layer)
      if (stalls[layer] >= 256)
        error("ERROR: Layer " + str(layer) + ": Required stall value, " + str(stalls[layer]) +
              ", exceeds supported limit, 255.");
    stats().nqc = static_cast<u32>(config().qc.size());
    spread(stalls, stats().stall_min, stats().stall_avg, stats().stall_max);
    const double mv = config().mv, pf = pf_;
    for (std::size_t layer = 0; layer < stalls.size(); ++layer) {
      const std::size_t behind = layer + 1 == stalls.size() ? 0 : layer + 1;
      for (std::size_t m : {layer, behind}) {
        const double cycles = config().dc[m] * mv / pf + mv - 1;
        if (cycles == 0) continue;
        const auto ratio = static_cast<u32>(std::ceil(stalls[layer] / cycles)) + 1;
        stats().stall_ratio_max = std::max(stats().stall_ratio_max, ratio);
      }
    }
    if (const double cycles = mv * stats().dc_avg / pf; cycles != 0)
      stats().stall_ratio_avg = static_cast<u32>(std::ceil(stats().stall_avg / cycles)) + 1;
    stats().p_use = static_cast<double>(spec_.p) / (config().mv * 128 / pf_);
    stats().enc_ok = encoder_ok_ && config().special_qc == 0 && !failed_;
    stats().dec_ok = spec_.encode == 0 && !failed_;
  }

  fec::CodeSpec const& spec_;
  Core core_;
  bool quiet_;
  Compiled result_;
  bool failed_ = false;

  matrix h_;
  std::map<std::pair<u32, u32>, u32> cp_;
  u32 max_col_ = 0;
  unsigned kb_ = 0, nb_ = 0, extra_cols_ = 0, pf_ = 1;
  bool encoder_ok_ = false;
};

inline Compiled compile(fec::CodeSpec const& spec, Core const& core, bool quiet = false) {
  return Compiler(spec, core, quiet).run();
}

/// What differs first between two compiled codes, by the name of its field; empty if nothing does.
inline std::string difference(fec::CodeConfig const& a, fec::CodeConfig const& b) {
#define PLAIN_COMPARE(field) \
  if (a.field != b.field) return #field
  PLAIN_COMPARE(n);
  PLAIN_COMPARE(parity_len);
  PLAIN_COMPARE(p);
  PLAIN_COMPARE(nlayers);
  PLAIN_COMPARE(nmqc);
  PLAIN_COMPARE(nm);
  PLAIN_COMPARE(mv);
  PLAIN_COMPARE(norm_type);
  PLAIN_COMPARE(dc);
  PLAIN_COMPARE(cpld);
  PLAIN_COMPARE(scale);
  PLAIN_COMPARE(stall);
  PLAIN_COMPARE(extra_layer);
  PLAIN_COMPARE(qc);
  PLAIN_COMPARE(qc_count);
#undef PLAIN_COMPARE
  return a == b ? "" : "an option";
}

/// The same for their figures.
inline std::string difference(fec::CodeStats const& a, fec::CodeStats const& b) {
  const auto differ = [](double x, double y) { return std::abs(x - y) > 1e-9 * std::max(1.0, std::abs(y)); };
#define PLAIN_COMPARE(field) \
  if (differ(a.field, b.field)) return #field
  PLAIN_COMPARE(dc_min);
  PLAIN_COMPARE(dc_avg);
  PLAIN_COMPARE(dc_max);
  PLAIN_COMPARE(dv_min);
  PLAIN_COMPARE(dv_avg);
  PLAIN_COMPARE(dv_max);
  PLAIN_COMPARE(stall_min);
  PLAIN_COMPARE(stall_avg);
  PLAIN_COMPARE(stall_max);
  PLAIN_COMPARE(wgt);
  PLAIN_COMPARE(stall_ratio_max);
  PLAIN_COMPARE(stall_ratio_avg);
  PLAIN_COMPARE(p_use);
  PLAIN_COMPARE(packing_efficiency);
  PLAIN_COMPARE(nlayers);
  PLAIN_COMPARE(nqc_raw);
  PLAIN_COMPARE(nqc);
  PLAIN_COMPARE(enc_ok);
  PLAIN_COMPARE(dec_ok);
#undef PLAIN_COMPARE
  return {};
}

}  // namespace plain
