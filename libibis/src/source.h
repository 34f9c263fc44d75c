// The kind of a source and the IBIS version it declares, decided before it is read.
#pragma once

#include <cstdint>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

/// From the text after the last "." of the file's name, without regard to case.
FileKind SRC_KindOf(std::string_view file_name);
/// 1, 2 or 3 from the first bracketed line, which must be [IBIS Ver]; 0 otherwise.
int SRC_DetectVersion(const char* file_name, uint32_t* line_count, FileKind kind);

}  // namespace tarn
