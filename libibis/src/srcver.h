// The kind of a source and the IBIS version it declares, decided before it is read; below the
// reader, which asks them first.
#pragma once

#include <cstdint>
#include <string_view>

#include "libibis/src/defs.h"
#include "libibis/src/parse.h"

namespace tarn {

/// From the text after the last "." of the file's name, without regard to case.
FileKind SRC_KindOf(std::string_view file_name);
/// 1, 2 or 3 from the first bracketed line, which must be [IBIS Ver], or 4 to 7 when later
/// versions are accepted; 0 otherwise.
int SRC_DetectVersion(const char* file_name, uint32_t* line_count, FileKind kind);
/// The same for a source that may be held in memory.
int SRC_DetectVersionOf(const SourceInput& input, FileKind kind);
/// Whether a detected version code is one that is read.
bool SRC_KnownVersion(int version);

}  // namespace tarn
