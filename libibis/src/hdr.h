// The file header: [IBIS Ver], [File Name], [File Rev], [Date] and the free-text keywords.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

struct FileHeader {
  std::string ibis_version;  // at most 70 characters
  std::string file_name;     // at most 24 (256 from IBIS 7.0)
  std::string file_rev;      // at most 70
  std::string date;          // at most 40
  // Free text, lines joined by a line feed; absent when the keyword was not given.
  std::optional<std::string> source;
  std::optional<std::string> notes;
  std::optional<std::string> disclaimer;
  std::optional<std::string> copyright;
  std::time_t file_time = 0;  // of the file read, taken at [File Name]
};

/// 1 and the text when the keyword gave one, else 0.
[[nodiscard]] int HDR_GetIbisVersion(const FileHeader* header, std::string_view* out);
[[nodiscard]] int HDR_GetFileName(const FileHeader* header, std::string_view* out);
[[nodiscard]] int HDR_GetFileRev(const FileHeader* header, std::string_view* out);
[[nodiscard]] int HDR_GetDate(const FileHeader* header, std::string_view* out);
/// The free texts, lines joined by a line feed: 1 when the keyword was given, even empty.
[[nodiscard]] int HDR_GetSource(const FileHeader* header, std::string_view* out);
[[nodiscard]] int HDR_GetNotes(const FileHeader* header, std::string_view* out);
[[nodiscard]] int HDR_GetDisclaimer(const FileHeader* header, std::string_view* out);
[[nodiscard]] int HDR_GetCopyright(const FileHeader* header, std::string_view* out);

/// Clears the header flags for a new reading.
void HDR_Reset();
/// Creates the current document's header record (for [IBIS Ver]); a second call keeps it.
void HDR_Init();
void HDR_Line(LineKind kind, Kw code, std::string_view line);
void HDR_KeywordDone(Kw next);
/// Whether [IBIS Ver] has been read in this reading.
bool HDR_VersionSeen();
/// When set, [IBIS Ver] texts beginning "1." are accepted. Off by default.
void HDR_SetAcceptVersion1(bool accept);
bool HDR_AcceptsVersion1();
/// When set, [IBIS Ver] 4.0 to 7.2 are accepted: their IBIS 3.2 constructs are checked and
/// what the later versions added is read past. Off by default.
void HDR_SetAcceptNewer(bool accept);
bool HDR_AcceptNewer();

}  // namespace tarn
