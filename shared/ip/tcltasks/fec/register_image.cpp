#include "tcltasks/fec/register_image.h"

#include <algorithm>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace fec {
namespace {

constexpr std::uint64_t kWordBytes = 4;
constexpr std::uint64_t kAlignment = 16;

std::uint64_t aligned(std::uint64_t bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }

// Byte offsets of the next code's tables from their bases.
struct TableOffsets {
  std::uint64_t sc = 0;
  std::uint64_t la = 0;
  std::uint64_t qc = 0;
};

bool is_compressed(CodeConfig const& config) { return config.compress_packing == 1; }

bool marks_pads(CodeConfig const& config) { return config.no_packing == 0 && num_parallel_P(config.p) > 1; }

std::uint64_t size_word(CodeConfig const& config) {
  if (is_compressed(config)) return config.nmqc;
  return std::uint64_t{config.n - config.parity_len} * 65536 + config.n;
}

std::uint64_t memory_word(CodeConfig const& config) {
  return config.p + 1024ULL * config.no_packing + 2048ULL * config.nm;
}

template <class Variant>
std::uint64_t schedule_word(CodeConfig const& config) {
  std::uint64_t word = config.nlayers + (std::uint64_t{config.nmqc} << 9) + (std::uint64_t{config.norm_type} << 20) +
                       (std::uint64_t{config.no_final_parity} << 22) + (std::uint64_t{config.max_schedule} << 23);
  if constexpr (Variant::kImageHasSpecialQc)
    word += (std::uint64_t{config.special_qc} << 21) + (std::uint64_t{config.lat_ctrl} << 25);
  return word;
}

std::uint64_t offset_word(CodeConfig const& config, TableOffsets const& at) {
  if (is_compressed(config)) return at.la / 16 + at.qc / 16 * 256;
  return at.sc / 4 + at.la / 16 * 256 + at.qc / 16 * 65536;
}

std::uint64_t scale_word(std::vector<std::uint32_t> const& scale, std::size_t first) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < 4 && first + i < scale.size(); ++i) word += std::uint64_t{scale[first + i]} << (4 * i);
  return word;
}

template <class Variant>
std::uint64_t layer_word(CodeConfig const& config, std::size_t layer) {
  std::uint64_t word = config.cpld[layer] + (std::uint64_t{config.stall[layer]} << 8);
  if constexpr (Variant::kImageHasSpecialQc) word += std::uint64_t{config.extra_layer[layer]} << 7;
  if (is_compressed(config)) word += std::uint64_t{config.qc_count[layer]} << 16;
  return word;
}

std::uint64_t plain_operation_word(CodeConfig const& config, ldpc_code_element_t const& op) {
  std::uint64_t shift = op.nop != 0 && marks_pads(config) ? 256 : op.shift;
  const bool marks_closings = config.encode == 0 && config.special_qc != 0;
  if (marks_closings ? op.last != 0 : op.layer_end != 0) shift += 128;
  return op.col + (shift << 8) + (std::uint64_t{op.first} << 17) + (std::uint64_t{op.parity} << 18);
}

std::uint64_t compressed_operation_word(CodeConfig const& config, ldpc_code_element_t const& op) {
  const std::uint64_t shift = op.nop != 0 && marks_pads(config) ? 32768 : std::uint64_t{op.shift} * 128;
  const std::uint64_t bit17 = config.encode != 0 ? op.parity == 0 : op.first;
  return op.col + shift + (std::uint64_t{op.layer_end} << 16) + (bit17 << 17) + (std::uint64_t{op.pack2} << 18) +
         (std::uint64_t{op.pack4} << 19);
}

}  // namespace

template <class Variant>
unsigned ldpc_config_t<Variant>::add(unsigned index, ldpc_code_config_t<Variant>& config) {
  if (index >= kMaxCodes) return 1;
  if (index >= configs.size()) {
    configs.resize(index + 1);
    valid.resize(index + 1);
    sc.resize(index + 1);
    la.resize(index + 1);
    qc.resize(index + 1);
  }
  configs[index] = config;
  valid[index] = true;
  return 0;
}

template <class Variant>
void ldpc_config_t<Variant>::clear() {
  configs.clear();
  valid.clear();
}

template <class Variant>
void ldpc_config_t<Variant>::gen_phy_trans(unsigned /*start*/) {
  trans.clear();
  for (std::vector<Writes>* tables : {&sc, &la, &qc})
    for (Writes& table : *tables) table.clear();

  TableOffsets at;
  for (std::size_t i = 0; i < configs.size(); ++i) {
    if (!valid[i]) continue;
    ldpc_code_config_t<Variant> const& config = configs[i];
    const std::uint64_t base = kCodeRegisterBase + kCodeRegisterStep * i;
    trans.push_back({base, size_word(config), "K, N"});
    trans.push_back({base + 4, memory_word(config), "NM, NO_PACKING, PSIZE"});
    trans.push_back(
        {base + 8, schedule_word<Variant>(config), "MAX_SCHEDULE, NO_FINAL_PARITY_CHECK, NORM_TYPE, NMQC, NLAYERS"});
    trans.push_back({base + 12, offset_word(config, at), "QC_OFF, LA_OFF, SC_OFF"});

    const auto write_table = [this](Writes& table, std::uint64_t addr, std::size_t words, char const* name,
                                    auto word_of) {
      for (std::size_t w = 0; w < words; ++w) table.push_back({addr + kWordBytes * w, word_of(w), w == 0 ? name : ""});
      trans.insert(trans.end(), table.begin(), table.end());
    };
    const std::size_t sc_words = (config.scale.size() + 3) / 4;
    write_table(sc[i], kScTableBase + at.sc, sc_words, "SC_TABLE",
                [&](std::size_t w) { return scale_word(config.scale, 4 * w); });
    at.sc += kWordBytes * sc_words;
    write_table(la[i], kLaTableBase + at.la, config.nlayers, "LA_TABLE",
                [&](std::size_t layer) { return layer_word<Variant>(config, layer); });
    at.la += aligned(kWordBytes * config.nlayers);
    write_table(qc[i], kQcTableBase + at.qc, config.qc.size(), "QC_TABLE", [&](std::size_t m) {
      return is_compressed(config) ? compressed_operation_word(config, config.qc[m])
                                   : plain_operation_word(config, config.qc[m]);
    });
    at.qc += aligned(kWordBytes * config.qc.size());
  }
}

template <class Variant>
void ldpc_config_t<Variant>::dump_phy_trans(char const* path, unsigned start, bool generated) {
  try {
    kdi::NewFile file(path);
    if (!generated) gen_phy_trans(start);
    std::string text;
    for (phy_trans_t<Variant> const& write : trans)
      text += kdi::number::hexadecimal((write.addr << 32) + write.data, 13) + " // " + write.comment + "\n";
    file.write(text);
    file.keep();
  } catch (kdi::FileError const&) {
    // sic: a file that cannot be written is not told of
  }
}

std::string int_to_32hex(unsigned value) { return kdi::text::uppered(kdi::number::hexadecimal(value, 8)); }

template struct ldpc_config_t<sd_fec::Variant>;
template struct ldpc_config_t<ldpc::Variant>;

}  // namespace fec
