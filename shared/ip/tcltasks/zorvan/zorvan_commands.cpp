// One table of commands for the two cores.
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/HUTFile.h"
#include "kdi/hdf/HHDFHwDefUtils.h"
#include "kdi/iostreams/ofstream.h"
#include "kdi/tcl/command.h"
#include "tcltasks/frame/cpu_time.h"
#include "tcltasks/frame/engine_rows.h"
#include "tcltasks/frame/hard_ip.h"
#include "tcltasks/frame/option_call.h"
#include "tcltasks/frame/zorvan_util.h"
#include "tcltasks/zorvan/instance_manager.h"
#include "tcltasks/zorvan/zorvan.h"

namespace zorvan_init::zorvan_kdi_tcltasks {
namespace {

namespace util = zorvan::util;
using engine_rows::FixedText, engine_rows::kFlat;
using processing_system::PSU_Interface;

constexpr char const* kHdlUsage =
    "wrong arguments: -context { ctxpar val ... }  -values { param value param value ... } -params { param param ... }";
constexpr char const* kBoardUsage =
    "wrong arguments:  -params { param param ... }";  // sic: `-context` is taken as well

// Which command writes a hardware definition, and whether the files that it lists have just been written by it.
enum class Definition { of_power_data, of_boot_loader };

struct Ps7 {
  static constexpr FixedText kFlat = "Ip_zorvan_ps7_v1_4_";
  static constexpr char const* kCore = "ps7";
  static constexpr Definition kDefinition = Definition::of_power_data;
  static constexpr bool kHasReports = false;
};

struct Psu {
  static constexpr FixedText kFlat = "Ip_zorvan_psu_v1_0_";
  static constexpr char const* kCore = "psu";
  static constexpr Definition kDefinition = Definition::of_boot_loader;
  static constexpr bool kHasReports = true;  // of pads and of jitter
};

// What a boot loader starts with: where the engine's answer has the text, the end of the file's name, its kind.
struct BootLoaderFile {
  char const* key;
  char const* end;
  HHDFHwDefFileTypes::HWHFileType kind;
};
constexpr BootLoaderFile kBootLoaderFiles[] = {
    {"FSBL_PSINIT_C", "_init.c", HHDFHwDefFileTypes::PSINIT_C},
    {"FSBL_PSINIT_H", "_init.h", HHDFHwDefFileTypes::PSINIT_H},
    {"FSBL_GPL_PSINIT_C", "_init_gpl.c", HHDFHwDefFileTypes::PSINIT_GPL_C},
    {"FSBL_GPL_PSINIT_H", "_init_gpl.h", HHDFHwDefFileTypes::PSINIT_GPL_H},
    {"FSBL_PSINIT_HTML", "_init.html", HHDFHwDefFileTypes::PSINIT_HTML},
    {"FSBL_PSINIT_TCL", "_init.tcl", HHDFHwDefFileTypes::PSINIT_TCL},
};

// A call of a command of one core.
template <class Ip>
struct Call : frame::OptionCall {
  using OptionCall::OptionCall;

  template <class... Slots>
  bool has_options(char const* usage, Slots&&... slots) const {
    return util::check_args(interp, objc, objv, usage, slots...) == TCL_OK;
  }

  // The context says which core is meant: unless it does itself, the one of the command.
  ParamMap context(Tcl_Obj* word) const {
    ParamMap context = map(word);
    context.try_emplace("ps_core_name", Ip::kCore);
    return context;
  }

  PS_TCL_Instance_Manager::Instance live(Tcl_Obj* word, StrVec& errors) const {
    const ParamMap said = context(word);
    return is_of_this_core(said, errors) ? PS_TCL_Instance_Manager::get()->findInstance(said, errors) : nullptr;
  }

  // Hands the instance of the context, made if there is none, to `ask`, whose status is the command's.
  template <class Ask>
  int with_instance(Tcl_Obj* word, Ask ask) const {
    StrVec errors;
    const ParamMap said = context(word);
    const auto instance =
        is_of_this_core(said, errors) ? PS_TCL_Instance_Manager::get()->getInstance(said, errors) : nullptr;
    return instance == nullptr ? fail(errors) : ask(*instance);
  }

  static bool is_of_this_core(ParamMap const& said, StrVec& errors) {
    if (said.at("ps_core_name") == Ip::kCore) return true;
    const auto name = said.find("instance_name");
    errors.push_back("instance " + (name == said.end() ? std::string() : name->second) + " belongs to another core");
    return false;
  }
};

// --------------------------------------------------------------------------------------------------------- life

template <class Ip>
int zorvan_init(Call<Ip> const& call) {
  const frame::CpuTime time;
  Tcl_Obj* context = nullptr;
  if (!call.has_options(frame::kOneBlankUsage, "-context", context)) return TCL_ERROR;
  return call.with_instance(context, [&](PSU_Interface&) {
    time.print_init();
    return call.status(true);
  });
}

template <class Ip>
int zorvan_uninit(Call<Ip> const& call) {
  Tcl_Obj* context = nullptr;
  if (!call.has_options(frame::kContextUsage, "-context", context)) return TCL_ERROR;
  StrVec errors;
  const ParamMap said = call.context(context);
  if (Call<Ip>::is_of_this_core(said, errors)) PS_TCL_Instance_Manager::get()->terminatePSInstance(said, errors);
  return errors.empty() ? call.status(true) : call.fail(errors);
}

template <class Ip>
int is_zorvan_instance(Call<Ip> const& call) {
  Tcl_Obj* context = nullptr;
  if (!call.has_options(frame::kContextUsage, "-context", context)) return TCL_ERROR;
  StrVec errors;
  return call.status(call.live(context, errors) != nullptr);
}

template <class Ip>
int is_default_zorvan_instance(Call<Ip> const& call) {
  Tcl_Obj* context = nullptr;
  if (!call.has_options(frame::kContextUsage, "-context", context)) return TCL_ERROR;
  StrVec errors;
  const auto instance = call.live(context, errors);
  return call.status(instance != nullptr && instance->isDefaultInstance());
}

// --------------------------------------------------------------------------------------------------- parameters

// Messages of the engine make the answer an error, which has the parameters all the same.
template <class Ip>
int tell(Call<Ip> const& call, RawResult const& result, ParamMap const& messages) {
  return messages.empty() ? util::set_tcl_result(call.interp, result)
                          : util::set_tcl_error(call.interp, result, messages);
}

template <class Ip>
int hdl_param(Call<Ip> const& call) {
  Tcl_Obj *context = nullptr, *values = nullptr, *params = nullptr;
  if (!call.has_options(kHdlUsage, "-context", context, "-values", values, "-params", params)) return TCL_ERROR;
  return call.with_instance(context, [&](PSU_Interface& core) {
    std::set<std::string> names;
    util::tcl2cpp(call.interp, params, names);
    std::vector<StrVec> rows;
    StrVec errors;
    core.getHdlParams(call.map(values), names, rows, errors);
    return errors.empty() ? util::set_tcl_result(call.interp, rows) : call.fail(errors);
  });
}

template <class Ip>
int get_range(Call<Ip> const& call) {
  const frame::CpuTime time;
  Tcl_Obj *params = nullptr, *context = nullptr;
  if (!call.has_options(frame::kRangeUsage, "-params", params, "-context", context)) return TCL_ERROR;
  return call.with_instance(context, [&](PSU_Interface& core) {
    RawResult result;
    ParamMap messages;
    core.getRanges(call.map(params), result, messages, frame::kFullStrength);
    time.print_range();
    return tell(call, result, messages);
  });
}

// A core that is new, or that no user parameter has been applied to, gets those of the user before.
template <class Ip>
int get_ranges(Call<Ip> const& call) {
  const frame::CpuTime time;
  Tcl_Obj *context = nullptr, *params = nullptr, *userparams = nullptr;
  if (!call.has_options(frame::kRangesUsage, "-context", context, "-params", params, "-userparams", userparams))
    return TCL_ERROR;
  StrVec none;
  const bool is_new = call.live(context, none) == nullptr;
  return call.with_instance(context, [&](PSU_Interface& core) {
    RawResult result;
    ParamMap messages;
    if (is_new || core.isDefaultInstance())
      core.getRanges(call.map(userparams), result, messages, frame::kFullStrength);
    core.getRanges(call.map(params), result, messages, frame::kFullStrength);
    time.print_range();
    return tell(call, result, messages);
  });
}

using Apply = void (PSU_Interface::*)(ParamMap const&, RawResult&, ParamMap&);

template <Apply operation, class Ip, class Told>
int apply(Call<Ip> const& call, char const* usage, Told told) {
  Tcl_Obj *context = nullptr, *params = nullptr;
  if (!call.has_options(usage, "-context", context, "-params", params)) return TCL_ERROR;
  return call.with_instance(context, [&](PSU_Interface& core) {
    RawResult result;
    ParamMap messages;
    (core.*operation)(call.map(params), result, messages);
    told();
    return tell(call, result, messages);
  });
}

template <class Ip>
int import_preset(Call<Ip> const& call) {
  const frame::CpuTime time;
  return apply<&PSU_Interface::importPreset>(call, frame::kGenerateUsage, [&] { time.print_init(); });
}

template <class Ip>
int apply_board(Call<Ip> const& call) {
  return apply<&PSU_Interface::applyBoard>(call, kBoardUsage, [] {});
}

// ------------------------------------------------------------------------------------------------------- outputs

using Generate = void (PSU_Interface::*)(ParamMap const&, std::string&, StrVec&);

// The text comes back to the script, which writes the file.
template <Generate operation, class Ip, class Then>
int generate(Call<Ip> const& call, Tcl_Obj* context, Tcl_Obj* params, Then then) {
  return call.with_instance(context, [&](PSU_Interface& core) {
    std::string text;
    StrVec errors;
    (core.*operation)(call.map(params), text, errors);
    then(errors);
    return errors.empty() ? util::set_tcl_result(call.interp, text) : call.fail(errors);
  });
}

template <class Ip>
int xdc_generate(Call<Ip> const& call) {
  Tcl_Obj *context = nullptr, *params = nullptr;
  if (!call.has_options(frame::kGenerateUsage, "-context", context, "-params", params)) return TCL_ERROR;
  return generate<&PSU_Interface::generateXdc>(call, context, params, [](StrVec&) {});
}

// `-path` must be given, and is not used.
template <Generate operation, class Ip>
int generate_for_path(Call<Ip> const& call) {
  Tcl_Obj *context = nullptr, *params = nullptr, *path = nullptr;
  if (!call.has_options(frame::kGenerateUsage, "-context", context, "-params", params, "-path", path)) return TCL_ERROR;
  return generate<operation>(call, context, params, [](StrVec&) {});
}

std::string below(std::string const& directory, std::string_view name) {
  return directory + HUTFile::getDirSeparator() + std::string(name);
}

std::string file_name(char const* core, BootLoaderFile const& file) { return std::string(core) + file.end; }

bool make_directory(std::string const& path, StrVec& errors) {
  if (!path.empty() && HUTFile::mkDirRecursive(path)) return true;
  errors.push_back("cannot create directory " + path);
  return false;
}

// <path>/temp/<instance>, where a core is built.
std::string build_directory(std::string const& path, std::string const& instance) {
  return below(below(path, "temp"), instance);
}

// The hardware definition of an instance below its build directory, with the boot loader's files of `folder`.
void write_definition(char const* core, std::string const& path, std::string const& instance, std::string const& folder,
                      StrVec& errors) {
  const std::string verilog = below(below(build_directory(path, instance), "hdl"), "verilog");
  if (!make_directory(path.empty() ? path : verilog, errors)) return;
  std::vector<std::pair<std::string, HHDFHwDefFileTypes::HWHFileType>> files;
  for (BootLoaderFile const& file : kBootLoaderFiles)
    files.emplace_back(below(folder, file_name(core, file)), file.kind);
  std::string definition = below(verilog, instance + ".hwdef");
  if (!HHDFHwDefUtils::writeHDF(definition, files, true, {}, {{"instance_name", instance}, {"ps_core_name", core}}))
    errors.push_back("cannot write " + definition);
}

std::string instance_name(ParamMap const& context) {
  const auto name = context.find("instance_name");
  return name == context.end() ? std::string() : name->second;
}

template <class Ip>
int power_generate(Call<Ip> const& call) {
  if constexpr (Ip::kDefinition != Definition::of_power_data) {
    return generate_for_path<&PSU_Interface::generatePowerData>(call);
  } else {
    Tcl_Obj *context = nullptr, *params = nullptr, *path = nullptr;
    if (!call.has_options(frame::kGenerateUsage, "-context", context, "-params", params, "-path", path))
      return TCL_ERROR;
    const std::string instance = instance_name(call.map(context)), root = tcl::required_native_path(path);
    // The files are those that the boot loader's command left where the core is built.
    return generate<&PSU_Interface::generatePowerData>(call, context, params, [&](StrVec& errors) {
      write_definition(Ip::kCore, root, instance, build_directory(root, instance), errors);
    });
  }
}

// What cannot be written is told, and the rest is written all the same.
void write_boot_loader_files(char const* core, ParamMap const& texts, std::string const& path, StrVec& errors) {
  for (BootLoaderFile const& file : kBootLoaderFiles) {
    const std::string target = below(path, file_name(core, file));
    const auto text = texts.find(file.key);
    if (text == texts.end()) {
      errors.push_back("the core has no text for " + target);
      continue;
    }
    if (!isl::iostreams::write_file(target, text->second)) errors.push_back("cannot write " + target);
  }
}

template <class Ip>
int generate_sdk_files(Call<Ip> const& call) {
  Tcl_Obj *context = nullptr, *params = nullptr, *path = nullptr;
  if (!call.has_options(frame::kGenerateUsage, "-context", context, "-params", params, "-path", path)) return TCL_ERROR;
  const std::string root = tcl::required_native_path(path);
  return call.with_instance(context, [&](PSU_Interface& core) {
    ParamMap texts;
    StrVec errors;
    const std::string answer = core.generateBootLoaderFiles(call.map(params), true, texts, errors);
    if (errors.empty() && make_directory(root, errors)) {
      write_boot_loader_files(Ip::kCore, texts, root, errors);
      if constexpr (Ip::kDefinition == Definition::of_boot_loader)
        write_definition(Ip::kCore, root, instance_name(call.map(context)), root, errors);
    }
    return errors.empty() ? util::set_tcl_result(call.interp, answer) : call.fail(errors);
  });
}

// --------------------------------------------------------------------------------------------------------- table

template <auto command>
struct Handler;
template <class Ip, int (*command)(Call<Ip> const&)>
struct Handler<command> {
  static int handle(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
    return command(Call<Ip>(interp, objc, objv));
  }
};

template <class Ip, FixedText suffix>
constexpr tcl::Names names_if(bool is_there) {
  return is_there ? kFlat<Ip, suffix> : tcl::kNoNames;
}

// Order is the registration order. Words are looked after by the reading of the options.
template <class Ip>
constexpr tcl::Row kCommands[] = {
    {kFlat<Ip, "zorvan_init">, Handler<&zorvan_init<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "zorvan_uninit">, Handler<&zorvan_uninit<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "is_zorvan_instance">, Handler<&is_zorvan_instance<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "is_default_zorvan_instance">, Handler<&is_default_zorvan_instance<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "hdl_param">, Handler<&hdl_param<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "get_range">, Handler<&get_range<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "get_ranges">, Handler<&get_ranges<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "import_preset">, Handler<&import_preset<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "apply_board">, Handler<&apply_board<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "xdc_generate">, Handler<&xdc_generate<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "power_generate">, Handler<&power_generate<Ip>>::handle, tcl::kAnyWords},
    {kFlat<Ip, "generateSDKSpecificFiles">, Handler<&generate_sdk_files<Ip>>::handle, tcl::kAnyWords},
    {names_if<Ip, "iopad_report_generate">(Ip::kHasReports),
     Handler<&generate_for_path<&PSU_Interface::generateIOPadData, Ip>>::handle, tcl::kAnyWords},
    {names_if<Ip, "jitter_constraints">(Ip::kHasReports),
     Handler<&generate_for_path<&PSU_Interface::generateJitterConstraints, Ip>>::handle, tcl::kAnyWords},
};

}  // namespace

void init(Tcl_Interp* interp) {
  tcl::register_all<kCommands<Ps7>>(interp);
  tcl::register_all<kCommands<Psu>>(interp);
}

void uninit() { PS_TCL_Instance_Manager::end(); }

}  // namespace zorvan_init::zorvan_kdi_tcltasks
