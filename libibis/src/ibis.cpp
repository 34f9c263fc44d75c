#include "libibis/src/ibis.h"

#include "libibis/src/guard.h"
#include "libibis/src/parse.h"
#include "libibis/src/plaus.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"
#include "libibis/src/srcver.h"
#include "libibis/src/vichk.h"

namespace tarn {
namespace {

struct DocumentState {
  IbisDocument* current = nullptr;
  std::string calling_file;
};
DocumentState g_doc;

// A nested and a top-level reading refuse a source in the same words.
constexpr char kUnknownVersion[] = "Unrecognized IBIS Version";
constexpr char kNoDocument[] = "Unable to create IBIS.";

}  // namespace

// Frees the records in the order the sections expect: header, components, models, package
// models, selectors, boards, submodels.
IbisDocument::~IbisDocument() {
  header.reset();
  components.clear();
  models.clear();
  package_models.clear();
  selectors.clear();
  boards.clear();
  submodels.clear();
}

IbisDocument* IBIS_CreateDocument() {
  IbisDocument* doc = new (std::nothrow) IbisDocument;
  if (!doc) return nullptr;
  doc->previous = g_doc.current;
  g_doc.current = doc;
  return doc;
}

void IBIS_DetachDocument(IbisDocument* document) {
  TARN_ASSERT(document != nullptr);
  if (g_doc.current == document) g_doc.current = document->previous;
  document->previous = nullptr;
}

IbisDocument* IBIS_Current() { return g_doc.current; }

int IBIS_GetHeader(const IbisDocument* document, const FileHeader** header_out) {
  TARN_ASSERT(document != nullptr && header_out != nullptr);
  *header_out = document->header.get();
  return *header_out ? 1 : 0;
}

const std::string& IBIS_CallingFileName() { return g_doc.calling_file; }

void IBIS_EndOfFileChecks(FileKind kind, bool nested) {
  IbisDocument* doc = IBIS_Current();
  TARN_ASSERT(doc != nullptr);
  if (!nested) g_doc.calling_file = RPT_GetFileName();
  if (kind != FileKind::Ibs) {
    // Only board descriptions are checked outside a .ibs file; a .pkg file's package models
    // get no end-of-file checks.
    if (!doc->boards.empty()) EBDMDL_EndOfFile(nested);
    return;
  }
  if (!doc->models.empty()) {
    MDL_EndOfFile();
    VICHK_EndOfFile(*doc);
    PLAUS_ModelsEndOfFile(*doc);
    driver_schedule_end_of_file(*doc);
  }
  if (!doc->components.empty()) {
    PLAUS_ComponentsEndOfFile(*doc);
    CMPNT_EndOfFile();
  } else {
    RPT_Error("Required keyword 'Component' not found.");
  }
  if (!doc->package_models.empty()) PKGMDL_EndOfFile();
  if (!doc->selectors.empty()) MSEL_EndOfFile();
  // Unlike the other groups, run without submodels too: an [Add Submodel] entry of a file that
  // defines none names a submodel that is missing.
  SUBMDL_EndOfFile();
}

int IBIS_ReadNested(const char* source, FileKind kind, IbisDocument** document_out) {
  TARN_ASSERT(source != nullptr);
  const SavedStates saved = save_reading_states();
  const std::string outer_name = RPT_GetFileName();
  const bool banner = PRS_BannerEnabled();
  PRS_SetBannerEnabled(false);
  auto finish = [&](int result) {
    restore_reading_states(saved);
    RPT_SetFileName(outer_name.c_str());
    PRS_SetBannerEnabled(banner);
    return result;
  };
  RPT_SetFileName(source);
  const int version = SRC_DetectVersion(source, nullptr, kind);
  if (!SRC_KnownVersion(version)) {
    RPT_Error(kUnknownVersion);
    return finish(0);
  }
  PRS_SetVersion(version);
  // Read into the current document, the inner file's header is checked as its own and then
  // dropped: the document keeps the header of the file that named it.
  IbisDocument* current = IBIS_Current();
  std::unique_ptr<FileHeader> outer_header;
  if (!document_out && current) outer_header = std::move(current->header);
  std::unique_ptr<IbisDocument> doc;
  if (document_out) {
    doc.reset(IBIS_CreateDocument());
    if (!doc) {
      RPT_Error(kNoDocument);
      return finish(0);
    }
  }
  const int read = PRS_ReadFile(source, kind);
  if (read) IBIS_EndOfFileChecks(kind, true);
  if (doc) {
    IBIS_DetachDocument(doc.get());
    if (read) *document_out = doc.release();
  }
  if (!document_out && current) current->header = std::move(outer_header);
  return finish(read);
}

ReadOutcome ibis_read(const SourceInput& input, std::FILE* report, DocumentWanted wanted,
                      ModelObserver* observer) {
  ReadOutcome outcome;
  const char* source = input.name;
  if (!source || !*source) return outcome;
  RptCountingScope counting;
  const FileKind kind = SRC_KindOf(source);
  RPT_ResetCounts();
  RPT_SetStream(report);
  RPT_SetFileName(source);
  const int version = SRC_DetectVersionOf(input, kind);
  if (!SRC_KnownVersion(version)) {
    RPT_Error(kUnknownVersion);
    RPT_SetStream(nullptr);
    return outcome;
  }
  std::unique_ptr<IbisDocument> doc(IBIS_CreateDocument());
  if (!doc) {
    RPT_Error(kNoDocument);
    RPT_SetStream(nullptr);
    return outcome;
  }
  doc->release_model_tables = wanted == DocumentWanted::None;
  doc->model_observer = observer;
  PRS_SetVersion(version);
  outcome.read = PRS_ReadSource(input, kind) == 1;
  if (observer) observer->ReadingEnded();
  doc->model_observer = nullptr;
  if (outcome.read) IBIS_EndOfFileChecks(kind, false);
  IBIS_DetachDocument(doc.get());
  const bool keep = wanted == DocumentWanted::Any ||
                    (wanted == DocumentWanted::WithComponent && !doc->components.empty());
  if (outcome.read && keep) outcome.document = doc.release();
  RPT_SetStream(nullptr);
  return outcome;
}

DocumentWanted wanted_by(IbisDocument** document_out) {
  return document_out ? DocumentWanted::WithComponent : DocumentWanted::None;
}

// A requested document must hold a component for the reading to count.
int ibis_read_result(const ReadOutcome& outcome, IbisDocument** document_out) {
  if (!outcome.read) return 0;
  if (!document_out) return 1;
  *document_out = outcome.document;
  return outcome.document ? 1 : 0;
}

int IBIS_ReadSourceToStream(const char* source, std::FILE* report, IbisDocument** document_out) {
  ApiGuard guard;
  return ibis_read_result(ibis_read({source, {}}, report, wanted_by(document_out)), document_out);
}

int IBIS_ReadSource(const char* source, const char* log_path, int append,
                    IbisDocument** document_out) {
  ApiGuard guard;
  if (!source || !*source) return 0;
  std::FILE* log = nullptr;
  if (log_path) {
    log = std::fopen(log_path, append ? "a" : "w");
    if (!log) return 0;
  }
  const int result =
      ibis_read_result(ibis_read({source, {}}, log, wanted_by(document_out)), document_out);
  if (log) std::fclose(log);
  return result;
}

void IBIS_GetCounts(uint32_t* errors, uint32_t* warnings, uint32_t* bugs) {
  ApiGuard guard;
  RPT_GetCounts(errors, warnings, bugs);
}

void IBIS_DestroyDocument(IbisDocument* document) {
  ApiGuard guard;
  if (!document) return;
  IBIS_DetachDocument(document);
  delete document;
}

}  // namespace tarn
