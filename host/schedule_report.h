// The schedule report: one HTML page on how a compiled LDPC code runs on the core, for a design review.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// One operation of a layer; pads are left out.
struct ReportOperation {
  unsigned col;
  unsigned shift;
};

struct ReportLayer {
  unsigned stall;                   ///< cycles that the layer waits before it starts
  unsigned cycles;                  ///< of work
  unsigned slots;                   ///< operations and pads
  bool is_extra;                    ///< combines the copies of a layer with circulant weights above 1
  std::optional<unsigned> put_out;  ///< of an encoder code: the column that the layer computes
  std::vector<ReportOperation> operations;
};

struct ReportCode {
  std::string name;
  std::string core;  ///< "sd_fec" or "ldpc"
  bool encode;
  unsigned n, k, p;
  unsigned delay;             ///< cycles between the two stages
  unsigned width;             ///< operations per cycle
  bool is_rewritten = false;  ///< of an encoder code: the double diagonal was rewritten
  std::vector<ReportLayer> layers;
};

struct ReportOptions {
  std::string title;
  double clock_mhz = 500;              ///< above 0
  unsigned iterations = 8;             ///< of the decoder; an encoder code runs once
  std::optional<ReportCode> compared;  ///< the same code in another order
};

/// Cycles of one iteration in steady state: work and stalls.
struct ReportCycles {
  std::uint64_t work = 0;
  std::uint64_t stall = 0;
  std::uint64_t all() const { return work + stall; }
};
ReportCycles cycles_of(ReportCode const& code);

/// Information bits per second: K x clock / (iterations x cycles per iteration).
double throughput_mbps(ReportCode const& code, ReportOptions const& options);

/// The page: self-contained, no script, nothing loaded from elsewhere; the same bytes for the same input.
std::string schedule_report(ReportCode const& code, ReportOptions const& options);

}  // namespace host
