// Coefficient tables of a video scaler and the file that loads them.
//
// Coefficients are fixed-point with 14 fractional bits: a row of taps sums to 16384, apart from rounding. All
// arithmetic is in single precision except where a function says otherwise; the core's reference files were made this
// way.
#pragma once

#include <cstdint>
#include <string>

namespace v_scaler {

/// Four tables of `phases` rows of `taps` coefficients each.
struct coefs_struct {
  std::int32_t** h_luma = nullptr;
  std::int32_t** h_chroma = nullptr;
  std::int32_t** v_luma = nullptr;
  std::int32_t** v_chroma = nullptr;
};

/// Allocates all four tables, zeroed. 1 at the first allocation that fails (what was allocated stays for
/// dealloc_coefs_buff), else 0.
int alloc_coefs_buff(coefs_struct* coefs, int taps, int phases);
void dealloc_coefs_buff(coefs_struct* coefs, int taps, int phases);

/// "YUV420" 0, "YUV422" 1, "YUV444" 2, "RGB" 3; any other name counts as 0.
int getChromaFormatValue(std::string const& name);

/// sic: not the sine. The range step lacks its truncation, so the argument of the series stays close to pi and the
/// result is nearly constant. The coefficients that the core expects rest on it.
float sine(float x);

/// The window function of the taps: 0 beyond `a` on either side, 1 at 0.
float lanczos(float x, int a);

/// Fills `row` with `taps` coefficients of the phase (0 to 1). Does nothing for `taps` below 1. A value that no 32-bit
/// integer holds (the sum of a row may be 0) becomes 0.
void get_lanczos_coeffs(float phase, int* row, int taps);

/// Whether a file of these sizes is made at all: nothing negative, no more phases than `max_phases`, and at most 2^26
/// entries, where a size of 0 counts as 1.
bool are_sizes_supported(int h_phases, int v_phases, int h_taps, int v_taps, int max_phases, int use_chroma,
                         int use_vertical, int chroma, int coefficient_sets);

/// The name of the file for a script's `path`: with ".coe" behind it, and slashes for backslashes; "coefs.coe" if it is
/// empty.
std::string coefs_file_name(std::string const& path);

/// Computes the tables, row by row, and writes them to the file of coefs_file_name(path), whose name it returns, also
/// when the file could not be opened. Sizes that are not supported give an empty name and no file. Throws
/// std::runtime_error if writing fails half-way; then a file that was there is as it was, and a link to what is no file
/// is gone.
std::string CreateCoefsMatrix(int h_phases, int v_phases, int h_taps, int v_taps, int max_phases, int use_chroma,
                              int use_vertical, int chroma, int coefficient_sets, std::string const& path);

}  // namespace v_scaler
