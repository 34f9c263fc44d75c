// The kind of a source and the IBIS version it declares, decided before it is read.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

/// From the text after the last "." of the file's name, without regard to case.
FileKind SRC_KindOf(std::string_view file_name);
/// 1, 2 or 3 from the first bracketed line, which must be [IBIS Ver], or 4 to 7 when later
/// versions are accepted; 0 otherwise.
int SRC_DetectVersion(const char* file_name, uint32_t* line_count, FileKind kind);
/// Whether a detected version code is one that is read.
bool SRC_KnownVersion(int version);

struct IbisDocument;
/// What a caller does with a source that passed, before its summary line; its findings go to
/// the same report and count towards that summary.
using PassedDocumentUse = std::function<void(const IbisDocument&)>;
/// One source as the batch reads it onto `report`: the version check, the reading, `use` (when
/// set) on the document of a source that passed and holds a component, and the summary line.
/// True when the source passed.
bool SRC_CheckOne(const char* name, std::FILE* report, const PassedDocumentUse& use);

}  // namespace tarn
