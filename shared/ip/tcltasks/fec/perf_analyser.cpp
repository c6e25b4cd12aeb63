#include "tcltasks/fec/perf_analyser.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

#include "kdi/common/KdiNumber.h"

namespace fec::perf_analyser {
namespace {

constexpr char const* kCounterNames[] = {"mem_cnt_c", "mem_cnt_d", "mem_cnt_s",    "mem_cnt_k",
                                         "mem_cnt_g", "mem_cnt_v", "mem_cnt_mins", "mem_cnt_codes"};

constexpr unsigned kMaxLanes = 4;
constexpr unsigned kReportedIteration = 3;  // index of the iteration whose stall counts must agree with those before
constexpr double kAverageWeight = 0.5;

template <class Int>
constexpr Int ceil_div(Int value, Int divisor) {
  return value / divisor + (value % divisor != 0);
}

unsigned issue_width(CodeConfig const& config) { return config.no_packing != 0 ? 1 : num_parallel_P(config.p); }

unsigned cycles_per_issue(CodeConfig const& config) { return std::max(1U, config.mv); }

unsigned layer_slots(CodeConfig const& config, unsigned layer) {
  return layer < config.dc.size() ? config.dc[layer] : 0;
}

// Which columns of a layer are put in flight, decided operation by operation in the order in which they issue.
class ListRule {
 public:
  ListRule(CodeConfig const& config, unsigned layer, unsigned issues)
      : encode_(config.encode != 0),
        single_(issue_width(config) == 1),
        last_issue_(issues - 1),
        grouped_(config.special_qc != 0 && layer < config.extra_layer.size() && config.extra_layer[layer] != 0) {}

  bool joins(ldpc_code_element_t const& op, unsigned issue, unsigned lane) {
    if (encode_) return single_ ? issue == last_issue_ : op.layer_end != 0;
    if (!grouped_) return true;
    const bool opens_group = group_[lane] == 0;
    group_[lane] = op.last != 0 ? 0 : group_[lane] + 1;
    return opens_group;
  }

  // With one operation per cycle an encoder layer lists its column in its final cycle, not in the operation's first.
  bool lists_in_final_cycle() const { return encode_ && single_; }

 private:
  bool encode_;
  bool single_;
  unsigned last_issue_;
  bool grouped_;
  std::array<unsigned, kMaxLanes> group_{};
};

}  // namespace

void tick(unsigned long long& count) {
  if (count == std::numeric_limits<unsigned long long>::max())
    std::fputs("WARNING: master_count tick overflowed\n", stdout);
  ++count;
}

Pipeline::Pipeline(ModelTraits const& traits, XLogger& logger, StreamRates const& rates)
    : traits_(traits), logger_(logger), rates_(rates) {}

void Pipeline::add(code_t code) {
  const auto has_its_id = [&](code_t const& other) { return other.id == code.id; };
  if (std::any_of(active_.begin(), active_.end(), has_its_id) ||
      std::any_of(input_.begin(), input_.end(), has_its_id)) {
    report(now_, "Code neither greater than or less than any current codes!!");
    input_.push_back(std::move(code));
    return;
  }
  const auto place =
      std::find_if(input_.begin(), input_.end(), [&](code_t const& other) { return other.id > code.id; });
  input_.insert(place, std::move(code));
}

void Pipeline::step() {
  admit();
  if (!active_.empty()) run_layer(active_.front());
}

Pipeline::MemoryUse Pipeline::memory_of(code_t const& code) {
  CodeConfig const& config = code.config;
  const auto words = [](unsigned long long values) { return ceil_div(values, 128ULL); };
  const unsigned long long mv = cycles_per_issue(config);
  MemoryUse use{};
  use[mem_cnt_c] = ceil_div<unsigned long long>(config.n, 4);
  use[mem_cnt_d] = config.encode != 0 ? 0 : config.nmqc * mv;
  use[mem_cnt_s] = words(config.n);
  use[mem_cnt_k] = words(config.n - config.parity_len);
  use[mem_cnt_g] = words(config.parity_len);
  use[mem_cnt_v] = 1;
  use[mem_cnt_mins] = config.nlayers * mv;
  use[mem_cnt_codes] = 1;
  return use;
}

void Pipeline::admit() {
  while (!input_.empty()) {
    const MemoryUse use = memory_of(input_.front());
    std::size_t counter = 0;
    while (counter < use.size() && occupancy_[counter] + use[counter] <= traits_.capacities[counter]) ++counter;
    if (counter < use.size()) {
      if (!active_.empty()) return;  // memory comes free when the code that runs is finished
      report(now_, std::string(kCounterNames[counter]) + " memory increment failed");
      report(now_, std::to_string(now_) +
                       "CRITICAL: : Memory increment constraint failed but no active codes. max_code constraint of 1 "
                       "will be used with v_and_mins");
    }
    check_rates();
    for (std::size_t i = 0; i < use.size(); ++i) occupancy_[i] += use[i];
    active_.push_back(std::move(input_.front()));
    input_.pop_front();
    CodeConfig& config = active_.back().config;
    config.stall.resize(std::max<std::size_t>(config.stall.size(), config.nlayers));
  }
}

void Pipeline::check_rates() {
  const auto check = [this](char const* text, double rate) {
    if (rate > 0 && rate <= kRateLimit) return;
    report(now_, text + kdi::number::general(rate) + " : " + kdi::number::general(kRateLimit));
  };
  check("Invalid input rate specified: ", rates_.input);
  check("Invalid output rate specified: ", rates_.output);
}

void Pipeline::run_layer(code_t& code) {
  CodeConfig const& config = code.config;
  const unsigned issues = ceil_div(layer_slots(config, code.layer), issue_width(config));
  const unsigned long long length = std::max(1ULL, 1ULL * issues * cycles_per_issue(config));

  const unsigned long long start = now_;
  const unsigned long long stall = issue_layer(code, issues);
  const unsigned long long last_cycle = start + stall + length - 1;
  update_layer(code, last_cycle, length);
  if (logger_.traces()) {
    logger_.signal("minsum_stall", start, stall);
    logger_.signal("minsum_active", start + stall, length);
    logger_.signal("soupd_active", soupd_end_ - length, length);
    logger_.signal("total_stall_cycles", last_cycle, total_stall_ += stall);
  }
  now_ = last_cycle + 1;
  end_layer(code, static_cast<unsigned>(stall), last_cycle);
}

// Issues the layer from now_ on, fills listed_, and returns the cycles of waiting.
unsigned long long Pipeline::issue_layer(code_t const& code, unsigned issues) {
  CodeConfig const& config = code.config;
  const unsigned width = issue_width(config);
  const unsigned mv = cycles_per_issue(config);
  ListRule rule(config, code.layer, issues);
  listed_.clear();

  unsigned long long waited = 0;
  std::size_t position = code.position;
  for (unsigned issue = 0; issue < issues && position < config.qc.size(); ++issue, position += width) {
    const auto lanes = static_cast<unsigned>(std::min<std::size_t>(width, config.qc.size() - position));
    unsigned long long begin = now_ + waited + 1ULL * issue * mv;
    for (unsigned lane = 0; lane < lanes; ++lane) {
      ldpc_code_element_t const& op = config.qc[position + lane];
      if ((width > 1 && op.nop != 0) || op.col >= kColumns || code.free_at[op.col] <= begin) continue;
      waited += code.free_at[op.col] - begin;
      begin = code.free_at[op.col];
    }
    for (unsigned lane = 0; lane < lanes; ++lane) {
      ldpc_code_element_t const& op = config.qc[position + lane];
      if ((width > 1 && op.nop != 0) || !rule.joins(op, issue, lane)) continue;
      if (op.col < kColumns) {
        listed_.push_back({issue, op.col});
      } else {
        const unsigned long long cycle = rule.lists_in_final_cycle() ? begin + mv - 1 : begin;
        report(cycle, std::to_string(cycle) + " : Out of range CW index: " + std::to_string(op.col));
      }
    }
  }
  return waited;
}

// Sends the layer through the delay line and the soupd stage.
void Pipeline::update_layer(code_t& code, unsigned long long last_cycle, unsigned long long length) {
  const unsigned long long mv = cycles_per_issue(code.config);
  const unsigned long long start = std::max(last_cycle + traits_.delay, soupd_end_);
  ++layer_serial_;
  for (ListedColumn const& listed : listed_) {
    const unsigned long long free_from = start + (listed.issue + 1) * mv;
    // The first update of a column listed twice sets its free bit, so the second finds it set.
    if (layer_stamp_[listed.column] == layer_serial_ && code.config.encode == 0)
      updates_.push_back({free_from - 1, listed.column, code.id});
    layer_stamp_[listed.column] = layer_serial_;
    code.free_at[listed.column] = free_from;
  }
  soupd_end_ = start + length;
}

void Pipeline::end_layer(code_t& code, unsigned stall, unsigned long long last_cycle) {
  CodeConfig& config = code.config;
  if (code.layer < config.stall.size()) {
    if (code.iteration == kReportedIteration && config.stall[code.layer] != stall)
      report(last_cycle, std::to_string(last_cycle) +
                             " : Stall change on  final iteration 4, stall calculation maybe incorrect.");  // sic
    config.stall[code.layer] = stall;
  }
  code.position += layer_slots(config, code.layer);
  if (++code.layer < config.nlayers) return;

  code.layer = 0;
  code.position = 0;
  const auto cycles = static_cast<double>(now_ - iteration_start_);
  average_iteration_ =
      average_iteration_ == 0 ? cycles : average_iteration_ + kAverageWeight * (cycles - average_iteration_);
  iteration_start_ = now_;
  if (++code.iteration < code.iterations) return;

  deliver_updates(now_);
  code.finished_at = last_cycle;
  const MemoryUse use = memory_of(code);
  for (std::size_t i = 0; i < use.size(); ++i) occupancy_[i] -= use[i];
  output_.push_back(std::move(code));
  active_.pop_front();
}

// Reports come out in the order of their cycles; within one cycle the minsum stage comes before the soupd stage.
void Pipeline::report(unsigned long long cycle, std::string const& text) {
  deliver_updates(cycle);
  logger_.warning(text);
}

void Pipeline::deliver_updates(unsigned long long before) {
  for (; !updates_.empty() && updates_.front().cycle < before; updates_.pop_front()) {
    UpdateReport const& due = updates_.front();
    logger_.warning(std::to_string(due.cycle) + ": Index " + std::to_string(due.column) +
                    " already free! cw id: " + std::to_string(due.id));
  }
}

namespace {

// Runs one code through a model of its own and fills in its stall counts.
void run_alone(CodeConfig& config, ModelTraits const& traits, XLogger& logger) {
  Pipeline model(traits, logger);
  code_t code;
  code.iterations = config.encode != 0 ? kEncoderIterations : kDecoderIterations;
  std::swap(code.config, config);
  model.add(std::move(code));
  while (model.finished().empty()) model.step();
  std::swap(config, model.finished().front().config);
}

}  // namespace

std::vector<std::uint32_t> stall_counts(CodeConfig config, ModelTraits const& traits, XLogger& logger) {
  run_alone(config, traits, logger);
  return std::move(config.stall);
}

template <class Variant>
void calc_ldpc_stall(ldpc_code_config_t<Variant>& config, MessageCallback msg, void* ctx) {
  XLogger logger(msg, ctx);
  run_alone(config, {config.encode != 0 ? Variant::kEncoderDelay : Variant::kDecoderDelay, Variant::kCapacities},
            logger);
}

template void calc_ldpc_stall(ldpc_code_config_t<sd_fec::Variant>&, MessageCallback, void*);
template void calc_ldpc_stall(ldpc_code_config_t<ldpc::Variant>&, MessageCallback, void*);

}  // namespace fec::perf_analyser
