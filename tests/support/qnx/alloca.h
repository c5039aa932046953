#pragma once

#include <stddef.h>

// What platform/qnx/ takes from this header of QNX.

#ifdef __cplusplus
extern "C" {
#endif
size_t __stackavail(void);
#ifdef __cplusplus
}
#endif
