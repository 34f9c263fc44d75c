// Symbol visibility for libtarn.so: everything is hidden unless marked TARN_API.
#pragma once

#if defined(__GNUC__) || defined(__clang__)
#define TARN_API __attribute__((visibility("default")))
#else
#define TARN_API
#endif
