// Line reader and keyword dispatcher.
#pragma once

#include <cstdint>

namespace tarn {

/// The number of the line last read.
uint32_t PRS_GetLineNumber();

}  // namespace tarn
