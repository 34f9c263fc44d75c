// Compiling a component: one component of a checked IBIS source written as a compiled component
// model file, the compact keyword text that the model library reads back.
#pragma once

#include <cstdio>

#include "tarn/export.h"
#include "tarn/reader.h"

namespace tarn {

/// Reads and checks `source` onto `report` as IBIS_CheckFilesToStream does (banner, findings,
/// summary line) and, when no error was counted, writes the compiled file of `component` (null: the
/// source must hold exactly one component) to `output`. The writer's own errors are reported before
/// the summary and count towards it. Returns 1 when the file was written (with a null or "-"
/// output: when the component was found), else 0. Each model's part is formatted on a second
/// thread while the rest of the source is read, and its tables freed then.
TARN_API int IBIS_CompileSourceToStream(const char* source, const char* component,
                                        const char* output, std::FILE* report);

/// Writes the compiled file of `component` of a document handed over by a read; the writer's errors
/// go to `report` (null: nowhere). Returns 1 when written.
TARN_API int IBIS_CompileDocument(const IbisDocument* document, const char* output,
                                  const char* component, std::FILE* report);

}  // namespace tarn
