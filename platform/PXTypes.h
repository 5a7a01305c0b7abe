#pragma once
// Basic integer names used by the camera platform and by the library.
#include <cstdint>

typedef uint32_t u32;
typedef int32_t s32;
typedef uint8_t u8;
typedef int64_t INT64;
