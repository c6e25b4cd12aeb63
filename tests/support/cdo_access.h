// What the C sources of configuration commands are called with, as they declare it.
#pragma once

#include <cstdint>

extern "C" {
struct cdo_access {
  void (*write)(void* context, std::uint32_t address, std::uint32_t value);
  void (*mask_write)(void* context, std::uint32_t address, std::uint32_t mask, std::uint32_t value);
  int (*poll)(void* context, std::uint32_t address, std::uint32_t mask, std::uint32_t value, std::uint32_t timeout_us);
  void (*delay)(void* context, std::uint32_t microseconds);
  void* context;
};
}
