// libkdi_fectools.so: commands around the FEC subsystem that are not part of the package's own set.
//
//   fectools::decode_image CORE WRITES ?ENCODER_SLOTS?     -> dictionary of named fields
//   fectools::list_image CORE WRITES ?ENCODER_SLOTS?       -> readable listing
//   fectools::diff_images CORE LEFT RIGHT                  -> list of differing fields
//   fectools::check_code CORE CODES                        -> list of findings
//   fectools::schedule_report CORE RESULT ?option value ...?  -> HTML page
//   fectools::export_writes WRITES FORM ?NAME?             -> text of a file, FORM being csv or c
//
// CORE is sd_fec or ldpc, WRITES a list of {address data comment}, RESULT the whole result of gen_ldpc_params. Options:
// -code NAME (default: the first), -clock MHZ, -iterations N, -title TEXT, -compare RESULT (the same code otherwise).
#include <tcl.h>

#include <cmath>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/register_export.h"
#include "host/schedule_report.h"
#include "kdi/tcl/command.h"
#include "tcltasks/fec/code_check.h"
#include "tcltasks/fec/image_decode.h"
#include "tcltasks/fec/perf_analyser.h"
#include "tcltasks/fec/register_image.h"
#include "tcltasks/fec/variants.h"

namespace {

using fec::value_of;

// A fault in what a script gave; becomes the command's error.
using BadInput = std::invalid_argument;

std::span<Tcl_Obj* const> elements_of(Tcl_Obj* list, char const* what) {
  const auto elements = tcl::elements_of(list);
  if (!elements) throw BadInput(std::string(what) + " is no list");
  return *elements;
}

Tcl_Obj* entry_of(Tcl_Obj* dict, std::string const& key, char const* what) {
  const auto value = tcl::Key(key).find(dict);
  if (!value) throw BadInput(std::string(what) + " is no dictionary");
  if (*value == nullptr) throw BadInput(std::string(what) + " has no \"" + key + "\"");
  return *value;
}

std::uint64_t uint_of(Tcl_Obj* object, char const* what) {
  const auto value = tcl::wide_of(object);
  if (!value || *value < 0)
    throw BadInput(std::string(what) + " \"" + Tcl_GetString(object) + "\" is no unsigned integer");
  return static_cast<std::uint64_t>(*value);
}

template <class Variant>
std::vector<fec::phy_trans_t<Variant>> writes_of(Tcl_Obj* list) {
  std::vector<fec::phy_trans_t<Variant>> writes;
  for (Tcl_Obj* element : elements_of(list, "the list of writes")) {
    const std::span<Tcl_Obj* const> words = elements_of(element, "a write");
    if (words.size() < 2) throw BadInput("a write needs an address and data");
    writes.push_back({uint_of(words[0], "the address"), uint_of(words[1], "the data"), ""});
  }
  return writes;
}

std::map<unsigned, fec::CodeHint> encoder_slots(Tcl_Obj* list) {
  std::map<unsigned, fec::CodeHint> hints;
  for (Tcl_Obj* element : elements_of(list, "the list of encoder slots")) {
    const std::uint64_t slot = uint_of(element, "the slot");
    if (slot >= fec::kMaxCodes)
      throw BadInput("the slot " + std::to_string(slot) + " is not from 0 to " + std::to_string(fec::kMaxCodes - 1));
    hints[static_cast<unsigned>(slot)].encode = true;
  }
  return hints;
}

// Calls `body` with the description of the core that `name` names.
template <class Body>
auto with_core(Tcl_Obj* name, Body body) {
  const std::string core = Tcl_GetString(name);
  if (core == sd_fec::Variant::kName) return body(sd_fec::Variant{});
  if (core == ldpc::Variant::kName) return body(ldpc::Variant{});
  throw BadInput("no core \"" + core + "\": use sd_fec or ldpc");
}

fec::DecodedImage decode(Tcl_Obj* core, Tcl_Obj* writes, std::map<unsigned, fec::CodeHint> const& hints = {}) {
  return with_core(core, [&]<class Variant>(Variant) { return fec::decode_image(writes_of<Variant>(writes), hints); });
}

Tcl_Obj* fields_dict(fec::NamedValues const& values) {
  Tcl_Obj* dict = Tcl_NewDictObj();
  for (fec::NamedValue const& one : values) tcl::put(dict, one.name, one.value);
  return dict;
}

Tcl_Obj* code_dict(fec::DecodedCode const& code) {
  Tcl_Obj* dict = fields_dict(code.fields);
  tcl::put(dict, "scale", tcl::new_list(code.scale));
  tcl::put(dict, "layers", tcl::new_list(code.layers, [](fec::DecodedLayer const& layer) {
             Tcl_Obj* one = fields_dict(layer.fields);
             tcl::put(one, "operations", tcl::new_list(layer.operations, fields_dict));
             return one;
           }));
  return dict;
}

// core writes ?encoderSlots?
fec::DecodedImage decoded(tcl::Words words) {
  return decode(words[0], words[1], words.size() == 3 ? encoder_slots(words[2]) : std::map<unsigned, fec::CodeHint>{});
}

Tcl_Obj* decode_image(tcl::Words words) {
  const fec::DecodedImage image = decoded(words);
  Tcl_Obj* codes = Tcl_NewDictObj();
  for (auto const& [slot, code] : image.codes) tcl::put(codes, std::to_string(slot), code_dict(code));
  return tcl::new_dict(
      {{"core", fields_dict(image.core)}, {"codes", codes}, {"faults", tcl::new_list(fec::listed_faults(image))}});
}

std::string list_image(tcl::Words words) { return fec::list_image(decoded(words)); }

Tcl_Obj* diff_images(tcl::Words words) {
  return tcl::new_list(fec::diff_images(decode(words[0], words[1]), decode(words[0], words[2])));
}

// core codes
Tcl_Obj* check_code(tcl::Words words) {
  constexpr std::size_t kMost = 200;
  return with_core(words[0],
                   [&]<class Variant>(Variant) { return tcl::new_list(fec::check_codes<Variant>(words[1], kMost)); });
}

// ------------------------------------------------------------------------------------------------ schedule report

// What the analyser says of a decoded code: the waits of its layers on a core.
template <class Variant>
std::vector<std::uint32_t> waits_of(fec::DecodedCode const& code, bool encode, unsigned k, unsigned n, unsigned p) {
  fec::ldpc_code_config_t<Variant> config;
  config.n = n;
  config.parity_len = n - k;
  config.p = p;
  config.mv = (p + 127) / 128;
  config.encode = encode ? 1 : 0;
  config.no_packing = static_cast<std::uint32_t>(value_of(code.fields, "no_packing"));
  config.special_qc = static_cast<std::uint32_t>(value_of(code.fields, "special_qc"));
  config.nlayers = static_cast<std::uint32_t>(code.layers.size());
  for (fec::DecodedLayer const& layer : code.layers) {
    config.dc.push_back(static_cast<std::uint32_t>(layer.operations.size()));
    config.extra_layer.push_back(static_cast<std::uint32_t>(value_of(layer.fields, "extra_layer")));
    for (fec::NamedValues const& fields : layer.operations) {
      const auto field = [&fields](char const* name) { return static_cast<std::uint32_t>(value_of(fields, name)); };
      fec::ldpc_code_element_t& one = config.qc.emplace_back();
      one.col = field("col");
      one.shift = field("shift");
      one.nop = field("nop");
      one.last = field("last");
      one.layer_end = field("layer_end");
    }
  }
  fec::perf_analyser::calc_ldpc_stall(config, nullptr, nullptr);
  // The core needs three cycles on a code's first layer.
  if (!config.stall.empty()) {
    const auto cycles = static_cast<std::uint32_t>(value_of(code.layers.front().fields, "cpld")) + 1;
    if (config.stall.front() + cycles < 3) config.stall.front() = 3 - cycles;
  }
  return std::move(config.stall);
}

std::vector<std::uint32_t> waits_in(fec::DecodedCode const& code) {
  std::vector<std::uint32_t> waits;
  for (fec::DecodedLayer const& layer : code.layers)
    waits.push_back(static_cast<std::uint32_t>(value_of(layer.fields, "stall")));
  return waits;
}

// A result does not say which core it is for, but its layers wait as they have to on that core.
template <class Variant>
void refuse_other_core(fec::DecodedCode const& code, host::ReportCode const& report) {
  using Other = std::conditional_t<std::is_same_v<Variant, sd_fec::Variant>, ldpc::Variant, sd_fec::Variant>;
  const std::vector<std::uint32_t> waits = waits_in(code);
  if (waits == waits_of<Variant>(code, report.encode, report.k, report.n, report.p)) return;
  if (waits != waits_of<Other>(code, report.encode, report.k, report.n, report.p)) return;
  throw BadInput(std::string("the result is one of ") + Other::kName + ", not of " + Variant::kName +
                 ": its layers wait as they have to there");
}

// What the compiler says of the code in the slot.
std::string messages_of(Tcl_Obj* result, unsigned slot) {
  const auto found = tcl::Key("messages").find(result);
  if (!found || *found == nullptr) return {};
  const std::string all = tcl::text_of(*found);
  const auto begin = all.find("Processing code " + std::to_string(slot) + ": ");
  if (begin == std::string::npos) return all;
  return all.substr(begin, all.find("\nProcessing code " + std::to_string(slot + 1) + ": ", begin) - begin);
}

// The column that an encoder layer puts out: that of its last operation, or of the one that is marked.
std::optional<unsigned> column_put_out(fec::DecodedLayer const& layer) {
  std::optional<unsigned> column;
  for (fec::NamedValues const& op : layer.operations) {
    if (value_of(op, "nop") != 0) continue;
    column = static_cast<unsigned>(value_of(op, "col"));
    if (value_of(op, "layer_end") != 0) break;
  }
  return column;
}

// The slot of the code `name` in a result; its first code if there is no name. Leaves the name in `name`.
unsigned slot_of(Tcl_Obj* result, std::optional<std::string>& name) {
  Tcl_Obj* const config = entry_of(result, "config", "the result");
  const std::span<Tcl_Obj* const> words = elements_of(config, "the part \"config\"");
  for (std::size_t i = 0; i + 1 < words.size(); i += 2) {
    const std::string key = Tcl_GetString(words[i]);
    if (name && *name != key) continue;
    name = key;
    return static_cast<unsigned>(i / 2);
  }
  throw BadInput(name ? "the result has no code \"" + *name + "\"" : "the result has no code");
}

// The operations of a layer, without its pads. A compressed code with one operation per cycle has no mark for a pad,
// which runs as column 0 unshifted; but its layer says how many operations there are.
std::vector<host::ReportOperation> operations_of(fec::DecodedLayer const& layer, std::size_t unmarked_pads) {
  std::vector<host::ReportOperation> operations;
  for (fec::NamedValues const& op : layer.operations) {
    if (value_of(op, "nop") != 0) continue;
    const host::ReportOperation one{static_cast<unsigned>(value_of(op, "col")),
                                    static_cast<unsigned>(value_of(op, "shift"))};
    if (unmarked_pads > 0 && one.col == 0 && one.shift == 0)
      --unmarked_pads;
    else
      operations.push_back(one);
  }
  return operations;
}

template <class Variant>
host::ReportCode code_of(Tcl_Obj* result, std::optional<std::string> name) {
  const unsigned slot = slot_of(result, name);
  Tcl_Obj* const config = entry_of(entry_of(result, "config", "the result"), *name, "the part \"config\"");
  const auto number = [config](char const* key) {
    return static_cast<unsigned>(uint_of(entry_of(config, key, "the code"), key));
  };
  host::ReportCode code;
  code.name = *name;
  code.core = Variant::kName;
  code.encode = number("dec_OK") == 0;
  code.n = number("n");
  code.k = number("k");
  code.p = number("p");
  code.delay = code.encode ? Variant::kEncoderDelay : Variant::kDecoderDelay;
  code.width = number("no_packing") != 0 ? 1 : fec::num_parallel_P(code.p);

  const std::map<unsigned, fec::CodeHint> hints{{slot, {code.encode}}};
  const fec::DecodedImage image =
      fec::decode_image(writes_of<Variant>(entry_of(result, "transactions", "the result")), hints);
  const auto found = image.codes.find(slot);
  if (found == image.codes.end()) throw BadInput("the writes do not hold the code \"" + *name + "\"");
  if (!image.faults.empty()) throw BadInput("the writes are no whole image: " + image.faults.front());
  const unsigned mv = (code.p + 127) / 128;
  std::uint64_t counted = 0;
  for (fec::DecodedLayer const& layer : found->second.layers) {
    const std::uint64_t count = value_of(layer.fields, "qc_count");
    const std::uint64_t operations = count - std::exchange(counted, count);
    const bool has_unmarked = found->second.is_compressed() && code.width == 1 && operations < layer.operations.size();
    host::ReportLayer& row = code.layers.emplace_back();
    row.stall = static_cast<unsigned>(value_of(layer.fields, "stall"));
    row.cycles = static_cast<unsigned>(value_of(layer.fields, "cpld") + 1) * mv;
    row.slots = static_cast<unsigned>(layer.operations.size());
    row.is_extra = value_of(layer.fields, "extra_layer") != 0;
    row.operations = operations_of(layer, has_unmarked ? layer.operations.size() - operations : 0);
    if (code.encode) row.put_out = column_put_out(layer);
  }
  if (code.encode) code.is_rewritten = messages_of(result, slot).find("applying transform") != std::string::npos;
  refuse_other_core<Variant>(found->second, code);
  return code;
}

double positive(Tcl_Obj* object, char const* what) {
  const auto value = tcl::double_of(object);
  if (!value || !(*value > 0) || !std::isfinite(*value))
    throw BadInput(std::string(what) + " \"" + Tcl_GetString(object) + "\" is no number above 0");
  return *value;
}

// core result ?option value ...?
std::string schedule_report(tcl::Words words) {
  host::ReportOptions options;
  std::optional<std::string> name;
  Tcl_Obj* compared = nullptr;
  for (std::size_t i = 2; i < words.size(); i += 2) {
    const std::string option = tcl::text_of(words[i]);
    Tcl_Obj* const value = words[i + 1];
    if (option == "-code")
      name = tcl::text_of(value);
    else if (option == "-clock")
      options.clock_mhz = positive(value, "the clock");
    else if (option == "-iterations")
      options.iterations = static_cast<unsigned>(std::min(positive(value, "the number of iterations"), 1e6));
    else if (option == "-title")
      options.title = tcl::text_of(value);
    else if (option == "-compare")
      compared = value;
    else
      throw BadInput("unknown option \"" + option + "\": use -clock, -code, -compare, -iterations or -title");
  }
  if (options.iterations == 0) throw BadInput("the number of iterations is below 1");
  const host::ReportCode code =
      with_core(words[0], [&]<class Variant>(Variant) { return code_of<Variant>(words[1], name); });
  if (compared != nullptr)
    options.compared =
        with_core(words[0], [&]<class Variant>(Variant) { return code_of<Variant>(compared, std::nullopt); });
  return host::schedule_report(code, options);
}

using tcl::handler;
using tcl::usage;

constexpr tcl::WordCount kOneImage = tcl::between(2, 3, usage("core writes ?encoderSlots?"));

// ------------------------------------------------------------------------------------------------ for other tools

// writes form ?name?
std::string export_writes(tcl::Words words) {
  std::vector<register_export::Write> writes;
  for (Tcl_Obj* const element : elements_of(words[0], "the list of writes")) {
    const std::span<Tcl_Obj* const> write = elements_of(element, "a write");
    if (write.size() < 2) throw BadInput("a write needs an address and data");
    writes.push_back({uint_of(write[0], "the address"), uint_of(write[1], "the data"),
                      write.size() > 2 ? tcl::text_of(write[2]) : std::string()});
  }
  const std::string form = tcl::text_of(words[1]);
  if (form == "csv") return register_export::csv_of(writes);
  if (form == "c") return register_export::header_of(writes, words.size() > 2 ? tcl::text_of(words[2]) : "writes");
  throw BadInput("no form \"" + form + "\": use csv or c");
}

constexpr tcl::Row kCommands[] = {
    {"fectools::decode_image", handler<decode_image>, kOneImage},
    {"fectools::list_image", handler<list_image>, kOneImage},
    {"fectools::diff_images", handler<diff_images>, tcl::exactly(3, usage("core left right"))},
    {"fectools::check_code", handler<check_code>, tcl::exactly(2, usage("core codes"))},
    {"fectools::schedule_report", handler<schedule_report>,
     tcl::pairs_behind(2, usage("core result ?option value ...?"))},
    {"fectools::export_writes", handler<export_writes>, tcl::between(2, 3, usage("writes form ?name?"))},
};

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_fectools_Init(Tcl_Interp* interp) {
  tcl::register_all<kCommands>(interp);
  return TCL_OK;
}
