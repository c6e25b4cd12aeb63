// What a parameter model tells a user interface (kdi/common/HUTGuiEvent.h).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

class HACGCCustomDRCModel;

/// These parameters have changed; the user interface reads them again.
struct KDI_DOOR HPSPMCUpdateGuiEvent {
  std::vector<std::string>* parameters;
};

/// The parameters of this model have changed, for the customiser around it.
struct KDI_DOOR HPSPMCParameterChanged {
  enum CUSTOMIZER_FLOW { CUSTOMIZER_FLOW_UPDATE_ALL = 0, CUSTOMIZER_FLOW_GUI = 1 };

  HACGCCustomDRCModel* model;
  std::map<std::string, std::string>* parameters;
  CUSTOMIZER_FLOW flow;
};
