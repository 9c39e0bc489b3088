// Which sanitizer this build has. GCC tells it by macros, and clang by features.
#pragma once

namespace support {

#if defined(__has_feature)
#define VORNIX_HAS_FEATURE(name) __has_feature(name)
#else
#define VORNIX_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_THREAD__) || VORNIX_HAS_FEATURE(thread_sanitizer)
inline constexpr bool hasThreadSanitizer = true;
#else
inline constexpr bool hasThreadSanitizer = false;
#endif

#if defined(__SANITIZE_ADDRESS__) || VORNIX_HAS_FEATURE(address_sanitizer)
inline constexpr bool hasAddressSanitizer = true;
#else
inline constexpr bool hasAddressSanitizer = false;
#endif

#undef VORNIX_HAS_FEATURE

// The thread sanitizer has a thread of its own in every program.
inline constexpr unsigned threadsOfSanitizer = hasThreadSanitizer ? 1 : 0;

}  // namespace support
