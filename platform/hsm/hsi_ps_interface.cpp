#include "kdi/hsm/hsi_ps_interface.h"

namespace hsi {

hsi_ps_interface::hsi_ps_interface(hardip_eng::HardIPInterface* instance) : instance_(instance) {}
hsi_ps_interface::~hsi_ps_interface() = default;

hardip_eng::HardIPInterface* hsi_ps_interface::instance() const { return instance_; }
void hsi_ps_interface::finish() { instance_ = nullptr; }

}  // namespace hsi
