#include "libibis/src/srcver.h"

#include <cstdio>
#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/hdr.h"

namespace tarn {
namespace {

// Room for the 1,024 characters the probe looks at, the line feed and the terminator.
constexpr size_t kProbeBuffer = 1026;

int version_from_probe_line(std::string_view line) {
  if (!CMN_EqualNoCaseN(line, "[IBIS Ver]", 10) && !CMN_EqualNoCaseN(line, "[IBIS_Ver]", 10))
    return 0;
  if (line.size() < 10) return 0;
  const size_t pos = CMN_SkipSpace(line, 10);
  if (pos >= line.size()) return 0;
  const char digit = line[pos];
  if (digit >= '1' && digit <= '3') return digit - '0';
  // Later major versions only on request; [IBIS Ver] then checks the whole version text.
  if (digit >= '4' && digit <= '7' && HDR_AcceptNewer()) return digit - '0';
  return 0;
}

// The version of the first bracketed line; `lines` counts the lines read up to it.
int probe_version(LineSource& source, uint32_t* lines) {
  char buffer[kProbeBuffer];
  long length = 0;
  while ((length = source.read_line(buffer, sizeof buffer)) >= 0) {
    ++*lines;
    const std::string_view line(buffer, static_cast<size_t>(length));
    const size_t first = CMN_SkipSpace(line, 0);
    if (first < line.size() && line[first] == '[')
      return version_from_probe_line(CMN_TrimRight(line.substr(first)));
  }
  return 0;
}

}  // namespace

bool SRC_KnownVersion(int version) { return version >= 1 && version <= 7; }

FileKind SRC_KindOf(std::string_view file_name) {
  const size_t sep = file_name.find_last_of("/\\");
  const std::string_view base = sep == std::string_view::npos ? file_name : file_name.substr(sep + 1);
  const size_t dot = base.rfind('.');
  if (dot == std::string_view::npos) return FileKind::Unknown;
  const std::string_view ext = base.substr(dot);
  if (CMN_EqualNoCase(ext, ".ibs")) return FileKind::Ibs;
  if (CMN_EqualNoCase(ext, ".pkg")) return FileKind::Pkg;
  if (CMN_EqualNoCase(ext, ".ebd")) return FileKind::Ebd;
  return FileKind::Unknown;
}

int SRC_DetectVersion(const char* file_name, uint32_t* line_count, FileKind kind) {
  if (!file_name) return 0;
  std::string base;
  std::string full;
  std::FILE* file = CMN_OpenSource(file_name, kind, &base, &full);
  if (!file) return 0;
  int version = 0;
  uint32_t lines = 0;
  {
    LineSource source(file, /*report=*/false);
    version = probe_version(source, &lines);
  }
  std::fclose(file);
  if (line_count) *line_count += lines;
  return version;
}

int SRC_DetectVersionOf(const SourceInput& input, FileKind kind) {
  if (!input.text) return SRC_DetectVersion(input.name, nullptr, kind);
  LineSource source(*input.text, /*report=*/false);
  uint32_t lines = 0;
  return probe_version(source, &lines);
}

}  // namespace tarn
