#include "tcltasks/hardip/output_package.h"

#include <algorithm>

#include "kdi/common/KdiText.h"
#include "kdi/hdf/HHDFHwDefUtils.h"
#include "tcltasks/hardip/attributes.h"
#include "tcltasks/hardip/output_parts.h"

namespace kelvane_config::kdi_tcltasks {
namespace {

using hardip::Kind;
using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;

// Of the buffer that a core emits its configuration data into.
constexpr std::size_t kCdoBlock = 1024;
constexpr std::size_t kCdoCapacity = 65536;

constexpr char const* kMaster = "0";  // the die that has the platform controller

class Package {
 public:
  Package(HardIPInterface& instance, std::string const& path, ParamMap const& context)
      : instance_(instance),
        path_(path),
        name_(hardip::value_of(context, hardip::kInstanceName)),
        core_(hardip::value_of(context, hardip::kCoreName)),
        prefix_(hardip::below(path, {})) {}

  HardIPInterface& instance() { return instance_; }
  std::string const& core() const { return core_; }

  void name_files() { prefix_ += name_ + "_"; }
  void files_below(std::string const& folder) {
    prefix_ = hardip::below(hardip::below(hardip::below(path_, folder), name_), {});
  }

  /// Lists a file, whether it is there or not, and one that may be missing. Its path, empty if it is not listed.
  std::string add(std::string const& file, Kind kind) { return add_path(prefix_ + file, kind); }
  std::string add_if_there(std::string const& file, Kind kind) {
    return HUTFile(prefix_ + file).exists() ? add(file, kind) : std::string();
  }
  std::string add_path(std::string const& path, Kind kind) {
    if (std::find(files_.begin(), files_.end(), std::pair(path, kind)) == files_.end()) files_.emplace_back(path, kind);
    return path;
  }
  void describe(std::string const& path, ParamMap const& attributes) {
    if (!path.empty()) file_attributes_[path].insert(attributes.begin(), attributes.end());
  }

  void add_power_and_io() {
    if (!hardip::with_power_and_io()) return;
    add_if_there(hardip::kPowerFile, HHDFHwDefFileTypes::POWER_DATA);
    add_if_there(hardip::kIoFile, HHDFHwDefFileTypes::IO_DATA);
  }
  void add_boot_program() {
    if (!hardip::with_boot_program()) return;
    const std::string program = hardip::below(hardip::below(path_, hardip::kBootProgram), "executable.elf");
    describe(add_path(program, HHDFHwDefFileTypes::BOOT_ELF),
             {{"fileIdTag", "PLM_ELF"}, {"tandemStage", "1"}, {"file_type", "BOOTLOADER"}, {"ip_type", "PLM_CDO"}});
  }

  /// Writes the definition with the handoffs and attributes added.
  void write(std::string const& handoff, StrVec& errors) {
    std::string place;
    if (!hardip::make_definition_place(path_, name_, place, errors)) return;
    const std::string own = HardIPManager::getInstance()->generateHWH(&instance_, hardip::below(path_, {}));
    for (std::string const& file : {own, handoff})
      if (!file.empty()) add_path(file, HHDFHwDefFileTypes::HWH_HANDOFF);
    ParamMap attributes;
    fillHwDefAttributes(&instance_, attributes, file_attributes_);
    if (!HHDFHwDefUtils::writeHDF(place, files_, true, file_attributes_, attributes))
      errors.push_back(hardip::cannot_write(place));
  }

 private:
  HardIPInterface& instance_;
  std::string path_, name_, core_;
  std::string prefix_;
  hardip::FileList files_;
  AttrMap file_attributes_;
};

constexpr Kind kCdo = HHDFHwDefFileTypes::CDO;

void add_xram(Package& package) {
  package.name_files();
  package.add("xram_data.cdo", kCdo);
}

void add_cpm(Package& package) {
  package.files_below("temp");
  for (char const* const file : {"cpm_pre_data.cdo", "cpm_post_data.cdo", "cpm_win_data.cdo"}) package.add(file, kCdo);
}

void add_monitor(Package& package) {
  for (char const* const file : {"sysmon_data.json", "sysmon_satellite.csv"})
    package.add(file, HHDFHwDefFileTypes::SYSMON_DATA);
}

constexpr char const* kDomains[] = {"lpd_data.cdo", "fpd_data.cdo"};

bool has_domain_files() { return !hardip::is_on("cips.mergePMCLPDCdo"); }

void add_pspmcx(Package& package) {
  package.name_files();
  package.add("pmc_data.cdo", kCdo);
  add_monitor(package);
  package.add_power_and_io();
  if (has_domain_files())
    for (char const* const file : kDomains) package.add(file, kCdo);
  package.add_boot_program();
}

// A platform controller, on a device of one die or of several, whose files say then which die they are for.
class Controller {
 public:
  explicit Controller(Package& package)
      : package_(package), says_die_(hardip::is_on("cips.ssitSupport")), dies_(package.instance().slrCount()) {}

  void add() {
    if (hardip::named_files()) package_.name_files();
    of_die(kMaster, package_.add("pmc_data.cdo", kCdo));
    package_.add("pmc_cdo.bin", HHDFHwDefFileTypes::PMC_CDO_BIN);
    add_monitor(package_);
    package_.add_power_and_io();
    if (has_domain_files()) add_domains();
    of_die(kMaster, package_.add_if_there("ps_data.cdo", kCdo));
  }

 private:
  void of_die(std::string const& dies, std::string const& path) {
    if (says_die_) package_.describe(path, {{"slrId", dies}});
  }

  void add_domains() {
    if (says_die_ && package_.instance().isMultiSlr())
      for (int die = 1; die < dies_; ++die) add_other_die(std::to_string(die));
    for (char const* const file : kDomains) of_die(kMaster, package_.add(file, kCdo));
  }

  void add_other_die(std::string const& die) {
    of_die(die, package_.add_if_there("pmc_data_slr_" + die + ".cdo", kCdo));
    of_die(all_dies(), package_.add_if_there("noc_clock.cdo", kCdo));
  }

  std::string all_dies() const {
    StrVec all;
    for (int die = 0; die < dies_; ++die) all.push_back(std::to_string(die));
    return kdi::text::joined(all, ",");
  }

  Package& package_;
  const bool says_die_;
  const int dies_;
};

void add_pspmc(Package& package) {
  Controller(package).add();
  package.add_boot_program();
}

void add_ps_pmc(Package& package) {
  Controller(package).add();
  for (auto const& [file, tag] : {std::pair{"subsystem.cdo", "SUBSYSTEM_CDO"}, {"cpm_data.cdo", "CPM_CDO"}})
    package.describe(package.add_if_there(file, kCdo),
                     {{"file_type", "CDO"}, {"fileIdTag", tag}, {"ip_type", package.core()}});
  package.add_boot_program();
}

using AddFiles = void (*)(Package&);

// Null for a core without a definition.
AddFiles files_of(std::string const& core) {
  if (core == "xram") return add_xram;
  if (core == "pspmcx") return add_pspmcx;
  if (core.starts_with("cpm")) return add_cpm;
  if (core == "ps_pmc") return add_ps_pmc;
  if (core == "pspmc") return add_pspmc;
  return nullptr;
}

struct SmallCore {
  char const* core;
  char const* file;
  char const* tag;
};
constexpr SmallCore kSmallCores[] = {{"hnicx_wizard", "hnicx_config.cdo", "HNICX_CONFIG_CDO"},
                                     {"visp", "visp_config.cdo", "VISP_CONFIG_CDO"},
                                     {"mmi", "mmi_config.cdo", "MMI_CONFIG_CDO"}};

}  // namespace

StrVec generateOutputForCore(HardIPInterface* instance, std::string& path, ParamMap& context, ParamMap) {
  StrVec errors;
  Package package(*instance, path, context);
  const AddFiles add_files = files_of(package.core());
  if (add_files == nullptr) return errors;
  instance->prepareCdo();
  hardip_eng::CdoBuffer buffer(kCdoBlock, kCdoCapacity);
  instance->emitCdo(buffer);
  add_files(package);
  package.write(hardip::value_of(context, "hwh_file"), errors);
  return errors;
}

bool generate_small_core(std::string const& path, ParamMap const& context, StrVec& errors) {
  const std::string core = hardip::value_of(context, hardip::kCoreName);
  const auto row = std::find_if(std::begin(kSmallCores), std::end(kSmallCores),
                                [&](SmallCore const& small) { return core == small.core; });
  if (row == std::end(kSmallCores)) return false;
  std::string place;
  if (!hardip::make_definition_place(path, hardip::value_of(context, hardip::kInstanceName), place, errors))
    return true;
  const std::string file = hardip::below(path, row->file), handoff = hardip::value_of(context, "hwh_file");
  hardip::FileList files{{file, kCdo}};
  if (!handoff.empty()) files.emplace_back(handoff, HHDFHwDefFileTypes::HWH_HANDOFF);
  const ParamMap attributes{{"fileIdTag", row->tag}, {"file_type", "CDO"}, {"ip_type", core}, {"version", "1"}};
  if (!HHDFHwDefUtils::writeHDF(place, files, true, {{file, attributes}}, {}))
    errors.push_back(hardip::cannot_write(place));
  return true;
}

}  // namespace kelvane_config::kdi_tcltasks
