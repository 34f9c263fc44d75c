// The component documentation file: one component of a read document as a plain-text listing
// for people (the file header, the component with its package, pins, pin mapping and
// differential pins, and the models its pins use), in IBIS-like keyword lines under banners.
#pragma once

#include <string>

namespace tarn {

struct IbisDocument;

/// Writes the documentation of `component` (its name compared without regard to case; without
/// a name, the document's only component) to `path`. Without a path nothing is written: the
/// call only checks that the component is there. Problems are reported as errors without a line
/// number; true on success.
[[nodiscard]] bool DOC_WriteComponent(const IbisDocument* document, const char* path,
                                      const char* component);

/// A value as the listing shows it: engineering notation with the scale letters the reader
/// takes (f p n u m k M G T), at most six significant digits and no trailing zeros ("3.3n",
/// "250m", "50"); the same whatever locale the host program set.
std::string DOC_FormatNumber(double value);

}  // namespace tarn
