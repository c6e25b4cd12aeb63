// What the writer and the reader of C sources share.
#pragma once

#include <string>
#include <string_view>

namespace kdi::cdo {

/// What every source begins with.
inline constexpr std::string_view kCHead =
    "#include <stddef.h>\n"
    "#include <stdint.h>\n"
    "\n"
    "/* How registers are reached. poll answers 0 once (read & mask) == value, and something else after so many "
    "microseconds\n"
    " * without; delay waits. context is the caller's. */\n"
    "#ifndef CDO_ACCESS\n"
    "#define CDO_ACCESS\n"
    "struct cdo_access {\n"
    "  void (*write)(void *context, uint32_t address, uint32_t value);\n"
    "  void (*mask_write)(void *context, uint32_t address, uint32_t mask, uint32_t value);\n"
    "  int (*poll)(void *context, uint32_t address, uint32_t mask, uint32_t value, uint32_t timeout_us);\n"
    "  void (*delay)(void *context, uint32_t microseconds);\n"
    "  void *context;\n"
    "};\n"
    "#endif\n";

/// How commands begin, behind a blank or two: the numbers follow, each with a U behind it.
inline constexpr std::string_view kCWrite = "access->write(access->context, ";
inline constexpr std::string_view kCMaskedWrite = "access->mask_write(access->context, ";
inline constexpr std::string_view kCPoll = "if (access->poll(access->context, ";
inline constexpr std::string_view kCDelay = "access->delay(access->context, ";

/// How the declaration of the one function ends that others call.
inline constexpr std::string_view kCFunction = "_configure(const struct cdo_access *access)";

inline constexpr std::string_view kCBeginRemark = "/* ", kCEndRemark = " */";

/// Whether the text ends a comment or begins one.
bool has_comment_signs(std::string_view text);

bool is_c_name(std::string_view name);

}  // namespace kdi::cdo
