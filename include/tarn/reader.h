// Reading and checking IBIS sources (.ibs, .pkg, .ebd) for callers that want the report or
// the document. Every finding is written as one ERROR or WARNING line to the report stream.
#pragma once

#include <cstdint>
#include <cstdio>

#include "tarn/export.h"

namespace tarn {

/// The root of one reading: the file header and the records of every section.
struct IbisDocument;

/// The kind of a source from its extension, without regard to case:
/// 0 unknown, 1 ".ibs", 2 ".pkg", 3 ".ebd".
TARN_API int IBIS_KindOf(const char* file_name);

/// Accepts sources that declare IBIS 4.0 to 7.2 (nonzero) or refuses them (0, the default).
/// Accepted, their IBIS 3.2 constructs are checked as in any 3.2 source, the limits follow
/// the declared version, and what later versions added (keywords, blocks, subparameters) is
/// read past with one warning per name. Applies to every later reading of the process.
TARN_API void IBIS_SetAcceptNewer(int accept);

/// The major IBIS version the source declares in its first bracketed line: 1, 2 or 3 (4 to 7
/// when later versions are accepted), or 0 when it cannot be told. Adds the number of lines
/// read to `*line_count` when given.
TARN_API int IBIS_DetectVersion(const char* file_name, uint32_t* line_count, int kind);

/// Reads and checks one source with the report written to the file `log_path` (appended to
/// when `append` is set, replaced otherwise; nowhere when `log_path` is null: the findings are
/// counted all the same). Returns 1 when
/// the file was read, also when it holds errors (see IBIS_GetCounts), else 0. With
/// `document_out`, a document holding at least one component is handed over (free it with
/// IBIS_DestroyDocument); without a component the result is 0.
TARN_API int IBIS_ReadSource(const char* source, const char* log_path, int append,
                             IbisDocument** document_out);
/// The same, writing the report to an open stream (null: no report, findings still counted).
TARN_API int IBIS_ReadSourceToStream(const char* source, std::FILE* report,
                                     IbisDocument** document_out);

/// Reads each source in turn into one report, each followed by its summary line. Without a
/// summary path, or with a count below 1, nothing is done. The summary file lists the
/// sources that passed, one per line; `second` is accepted for compatibility and unused.
/// Returns 1 when every source passed.
TARN_API int IBIS_CheckFiles(const char* const* files, const char* const* second,
                             const char* report_path, const char* summary_path, int count);
/// The batch reading onto an open stream. Returns 1 when every source passed.
TARN_API int IBIS_CheckFilesToStream(const char* const* files, int count, std::FILE* report);

/// IBIS_ReadSourceToStream inside the central library service's bracket: a context path
/// ending in ".lmc" opens the service in mode 0, ".prj" in mode 1.
TARN_API int IBIS_ReadWithContext(const char* context_path, const char* source,
                                  std::FILE* report, IbisDocument** document_out);

/// The counts of the last reading, whether or not it had a report.
TARN_API void IBIS_GetCounts(uint32_t* errors, uint32_t* warnings, uint32_t* bugs);

/// Frees a document handed over by a read.
TARN_API void IBIS_DestroyDocument(IbisDocument* document);

/// A host's library of sources named through a library or project file. The default
/// service does nothing.
class TARN_API CentralLibraryService {
 public:
  virtual ~CentralLibraryService();
  /// `mode` 0 for a ".lmc" library file, 1 for a ".prj" project file.
  virtual int initCentralLibrary(int mode, const char* path);
  /// Copies the path of `name` into `path_out` (at most `size` bytes); 1 when found.
  virtual int findCentralLibraryFile(const char* name, char* path_out, std::size_t size);
  virtual void termCentralLibrary();
};

/// Installs the host's service (null restores the default). The caller keeps ownership.
TARN_API void IBIS_SetCentralLibraryService(CentralLibraryService* service);

}  // namespace tarn
