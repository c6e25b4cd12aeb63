#include "tcltasks/fec/code_config.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "tcltasks/fec/base_matrix.h"
#include "tcltasks/fec/encoder_check.h"
#include "tcltasks/fec/layer_packing.h"
#include "tcltasks/fec/perf_analyser.h"
#include "tcltasks/fec/reporter.h"
#include "tcltasks/fec/weight_expansion.h"

namespace fec {
namespace {

constexpr std::uint64_t kMaxRows = 65536;  // more cannot pass the layer limit, and are not laid out
constexpr std::uint32_t kMaxNmqcDecoder = 1024;
constexpr std::uint32_t kMaxNmqcEncoder = 2044;
constexpr std::uint32_t kMaxLayerWork = 256;
constexpr std::uint32_t kMaxCpld = 127;
constexpr std::uint32_t kMaxWeightedLayerWork = 64;
constexpr std::uint32_t kMaxLayerCycles = 256;
constexpr std::uint32_t kMaxColumns = 256;
constexpr std::uint32_t kMaxStall = 255;
constexpr std::uint32_t kDefaultScale = 12;

constexpr std::uint32_t ceil_div(std::uint32_t value, std::uint32_t divisor) {
  return value / divisor + (value % divisor != 0);
}

struct Spread {
  std::uint32_t min = CodeStats::kNone;
  double avg = 0;
  std::uint32_t max = 0;
};

// Statistics of no values stay at their starting values.
Spread spread_of(std::vector<std::uint32_t> const& values) {
  Spread result;
  double sum = 0;
  for (std::uint32_t value : values) {
    result.min = std::min(result.min, value);
    result.max = std::max(result.max, value);
    sum += value;
  }
  if (!values.empty()) result.avg = sum / static_cast<double>(values.size());
  return result;
}

// Compiles one code. The steps run in the order in which compile() calls them, and each leaves what the next one reads.
// Products of the limit checks are those of the 32-bit fields that they stand for.
class Compiler {
 public:
  Compiler(CodeSpec const& spec, CodeConfig& config, CodeStats& stats, Reporter& report)
      : spec_(spec), config_(config), stats_(stats), report_(report) {}

  // False: the verdict stands, and no further step may run.
  bool compile(unsigned min_slots) {
    if (!measure()) return false;
    build_matrix();
    check_encoder();
    describe_code();
    lay_out_layers();
    gather_column_degrees();
    set_scale();
    if (!expand_circulant_weights()) return false;
    pack(min_slots);
    derive_sizes();
    check_work_limits();
    check_code_limits();
    return true;
  }

  bool may_be_analysed() const { return !report_.has_errors(); }

  void finish() {
    raise_first_stall();
    for (std::uint32_t layer = 0; layer < config_.nlayers; ++layer)
      if (config_.stall[layer] > kMaxStall)
        report_.error("ERROR: Layer ", layer, ": Required stall value, ", config_.stall[layer],
                      ", exceeds supported limit, 255.");
    gather_stall_statistics();
    stats_.enc_ok = encoder_ok_ && config_.special_qc == 0 && !report_.has_errors();
    stats_.dec_ok = config_.encode == 0 && !report_.has_errors();
  }

 private:
  // The size of the matrix by its largest indices, before anything is laid out.
  bool measure() {
    for (ldpc_sm_element_t const& element : spec_.sm_array) {
      max_row_ = std::max(max_row_, element.row);
      max_col_ = std::max(max_col_, element.col);
    }
    const std::uint64_t width = std::uint64_t{spec_.p} * (std::uint64_t{max_col_} + 1);
    if (width > spec_.n) {
      report_.error("ERROR: Maximum sub-matrix column index, ", max_col_,
                    ", defines a LDPC parity check matrix width, ", width, ", which exceeds the specified N, ",
                    spec_.n);
      return false;
    }
    if (spec_.p == 0) {
      report_p_size();
      return false;
    }
    const std::uint64_t rows = spec_.sm_array.empty() ? 0 : std::uint64_t{max_row_} + 1;
    if (rows > kMaxRows) {
      report_layer_limit(rows * ceil_div(spec_.p, 128));
      return false;
    }
    h_.resize(rows);
    return true;
  }

  void build_matrix() {
    for (ldpc_sm_element_t const& element : spec_.sm_array) {
      BlockRow& row = h_[element.row];
      row.extend(std::uint64_t{element.col} + 1);
      for (std::uint32_t shift : element.shift) row.append(element.col, shift);
      if (element.is_cp != 0 && spec_.encode != 0) cp_[{element.row, element.col}] = element.is_cp;
    }
    for (BlockRow& row : h_) row.sort();
  }

  void check_encoder() {
    kb_ = spec_.k / spec_.p;
    block_cols_ = spec_.n / spec_.p;
    encoder_ok_ = is_enc_compatible(kb_, h_, cp_, report_);
    if (spec_.encode != 0 && !encoder_ok_ && spec_.disable_transforms == 0) {
      EncoderMatrix matrix{h_, cp_, kb_, block_cols_, max_col_};
      encoder_ok_ = apply_double_diagonal(matrix, report_);
      extra_cols_ = matrix.extra_cols;
    }
    if (!encoder_ok_) report_.encoder_warning("WARNING: H matrix does not meet Encoder requirements");
  }

  void describe_code() {
    config_.p = spec_.p;
    config_.nlayers = static_cast<std::uint32_t>(h_.size());
    config_.mv = ceil_div(spec_.p, 128);
    config_.n = spec_.n;
    config_.parity_len = spec_.n - spec_.k;
    config_.norm_type = spec_.normalization;
    config_.encode = spec_.encode;
    config_.no_final_parity = spec_.no_final_parity;
    config_.max_schedule = spec_.max_schedule;
    config_.lat_ctrl = spec_.lat_ctrl;
    config_.compress_packing = spec_.compress_packing;
    config_.no_packing = spec_.no_packing;
    config_.dc.assign(h_.size(), 0);
    config_.stall.assign(h_.size(), 0);
    config_.extra_layer.assign(h_.size(), 0);
    pf_ = spec_.no_packing != 0 ? 1 : num_parallel_P(spec_.p);
  }

  void lay_out_layers() {
    const ColumnIndex columns(h_);
    std::vector<bool> finished(columns.size());
    std::size_t total = 0;
    for (BlockRow const& row : h_) total += row.weight();
    config_.qc.reserve(total);

    std::size_t closing = 0;
    for (std::uint32_t row = 0; row < h_.size(); ++row) {
      if (!h_[row].has_circulants()) report_.error("ERROR: H definition missing layer: ", row);
      std::optional<std::size_t> parity_point;
      h_[row].for_each_position([&](BlockPosition const& position) {
        const std::size_t rank = columns.rank(position.col);
        if (!cp_.empty() && cp_.contains({row, position.col})) parity_point = config_.qc.size();
        for (Circulant const& one : position.circulants) {
          if (position.weight() > 1 && spec_.encode == 0 && spec_.enable_wgt1 == 0)
            report_.error("ERROR: Circulant weight > 1 defined. Not supported for decode. Row: ", row,
                          " Col: ", position.col);
          ldpc_code_element_t op;
          op.col = one.col;
          op.shift = one.shift;
          op.first = !finished[rank];
          op.last = &one == &position.circulants.back();
          op.parity = one.col >= kb_;
          closing += op.last;
          config_.qc.push_back(op);
        }
        finished[rank] = true;
      });
      config_.dc[row] = static_cast<std::uint32_t>(h_[row].weight());
      // The parity block has to be the last thing that the row touches.
      if (parity_point) {
        const auto point = config_.qc.begin() + static_cast<std::ptrdiff_t>(*parity_point);
        std::rotate(point, point + 1, config_.qc.end());
      }
    }
    stats_.nlayers = config_.nlayers;
    stats_.nqc_raw = static_cast<std::uint32_t>(config_.qc.size());
    const Spread dc = spread_of(config_.dc);
    stats_.dc_min = dc.min;
    stats_.dc_avg = dc.avg;
    stats_.dc_max = dc.max;
    weigh_circulants(closing);
  }

  void weigh_circulants(std::size_t closing) {
    if (config_.encode != 0)
      stats_.wgt = 1.0;
    else if (!config_.qc.empty())
      stats_.wgt = static_cast<double>(closing) / static_cast<double>(config_.qc.size());
    if (stats_.wgt != 1.0 && spec_.enable_wgt1 == 0) report_.error("ERROR: Circulant weights > 1 are unsupported");
  }

  // DV of all block columns. Only those that hold circulants are counted one by one; the others have DV 0.
  void gather_column_degrees() {
    const ColumnIndex columns(h_);
    std::vector<std::uint32_t> dv(columns.size());
    for (BlockRow const& row : h_)
      for (Circulant const& one : row.circulants()) ++dv[columns.rank(one.col)];

    columns_ = static_cast<std::uint32_t>(block_cols_) + extra_cols_;
    const Spread used = spread_of(dv);
    stats_.dv_max = used.max;
    if (columns_ > 0) stats_.dv_avg = used.avg * static_cast<double>(dv.size()) / columns_;
    if (columns_ <= dv.size()) {
      stats_.dv_min = used.min;
      return;
    }
    stats_.dv_min = 0;
    while (first_unused_col_ < columns.size() && columns.column(first_unused_col_) == first_unused_col_)
      ++first_unused_col_;
  }

  void set_scale() {
    if (config_.norm_type == 0) return;
    config_.scale = spec_.scale;
    if (config_.scale.empty()) {
      config_.scale.assign(config_.nlayers, kDefaultScale);
      report_.warning("WARNING: Scale values undefined, using default value 12 (*0.0625 = 0.75)");
    } else if (config_.scale.size() < config_.nlayers) {
      if (config_.scale.size() > 1)
        report_.warning("WARNING: Filling scale list to required length (", config_.nlayers,
                        ") with final scale value defined");
      config_.scale.resize(config_.nlayers, config_.scale.back());
    }
  }

  bool expand_circulant_weights() {
    required_cols_ = columns_;
    if (stats_.wgt == 1.0 || spec_.enable_wgt1 == 0) return true;
    if (spec_.p > 128) {
      report_.error("ERROR: W>1 only supported for P <= 128");
      return false;
    }
    config_.special_qc = 1;
    report_.warning("INFO: Detected W>1 with P <= 128");
    required_cols_ = expand_weights(config_, pf_, columns_);
    extra_cols_ = required_cols_ - columns_ + 1;
    return true;
  }

  void pack(unsigned min_slots) {
    stats_.packing_efficiency = 1.0;
    if (pf_ < 2 && config_.compress_packing == 0) return;
    PackingRules rules;
    rules.pf = pf_;
    rules.min_slots = min_slots;
    rules.align_closings = stats_.wgt != 1.0 && spec_.enable_wgt1 != 0;
    rules.reorder_type = spec_.reorder_type;
    stats_.packing_efficiency = pack_layers(config_, rules, report_);
  }

  void derive_sizes() {
    const auto operations = static_cast<std::uint32_t>(config_.qc.size());
    config_.nmqc = ceil_div(ceil_div(operations, pf_), 4) * 4;
    const std::uint32_t bits = extra_cols_ * spec_.p + spec_.n;
    config_.nm = pf_ == 1 ? config_.mv * ceil_div(bits, spec_.p) : ceil_div(bits, spec_.p * pf_);
    config_.cpld.resize(config_.nlayers);
    for (std::size_t layer = 0; layer < config_.nlayers; ++layer) config_.cpld[layer] = config_.dc[layer] / pf_ - 1;
  }

  void check_work_limits() {
    if (config_.encode == 0) {
      const std::uint32_t work = config_.nmqc * config_.mv;
      if (work > kMaxNmqcDecoder)
        report_.error("ERROR: NMQC (number of packed QC operations) * MV (cycles per QC operation) value, ", work,
                      ", exceeds supported limit, ", kMaxNmqcDecoder, ".");
      else if (work > kMaxNmqcDecoder / pf_)
        report_.warning_always("WARNING: NMQC (number of packed QC operations) * MV (cycles per QC operation) value, ",
                               work, ", exceeds limit, ", kMaxNmqcDecoder / pf_,
                               ", supported by the output parity check and will be disabled.");
    } else if (config_.nmqc > kMaxNmqcEncoder) {
      report_.error("ERROR: NMQC (number of packed QC operations) value, ", config_.nmqc, ", exceeds supported limit, ",
                    kMaxNmqcEncoder, ".");
    }
    for (std::uint32_t layer = 0; layer < config_.nlayers; ++layer)
      if (const std::uint32_t work = config_.dc[layer] * config_.mv; work > kMaxLayerWork)
        report_.error("ERROR: Layer ", layer, ": DC (check node degree) * MV (cycles per QC operation) value, ", work,
                      ", exceeds supported limit, 256.");
    for (std::uint32_t layer = 0; layer < config_.nlayers; ++layer)
      if (const std::uint32_t length = pf_ * config_.cpld[layer]; length > kMaxCpld)
        report_.error("ERROR: Layer ", layer, ": CPLD (cycles per layer) * PF (Packing Factor) value, ", length,
                      ", exceeds supported limit, 127. Set \"no_packing: true\" in the code definition to work around "
                      "this error if DC (check node degree) <= 128.");
    if (config_.special_qc != 0 || (spec_.enable_wgt1 != 0 && config_.encode == 0)) {
      const std::uint32_t work = (spread_of(config_.cpld).max + 1) * config_.mv;
      if (work > kMaxWeightedLayerWork)
        report_.error("ERROR: Maximum \"work per layer\", max(DC)*MV/PF = ", work,
                      ", exceeds supported limit, 64. Note this is a reduced limit due to the code definition "
                      "specifying W>1");
    }
  }

  void check_code_limits() {
    if (stats_.dv_min == 0)
      report_.error("ERROR: Column ", first_unused_col_, ": DV == 0, variable node degree must be >= 1.");
    if (const std::uint32_t cycles = config_.nlayers * config_.mv; cycles > kMaxLayerCycles) report_layer_limit(cycles);
    if (spec_.p < 2 || spec_.p > 512) report_p_size();
    const std::uint32_t longest = 256 * spec_.p;
    if (spec_.n < 4 || spec_.n > 32768 || spec_.n > longest || spec_.k > spec_.n)
      report_.error("ERROR: Unsupported codeword length: 4 <= N(", spec_.n, ") <= 32768 and N(", spec_.n, ") <= 256*P(",
                    longest, ") and N(", spec_.n, ") > K(", spec_.k, ")");
    if (config_.special_qc != 0 && required_cols_ > kMaxColumns)
      report_.error("ERROR: Required columns, ", required_cols_, ", exceeds supported limit, 256.");
    if (config_.parity_len < 2 || config_.parity_len > 32766)
      report_.error("ERROR: Unsupported parity length: 2 <= N-K(", config_.parity_len, ") <= 32766");
  }

  void report_layer_limit(std::uint64_t cycles) {
    report_.error("ERROR: Number of layers * MV (cycles per QC operation) value, ", cycles,
                  ", exceeds supported limit, 256.");
  }

  void report_p_size() { report_.error("ERROR: P size, ", spec_.p, ", is out of range: 2 <= P <= 512 "); }

  // The core needs three cycles on a code's first layer.
  void raise_first_stall() {
    if (config_.nlayers == 0) return;
    std::uint32_t& stall = config_.stall[0];
    if (stall + config_.cpld[0] + 1 < 3) stall = 2 - config_.cpld[0];
  }

  void gather_stall_statistics() {
    stats_.nqc = static_cast<std::uint32_t>(config_.qc.size());
    const Spread stall = spread_of(config_.stall);
    stats_.stall_min = stall.min;
    stats_.stall_avg = stall.avg;
    stats_.stall_max = stall.max;

    const double pf = pf_;
    const double mv = config_.mv;
    const auto ratio = [](double stalled, double work) {
      return static_cast<std::uint32_t>(std::ceil(stalled / work)) + 1;
    };
    for (std::size_t layer = 0; layer < config_.nlayers; ++layer)
      for (std::size_t other : {layer, (layer + 1) % config_.nlayers})
        if (const double work = config_.dc[other] * mv / pf + mv - 1; work > 0)
          stats_.stall_ratio_max = std::max(stats_.stall_ratio_max, ratio(config_.stall[layer], work));
    if (const double work = mv * stats_.dc_avg / pf; work > 0) stats_.stall_ratio_avg = ratio(stall.avg, work);
    const std::uint32_t lanes = config_.mv * 128 / pf_;
    stats_.p_use = static_cast<double>(spec_.p) / lanes;
  }

  CodeSpec const& spec_;
  CodeConfig& config_;
  CodeStats& stats_;
  Reporter& report_;

  BaseMatrix h_;
  ParityPoints cp_;
  std::uint32_t max_row_ = 0;
  std::uint32_t max_col_ = 0;
  std::int64_t kb_ = 0;          // K / P
  std::int64_t block_cols_ = 0;  // N / P, before any column is added
  std::uint32_t extra_cols_ = 0;
  std::uint32_t columns_ = 0;  // block columns with those that the encoder's transform added
  std::uint32_t first_unused_col_ = 0;
  std::uint32_t required_cols_ = 0;
  unsigned pf_ = 1;
  bool encoder_ok_ = false;
};

}  // namespace

template <class Variant>
void gen_ldpc_code_config(ldpc_code_spec_t<Variant> const& spec, ldpc_code_config_t<Variant>& config,
                          ldpc_code_stats_t<Variant>& stats, MessageCallback msg, void* ctx, unsigned min_slots,
                          bool quiet) {
  config = {};
  stats = {};
  Reporter report(msg, ctx, quiet, spec.skip_enc_compatibility != 0);
  Compiler run(spec, config, stats, report);
  if (!run.compile(min_slots)) return;
  if (run.may_be_analysed()) perf_analyser::calc_ldpc_stall(config, msg, ctx);
  run.finish();
}

template void gen_ldpc_code_config(ldpc_code_spec_t<sd_fec::Variant> const&, ldpc_code_config_t<sd_fec::Variant>&,
                                   ldpc_code_stats_t<sd_fec::Variant>&, MessageCallback, void*, unsigned, bool);
template void gen_ldpc_code_config(ldpc_code_spec_t<ldpc::Variant> const&, ldpc_code_config_t<ldpc::Variant>&,
                                   ldpc_code_stats_t<ldpc::Variant>&, MessageCallback, void*, unsigned, bool);

}  // namespace fec
