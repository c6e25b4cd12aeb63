// Which model serves which IP, and how a controller makes and deletes it.
#pragma once

#include <string>

#include "kdi/ip/HACGCCustomDRCModel.h"

/// Each makes a new model, whatever the identifier; that of a wizard is of the same class as that of its core.
void pspmcRulesObjInit(std::string ipIdentifier, HACGCCustomDRCModel** model);
void psxlRulesObjInit(std::string ipIdentifier, HACGCCustomDRCModel** model);
void psxlWizardRulesObjInit(std::string ipIdentifier, HACGCCustomDRCModel** model);
void pcwRulesObjInit(std::string ipIdentifier, HACGCCustomDRCModel** model);

/// Each deletes the model, if there is one. The pointer stays as it is, and must not be used again.
void pspmcRulesObjDelete(std::string ipIdentifier, HACGCCustomDRCModel** model);
void psxlRulesObjDelete(std::string ipIdentifier, HACGCCustomDRCModel** model);
void psxlWizardRulesObjDelete(std::string ipIdentifier, HACGCCustomDRCModel** model);
void pcwRulesObjDelete(std::string ipIdentifier, HACGCCustomDRCModel** model);

class PCWInitTcl {
 public:
  /// Registers the models with HACGCHybridCustomController. Called while the library is loaded.
  static void init();
};
