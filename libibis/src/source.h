// The kind of a source and the IBIS version it declares, decided before it is read.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
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

struct IbisDocument;
/// What a caller does with a source that passed, before its summary line; its findings go to
/// the same report and count towards that summary.
using PassedDocumentUse = std::function<void(const IbisDocument&)>;
/// One source as the batch reads it onto `report`: the version check, the reading, `use` (when
/// set) on the document of a source that passed and holds a component, and the summary line.
/// True when the source passed.
bool SRC_CheckOne(const char* name, std::FILE* report, const PassedDocumentUse& use);

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
                       bool keep_document);

}  // namespace tarn
