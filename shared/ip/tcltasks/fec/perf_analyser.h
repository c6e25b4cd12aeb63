// The performance analyser: how many cycles each layer of a compiled code has to wait.
//
// The core runs layers back to back and does not interlock: a layer that reads a block column whose update from an
// earlier layer has not been written back reads a stale value. Each layer therefore carries a stall count, the cycles
// that it waits before its first operation. The analyser finds the counts by running the code through a model of the
// core's two pipeline stages.
//
// Stages. "minsum" is the check-node stage, which reads columns; "soupd" is the soft-output update stage, which writes
// them back. Both walk the operations of a layer in order, PF operations per issue, MV cycles per issue; a layer of DC
// slots has ceil(DC / PF) issues and takes at least one cycle.
//
// Timing. Cycles count from 0. Let a layer start in cycle s, have I issues, and be held up for w cycles in all.
//
//   - minsum begins issue i in the first cycle, from s + i x MV on, in which every column that the issue tests is free.
//     Each cycle of waiting adds one to the layer's stall count. Its last cycle is e = s + w + I x MV - 1, and the next
//     layer starts in e + 1.
//   - An issue puts the columns on its list in flight in its first cycle. The list of a decoder code holds every column
//     that the issue tests. That of an encoder code holds the column of the operation with layer_end set or, with one
//     operation per cycle, the column of the layer's final cycle: an encoder layer writes one block, its parity.
//   - The finished layer passes a delay line of D cycles (11 in sd_fec; 15 for a decoder, 7 for an encoder code in
//     ldpc). soupd takes it in cycle u = max(e + D, end of soupd's layer before + 1): one layer at a time, in order.
//   - soupd writes the columns of issue i back in cycle u + (i + 1) x MV - 1. They are free from the cycle after that.
//
// Rules.
//   - A padding slot (nop) tests nothing and puts nothing in flight when more than one operation issues per cycle. With
//     one per cycle the core's operation word has no mark for a pad, and the pad counts as an operation on column 0.
//   - A layer is never held up by a column that it has put in flight itself: its own update comes after it in any case.
//     This covers the cycles of one operation, and the operations on one column in a row.
//   - With special_qc set, an extra layer reads the copies of a column and writes back only the first of each group:
//     a lane keeps a column off the list while its group counter is not 0. The counter goes up by one at an operation
//     with last 0 and returns to 0 at one with last 1.
//   - A column that a layer has put in flight twice is free after its second update; the second update is reported.
//   - A position behind the end of the operations is no operation. Columns from 256 on do not exist in the core: they
//     are reported when they would be put in flight, and hold nobody up.
//
// A decoder code runs 4 iterations, so that the wrap from the last layer to the first counts; an encoder code runs 1.
// The stall counts are those of the last iteration. They are in steady state if the last two iterations agree, and then
// they are sufficient and none of them can be lowered; where they do not agree, the analyser says so.
//
// The model runs in events: what it keeps for each column is the cycle from which it is free, so its cost is operations
// x iterations, whatever the stalls and MV are. A plain cycle-by-cycle model with free bits and a delay line stands in
// the tests and gives the same counts and reports.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "tcltasks/fec/records.h"
#include "tcltasks/fec/xlogger.h"

namespace fec::perf_analyser {

/// Adds 1. A counter that was at its largest value says so on standard output and wraps to 0.
void tick(unsigned long long& count);

/// Block columns of the core, the range of a column index.
inline constexpr unsigned kColumns = 256;

/// Iterations that the model runs.
inline constexpr unsigned kDecoderIterations = 4;
inline constexpr unsigned kEncoderIterations = 1;

/// What the core's memories hold of a code, one counter for each memory, in words of 128 values unless stated.
enum MemoryCounter : unsigned {
  mem_cnt_c,     ///< codeword in, 4 values a word: N / 4
  mem_cnt_d,     ///< check node messages of a decoder code: NMQC x MV
  mem_cnt_s,     ///< soft values: N / 128
  mem_cnt_k,     ///< information bits: K / 128
  mem_cnt_g,     ///< parity bits: (N - K) / 128
  mem_cnt_v,     ///< codes in the pipeline: 1
  mem_cnt_mins,  ///< layer minima: layers x MV
  mem_cnt_codes  ///< codes resident: 1
};

/// What a model is built from.
struct ModelTraits {
  unsigned delay = 11;  ///< cycles from minsum's last cycle of a layer to soupd's first
  CapacityRow capacities{};
};

/// Rates of the data streams, in words of 128 values per cycle: above 0, at most kRateLimit. They have no effect on
/// stalls; a rate out of range is reported when a code enters.
struct StreamRates {
  double input = 1;
  double output = 1;
};
inline constexpr double kRateLimit = 4;

/// One code in flight.
struct code_t {
  unsigned id = 0;                                     ///< identifier; codes run in ascending order of it
  unsigned iterations = 0;                             ///< to run
  CodeConfig config;                                   ///< the copy that the model works on; `stall` is filled in
  unsigned iteration = 0;                              ///< current, from 0
  unsigned layer = 0;                                  ///< current
  std::size_t position = 0;                            ///< of the current layer's first operation in `qc`
  std::array<unsigned long long, kColumns> free_at{};  ///< cycle from which each column is free to be read
  unsigned long long finished_at = 0;                  ///< cycle of minsum's last operation
};

/// The model of the core. Codes are added, steps are taken, and finished codes come out.
class Pipeline {
 public:
  using code_t = fec::perf_analyser::code_t;

  Pipeline(ModelTraits const& traits, XLogger& logger, StreamRates const& rates = {});

  /// Puts a code into the input queue, which is kept in the order of the identifiers. An identifier that a waiting or
  /// running code has cannot be ordered; that is reported, and the code goes to the end.
  void add(code_t code);

  /// Lets waiting codes enter as far as the memories allow, then runs one layer of the code in the minsum stage.
  /// Does nothing if no code is there.
  void step();

  std::deque<code_t>& finished() { return output_; }

  unsigned long long master_count() const { return now_; }

  /// Running average of the cycles per iteration, each new value weighing 0.5; 0 before the first iteration ends.
  double average_iteration_cycles() const { return average_iteration_; }

 private:
  struct ListedColumn {
    unsigned issue;
    unsigned column;
  };
  struct UpdateReport {  // of the soupd stage, due when its cycle is reached
    unsigned long long cycle;
    unsigned column;
    unsigned id;
  };

  using MemoryUse = std::array<unsigned long long, 8>;  // in the order of MemoryCounter

  static MemoryUse memory_of(code_t const& code);
  void admit();
  void check_rates();
  void run_layer(code_t& code);
  unsigned long long issue_layer(code_t const& code, unsigned issues);
  void update_layer(code_t& code, unsigned long long last_cycle, unsigned long long length);
  void end_layer(code_t& code, unsigned stall, unsigned long long last_cycle);
  void report(unsigned long long cycle, std::string const& text);
  void deliver_updates(unsigned long long before);

  ModelTraits traits_;
  XLogger& logger_;
  StreamRates rates_;
  unsigned long long now_ = 0;        // next cycle of the minsum stage
  unsigned long long soupd_end_ = 0;  // first cycle in which the soupd stage can take a layer
  unsigned long long iteration_start_ = 0;
  double average_iteration_ = 0;
  unsigned long long total_stall_ = 0;  // as traced
  std::deque<code_t> input_;            // waiting outside
  std::deque<code_t> active_;           // memory reserved; the first one is in the minsum stage
  std::deque<code_t> output_;
  MemoryUse occupancy_{};
  std::deque<UpdateReport> updates_;                        // reports of the soupd stage that are not due yet, in order
  std::vector<ListedColumn> listed_;                        // columns of the current layer's lists
  std::array<unsigned long long, kColumns> layer_stamp_{};  // layer that last put the column in flight
  unsigned long long layer_serial_ = 0;
};

/// The model of one core, by its delay line.
template <class Variant, unsigned Delay>
class Model : public Pipeline {
 public:
  explicit Model(XLogger& logger, StreamRates const& rates = {})
      : Pipeline({Delay, Variant::kCapacities}, logger, rates) {}
};

/// Runs `config` through the model with the given delay and returns the stall count of each layer.
std::vector<std::uint32_t> stall_counts(CodeConfig config, ModelTraits const& traits, XLogger& logger);

/// Fills `config.stall`; all other fields come back unchanged. Reports go to `msg`, if it is not null, with severity 0.
template <class Variant>
void calc_ldpc_stall(ldpc_code_config_t<Variant>& config, MessageCallback msg, void* ctx);

}  // namespace fec::perf_analyser
