// The IBIS document (the root of one reading, kept on a stack so that a file read during
// another gets its own) and the top-level read with the end-of-file checks.
#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "libibis/src/cmpnt.h"
#include "libibis/src/defs.h"
#include "libibis/src/ebdmdl.h"
#include "libibis/src/hdr.h"
#include "libibis/src/mdl.h"
#include "libibis/src/msel.h"
#include "libibis/src/parse.h"
#include "libibis/src/pkgmdl.h"
#include "libibis/src/submdl.h"
#include "tarn/reader.h"

namespace tarn {

/// Told of each model of a top-level reading as soon as the model's own checks have run, while
/// its tables are still hot in the cache; a writer that streams its output takes them from here.
/// Once told of a model, the observer owns its tables: the reader neither packs nor frees them.
/// `ReadingEnded` comes once, after the last model and before the end-of-file checks, and from
/// its return on the observer leaves every model alone. `DocumentReleased` comes last, once the
/// document has been let go of and before the summary line: what the observer reports then
/// counts towards it.
class ModelObserver {
 public:
  virtual ~ModelObserver() = default;
  virtual void ModelEnded(IbisModel& model) = 0;
  virtual void ReadingEnded() = 0;
  virtual void DocumentReleased() {}
};

struct DocumentNames;

/// Records are kept in file order; walks that the design calls "newest first" go backwards.
struct IbisDocument {
  IbisDocument* previous = nullptr;  // the document that was current before this one
  std::unique_ptr<FileHeader> header;
  std::vector<std::unique_ptr<Component>> components;
  std::vector<std::unique_ptr<IbisModel>> models;
  std::vector<std::unique_ptr<Submodel>> submodels;
  std::vector<std::unique_ptr<PackageModel>> package_models;
  std::vector<std::unique_ptr<BoardDescription>> boards;
  std::vector<std::unique_ptr<ModelSelector>> selectors;
  // Set when the document is only checked: a model's tables go once its checks have run.
  bool release_model_tables = false;
  ModelObserver* model_observer = nullptr;  // set for the reading only
  // The look-ups by name that programs make of a finished document, made on the first one.
  mutable std::once_flag names_made;
  mutable std::shared_ptr<const DocumentNames> names;

  ~IbisDocument();
};

/// Creates a document and makes it current (nullptr when it cannot be made).
IbisDocument* IBIS_CreateDocument();
/// Makes the document's predecessor current again, keeping the document.
void IBIS_DetachDocument(IbisDocument* document);
/// The document the sections work on.
IbisDocument* IBIS_Current();

/// Accessors: 1 and the item when present, else 0.
int IBIS_GetHeader(const IbisDocument* document, const FileHeader** header_out);
template <class Record>
int IBIS_GetList(const std::vector<std::unique_ptr<Record>>& list,
                 const std::vector<std::unique_ptr<Record>>** list_out) {
  *list_out = &list;
  return list.empty() ? 0 : 1;
}

/// Reads another source in the middle of a reading (a package file found by a search, a
/// component file named by a board): into the current document, or with `document_out` into a
/// new one handed back. The reader's and the sections' states are restored afterwards, and its
/// findings add to the counts of the reading. 1 when the file was read.
int IBIS_ReadNested(const char* source, FileKind kind, IbisDocument** document_out);

/// The checks that run after the whole file has been read, by file kind.
void IBIS_EndOfFileChecks(FileKind kind, bool nested);
/// The top-level file of the reading, saved before its end-of-file checks.
const std::string& IBIS_CallingFileName();

/// Which document a top-level reading hands back: none, one that holds a component (what the
/// reader entries promise), or whatever was read.
enum class DocumentWanted : uint8_t { None, WithComponent, Any };

/// What one top-level reading gave: whether the file was read at all, and the document as
/// wanted (the caller frees it).
struct ReadOutcome {
  bool read = false;
  IbisDocument* document = nullptr;
};
/// The top-level reading of one source onto `report` (no report when null; the findings are
/// counted all the same), without the process-wide hold that the public entries take.
ReadOutcome ibis_read(const SourceInput& input, std::FILE* report, DocumentWanted wanted,
                      ModelObserver* observer = nullptr);
/// The public result of a reading, handing the document over when asked for.
int ibis_read_result(const ReadOutcome& outcome, IbisDocument** document_out);
/// What a reader entry asks for: a document that holds a component when it has a slot for one.
DocumentWanted wanted_by(IbisDocument** document_out);

}  // namespace tarn
