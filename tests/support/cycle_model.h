// The core's two stages cycle by cycle: the plain truth behind the event form in fec/perf_analyser.h, whose header
// states the timing. Free bits, a delay line and queues, moved on by one step for each cycle; it costs what the code
// costs the core, and knows nothing of the event form but its records, its counter names and its texts.
#pragma once

#include <algorithm>
#include <bitset>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tcltasks/fec/perf_analyser.h"

namespace test_support {

class CycleModel {
 public:
  struct Code {
    unsigned id = 0;
    unsigned iterations = 0;
    fec::CodeConfig config;
    unsigned iteration = 0;
    unsigned layer = 0;
    std::bitset<256> free = std::bitset<256>().set();
    std::vector<unsigned> pending = std::vector<unsigned>(256, 0);  // updates of each column still to come
    unsigned long long finished_at = 0;
  };

  CycleModel(unsigned delay, fec::CapacityRow const& capacities, fec::XLogger& logger,
             fec::perf_analyser::StreamRates rates = {})
      : capacities_(capacities), logger_(logger), rates_(rates), delay_line_(delay, false) {}

  void add(Code code) {
    code.config.stall.resize(std::max<std::size_t>(code.config.stall.size(), code.config.nlayers));
    const auto same = [&](auto const& other) { return other.id == code.id; };
    bool known = std::any_of(input_.begin(), input_.end(), same);
    for (Code const* one : resident_) known = known || one->id == code.id;
    if (known) {
      logger_.warning("Code neither greater than or less than any current codes!!");
      input_.push_back(std::move(code));
      return;
    }
    auto place = input_.begin();
    while (place != input_.end() && place->id < code.id) ++place;
    input_.insert(place, std::move(code));
  }

  /// One cycle.
  void step() {
    admit();
    const bool layer_done = minsum();
    soupd();
    delay_line_.push_back(layer_done);
    fec::perf_analyser::tick(now_);
  }

  std::deque<Code*>& finished() { return output_; }

 private:
  struct SoupdLayer {
    Code* code;
    unsigned long long length;
    std::vector<std::vector<unsigned>> lists;  // for each issue
  };

  static unsigned width_of(Code const& code) {
    return code.config.no_packing != 0 ? 1 : code.config.p <= 32 ? 4 : code.config.p <= 64 ? 2 : 1;
  }
  static unsigned mv_of(Code const& code) { return std::max(1U, code.config.mv); }

  static std::vector<unsigned long long> use_of(Code const& code) {
    auto const& c = code.config;
    const auto up = [](unsigned long long value, unsigned long long by) { return (value + by - 1) / by; };
    return {up(c.n, 4),
            c.encode != 0 ? 0ULL : 1ULL * c.nmqc * mv_of(code),
            up(c.n, 128),
            up(static_cast<unsigned>(c.n - c.parity_len), 128),
            up(c.parity_len, 128),
            1,
            1ULL * c.nlayers * mv_of(code),
            1};
  }

  void admit() {
    static constexpr char const* kNames[] = {"mem_cnt_c", "mem_cnt_d", "mem_cnt_s",    "mem_cnt_k",
                                             "mem_cnt_g", "mem_cnt_v", "mem_cnt_mins", "mem_cnt_codes"};
    while (!input_.empty()) {
      const auto use = use_of(input_.front());
      std::optional<std::size_t> failing;
      for (std::size_t i = 8; i-- > 0;)
        if (occupied_[i] + use[i] > capacities_[i]) failing = i;
      if (failing) {
        if (!resident_.empty()) return;
        logger_.warning(std::string(kNames[*failing]) + " memory increment failed");
        logger_.warning(std::to_string(now_) +
                        "CRITICAL: : Memory increment constraint failed but no active codes. max_code constraint of "
                        "1 will be used with v_and_mins");
      }
      check_rate("Invalid input rate specified: ", rates_.input);
      check_rate("Invalid output rate specified: ", rates_.output);
      for (std::size_t i = 0; i < 8; ++i) occupied_[i] += use[i];
      codes_.push_back(std::move(input_.front()));
      input_.pop_front();
      resident_.push_back(&codes_.back());
    }
  }

  void check_rate(char const* text, double rate) {
    if (rate > 0 && rate <= 4) return;
    char number[32];
    std::snprintf(number, sizeof number, "%g", rate);
    logger_.warning(std::string(text) + number + " : 4");
  }

  // Operation at `position` of the current layer, if there is one.
  static fec::ldpc_code_element_t const* operation(Code const& code, std::size_t position) {
    std::size_t begin = 0;
    for (unsigned layer = 0; layer < code.layer; ++layer) begin += slots(code, layer);
    return begin + position < code.config.qc.size() ? &code.config.qc[begin + position] : nullptr;
  }
  static unsigned slots(Code const& code, unsigned layer) {
    return layer < code.config.dc.size() ? code.config.dc[layer] : 0;
  }

  // The minsum stage; true if a layer was finished in this cycle.
  bool minsum() {
    if (resident_.empty()) return false;
    Code& code = *resident_.front();
    const unsigned width = width_of(code), mv = mv_of(code);
    const unsigned issues = (slots(code, code.layer) + width - 1) / width;
    const unsigned long long length = std::max(1ULL, 1ULL * issues * mv);
    if (cycle_ == 0 && stall_ == 0) begin_layer();

    const auto issue = static_cast<unsigned>(cycle_ / mv);
    std::vector<fec::ldpc_code_element_t const*> ops;
    for (unsigned lane = 0; issue < issues && lane < width; ++lane)
      ops.push_back(operation(code, issue * width + lane));
    const auto skipped = [&](auto const* op) { return op == nullptr || (width > 1 && op->nop != 0); };
    for (auto const* op : ops) {
      if (skipped(op) || op->col >= 256 || own_.contains(op->col)) continue;
      if (!code.free[op->col] || code.pending[op->col] > 0) {
        ++stall_;
        return false;
      }
    }

    const bool final_cycle = cycle_ + 1 == length;
    if (cycle_ % mv == 0) lists_.resize(issue + 1);
    for (std::size_t lane = 0; lane < ops.size(); ++lane) {
      if (skipped(ops[lane]) || !joins_list(code, *ops[lane], lane, width, cycle_ % mv == 0, final_cycle)) continue;
      const unsigned col = ops[lane]->col;
      if (col >= 256) {
        logger_.warning(std::to_string(now_) + " : Out of range CW index: " + std::to_string(col));
        continue;
      }
      code.free.reset(col);
      ++code.pending[col];
      own_.insert(col);
      lists_.back().push_back(col);
    }
    ++cycle_;
    if (!final_cycle) return false;

    if (complete_) logger_.warning(std::to_string(now_) + " : Min Sum layer finished but complete flag still high");
    end_layer(code, length);
    return true;
  }

  void begin_layer() {
    lists_.clear();
    own_.clear();
    group_.assign(4, 0);
  }

  bool joins_list(Code const& code, fec::ldpc_code_element_t const& op, std::size_t lane, unsigned width,
                  bool first_cycle, bool final_cycle) {
    if (code.config.encode != 0) {
      if (width == 1) return final_cycle;
      return first_cycle && op.layer_end != 0;
    }
    if (!first_cycle) return false;
    const bool extra = code.config.special_qc != 0 && code.layer < code.config.extra_layer.size() &&
                       code.config.extra_layer[code.layer] != 0;
    if (!extra) return true;
    const bool joins = group_[lane] == 0;
    if (op.last == 0)
      ++group_[lane];
    else
      group_[lane] = 0;
    return joins;
  }

  void end_layer(Code& code, unsigned long long length) {
    if (code.layer < code.config.stall.size()) {
      if (code.iteration == 3 && code.config.stall[code.layer] != stall_)
        logger_.warning(std::to_string(now_) +
                        " : Stall change on  final iteration 4, stall calculation maybe incorrect.");
      code.config.stall[code.layer] = stall_;
    }
    in_delay_.push_back({&code, length, lists_});
    complete_ = true;
    cycle_ = 0;
    stall_ = 0;
    if (++code.layer < code.config.nlayers) return;
    code.layer = 0;
    if (++code.iteration < code.iterations) return;
    const auto use = use_of(code);
    for (std::size_t i = 0; i < 8; ++i) occupied_[i] -= use[i];
    code.finished_at = now_;
    resident_.pop_front();
    output_.push_back(&code);
  }

  void soupd() {
    if (delay_line_.front()) {
      if (in_delay_.empty()) logger_.warning("WARNING: Delay output not read");
      waiting_.push_back(std::move(in_delay_.front()));
      in_delay_.pop_front();
    }
    delay_line_.pop_front();
    complete_ = false;  // the layer is in the delay line
    if (!updating_ && !waiting_.empty()) {
      updating_ = std::move(waiting_.front());
      waiting_.pop_front();
      update_cycle_ = 0;
    }
    if (!updating_) return;
    Code& code = *updating_->code;
    const unsigned mv = mv_of(code);
    const auto issue = static_cast<std::size_t>(update_cycle_ / mv);
    if (update_cycle_ % mv + 1 == mv && issue < updating_->lists.size()) {
      for (unsigned col : updating_->lists[issue]) {
        if (code.free[col] && code.config.encode == 0)
          logger_.warning(std::to_string(now_) + ": Index " + std::to_string(col) +
                          " already free! cw id: " + std::to_string(code.id));
        code.free.set(col);
        --code.pending[col];
      }
    }
    if (++update_cycle_ == updating_->length) updating_.reset();
  }

  fec::CapacityRow capacities_;
  fec::XLogger& logger_;
  fec::perf_analyser::StreamRates rates_;
  unsigned long long now_ = 0;
  std::deque<Code> input_, codes_;
  std::deque<Code*> resident_, output_;
  unsigned long long occupied_[8] = {};

  unsigned long long cycle_ = 0;  // within the layer
  unsigned stall_ = 0;
  bool complete_ = false;
  std::vector<std::vector<unsigned>> lists_;
  std::set<unsigned> own_;  // columns that the current layer has put in flight
  std::vector<unsigned> group_;

  std::deque<bool> delay_line_;
  std::deque<SoupdLayer> in_delay_, waiting_;
  std::optional<SoupdLayer> updating_;
  unsigned long long update_cycle_ = 0;
};

}  // namespace test_support
