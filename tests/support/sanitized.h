// Whether the program is built with the address or the thread sanitizer, which make computing many times slower. Tests
// that go the same way over many data then take a part of these; the optimised build takes them all.
#pragma once

namespace test_support {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
inline constexpr bool kSanitized = __has_feature(address_sanitizer);
#else
inline constexpr bool kSanitized = false;
#endif

}  // namespace test_support
