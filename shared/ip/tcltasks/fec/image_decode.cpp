#include "fec/image_decode.h"

#include <algorithm>
#include <span>
#include <unordered_map>

#include "fec/register_image.h"
#include "fec/reporter.h"

namespace fec {
namespace {

// A field within a word. The layouts below are those of register_image.cpp, told from the reader's side.
struct image_field {
  std::string_view name;
  unsigned bit;
  unsigned width;
};
using layout = std::span<image_field const>;

constexpr image_field kPlainSize[] = {{"k", 16, 16}, {"n", 0, 16}};
constexpr image_field kCompressedSize[] = {{"compressed_nmqc", 0, 32}};
constexpr image_field kMemory[] = {{"p", 0, 10}, {"no_packing", 10, 1}, {"nm", 11, 21}};
constexpr image_field kSchedule[] = {
    {"nlayers", 0, 9}, {"nmqc", 9, 11}, {"norm_type", 20, 1}, {"no_final_parity", 22, 1}, {"max_schedule", 23, 9}};
constexpr image_field kWideSchedule[] = {
    {"nlayers", 0, 9},          {"nmqc", 9, 11},         {"norm_type", 20, 1}, {"special_qc", 21, 1},
    {"no_final_parity", 22, 1}, {"max_schedule", 23, 2}, {"lat_ctrl", 25, 7}};
constexpr image_field kPlainOffsets[] = {{"sc_off", 0, 8}, {"la_off", 8, 8}, {"qc_off", 16, 16}};
constexpr image_field kCompressedOffsets[] = {{"la_off", 0, 8}, {"qc_off", 8, 24}};

constexpr image_field kLayer[] = {{"cpld", 0, 7}, {"stall", 8, 8}};
constexpr image_field kWideLayer[] = {{"cpld", 0, 7}, {"extra_layer", 7, 1}, {"stall", 8, 8}};
constexpr image_field kCompressedLayer[] = {{"cpld", 0, 7}, {"stall", 8, 8}, {"qc_count", 16, 16}};
constexpr image_field kWideCompressedLayer[] = {
    {"cpld", 0, 7}, {"extra_layer", 7, 1}, {"stall", 8, 8}, {"qc_count", 16, 16}};

// A shift needs 7 bits up to P of 128, which leaves room for a mark, and 9 bits above.
constexpr image_field kMarkedOperation[] = {{"col", 0, 8},  {"shift", 8, 7},  {"layer_end", 15, 1},
                                            {"nop", 16, 1}, {"first", 17, 1}, {"parity", 18, 1}};
constexpr image_field kClosingOperation[] = {{"col", 0, 8},  {"shift", 8, 7},  {"last", 15, 1},
                                             {"nop", 16, 1}, {"first", 17, 1}, {"parity", 18, 1}};
constexpr image_field kLongOperation[] = {{"col", 0, 8}, {"shift", 8, 9}, {"first", 17, 1}, {"parity", 18, 1}};
constexpr image_field kCompressedOperation[] = {{"col", 0, 7},        {"shift", 7, 8},  {"nop", 15, 1},
                                                {"layer_end", 16, 1}, {"first", 17, 1}, {"pack2", 18, 1},
                                                {"pack4", 19, 2}};
constexpr image_field kCompressedEncoderOperation[] = {{"col", 0, 7},        {"shift", 7, 8},        {"nop", 15, 1},
                                                       {"layer_end", 16, 1}, {"information", 17, 1}, {"pack2", 18, 1},
                                                       {"pack4", 19, 2}};
constexpr image_field kSingleCompressedOperation[] = {{"col", 0, 7},    {"shift", 7, 9},  {"layer_end", 16, 1},
                                                      {"first", 17, 1}, {"pack2", 18, 1}, {"pack4", 19, 2}};
constexpr image_field kSingleCompressedEncoderOperation[] = {
    {"col", 0, 7}, {"shift", 7, 9}, {"layer_end", 16, 1}, {"information", 17, 1}, {"pack2", 18, 1}, {"pack4", 19, 2}};

struct core_register {
  std::uint64_t addr;
  std::string_view name;
};
constexpr core_register kCoreRegisters[] = {
    {0x00, "AXI_WR_PROTECT"}, {0x04, "CODE_WR_PROTECT"}, {0x0C, "AXIS_WIDTH"}, {0x10, "AXIS_ENABLE"},
    {0x14, "FEC_CODE"},       {0x18, "ORDER"},           {0x20, "IER"},        {0x30, "ECC_IER"},
    {0x3C, "BYPASS"},         {0x100, "TURBO"}};

void read_fields(layout fields, std::uint32_t word, named_values& values) {
  for (image_field const& field : fields) {
    const std::uint64_t mask = (std::uint64_t{1} << field.width) - 1;
    values.push_back({field.name, (word >> field.bit) & mask});
  }
}

template <class Variant>
layout layer_layout(bool compressed) {
  if constexpr (Variant::kImageHasSpecialQc) return compressed ? layout(kWideCompressedLayer) : layout(kWideLayer);
  return compressed ? layout(kCompressedLayer) : layout(kLayer);
}

layout operation_layout(decoded_code const& code, code_hint hint, unsigned pf) {
  if (code.is_compressed()) {
    if (pf > 1) return hint.encode ? layout(kCompressedEncoderOperation) : layout(kCompressedOperation);
    return hint.encode ? layout(kSingleCompressedEncoderOperation) : layout(kSingleCompressedOperation);
  }
  if (value_of(code.fields, "p") > 128) return kLongOperation;
  return value_of(code.fields, "special_qc") != 0 ? layout(kClosingOperation) : layout(kMarkedOperation);
}

std::string hex(std::uint64_t value) { return "0x" + int_to_32hex(static_cast<unsigned>(value)); }

class decoder {
 public:
  template <class Variant>
  void add(std::vector<phy_trans_t<Variant>> const& writes) {
    for (auto const& write : writes) {
      const auto data = static_cast<std::uint32_t>(write.data);
      const auto [place, is_new] = words_.try_emplace(write.addr, written{data, false});
      if (!is_new && place->second.data != data) fault("conflicting writes at ", hex(write.addr));
      place->second.data = data;
      if (is_new) order_.push_back(write.addr);
    }
  }

  void read_core() {
    for (core_register const& one : kCoreRegisters)
      if (const auto found = words_.find(one.addr); found != words_.end())
        image_.core.push_back({one.name, take(one.addr)});
  }

  template <class Variant>
  void read_codes(std::map<unsigned, code_hint> const& hints) {
    std::uint64_t sc_off = 0;
    for (unsigned slot = 0; slot < kMaxCodes; ++slot) {
      const std::uint64_t base = kCodeRegisterBase + kCodeRegisterStep * slot;
      bool has_any = false;
      for (unsigned i = 0; i < 4; ++i) has_any = has_any || words_.contains(base + std::uint64_t{4} * i);
      if (!has_any) continue;
      const auto hint = hints.find(slot);
      read_code<Variant>(base, hint != hints.end() ? hint->second : code_hint{}, image_.codes[slot], sc_off);
    }
  }

  decoded_image finish() {
    for (std::uint64_t addr : order_)
      if (!words_.at(addr).is_taken) fault("unknown address ", hex(addr));
    return std::move(image_);
  }

 private:
  struct written {
    std::uint32_t data;
    bool is_taken;
  };

  template <class... Pieces>
  void fault(Pieces const&... pieces) {
    image_.faults.push_back(message(pieces...));
  }

  std::uint32_t take(std::uint64_t addr) {
    const auto found = words_.find(addr);
    if (found == words_.end()) {
      fault("missing word at ", hex(addr));
      return 0;
    }
    found->second.is_taken = true;
    return found->second.data;
  }

  template <class Variant>
  void read_code(std::uint64_t base, code_hint hint, decoded_code& code, std::uint64_t& sc_off) {
    const std::uint32_t size = take(base);
    const bool compressed = size < 65536 && size != 0;  // a plain word holds K above bit 16
    read_fields(compressed ? layout(kCompressedSize) : layout(kPlainSize), size, code.fields);
    read_fields(kMemory, take(base + 4), code.fields);
    read_fields(Variant::kImageHasSpecialQc ? layout(kWideSchedule) : layout(kSchedule), take(base + 8), code.fields);
    read_fields(compressed ? layout(kCompressedOffsets) : layout(kPlainOffsets), take(base + 12), code.fields);

    // A compressed code has no scale offset of its own; scales are packed tight in the order of the codes.
    if (!compressed) sc_off = 4 * value_of(code.fields, "sc_off");
    read_scale(code, sc_off);
    const auto p = static_cast<unsigned>(value_of(code.fields, "p"));
    const unsigned pf = value_of(code.fields, "no_packing") != 0 ? 1 : num_parallel_P(p);
    const layout layers = layer_layout<Variant>(compressed);
    const layout operations = operation_layout(code, hint, pf);
    const std::uint64_t la_base = kLaTableBase + 16 * value_of(code.fields, "la_off");
    std::uint64_t qc_addr = kQcTableBase + 16 * value_of(code.fields, "qc_off");
    code.layers.resize(value_of(code.fields, "nlayers"));
    for (std::size_t i = 0; i < code.layers.size(); ++i) {
      decoded_layer& layer = code.layers[i];
      read_fields(layers, take(la_base + 4 * i), layer.fields);
      layer.operations.resize((value_of(layer.fields, "cpld") + 1) * pf);
      for (named_values& operation : layer.operations) {
        read_fields(operations, take(qc_addr), operation);
        qc_addr += 4;
      }
    }
  }

  void read_scale(decoded_code& code, std::uint64_t& sc_off) {
    if (value_of(code.fields, "norm_type") == 0) return;
    const std::uint64_t layers = value_of(code.fields, "nlayers");
    std::uint32_t word = 0;
    for (std::uint64_t layer = 0; layer < layers; ++layer) {
      if (layer % 4 == 0) {
        word = take(kScTableBase + sc_off);
        sc_off += 4;
      }
      code.scale.push_back((word >> (4 * (layer % 4))) & 15);
    }
  }

  std::unordered_map<std::uint64_t, written> words_;
  std::vector<std::uint64_t> order_;
  decoded_image image_;
};

}  // namespace

std::uint64_t value_of(named_values const& values, std::string_view name) {
  for (named_value const& one : values)
    if (one.name == name) return one.value;
  return 0;
}

template <class Variant>
decoded_image decode_image(std::vector<phy_trans_t<Variant>> const& writes,
                           std::map<unsigned, code_hint> const& hints) {
  decoder reading;
  reading.add(writes);
  reading.read_core();
  reading.read_codes<Variant>(hints);
  return reading.finish();
}

std::vector<image_entry> entries_of(decoded_image const& image) {
  std::vector<image_entry> entries;
  const auto add_all = [&entries](std::string const& path, named_values const& values) {
    for (named_value const& one : values) entries.push_back({message(path, one.name), one.value});
  };
  add_all("core / ", image.core);
  for (auto const& [slot, code] : image.codes) {
    const std::string prefix = message("code ", slot, " / ");
    add_all(prefix, code.fields);
    for (std::size_t i = 0; i < code.scale.size(); ++i)
      entries.push_back({message(prefix, "scale ", i), code.scale[i]});
    for (std::size_t i = 0; i < code.layers.size(); ++i) {
      const std::string layer = message(prefix, "layer ", i, " / ");
      add_all(layer, code.layers[i].fields);
      for (std::size_t m = 0; m < code.layers[i].operations.size(); ++m)
        add_all(message(layer, "operation ", m, " / "), code.layers[i].operations[m]);
    }
  }
  return entries;
}

std::vector<std::string> diff_images(decoded_image const& left, decoded_image const& right) {
  const std::vector<image_entry> ours = entries_of(left);
  const std::vector<image_entry> theirs = entries_of(right);
  std::unordered_map<std::string, std::uint64_t> other;
  for (image_entry const& entry : theirs) other.emplace(entry.path, entry.value);

  std::vector<std::string> lines;
  std::unordered_map<std::string, bool> seen;
  for (image_entry const& entry : ours) {
    seen.emplace(entry.path, true);
    const auto found = other.find(entry.path);
    if (found == other.end())
      lines.push_back(message(entry.path, ": ", entry.value, " -> -"));
    else if (found->second != entry.value)
      lines.push_back(message(entry.path, ": ", entry.value, " -> ", found->second));
  }
  for (image_entry const& entry : theirs)
    if (!seen.contains(entry.path)) lines.push_back(message(entry.path, ": - -> ", entry.value));
  return lines;
}

std::string list_image(decoded_image const& image) {
  std::string text;
  const auto add_line = [&text](std::string const& head, named_values const& values) {
    text += head;
    for (named_value const& one : values) text += message(" ", one.name, " ", one.value);
    text += '\n';
  };
  if (!image.core.empty()) add_line("core:", image.core);
  for (auto const& [slot, code] : image.codes) {
    add_line(message("code ", slot, ":"), code.fields);
    if (!code.scale.empty()) {
      text += "  scale:";
      for (std::uint32_t scale : code.scale) text += message(" ", scale);
      text += '\n';
    }
    for (std::size_t i = 0; i < code.layers.size(); ++i) {
      add_line(message("  layer ", i, ":"), code.layers[i].fields);
      for (named_values const& operation : code.layers[i].operations) add_line("   ", operation);
    }
  }
  for (std::string const& fault : image.faults) text += message("fault: ", fault, "\n");
  return text;
}

template decoded_image decode_image(std::vector<phy_trans_t<sd_fec::variant>> const&,
                                    std::map<unsigned, code_hint> const&);
template decoded_image decode_image(std::vector<phy_trans_t<ldpc::variant>> const&,
                                    std::map<unsigned, code_hint> const&);

}  // namespace fec
