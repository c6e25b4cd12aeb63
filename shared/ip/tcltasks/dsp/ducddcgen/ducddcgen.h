// ducddcgen: the text files that describe one up- or down-converter chain of the catalogue.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct Tcl_Interp;

namespace ducddcgen_init {

struct Record;

/// The catalogue has no configuration of that name.
class DUCDDCException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One configuration of the catalogue, expanded: scalars, and one element per filter stage from the radio side on. It
/// is built and then read.
class DUCDDCConfig {
 public:
  /// Throws DUCDDCException for a name that the catalogue does not have.
  explicit DUCDDCConfig(std::string name);

  /// The text of one file, lines ended by a line feed: 0 the chain (.cfg), -1 its resources (.rsrc), 1 to the number of
  /// stages that stage's coefficients (.coe). Any other selector: empty.
  std::string get_file(int selector) const;

  /// Writes <name>.cfg, <name>.rsrc and <name>_s<i>.coe for each stage into `directory`, which ends in a slash or gets
  /// one; empty stands for the working directory. Throws std::runtime_error for a file that cannot be opened or not
  /// be written to its end; a file that failed half-way is as it was, those before it are new.
  void write_files(std::string directory) const;

  std::string name;
  int mixer_dsps;   ///< multipliers of one path of the mixer; 0: no mixer
  int mixer_freq;   ///< sample rate at the mixer, Hz
  int mixer_stage;  ///< the mixer stands before this stage; -1: none
  int mix_growth;   ///< bits
  int clean_time;   ///< samples of the radio side until the response to a step has settled
  float evm;        ///< -1: no figure is held
  std::vector<std::vector<double>> coefs;
  std::vector<int> model_taps;
  std::vector<int> step_num, step_den;  ///< rate change: numerator and denominator
  std::vector<int> paths;
  std::vector<int> bit_growth;
  int rsrc_index;  ///< first of the 12 resource figures in the tables

 private:
  Record const* record_;  // never null; the texts come straight from it
};

/// The catalogue's record of that name. Throws DUCDDCException.
Record const& require_record(std::string_view name);

/// One number through a printf format, with a decimal point under every locale.
std::string num(int value, char const* format);
std::string fnum(double value, char const* format);

/// The command-line front end: `config [directory]` writes a configuration's files, `-l` lists all names, nothing
/// explains itself. Returns what ducddcgen returns, or 0.
int main(int argc, char** argv);

void init(Tcl_Interp* interp);
void uninit();

}  // namespace ducddcgen_init

/// Writes the files of a configuration; a null directory means the working directory. Returns 0, or, after a line on
/// standard error: 1 unknown configuration, 2 a file could not be written, 3 anything else.
extern "C" int ducddcgen(char const* config, char const* directory);
