#pragma once

/** Whether this program carries a sanitizer, which keeps freed memory and is slow. */
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool SANITIZED = true;
#else
constexpr bool SANITIZED = false;
#endif
