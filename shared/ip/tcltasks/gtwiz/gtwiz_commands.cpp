#include "kdi/common/KdiNumber.h"
#include "kdi/rule_engine/content_cipher.h"
#include "kdi/rule_engine/gt_wiz_ip_mgr.h"
#include "kdi/rule_engine/rule_engine_utilities.h"
#include "tcltasks/frame/engine_rows.h"
#include "tcltasks/gtwiz/gtwiz.h"
#include "tcltasks/gtwiz/gtwiz_utils.h"
#include "tcltasks/gtwiz/settings_maps.h"

namespace kelvane_gtwiz_init::kelvane_gtwiz_kdi_tcltasks {
namespace {

namespace utils = kelvane_gtwiz_utils::gtwiz_utils;
using engine_rows::As;
using engine_rows::overload;
using engine_rows::Path;
using engine_rows::row;
using engine_rows::seventeen_digits;
using engine_rows::Word;
using engine_rows::WordAs;
using Manager = kelvane_gtwiz::gt_wiz_ip_mgr;
using Rules = kelvane_gtwiz::rule_engine_utilities;

struct Wizard {  // how the family answers
  struct Results {
    template <class Answer>
    static int set(Tcl_Interp* interp, Answer const& answer) {
      return utils::set_tcl_result(interp, answer);
    }
    static int set_error(Tcl_Interp* interp, std::string const& text) { return utils::set_tcl_error(interp, text); }
  };
};

// Words of the settings form: 1 to 4 are texts, 7 to 10 settings, 5, 6 and 11 texts, 12 a flag where there is one.
struct Settings {
  static constexpr int kNeeds = 12;
  static GtSettings read(engine_rows::Call call) {
    GtSettings settings;
    utils::constructMultiMapFromTCLDict(utils::tcl2CppStr(call[7]), settings["TX_SETTINGS"]);
    utils::constructMultiMapFromTCLDict(utils::tcl2CppStr(call[8]), settings["RX_SETTINGS"]);
    utils::constructMultiMapFromTCLDict(utils::tcl2CppStr(call[9]), settings["quadUsage"]["quadUsage"]);
    utils::constructMultiMapFromTCLDict(utils::tcl2CppStr(call[10]), settings["QUAD_COMMON_SETTINGS"]);
    return settings;
  }
};
template <int n>
using Number = WordAs<n, utils::stringToDouble>;
using Float = WordAs<6, utils::stringToFloat>;
using RxFloat = WordAs<3, utils::stringToFloat>;
using Flag = WordAs<12, utils::stringToBool>;

constexpr tcl::Complaint kInvalid = "Ip_gtwiz : Invalid number of arguments.\n";
constexpr tcl::WordCount words(int count) { return tcl::exactly(count, kInvalid); }

template <auto operation>
constexpr tcl::Row settings_row(char const* name, tcl::WordCount count = words(12)) {
  return row<Wizard, operation, Word<1>, Word<2>, Word<3>, Word<4>, Settings, Word<5>, Word<6>, Word<11>>(name, count);
}
template <auto operation>
constexpr tcl::Row flagged_row(char const* name, tcl::WordCount count = words(12)) {
  return row<Wizard, operation, Word<1>, Word<2>, Word<3>, Word<4>, Settings, Word<5>, Word<6>, Word<11>, Flag>(name,
                                                                                                                count);
}

using Text = std::string const&;
constexpr auto kShort = overload<Text, Text, Text>(&Manager::getOutClkFrequencies);
constexpr auto kLong =
    overload<Text, Text, Text, Text, GtSettings const&, Text, Text, Text>(&Manager::getOutClkFrequencies);

double actual_reference(double gbps, double mhz, std::string const& numerator) {
  return Rules::calculateActualRefclk(gbps, mhz, numerator, false);
}
// The rate of a PAM4 lane is that of its symbols, at single precision.
double actual_reference_gtme5(double gbps, double mhz, std::string const&, std::string const& kind,
                              std::string const& modulation) {
  if (kind == "GTM" && modulation == "PAM4") gbps = static_cast<double>(static_cast<float>(gbps) / 2);
  return Rules::calculateActualRefclk_GTME5(gbps, mhz, "0", false);
}

// Order is the registration order.
constexpr tcl::Row kCommands[] = {
    row<Wizard, &Manager::initilizeData, Word<1>, Word<2>, Word<3>, Word<4>, Word<5>, Word<6>, Word<7>>(
        "gtwiz::Ip_gtwiz_initializeData", words(7)),
    settings_row<&Manager::initilizeDataWithDict>("gtwiz::Ip_gtwiz_initializeDataWithTclDict"),
    row<Wizard, &Manager::getAttributes, Word<1>, Word<2>, Word<3>>("gtwiz::Ip_gtwiz_getAttributes", words(3)),
    row<Wizard, kShort, Word<1>, Word<2>, Word<3>>("gtwiz::Ip_gtwiz_getOutClkFrequencies", words(3)),
    settings_row<kLong>("gtwiz::Ip_gtwiz_getOutClkFrequenciesFullArgs"),
    row<Wizard, &Manager::getMemContent, Word<1>, Word<2>, Word<3>>("gtwiz::Ip_gtwiz_getMemContent", words(3)),
    row<Wizard, &Manager::getBramMemContent, Word<1>, Word<2>, Word<3>>("gtwiz::Ip_gtwiz_getBramMemContent", words(3)),
    flagged_row<&Manager::canBePacked>("gtwiz::Ip_gtwiz_canBePacked"),
    flagged_row<&Manager::getRefClkPorts>("gtwiz::Ip_gtwiz_getRefClkPorts",
                                          tcl::at_least(12, "Ip_gtwiz_getRefClkPorts : Not enough arguments")),
    settings_row<&Manager::isFabricBRAMNeeded>("gtwiz::Ip_gtwiz_isFabricBRAMNeeded"),
    settings_row<&Manager::getRateTableSize>("gtwiz::Ip_gtwiz_getRateTableSize"),
    row<Wizard, &Manager::getLogContent>("gtwiz::Ip_gtwiz_getDebugData"),
    row<Wizard, &Manager::updateELF, Word<1>, Path<2>, Word<3>, Path<4>, Path<5>>("gtwiz::Ip_gtwiz_updateELF",
                                                                                  words(5)),
    row<Wizard, &Rules::findTXOUTCLKlist, Number<1>, Number<2>, Word<3>, Word<4>, Word<5>, Float, Word<7>, Word<8>>(
        "gtwiz::Ip_gtwiz_findTXOUTCLKlist", words(8)),
    row<Wizard, &Rules::findRXOUTCLKlist, Number<1>, Word<2>, RxFloat, Word<4>, Word<5>>(
        "gtwiz::Ip_gtwiz_findRXOUTCLKlist", words(5)),
    row<Wizard, &Rules::fracNEnable, Number<1>, Number<2>, Word<3>>("gtwiz::Ip_gtwiz_fracNEnable", words(3)),
    row<Wizard, actual_reference, Number<1>, Number<2>, Word<3>, As<seventeen_digits>>(
        "gtwiz::Ip_gtwiz_calculateActualRefclk", words(3)),
    row<Wizard, actual_reference_gtme5, Number<1>, Number<2>, Word<3>, Word<4>, Word<5>>(
        "gtwiz::Ip_gtwiz_calculateActualRefclk_GTME5", words(5)),
    row<Wizard, kelvane_gtwiz::encrypted_content, Word<1>>("gtwiz::Ip_gtwiz_encryptcontent", words(1)),
};

}  // namespace

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }
void uninit() {}  // it has nothing to release

}  // namespace kelvane_gtwiz_init::kelvane_gtwiz_kdi_tcltasks
