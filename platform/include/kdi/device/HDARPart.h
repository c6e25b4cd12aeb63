// A part: one device in one package and speed grade, as a design names it.
#pragma once

#include <memory>
#include <string>

#include "kdi/common/KdiDoor.h"

namespace kdi::device {
struct Part;
}

class KDI_DOOR HDARPart {
 public:
  explicit HDARPart(std::shared_ptr<kdi::device::Part const> values);

  /// The part's property `name`; empty text if it has none. Every part has NAME, DEVICE, FAMILY, GENERATION, PACKAGE,
  /// SPEED and SLR (the number of its SLRs); its data file may give it more.
  std::string getProperty(std::string const& name) const;

  /// What is known of the part, as values (device/Device.h).
  kdi::device::Part const& values() const { return *values_; }

 private:
  std::shared_ptr<kdi::device::Part const> values_;  // never null
};
