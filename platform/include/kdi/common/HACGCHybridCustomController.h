// Which parameter model serves which IP. The package registers its models here while it is loaded; so this registry
// stands among the services, which are there by then, and not in an engine, which would have to be loaded for it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

class HACGCCustomDRCModel;

/// Makes `*model`, or deletes it.
using HACGCDRCModelFunc = void (*)(std::string ipIdentifier, HACGCCustomDRCModel** model);

class KDI_DOOR HACGCHybridCustomController {
 public:
  /// An identifier is vendor, library, name and version, joined by colons, and is compared as a whole. A later
  /// registration replaces an earlier one. All operations may be called from several threads.
  static void setDRCModelBasedonIP(std::string const& identifier, HACGCDRCModelFunc factory);
  static void setDeleteFuncOnDRCModelObject(std::string const& identifier, HACGCDRCModelFunc deleter);

  struct Functions {
    HACGCDRCModelFunc factory = nullptr;
    HACGCDRCModelFunc deleter = nullptr;
  };
  /// What is registered for an identifier, if anything is.
  static std::optional<Functions> find(std::string const& identifier);
  /// All identifiers, in the order of their first registration.
  static std::vector<std::string> identifiers();
};
