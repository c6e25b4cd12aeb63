// The limits that can stand in a request's way, a row for each: what it is called, what of the primitive or of the
// request it bounds, how it gives way, and the words for it. Internal to the engine.
#pragma once

#include <string>

#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

/// How far a limit is opened: not at all at 0, then by factors (1 + i / 512) 2^j that grow by at most 0.2 % from one
/// level to the next, and at kOpen altogether.
inline constexpr int kLevelsPerOctave = 512;
inline constexpr int kOctaves = 12;
inline constexpr int kOpen = kLevelsPerOctave * kOctaves;

/// Opens one limit to a level. What has no range (is_range) is dropped at any.
void open(Relaxed& relaxed, Limit limit, int level);

/// Whether there is something between the limit as it stands and none at all.
bool is_range(Limit limit);

/// The limit as it stands, and as `relaxed`, whose best setting is `solution`, needs it.
Binding bind(Limit limit, Primitive const& primitive, Request const& request, Relaxed const& relaxed,
             Solution const& solution);

/// "VCO range 600 to 1200 MHz would have to be 600 to 1250 MHz"
std::string text_of(Binding const& binding);

/// "12.5 ppm"
std::string ppm_text(Rational const& relative);

/// One of the three tolerances: the largest error of every output, none if it does not matter.
struct Grid {
  std::optional<Rational> Request::*tolerance;
  Rational OutputSolution::*error;
};
/// Of a limit that is a grid's tolerance.
Grid const& grid_of(Limit limit);

Request without_tolerances(Request request);

}  // namespace kdi::clocking
