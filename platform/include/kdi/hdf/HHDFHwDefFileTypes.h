// The kinds of files that a hardware definition has (docs/hardware-definition.md).
#pragma once

struct HHDFHwDefFileTypes {
  enum HWHFileType {
    HWH_HANDOFF = 0,
    PMC_CDO_BIN = 2,
    CDO = 7,
    BOOT_ELF = 8,
    SYSMON_DATA = 23,
    PSINIT_C = 32,
    PSINIT_H = 33,
    PSINIT_GPL_C = 34,
    PSINIT_GPL_H = 35,
    PSINIT_HTML = 36,
    PSINIT_TCL = 37,
    POWER_DATA = 38,
    IO_DATA = 39
  };
};
