#include "tcltasks/fec/fec_commands.h"

#include <mutex>
#include <utility>

#include "kdi/tcl/command.h"
#include "tcltasks/fec/code_check.h"
#include "tcltasks/fec/code_config.h"
#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/register_image.h"
#include "tcltasks/fec/reporter.h"
#include "tcltasks/fec/sd_fec.h"
#include "tcltasks/fec/spec_reader.h"

namespace fec {
namespace {

constexpr tcl::WordCount kOneWord = tcl::exactly(1, "Invalid number of arguments. Expected 1 argument");
constexpr char const* kBadInput = "Error processing input dict: ";

using tcl::put;

// Numbers reach the script by their low 32 bits, in decimal.
Tcl_Obj* new_uint(std::uint64_t value) { return tcl::new_value(static_cast<std::uint32_t>(value)); }

template <class Variant>
Tcl_Obj* data_list(std::vector<phy_trans_t<Variant>> const& writes) {
  return tcl::new_list(writes, [](phy_trans_t<Variant> const& write) { return new_uint(write.data); });
}

// The record of a core's latest run.
ConfigGenMsgs& record_of(sd_fec::Variant) { return sd_fec::config_gen_msgs; }
ConfigGenMsgs& record_of(ldpc::Variant) { return ldpc::config_gen_msgs; }

std::mutex record_mutex;

// Overwrites the record, as a whole: commands may run on several threads.
template <class Variant>
void publish(ConfigGenMsgs messages) {
  const std::lock_guard lock(record_mutex);
  std::swap(record_of(Variant{}), messages);
}

// A record is never destroyed, since a command may run on another thread while the process ends.
union LastingRecord {
  ConfigGenMsgs messages{};
  constexpr LastingRecord() {}
  ~LastingRecord() {}
};

}  // namespace

void config_gen_msg_handler(void* msgs, int severity, char const* text) {
  auto& store = *static_cast<ConfigGenMsgs*>(msgs);
  (severity != 0 ? store.errors : store.warnings).emplace_back(text);
}

std::string concat_msgs(std::vector<std::string> const& msgs) {
  std::string joined;
  for (std::size_t i = 0; i < msgs.size(); ++i) {
    if (i > 0) joined += '\n';
    joined += msgs[i];
  }
  return joined;
}

void uint_to_dict(Tcl_Interp* /*interp*/, Tcl_Obj* dict, std::string const& key, unsigned value) {
  put(dict, key, new_uint(value));
}

template <class Variant>
unsigned gen_trans_list(Tcl_Interp* /*interp*/, std::vector<phy_trans_t<Variant>> const& writes, Tcl_Obj* list) {
  const tcl::ObjRef no_comment(Tcl_NewObj());  // most writes have none: one object serves them all
  for (phy_trans_t<Variant> const& write : writes)
    tcl::append(list, tcl::new_list({new_uint(write.addr), new_uint(write.data),
                                     write.comment.empty() ? no_comment.get() : tcl::new_text(write.comment)}));
  return 0;
}

template <class Variant>
unsigned ldpc_code_config_to_dict(Tcl_Interp* /*interp*/, Tcl_Obj* dict, ldpc_code_config_t<Variant> const& config,
                                  ldpc_code_stats_t<Variant> const& stats, std::vector<phy_trans_t<Variant>> const& sc,
                                  std::vector<phy_trans_t<Variant>> const& la,
                                  std::vector<phy_trans_t<Variant>> const& qc) {
  const auto number = [dict](char const* key, std::uint64_t value) { put(dict, key, new_uint(value)); };
  number("dec_OK", stats.dec_ok);
  number("enc_OK", stats.enc_ok);
  number("n", config.n);
  number("k", config.n - config.parity_len);
  number("p", config.p);
  number("nlayers", config.nlayers);
  number("nqc", config.qc.size());
  number("nmqc", config.nmqc);
  number("nm", config.nm);
  number("norm_type", config.norm_type);
  number("no_packing", config.no_packing);
  number("special_qc", config.special_qc);
  number("no_final_parity", config.no_final_parity);
  number("max_schedule", config.max_schedule);
  put(dict, "sc_table", data_list(sc));
  put(dict, "la_table", data_list(la));
  put(dict, "qc_table", data_list(qc));
  return 0;
}

template <class Variant>
int gen_core_params(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  core_config_t<Variant> config;
  std::string err;
  if (dict_to_core_config(interp, objv[1], config, err) != 0) return tcl::fail(interp, kBadInput + err);

  std::vector<phy_trans_t<Variant>> writes;
  if (const unsigned code = gen_core_config(config, writes); code != 0) {
    tcl::fail(interp, "Error processing input configuration");
    return static_cast<int>(code);
  }

  Tcl_Obj* list = Tcl_NewObj();
  gen_trans_list(interp, writes, list);
  return tcl::succeed(interp, list);
}

namespace {

// What gen_ldpc_params gathers on its way through the codes.
template <class Variant>
struct CompiledCodes {
  ldpc_config_t<Variant> image;
  std::vector<ldpc_code_stats_t<Variant>> stats;
  std::string messages;
};

std::string failure_text(std::string const& id, ConfigGenMsgs const& store) {
  const std::string header =
      id == kNoId ? "Error processing LDPC code: \n" : message("Error processing LDPC code ", id, ":\n");
  return header + concat_msgs(store.warnings) + "\n" + concat_msgs(store.errors);
}

// Compiles one code into `codes`; false if it is of no use, with the reason in `store`.
template <class Variant>
bool compile_code(unsigned index, ldpc_spec_t<Variant> const& spec, CompiledCodes<Variant>& codes,
                  ConfigGenMsgs& store) {
  ldpc_code_config_t<Variant> config;
  ldpc_code_stats_t<Variant>& stats = codes.stats.emplace_back();
  gen_ldpc_code_config(spec.spec, config, stats, config_gen_msg_handler, &store, Variant::kMinSlots, false);
  publish<Variant>(store);
  if (!stats.enc_ok && !stats.dec_ok) return false;
  codes.image.add(index, config);

  if (spec.id == kNoId) {
    codes.messages = concat_msgs(store.warnings);  // sic: also replaces what named codes left
  } else {
    if (!codes.messages.empty()) codes.messages += '\n';
    codes.messages += message("Processing code ", index, ": ", spec.id, "\n", concat_msgs(store.warnings));
  }
  return true;
}

template <class Variant>
Tcl_Obj* result_of(Tcl_Interp* interp, std::vector<ldpc_spec_t<Variant>> const& specs, CompiledCodes<Variant>& codes) {
  Tcl_Obj* configs = Tcl_NewDictObj();
  for (std::size_t i = 0; i < specs.size(); ++i) {
    Tcl_Obj* config = Tcl_NewDictObj();
    ldpc_code_config_to_dict(interp, config, codes.image.configs[i], codes.stats[i], codes.image.sc[i],
                             codes.image.la[i], codes.image.qc[i]);
    put(configs, specs[i].id, config);
  }
  Tcl_Obj* transactions = Tcl_NewObj();
  gen_trans_list(interp, codes.image.trans, transactions);
  return tcl::new_dict({{"config", configs}, {"transactions", transactions}, {"messages", codes.messages}});
}

}  // namespace

template <class Variant>
int gen_ldpc_params(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  std::vector<ldpc_spec_t<Variant>> specs;
  std::string err;
  if (dict_to_ldpc_specs(interp, objv[1], specs, err) != 0) return tcl::fail(interp, kBadInput + err);
  if (specs.size() > kMaxCodes)
    return tcl::fail(
        interp, message(kBadInput, specs.size(), " codes given, which exceeds the supported limit, ", kMaxCodes, "."));

  tell_odd_codes(objv[1], specs);
  CompiledCodes<Variant> codes;
  for (unsigned i = 0; i < specs.size(); ++i) {
    ConfigGenMsgs store;
    if (!compile_code(i, specs[i], codes, store)) return tcl::fail(interp, failure_text(specs[i].id, store));
  }
  codes.image.gen_phy_trans(0);
  return tcl::succeed(interp, result_of(interp, specs, codes));
}

template <class Variant>
int gen_turbo_params(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  turbo_config_t config;
  if (dict_to_turbo_config(interp, objv[1], config) != 0) return tcl::fail(interp, "Error processing input dict");

  std::vector<phy_trans_t<Variant>> writes;
  if (gen_turbo_config(config, writes) != 0) return tcl::fail(interp, "Error processing input configuration");

  Tcl_Obj* transactions = Tcl_NewObj();
  gen_trans_list(interp, writes, transactions);
  Tcl_Obj* parameters = Tcl_NewDictObj();
  uint_to_dict(interp, parameters, "algorithm", config.algorithm);
  uint_to_dict(interp, parameters, "scale", config.scale);
  return tcl::succeed(interp, tcl::new_dict({{"config", parameters}, {"transactions", transactions}}));
}

#define FEC_INSTANTIATE(variant)                                                                     \
  template unsigned gen_trans_list(Tcl_Interp*, std::vector<phy_trans_t<variant>> const&, Tcl_Obj*); \
  template unsigned ldpc_code_config_to_dict(                                                        \
      Tcl_Interp*, Tcl_Obj*, ldpc_code_config_t<variant> const&, ldpc_code_stats_t<variant> const&,  \
      std::vector<phy_trans_t<variant>> const&, std::vector<phy_trans_t<variant>> const&,            \
      std::vector<phy_trans_t<variant>> const&);                                                     \
  template int gen_core_params<variant>(ClientData, Tcl_Interp*, int, Tcl_Obj* const[]);             \
  template int gen_ldpc_params<variant>(ClientData, Tcl_Interp*, int, Tcl_Obj* const[])
FEC_INSTANTIATE(sd_fec::Variant);
FEC_INSTANTIATE(ldpc::Variant);
template int gen_turbo_params<sd_fec::Variant>(ClientData, Tcl_Interp*, int, Tcl_Obj* const[]);
#undef FEC_INSTANTIATE

}  // namespace fec

namespace sd_fec {

static constinit fec::LastingRecord latest_run;
fec::ConfigGenMsgs& config_gen_msgs = latest_run.messages;

constexpr tcl::Row kCommands[] = {
    {"sd_fec::gen_core_params", gen_core_params, fec::kOneWord},
    {"sd_fec::gen_turbo_params", gen_turbo_params, fec::kOneWord},
    {"sd_fec::gen_ldpc_params", gen_ldpc_params, fec::kOneWord},
};

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace sd_fec

namespace ldpc {

static constinit fec::LastingRecord latest_run;
fec::ConfigGenMsgs& config_gen_msgs = latest_run.messages;

constexpr tcl::Row kCommands[] = {
    {"ldpc::gen_core_params", gen_core_params, fec::kOneWord},
    {"ldpc::gen_ldpc_params", gen_ldpc_params, fec::kOneWord},
};

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace ldpc
