#include "tcltasks/psmodels/model_table.h"

#include "kdi/common/HACGCHybridCustomController.h"
#include "tcltasks/psmodels/HACGCPCWCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"

namespace {

void delete_model(HACGCCustomDRCModel** model) { delete *model; }

// Texts, not pointers to them: the table is walked while the library is loaded, and nothing in it has to be relocated.
enum class Model : char { pspmc, psxl, psxl_wizard, pcw };
struct Row {
  char identifier[30];
  Model model;
  bool only_if_enabled = false;  // by project.enableCIPS32
};

// The order is that of registration. The version decides as well: tavrel_cips changes its model at 3.1.
constexpr Row kRows[] = {
    {"brenlo:ip:pspmc:1.0", Model::pspmc},
    {"brenlo:ip:pspmc:1.1", Model::pspmc},
    {"brenlo:ip:tavrel_cips:3.1", Model::pspmc},
    {"brenlo:ip:tavrel_cips:3.2", Model::pspmc, true},
    {"brenlo:ip:pspmc:1.2", Model::pspmc, true},
    {"brenlo:ip:tavrel_cips:3.3", Model::pspmc},
    {"brenlo:ip:pspmc:1.3", Model::pspmc},
    {"brenlo:ip:tavrel_cips:3.4", Model::pspmc},
    {"brenlo:ip:pspmc:1.4", Model::pspmc},
    {"brenlo:ip:psxl:1.0", Model::psxl},
    {"brenlo:ip:psxl_wizard:1.0", Model::psxl_wizard},
    {"brenlo:ip:psx_wizard:1.0", Model::psxl_wizard},
    {"brenlo:ip:psx_wizard:9.99.z", Model::psxl_wizard},
    {"brenlo:ip:ps11:1.0", Model::psxl},
    {"brenlo:ip:pmcps:1.0", Model::psxl},
    {"brenlo:ip:ps_wizard:1.0", Model::psxl_wizard},
    {"brenlo:ip:ps_wizard:99.0", Model::psxl_wizard},
    {"brenlo:ip:pspmcx:1.0", Model::pspmc},
    {"brenlo:ip:ps_pmc:1.0", Model::pcw},
    {"brenlo:ip:tavrel_cips:1.0", Model::pcw},
    {"brenlo:ip:tavrel_cips:2.0", Model::pcw},
    {"brenlo:ip:tavrel_cips:2.1", Model::pcw},
    {"brenlo:ip:xram:1.0", Model::pcw},
    {"brenlo:ip:cpm:1.0", Model::pcw},
    {"brenlo:ip:cpm4:1.0", Model::pcw},
    {"brenlo:ip:cpm4_tavrel:1.0", Model::pcw},
    {"brenlo:ip:cpm5:1.0", Model::pcw},
    {"brenlo:ip:cpm5_tavrel:1.0", Model::pcw},
    {"brenlo:ip:cpm5n:1.0", Model::pcw},
};

HACGCHybridCustomController::Functions functions_of(Model model) {
  switch (model) {
    case Model::pspmc:
      return {pspmcRulesObjInit, pspmcRulesObjDelete};
    case Model::psxl:
      return {psxlRulesObjInit, psxlRulesObjDelete};
    case Model::psxl_wizard:
      return {psxlWizardRulesObjInit, psxlWizardRulesObjDelete};
    case Model::pcw:
      break;
  }
  return {pcwRulesObjInit, pcwRulesObjDelete};
}

// A controller finds the models from the moment on at which the library is there, before any interpreter has it.
[[gnu::constructor]] void register_models() {
  HPAParamMgr::getParamMgr();
  PCWInitTcl::init();
}

}  // namespace

void PCWInitTcl::init() {
  bool has_asked = false, is_enabled = false;
  for (Row const& row : kRows) {
    if (row.only_if_enabled && !has_asked) {
      is_enabled = HPAParamMgr::getParamMgr().getValueIfExistAsBool("project.enableCIPS32", false);
      has_asked = true;
    }
    if (row.only_if_enabled && !is_enabled) continue;
    const auto [factory, deleter] = functions_of(row.model);
    HACGCHybridCustomController::setDRCModelBasedonIP(row.identifier, factory);
    HACGCHybridCustomController::setDeleteFuncOnDRCModelObject(row.identifier, deleter);
  }
}

void pspmcRulesObjInit(std::string, HACGCCustomDRCModel** model) { *model = new HACGCPSPMCCustomDRCModel; }
void psxlRulesObjInit(std::string, HACGCCustomDRCModel** model) {
  *model = new HACGCPSXLCustomDRCModel;
  psmodels::log("PS_WIZARD.EVENTS.DBG", 1, "HACGCPSXLCustomDRCModel::HACGCPSXLCustomDRCModel() '%p'\n",
                static_cast<void*>(*model));
}
void psxlWizardRulesObjInit(std::string ipIdentifier, HACGCCustomDRCModel** model) {
  psxlRulesObjInit(std::move(ipIdentifier), model);
}
void pcwRulesObjInit(std::string, HACGCCustomDRCModel** model) { *model = new HACGCPCWCustomDRCModel; }

void pspmcRulesObjDelete(std::string, HACGCCustomDRCModel** model) { delete_model(model); }
void psxlRulesObjDelete(std::string, HACGCCustomDRCModel** model) { delete_model(model); }
void psxlWizardRulesObjDelete(std::string, HACGCCustomDRCModel** model) { delete_model(model); }
void pcwRulesObjDelete(std::string, HACGCCustomDRCModel** model) { delete_model(model); }
