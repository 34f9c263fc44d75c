// Documenting a component: one component of a checked IBIS source written as a plain-text
// listing for people (the file header, the component with its package, pins, pin mapping and
// differential pins, and the models its pins use), in IBIS-like keyword lines under banners.
// The listing is not meant to be read back.
#pragma once

#include <cstdio>

#include "tarn/export.h"
#include "tarn/reader.h"

namespace tarn {

/// Reads and checks `source` onto `report` as IBIS_CheckFilesToStream does (banner, findings,
/// summary line; a null report shows nothing but still counts) and, when it passed, writes the
/// listing of `component` (its name compared without regard to case; null: the source must hold
/// exactly one component) to `output`. The writer's own errors are reported before the summary
/// and count towards it. Returns 1 when the listing was written (with a null output: when the
/// component was found), else 0. Each model's part is written on a second thread while the rest
/// of the source is read, and its tables freed then, so the memory stays near that of a check.
TARN_API int IBIS_DocumentSourceToStream(const char* source, const char* component,
                                         const char* output, std::FILE* report);

/// Writes the listing of `component` of a document handed over by a read; the writer's errors go
/// to `report` (null: nowhere). A null output only checks that the component is there. Returns 1
/// when written (or found).
TARN_API int IBIS_DocumentComponent(const IbisDocument* document, const char* output,
                                    const char* component, std::FILE* report);

}  // namespace tarn
