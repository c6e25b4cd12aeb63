#include "tcltasks/fec/image_decode.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "tcltasks/fec/register_image.h"
#include "tcltasks/fec/reporter.h"

namespace fec {
namespace {

// The words that make up a code.
enum class Word { kSize, kMemory, kSchedule, kOffsets, kLayer, kOperation };

// What a field depends on. Of each pair, one holds for a code.
enum : unsigned {
  kPlain = 1U << 0,
  kCompressed = 1U << 1,

  kNarrowCore = 1U << 2,
  kWideCore = 1U << 3,  // has special_qc, lat_ctrl and extra_layer

  kShortShift = 1U << 4,  // P up to 128, which leaves room for a mark above the shift
  kLongShift = 1U << 5,

  kMarksLayers = 1U << 6,   // that mark stands at the end of a layer
  kMarksColumns = 1U << 7,  // or at the last operation on a column

  kParallel = 1U << 8,  // several operations per cycle
  kSingle = 1U << 9,

  kDecoder = 1U << 10,
  kEncoder = 1U << 11
};

struct ImageField {
  std::string_view name;
  Word word;
  unsigned bit;
  unsigned width;
  unsigned needs;  // all of these
};

// The layouts of register_image.cpp, told from the reader's side.
constexpr ImageField kFields[] = {
    {"k", Word::kSize, 16, 16, kPlain},
    {"n", Word::kSize, 0, 16, kPlain},
    {"compressed_nmqc", Word::kSize, 0, 32, kCompressed},

    {"p", Word::kMemory, 0, 10, 0},
    {"no_packing", Word::kMemory, 10, 1, 0},
    {"nm", Word::kMemory, 11, 21, 0},

    {"nlayers", Word::kSchedule, 0, 9, 0},
    {"nmqc", Word::kSchedule, 9, 11, 0},
    {"norm_type", Word::kSchedule, 20, 1, 0},
    {"special_qc", Word::kSchedule, 21, 1, kWideCore},
    {"no_final_parity", Word::kSchedule, 22, 1, 0},
    {"max_schedule", Word::kSchedule, 23, 2, kWideCore},
    {"max_schedule", Word::kSchedule, 23, 9, kNarrowCore},
    {"lat_ctrl", Word::kSchedule, 25, 7, kWideCore},

    {"sc_off", Word::kOffsets, 0, 8, kPlain},
    {"la_off", Word::kOffsets, 8, 8, kPlain},
    {"qc_off", Word::kOffsets, 16, 16, kPlain},
    {"la_off", Word::kOffsets, 0, 8, kCompressed},
    {"qc_off", Word::kOffsets, 8, 24, kCompressed},

    {"cpld", Word::kLayer, 0, 7, 0},
    {"extra_layer", Word::kLayer, 7, 1, kWideCore},
    {"stall", Word::kLayer, 8, 8, 0},
    {"qc_count", Word::kLayer, 16, 16, kCompressed},

    {"col", Word::kOperation, 0, 8, kPlain},
    {"shift", Word::kOperation, 8, 7, kPlain | kShortShift},
    {"shift", Word::kOperation, 8, 9, kPlain | kLongShift},
    {"layer_end", Word::kOperation, 15, 1, kPlain | kShortShift | kMarksLayers},
    {"last", Word::kOperation, 15, 1, kPlain | kShortShift | kMarksColumns},
    {"nop", Word::kOperation, 16, 1, kPlain | kShortShift},
    {"first", Word::kOperation, 17, 1, kPlain},
    {"parity", Word::kOperation, 18, 1, kPlain},
    {"col", Word::kOperation, 0, 7, kCompressed},
    {"shift", Word::kOperation, 7, 8, kCompressed | kParallel},
    {"nop", Word::kOperation, 15, 1, kCompressed | kParallel},
    {"shift", Word::kOperation, 7, 9, kCompressed | kSingle},
    {"layer_end", Word::kOperation, 16, 1, kCompressed},
    {"first", Word::kOperation, 17, 1, kCompressed | kDecoder},
    {"information", Word::kOperation, 17, 1, kCompressed | kEncoder},
    {"pack2", Word::kOperation, 18, 1, kCompressed},
    {"pack4", Word::kOperation, 19, 2, kCompressed},
};

std::uint32_t mask_of(unsigned width) { return static_cast<std::uint32_t>((std::uint64_t{1} << width) - 1); }

// The fields that one kind of word has in one code.
class Layout {
 public:
  Layout(Word word, unsigned conditions) {
    for (ImageField const& field : kFields)
      if (field.word == word && (field.needs & ~conditions) == 0) fields_.push_back(&field);
  }

  void read(std::uint32_t word, NamedValues& values) const {
    for (ImageField const* field : fields_)
      values.push_back({field->name, (word >> field->bit) & mask_of(field->width)});
  }

  // The bits of `word` that no field has.
  std::uint32_t unused(std::uint32_t word) const {
    for (ImageField const* field : fields_) word &= ~(mask_of(field->width) << field->bit);
    return word;
  }

 private:
  std::vector<ImageField const*> fields_;
};

struct CoreRegister {
  std::uint64_t addr;
  std::string_view name;
};
constexpr CoreRegister kCoreRegisters[] = {
    {0x00, "AXI_WR_PROTECT"}, {0x04, "CODE_WR_PROTECT"}, {0x0C, "AXIS_WIDTH"}, {0x10, "AXIS_ENABLE"},
    {0x14, "FEC_CODE"},       {0x18, "ORDER"},           {0x20, "IER"},        {0x30, "ECC_IER"},
    {0x3C, "BYPASS"},         {0x100, "TURBO"}};

std::string hex(std::uint64_t value) {
  const std::string high = value >> 32 == 0 ? "" : int_to_32hex(static_cast<unsigned>(value >> 32));
  return "0x" + high + int_to_32hex(static_cast<unsigned>(value));
}

// A part of an image, as faults name it.
struct ImagePart {
  unsigned slot;
  char const* name;
};

// Nothing here grows beyond the words that were written: a register may announce any number of layers and operations,
// but a table ends where its words do, and a word belongs to one table only.
class Decoder {
 public:
  template <class Variant>
  void add(std::vector<phy_trans_t<Variant>> const& writes) {
    for (auto const& write : writes) {
      if (write.data >> 32 != 0) fault("more than 32 bits at ", hex(write.addr), ": ", hex(write.data));
      const auto data = static_cast<std::uint32_t>(write.data);
      const auto [place, is_new] = words_.try_emplace(write.addr, Written{data, false});
      if (is_new) order_.push_back(write.addr);
      if (place->second.data != data)
        fault("conflicting writes at ", hex(write.addr), ": ", hex(place->second.data), " and then ", hex(data));
      place->second.data = data;
    }
  }

  void read_core() {
    for (CoreRegister const& one : kCoreRegisters) {
      const auto found = words_.find(one.addr);
      if (found == words_.end()) continue;
      found->second.is_taken = true;
      image_.core.push_back({one.name, found->second.data});
    }
  }

  template <class Variant>
  void read_codes(std::map<unsigned, CodeHint> const& hints) {
    std::uint64_t sc_off = 0;
    for (unsigned slot = 0; slot < kMaxCodes; ++slot) {
      const std::uint64_t base = kCodeRegisterBase + kCodeRegisterStep * slot;
      bool has_any = false;
      for (unsigned i = 0; i < 4; ++i) has_any = has_any || words_.contains(base + std::uint64_t{4} * i);
      if (!has_any) continue;
      const auto hint = hints.find(slot);
      const unsigned use = hint != hints.end() && hint->second.encode ? kEncoder : kDecoder;
      read_code(slot, use | (Variant::kImageHasSpecialQc ? kWideCore : kNarrowCore), sc_off);
    }
  }

  DecodedImage finish() {
    for (std::uint64_t addr : order_) {
      Written const& word = words_.at(addr);
      if (!word.is_taken) fault("unknown address ", hex(addr), " with data ", hex(word.data));
    }
    return std::move(image_);
  }

 private:
  struct Written {
    std::uint32_t data;
    bool is_taken;
  };

  template <class... Pieces>
  void fault(Pieces const&... pieces) {
    image_.faults.push_back(message(pieces...));
  }

  template <class... Pieces>
  void fault_in(ImagePart part, Pieces const&... pieces) {
    fault("code ", part.slot, ", ", part.name, ": ", pieces...);
  }

  std::optional<std::uint32_t> take(std::uint64_t addr, ImagePart part) {
    const auto found = words_.find(addr);
    if (found == words_.end()) {
      fault_in(part, "missing word at ", hex(addr));
      return std::nullopt;
    }
    if (found->second.is_taken) {
      fault_in(part, "the word at ", hex(addr), " belongs to another table");
      return std::nullopt;
    }
    found->second.is_taken = true;
    return found->second.data;
  }

  void check_unused(std::uint32_t unused, std::uint64_t addr, ImagePart part) {
    if (unused != 0) fault_in(part, "bits outside all fields at ", hex(addr), ": ", hex(unused));
  }

  // Reads the word at `addr` into `values`; false if there is none.
  bool read(std::uint64_t addr, ImagePart part, Layout const& fields, NamedValues& values) {
    const std::optional<std::uint32_t> word = take(addr, part);
    if (!word) return false;
    fields.read(*word, values);
    check_unused(fields.unused(*word), addr, part);
    return true;
  }

  void read_code(unsigned slot, unsigned conditions, std::uint64_t& sc_off) {
    DecodedCode& code = image_.codes[slot];
    const ImagePart part{slot, "registers"};
    const std::uint64_t base = kCodeRegisterBase + kCodeRegisterStep * slot;
    const std::optional<std::uint32_t> size = take(base, part);
    if (!size) return;                                    // without it, nobody knows the others' layout
    const bool compressed = *size < 65536 && *size != 0;  // a plain word holds K above bit 16
    conditions |= compressed ? kCompressed : kPlain;
    Layout(Word::kSize, conditions).read(*size, code.fields);

    bool is_whole = true;
    std::uint64_t addr = base;
    for (Word word : {Word::kMemory, Word::kSchedule, Word::kOffsets})
      is_whole = read(addr += 4, part, Layout(word, conditions), code.fields) && is_whole;
    if (!is_whole) return;  // the tables are anywhere

    // A compressed code has no scale offset of its own; scales are packed tight in the order of the codes.
    if (!compressed) sc_off = 4 * value_of(code.fields, "sc_off");
    read_scale(slot, sc_off, code);
    read_layers(slot, conditions, code);
  }

  void read_scale(unsigned slot, std::uint64_t& sc_off, DecodedCode& code) {
    if (value_of(code.fields, "norm_type") == 0) return;
    const ImagePart part{slot, "SC table"};
    const std::uint64_t layers = value_of(code.fields, "nlayers");
    const std::uint64_t end = sc_off + 4 * ((layers + 3) / 4);
    for (std::uint64_t at = kScTableBase + std::exchange(sc_off, end); at < kScTableBase + end; at += 4) {
      const std::optional<std::uint32_t> word = take(at, part);
      if (!word) return;
      unsigned bit = 0;
      for (; bit < 16 && code.scale.size() < layers; bit += 4) code.scale.push_back((*word >> bit) & 15);
      check_unused(*word >> bit << bit, at, part);
    }
  }

  void read_layers(unsigned slot, unsigned conditions, DecodedCode& code) {
    const auto p = static_cast<unsigned>(value_of(code.fields, "p"));
    const unsigned pf = value_of(code.fields, "no_packing") != 0 ? 1 : num_parallel_P(p);
    const bool closes = value_of(code.fields, "special_qc") != 0 && (conditions & kDecoder) != 0;
    conditions |=
        (p > 128 ? kLongShift : kShortShift) | (closes ? kMarksColumns : kMarksLayers) | (pf > 1 ? kParallel : kSingle);
    const Layout layer_fields(Word::kLayer, conditions);
    const Layout operation_fields(Word::kOperation, conditions);
    const std::uint64_t la_base = kLaTableBase + 16 * value_of(code.fields, "la_off");
    std::uint64_t qc_addr = kQcTableBase + 16 * value_of(code.fields, "qc_off");
    bool has_operations = true;
    for (std::uint64_t i = 0; i < value_of(code.fields, "nlayers"); ++i) {
      DecodedLayer layer;
      if (!read(la_base + 4 * i, {slot, "LA table"}, layer_fields, layer.fields)) return;
      const std::uint64_t operations = (value_of(layer.fields, "cpld") + 1) * pf;
      while (has_operations && layer.operations.size() < operations) {
        NamedValues operation;
        has_operations = read(qc_addr, {slot, "QC table"}, operation_fields, operation);
        if (has_operations) layer.operations.push_back(std::move(operation));
        qc_addr += 4;
      }
      code.layers.push_back(std::move(layer));
    }
  }

  std::unordered_map<std::uint64_t, Written> words_;
  std::vector<std::uint64_t> order_;
  DecodedImage image_;
};

// Adds the faults that `faults` has and `others` has not, each behind `side`.
void add_other_faults(char const* side, std::vector<std::string> const& faults, std::vector<std::string> const& others,
                      std::vector<std::string>& lines) {
  const std::unordered_set<std::string_view> known(others.begin(), others.end());
  for (std::string const& fault : faults)
    if (!known.contains(fault)) lines.push_back(message("fault on the ", side, " only: ", fault));
}

}  // namespace

std::uint64_t value_of(NamedValues const& values, std::string_view name) {
  for (NamedValue const& one : values)
    if (one.name == name) return one.value;
  return 0;
}

template <class Variant>
DecodedImage decode_image(std::vector<phy_trans_t<Variant>> const& writes, std::map<unsigned, CodeHint> const& hints) {
  Decoder reading;
  reading.add(writes);
  reading.read_core();
  reading.read_codes<Variant>(hints);
  return reading.finish();
}

std::vector<ImageEntry> entries_of(DecodedImage const& image) {
  std::vector<ImageEntry> entries;
  const auto add_all = [&entries](std::string const& path, NamedValues const& values) {
    for (NamedValue const& one : values) entries.push_back({message(path, one.name), one.value});
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

std::vector<std::string> diff_images(DecodedImage const& left, DecodedImage const& right) {
  const std::vector<ImageEntry> ours = entries_of(left);
  const std::vector<ImageEntry> theirs = entries_of(right);
  std::unordered_map<std::string, std::uint64_t> other;
  for (ImageEntry const& entry : theirs) other.emplace(entry.path, entry.value);

  std::vector<std::string> lines;
  std::unordered_map<std::string, bool> seen;
  for (ImageEntry const& entry : ours) {
    seen.emplace(entry.path, true);
    const auto found = other.find(entry.path);
    if (found == other.end())
      lines.push_back(message(entry.path, ": ", entry.value, " -> -"));
    else if (found->second != entry.value)
      lines.push_back(message(entry.path, ": ", entry.value, " -> ", found->second));
  }
  for (ImageEntry const& entry : theirs)
    if (!seen.contains(entry.path)) lines.push_back(message(entry.path, ": - -> ", entry.value));
  add_other_faults("left", left.faults, right.faults, lines);
  add_other_faults("right", right.faults, left.faults, lines);
  return lines;
}

std::string list_image(DecodedImage const& image) {
  std::string text;
  const auto add_line = [&text](std::string const& head, NamedValues const& values) {
    text += head;
    for (NamedValue const& one : values) text += message(" ", one.name, " ", one.value);
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
      for (NamedValues const& operation : code.layers[i].operations) add_line("   ", operation);
    }
  }
  for (std::string const& fault : listed_faults(image)) text += message("fault: ", fault, "\n");
  return text;
}

std::vector<std::string> listed_faults(DecodedImage const& image) {
  const std::size_t listed = std::min(image.faults.size(), kMaxListedFaults);
  std::vector<std::string> lines(image.faults.begin(), image.faults.begin() + static_cast<std::ptrdiff_t>(listed));
  if (listed < image.faults.size()) lines.push_back(message("and ", image.faults.size() - listed, " more"));
  return lines;
}

template DecodedImage decode_image(std::vector<phy_trans_t<sd_fec::Variant>> const&,
                                   std::map<unsigned, CodeHint> const&);
template DecodedImage decode_image(std::vector<phy_trans_t<ldpc::Variant>> const&, std::map<unsigned, CodeHint> const&);

}  // namespace fec
