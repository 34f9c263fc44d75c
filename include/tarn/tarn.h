// Public entry points of libtarn.
#pragma once

#include "tarn/export.h"

/// The library's version text, such as "0.1.0".
extern "C" TARN_API const char* tarn_version();
