// The entries above the reader: the batch check of sources, one report and summary each, and
// the public entries for a source's kind and version and the central-library bracket.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string_view>

#include "libibis/src/defs.h"
#include "libibis/src/parse.h"
#include "libibis/src/srcver.h"

namespace tarn {

struct IbisDocument;
class ModelObserver;
/// What a caller does with a source that passed, before its summary line; its findings go to
/// the same report and count towards that summary.
using PassedDocumentUse = std::function<void(const IbisDocument&)>;
/// One source as the batch reads it onto `report`: the version check, the reading, `use` (when
/// set) on the document of a source that passed and holds a component, and the summary line.
/// True when the source passed.
/// An `observer` is told of each model as the reading goes (see ModelObserver).
bool SRC_CheckOne(const char* name, std::FILE* report, const PassedDocumentUse& use,
                  ModelObserver* observer = nullptr);

/// What checking one source gave: the version it declares (0 when it cannot be told), whether it
/// was read and passed, and the document when one was kept.
struct CheckOutcome {
  int version = 0;
  bool read = false;
  bool passed = false;
  std::unique_ptr<IbisDocument> document;
};
/// SRC_CheckOne for a source that may be held in memory; with `keep_document`, the document is
/// handed back whatever it holds and however the reading went, once `use` has seen it.
CheckOutcome SRC_Check(const SourceInput& input, std::FILE* report, const PassedDocumentUse& use,
                       bool keep_document, ModelObserver* observer = nullptr);

}  // namespace tarn
