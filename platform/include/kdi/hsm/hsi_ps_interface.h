// What software for a configured core has to know of it.
#pragma once

#include "kdi/common/KdiDoor.h"

namespace hardip_eng {
class HardIPInterface;
}

namespace hsi {

/// Looks at a core while software is made for it.
class KDI_DOOR hsi_ps_interface {
 public:
  /// `instance` may be null, and has to stay until `finish`.
  explicit hsi_ps_interface(hardip_eng::HardIPInterface* instance);
  ~hsi_ps_interface();  // NOLINT(performance-trivially-destructible): hosts link it
  hsi_ps_interface(hsi_ps_interface const&) = delete;
  hsi_ps_interface& operator=(hsi_ps_interface const&) = delete;

  /// The core; null without one, and behind `finish`.
  hardip_eng::HardIPInterface* instance() const;
  /// Says that no more software is made: lets go of the core.
  void finish();

 private:
  hardip_eng::HardIPInterface* instance_;
};

}  // namespace hsi
