#include "tcltasks/dsp/v_scaler/lanczos.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "kdi/common/KdiFile.h"

namespace v_scaler {
namespace {

namespace fs = std::filesystem;

constexpr double kPi = 3.14159265358979;
constexpr double kPiSquared = 9.869604401089338;
constexpr float kOne = 16384.0F;
constexpr std::int64_t kMaxEntries = std::int64_t{1} << 26;

std::int32_t** alloc_table(int taps, int phases) {
  auto** table =
      static_cast<std::int32_t**>(std::calloc(static_cast<std::size_t>(std::max(phases, 1)), sizeof(std::int32_t*)));
  if (table == nullptr) return nullptr;
  for (int p = 0; p < phases; ++p) {
    table[p] =
        static_cast<std::int32_t*>(std::calloc(static_cast<std::size_t>(std::max(taps, 1)), sizeof(std::int32_t)));
    if (table[p] != nullptr) continue;
    while (p-- > 0) std::free(table[p]);
    std::free(table);
    return nullptr;
  }
  return table;
}

void free_table(std::int32_t**& table, int phases) {
  if (table == nullptr) return;
  for (int p = 0; p < phases; ++p) std::free(table[p]);
  std::free(table);
  table = nullptr;
}

// One block of the file: a row for each phase, filled up with zeros to the common size.
struct Block {
  int phases;
  int taps;
};

bool has_chroma(int use_chroma, int chroma) { return use_chroma == 1 && chroma != 2 && chroma != 3; }

std::int64_t block_count(int use_chroma, int use_vertical, int chroma) {
  const std::int64_t horizontal = has_chroma(use_chroma, chroma) ? 2 : 1;
  return use_vertical == 1 ? 2 * horizontal : horizontal;
}

// A row of coefficients that frees itself.
class Row {
 public:
  explicit Row(int taps) {
    const int failed = alloc_coefs_buff(&tables_, taps, 1);
    if (failed == 0) return;
    dealloc_coefs_buff(&tables_, taps, 1);
    throw std::bad_alloc();
  }
  ~Row() { dealloc_coefs_buff(&tables_, 0, 1); }
  Row(Row const&) = delete;
  Row& operator=(Row const&) = delete;
  std::int32_t* get() const { return tables_.h_luma[0]; }

 private:
  coefs_struct tables_;
};

// The entries of a file, each with a comma and a line end behind it, and the last one with a semicolon.
class Entries {
 public:
  explicit Entries(kdi::NewFile& file) : file_(file) {}

  void add(std::int32_t entry) {
    text_.append(ending_).append(std::to_string(entry));
    ending_ = ",\n";
    if (text_.size() >= kPiece) flush();
  }
  void finish() {
    if (!ending_.empty()) text_ += ";\n";
    flush();
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{1} << 16;

  void flush() {
    file_.write(text_);
    text_.clear();
  }

  kdi::NewFile& file_;
  std::string text_;
  std::string_view ending_;  // of the entry before
};

// The entries of the file in its order. A row is computed when its turn comes, so that memory does not grow with their
// number.
void write_entries(kdi::NewFile& file, std::vector<Block> const& blocks, int rows, int columns, int sets) {
  Entries entries(file);
  const Row row(columns);
  for (int set = 0; set < sets; ++set)
    for (Block const& block : blocks)
      for (int p = 0; p < rows; ++p) {
        const int taps = set == 0 && p < block.phases ? block.taps : 0;
        get_lanczos_coeffs(static_cast<float>(p / static_cast<double>(block.phases)), row.get(), taps);
        for (int column = 0; column < columns; ++column) entries.add(column < taps ? row.get()[column] : 0);
      }
  entries.finish();
}

void write_file(std::string const& name, std::vector<Block> const& blocks, int rows, int columns, int sets) {
  try {
    kdi::NewFile file(name);
    file.write("memory_initialization_radix=10;\nmemory_initialization_vector=\n");
    write_entries(file, blocks, rows, columns, sets);
    file.keep();
  } catch (kdi::OpenError const&) {
    // sic: no error
  } catch (kdi::FileError const&) {
    // What lies behind a link to a device is no file to keep; the link would pass for one.
    std::error_code ignored;
    if (fs::is_symlink(name, ignored) && !fs::is_regular_file(name, ignored)) fs::remove(name, ignored);
    throw std::runtime_error("Error: Unable to write file " + name);
  }
}

}  // namespace

std::string coefs_file_name(std::string const& path) {
  std::string name = path.empty() ? "coefs.coe" : path + ".coe";
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

int alloc_coefs_buff(coefs_struct* coefs, int taps, int phases) {
  for (std::int32_t*** table : {&coefs->h_luma, &coefs->h_chroma, &coefs->v_luma, &coefs->v_chroma}) {
    *table = alloc_table(taps, phases);
    if (*table == nullptr) return 1;
  }
  return 0;
}

void dealloc_coefs_buff(coefs_struct* coefs, int /*taps*/, int phases) {
  for (std::int32_t*** table : {&coefs->h_luma, &coefs->h_chroma, &coefs->v_luma, &coefs->v_chroma})
    free_table(*table, phases);
}

int getChromaFormatValue(std::string const& name) {
  if (name == "YUV422") return 1;
  if (name == "YUV444") return 2;
  return name == "RGB" ? 3 : 0;
}

float sine(float x) {
  const auto r = static_cast<float>((x - kPi) / kPi);
  const auto y = static_cast<float>(x - static_cast<double>(r) * kPi);
  const float q = -(y * y);
  const float p3 = y * q;
  const float p5 = p3 * q;
  const float p7 = p5 * q;
  const float p9 = p7 * q;
  const float p11 = q * p9;
  float sum = 0.0F + y;
  sum += p3 / 6.0F;
  sum += p5 / 120.0F;
  sum += p7 / 5040.0F;
  sum += p9 / 362880.0F;
  sum += p11 / 39916800.0F;
  return sum;
}

float lanczos(float x, int a) {
  const auto limit = static_cast<float>(a);
  if (x < -limit || x > limit) return 0.0F;
  if (x == 0.0F) return 1.0F;
  const double d = x;
  const float s1 = sine(static_cast<float>(d * kPi));
  const float s2 = sine(static_cast<float>((d * kPi) / a));
  return static_cast<float>((limit * s2 * s1) / (d * d * kPiSquared));
}

void get_lanczos_coeffs(float phase, int* row, int taps) {
  if (taps < 1) return;
  const int half = taps >> 1;
  std::vector<float> values(static_cast<std::size_t>(taps));
  float sum = 0.0F;
  for (int k = 0; k < taps; ++k) {
    float& value = values[static_cast<std::size_t>(k)];
    value = lanczos(static_cast<float>(k - half) + phase, half);
    sum += value;
  }
  for (int k = 0; k < taps; ++k) {
    const float scaled = values[static_cast<std::size_t>(k)] * kOne / sum;
    const double rounded = static_cast<double>(scaled) + 0.5;
    const bool fits = rounded > -2147483649.0 && rounded < 2147483648.0;  // false for a NaN as well
    row[k] = fits ? static_cast<int>(rounded) : 0;
  }
}

bool are_sizes_supported(int h_phases, int v_phases, int h_taps, int v_taps, int max_phases, int use_chroma,
                         int use_vertical, int chroma, int coefficient_sets) {
  for (int size : {h_phases, v_phases, h_taps, v_taps, max_phases, coefficient_sets})
    if (size < 0) return false;
  if (h_phases > max_phases || v_phases > max_phases) return false;
  std::int64_t entries = block_count(use_chroma, use_vertical, chroma);
  // A size of 0 bounds the file, but not the others: they are walked all the same.
  for (int factor : {max_phases, std::max(h_taps, v_taps), coefficient_sets}) {
    entries *= std::max(factor, 1);
    if (entries > kMaxEntries) return false;
  }
  return true;
}

std::string CreateCoefsMatrix(int h_phases, int v_phases, int h_taps, int v_taps, int max_phases, int use_chroma,
                              int use_vertical, int chroma, int coefficient_sets, std::string const& path) {
  if (!are_sizes_supported(h_phases, v_phases, h_taps, v_taps, max_phases, use_chroma, use_vertical, chroma,
                           coefficient_sets))
    return {};
  // Luma and chroma come out alike.
  std::vector<Block> blocks(has_chroma(use_chroma, chroma) ? 2 : 1, Block{h_phases, h_taps});
  if (use_vertical == 1) blocks.insert(blocks.end(), blocks.size(), Block{v_phases, v_taps});

  std::string name = coefs_file_name(path);
  write_file(name, blocks, max_phases, std::max(h_taps, v_taps), coefficient_sets);
  return name;
}

}  // namespace v_scaler
