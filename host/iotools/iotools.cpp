// libkdi_iotools.so: I/O planning for people, and the primitives of a part for the tool.
//
//   get_primitives -part PART ?-kind KIND?                 -> names of the primitives
//   iotools::picture PORTS -part PART ?-strobes MAP? ?-title TEXT?   -> SVG of the banks
//   iotools::decode PARAMETERS -part PART                  -> dictionary: ports, strobes
//   iotools::memory_file FILE                              -> dictionary: interface, settings, ports, entry, parts
//   iotools::why USE SETTINGS -part PART ?-ports PLACES? ?-instance NAME?
//                                                          -> dictionary: possible, obstacles, smallest, nearest
//   iotools::sites -part PART                              -> list of dictionaries: controllers in silicon
#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/iotools/bank_picture.h"
#include "host/options.h"
#include "host/part_primitives.h"
#include "kdi/common/HTCTclInterp.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"
#include "kdi/place/host/InterfacePlans.h"
#include "kdi/planning/HardController.h"
#include "kdi/tcl/command.h"

namespace {

using kdi::device::Part;

using host::asked;
using host::Options;
using host::refuse;

Part const& part_of(Options const& options) {
  const std::string name = options.get("-part");
  if (name.empty()) refuse("option -part is missing or empty");
  Part const* const part = kdi::device::find_part(name);
  if (part == nullptr) refuse(kdi::device::unknown_part(name));
  return *part;
}

// ---------------------------------------------------------------------------------------------------------- primitives

int primitives_command(Tcl_Interp* interp, tcl::Words words) {
  std::string name;
  int kind = -1;
  for (std::size_t i = 0; i < words.size(); i += 2) {
    const std::string option = tcl::text_of(words[i]);
    if (option != "-part" && option != "-kind") refuse("unknown option \"" + option + "\": use -part or -kind");
    if (i + 1 == words.size()) refuse("no value for \"" + option + "\"");
    if (option == "-part")
      name = tcl::text_of(words[i + 1]);
    else if (Tcl_GetIndexFromObj(interp, words[i + 1], part_primitives::kKinds, "kind", TCL_EXACT, &kind) != TCL_OK)
      return TCL_ERROR;
  }
  if (name.empty()) refuse("no part given: use -part");
  Part const* const part = kdi::device::find_part(name);
  if (part == nullptr) refuse(kdi::device::unknown_part(name));
  std::vector<std::string> names;
  for (part_primitives::Primitive const& one : part_primitives::of(*part))
    if (kind == -1 || kind == static_cast<int>(one.kind)) names.push_back(one.name);
  return tcl::succeed(interp, tcl::new_list(names));
}

// ------------------------------------------------------------------------------------------------------------ plans

std::string picture_command(tcl::Words words) {
  const Options options(words.subspan(1), {"-part", "-strobes", "-title"});
  return asked([&] {
    Part const& part = part_of(options);
    const kdi::planning::Layout layout = kdi::planning::layout_of(part);
    const std::string title = options.get("-title");
    return iotools::bank_picture(kdi::place::read_plan(tcl::text_of(words[0]), options.get("-strobes"), layout), layout,
                                 title.empty() ? part.name : title);
  });
}

Tcl_Obj* decode_command(tcl::Words words) {
  const Options options(words.subspan(1), {"-part"});
  return asked([&] {
    const kdi::planning::Layout layout = kdi::planning::layout_of(part_of(options));
    const auto [ports, strobes] =
        kdi::place::written(kdi::place::read_parameter_plan(tcl::text_of(words[0]), layout), layout);
    return tcl::new_dict({{"ports", ports}, {"strobes", strobes}});
  });
}

std::string hexadecimal(std::uint64_t value) { return "0x" + kdi::number::hexadecimal(value, 8); }

Tcl_Obj* memory_file_command(tcl::Words words) {
  return asked([&] {
    const auto file = kdi::place::read_memory_file_content(tcl::required_native_path(words[0]));
    return tcl::new_dict({{"interface", file.interface},
                          {"settings", file.settings},
                          {"ports", file.ports},
                          {"entry", file.has_image ? hexadecimal(file.entry) : std::string()},
                          {"parts", tcl::new_list(file.parts, [](auto const& one) {
                             return tcl::new_dict({{"address", hexadecimal(one.address)},
                                                   {"bytes", static_cast<Tcl_WideInt>(one.bytes)},
                                                   {"size", static_cast<Tcl_WideInt>(one.size)}});
                           })}});
  });
}

Tcl_Obj* why_command(tcl::Words words) {
  const Options options(words.subspan(2), {"-part", "-ports", "-instance"});
  return asked([&] {
    const auto why = kdi::place::why_not(part_of(options), {tcl::text_of(words[0]), tcl::text_of(words[1]),
                                                            options.get("-ports"), options.get("-instance")});
    const auto list = [](auto const& pairs, char const* first) {
      return tcl::new_list(pairs, [first](auto const& one) {
        return tcl::new_dict({{first, one.first}, {"text", one.second}});
      });
    };
    return tcl::new_dict({{"possible", why.is_possible},
                          {"obstacles", list(why.obstacles, "rule")},
                          {"smallest", why.is_smallest},
                          {"nearest", list(why.nearest, "change")}});
  });
}

Tcl_Obj* sites_command(tcl::Words words) {
  Part const& part = part_of(Options(words, {"-part"}));
  return asked([&] {
    std::vector<Tcl_Obj*> sites;
    for (auto const& controller : part.speed->memory_controllers) {
      kdi::planning::HardController const* const hard = kdi::planning::find_hard_controller(controller.name);
      if (!controller.hard || hard == nullptr) continue;
      for (auto const& site : controller.sites) {
        bool has_pins = true;
        for (const int bank : site.banks) has_pins = has_pins && part.package->bank(bank) != nullptr;
        sites.push_back(tcl::new_dict({{"site", site.name},
                                       {"controller", controller.name},
                                       {"slr", site.slr},
                                       {"banks", tcl::new_list(site.banks)},
                                       {"types", tcl::new_list(hard->types())},
                                       {"pins", has_pins}}));
      }
    }
    return tcl::new_list(sites);
  });
}

constexpr tcl::Row kTools[] = {
    {"iotools::picture", tcl::handler<picture_command>, tcl::pairs_behind(1, tcl::usage("ports ?option value ...?"))},
    {"iotools::decode", tcl::handler<decode_command>,
     tcl::pairs_behind(1, tcl::usage("parameters ?option value ...?"))},
    {"iotools::memory_file", tcl::handler<memory_file_command>, tcl::exactly(1, tcl::usage("file"))},
    {"iotools::why", tcl::handler<why_command>, tcl::pairs_behind(2, tcl::usage("use settings ?option value ...?"))},
    {"iotools::sites", tcl::handler<sites_command>, tcl::pairs_behind(0, tcl::usage("?option value ...?"))},
};
constexpr tcl::Row kPrimitives[] = {
    {"get_primitives", tcl::handler<primitives_command>, tcl::between(2, 4, tcl::usage("-part value ?-kind value?"))},
};

}  // namespace

/// Found by Tcl's `load`. The package asks the tool's interpreter for primitives; where that is another one than a
/// script's, it gets the command as well.
extern "C" int Kdi_iotools_Init(Tcl_Interp* interp) {
  tcl::register_all<kTools>(interp);
  tcl::register_all<kPrimitives>(interp);
  if (Tcl_Interp* const tool = HTCTclInterp::getDefaultInterp(); tool != interp) tcl::register_all<kPrimitives>(tool);
  return TCL_OK;
}
