// Cores and a device of a test's own, in a data root of its own.
#pragma once

#include <string>

#include "kdi/device/host/PartCatalogue.h"
#include "tests/support/scratch.h"

/// A data root with a device that has the cores that are added here, before its part is first asked for.
class MadeCores {
 public:
  MadeCores() { kdi::device::PartCatalogue::global().add_directory(root_.path("devices")); }

  /// The device is another one for each object, since devices are read once.
  std::string part() const { return device_ + "-c225-1-c"; }

  /// Adds `<name>/<version>.json`; `body` is what stands behind format, core and version.
  void add(std::string const& name, std::string const& version, std::string const& body) {
    root_.file("cores/" + name + "/" + version + ".json",
               R"({"format": 1, "core": ")" + name + R"(", "version": ")" + version + "\",\n" + body + "}");
    if (hosted_.find("\"" + name + "\"") == std::string::npos)
      hosted_ += (hosted_.empty() ? "" : ", ") + ("\"" + name + "\": []");
    add_device(device_, hosted_);
  }

  /// The part of another device, whose processing system has these cores (`"name": ["1.0"], ...`).
  std::string part_with(std::string const& hosted) const {
    const std::string device = next();
    add_device(device, hosted);
    return device + "-c225-1-c";
  }

  Scratch const& root() const { return root_; }

 private:
  void add_device(std::string const& device, std::string const& hosted) const {
    root_.file("devices/" + device + ".json",
               R"({"format": 1, "base": "zorvan1", "device": ")" + device +
                   R"(", "description": "made up",)"
                   R"("slrs": [{"name": "SLR0", "master": true}, {"name": "SLR1", "master": false}],)"
                   R"("processing_system": {"kind": "ps7", "mio_pins": 54, "cores": {)" +
                   hosted +
                   R"(}}, "counts": {"36K": 1}, "banks": [)"
                   R"({"numbers": ["{34..35}"], "layout": "hr50", "slr": 0},)"
                   R"({"numbers": ["500"], "layout": "mio16", "slr": 0},)"
                   R"({"numbers": ["501"], "layout": "mio38", "slr": 0}], "packages": [)"
                   R"({"name": "c225", "grid": "A1:R15", "bonded": [)"
                   R"({"banks": ["34", "35"], "pins": ["A1:H6"], "without_lanes": ["T{2..3}", "V"]},)"
                   R"({"banks": ["500"], "pins": ["K1:L8"]},)"
                   R"({"banks": ["501"], "pins": ["M1:P12", "R1:R2"]}]}]})");
  }

  static std::string next() {
    static int count = 0;
    return "made" + std::to_string(count++);
  }

  Scratch root_;
  std::string device_ = next();
  std::string hosted_;
  Environment data_{"KDI_DATA_DIR", root_.folder()};
};
