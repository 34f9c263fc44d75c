#include "libibis/src/source.h"

#include <cstdio>
#include <memory>
#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/guard.h"
#include "libibis/src/hdr.h"
#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

// The central-library service the host installed, kept for the life of the library: readings
// use it, none of them changes it.
struct SourceState {
  CentralLibraryService default_service;
  CentralLibraryService* service = &default_service;
};

SourceState g_src;

bool ends_with_no_case(std::string_view text, std::string_view tail) {
  return text.size() >= tail.size() && CMN_EqualNoCase(text.substr(text.size() - tail.size()), tail);
}

// The summary file lists the sources that passed.
bool check_all(const char* const* files, int count, std::FILE* report, std::FILE* summary) {
  bool all_passed = true;
  for (int i = 0; i < count; ++i) {
    const char* name = files[i];
    if (!name) continue;
    PassedDocumentUse list_passed;
    if (summary) list_passed = [&](const IbisDocument&) { std::fprintf(summary, "%s\n", name); };
    if (!SRC_CheckOne(name, report, list_passed)) all_passed = false;
  }
  return all_passed;
}

}  // namespace

bool SRC_CheckOne(const char* name, std::FILE* report, const PassedDocumentUse& use,
                  ModelObserver* observer) {
  return SRC_Check({name, {}}, report, use, false, observer).passed;
}

CheckOutcome SRC_Check(const SourceInput& input, std::FILE* report, const PassedDocumentUse& use,
                       bool keep_document, ModelObserver* observer) {
  CheckOutcome result;
  const char* name = input.name;
  RptCountingScope counting;
  RPT_ResetCounts();
  RPT_SetStream(report);
  const FileKind kind = SRC_KindOf(name);
  RPT_SetFileName(name);
  result.version = SRC_DetectVersionOf(input, kind);
  if (!SRC_KnownVersion(result.version)) {
    RPT_Error("Unsupported or Illegal IBIS Version Number");
    RPT_PrintSummary();
    RPT_SetStream(nullptr);
    return result;
  }
  const DocumentWanted wanted = keep_document ? DocumentWanted::Any
                                : use         ? DocumentWanted::WithComponent
                                              : DocumentWanted::None;
  const ReadOutcome outcome = ibis_read(input, report, wanted, observer);
  std::unique_ptr<IbisDocument> document(outcome.document);
  // The reading leaves the reporter silent and may have named a nested file.
  RPT_SetStream(report);
  RPT_SetFileName(name);
  if (outcome.read && RPT_Passed() && document && !document->components.empty() && use)
    use(*document);
  if (keep_document) result.document = std::move(document);
  document.reset();
  if (observer) observer->DocumentReleased();
  RPT_PrintSummary();
  result.read = outcome.read;
  result.passed = outcome.read && RPT_Passed();
  RPT_SetStream(nullptr);
  return result;
}


CentralLibraryService::~CentralLibraryService() = default;
int CentralLibraryService::initCentralLibrary(int, const char*) { return 0; }
int CentralLibraryService::findCentralLibraryFile(const char*, char*, std::size_t) { return 0; }
void CentralLibraryService::termCentralLibrary() {}

void IBIS_SetCentralLibraryService(CentralLibraryService* service) {
  ApiGuard guard;
  g_src.service = service ? service : &g_src.default_service;
}

int IBIS_KindOf(const char* file_name) {
  return file_name ? static_cast<int>(SRC_KindOf(file_name)) : 0;
}

void IBIS_SetAcceptNewer(int accept) {
  ApiGuard guard;
  HDR_SetAcceptNewer(accept != 0);
}

int IBIS_DetectVersion(const char* file_name, uint32_t* line_count, int kind) {
  ApiGuard guard;
  if (kind < 0 || kind > 3) kind = 0;
  return SRC_DetectVersion(file_name, line_count, static_cast<FileKind>(kind));
}

int IBIS_CheckFilesToStream(const char* const* files, int count, std::FILE* report) {
  ApiGuard guard;
  if (!files || count < 1) return 0;
  return check_all(files, count, report, nullptr) ? 1 : 0;
}

int IBIS_CheckFiles(const char* const* files, const char* const* /*second*/,
                    const char* report_path, const char* summary_path, int count) {
  ApiGuard guard;
  if (!files || !summary_path || count < 1) return 0;
  std::FILE* report = nullptr;
  if (report_path) {
    report = std::fopen(report_path, "w");
    if (!report) return 0;
  }
  std::FILE* summary = std::fopen(summary_path, "w");
  if (!summary) {
    if (report) std::fclose(report);
    return 0;
  }
  const bool passed = check_all(files, count, report, summary);
  std::fclose(summary);
  if (report) std::fclose(report);
  return passed ? 1 : 0;
}

int IBIS_ReadWithContext(const char* context_path, const char* source, std::FILE* report,
                         IbisDocument** document_out) {
  ApiGuard guard;
  const std::string_view context = context_path ? context_path : "";
  if (ends_with_no_case(context, ".lmc")) g_src.service->initCentralLibrary(0, context_path);
  else if (ends_with_no_case(context, ".prj")) g_src.service->initCentralLibrary(1, context_path);
  const int result =
      ibis_read_result(ibis_read({source, {}}, report, wanted_by(document_out)), document_out);
  g_src.service->termCentralLibrary();
  return result;
}

}  // namespace tarn
