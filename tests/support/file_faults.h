// Faults of the system's file calls, made to order. file_faults.cpp stands in a test program before the C library, so
// that the calls of all libraries of the process come this way; the program needs ENABLE_EXPORTS and
// -Wl,--no-as-needed.
#pragma once

#include <cstddef>
#include <string>

namespace file_faults {

enum class Call { status, open, read, write, close, rename, open_list, list };
inline constexpr Call kCalls[] = {Call::status, Call::open,   Call::read,      Call::write,
                                  Call::close,  Call::rename, Call::open_list, Call::list};
char const* name_of(Call call);

/// The call number `nth`, from 0, of its kind fails with errno `error`, and so do all behind it if `for_ever`.
struct Plan {
  Call call;
  int nth;
  bool for_ever;
  int error;
};

/// From here on, counts the calls on what lies in `folder` or below, which no other call is.
void watch(std::string const& folder);
/// The same, and lets some of them fail.
void watch(std::string const& folder, Plan const& plan);
/// The same, on a disk with room for `bytes`: a write takes what fits, and the next one fails with ENOSPC.
void watch_with_room_for(std::string const& folder, std::size_t bytes);
/// The same, where a read or write moves at most `bytes`.
void watch_in_pieces(std::string const& folder, std::size_t bytes);
void stop_watching();

/// How many calls of a kind have come, and how many calls have failed by order.
int count(Call call);
int failed();

}  // namespace file_faults
