#include "libibis/src/hdr.h"

#include <array>

#include "libibis/src/chars.h"
#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/newer.h"
#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kVersionLimit = 70;
constexpr size_t kFileRevLimit = 70;
constexpr size_t kDateLimit = 40;

// One "seen" flag per header keyword, indexed by its code.
struct HeaderState {
  std::array<bool, 9> seen{};
  Kw current = Kw::NOT_KEY;
  bool dropping = false;  // data lines of a refused duplicate free-text keyword
};

HeaderState g_hdr;
SavedWithReading<HeaderState> g_hdr_saved(&g_hdr);
// The caller's choices for the readings it starts (and those nested in them), so a reading
// does not reset them.
struct HeaderSettings {
  bool accept_version1 = false;
  bool accept_newer = false;
};

HeaderSettings g_hdr_settings;

bool& seen(Kw code) { return g_hdr.seen[kw_int(code)]; }

FileHeader* header() {
  IbisDocument* doc = IBIS_Current();
  return doc ? doc->header.get() : nullptr;
}

bool any_other_header_seen() {
  for (int i = kw_int(Kw::FILE_NAME); i <= kw_int(Kw::COPYRIGHT); ++i)
    if (g_hdr.seen[i]) return true;
  return false;
}

// The rules a later version brings, when the caller accepts later versions.
NewerRules newer_rules(std::string_view text) {
  return g_hdr_settings.accept_newer ? NEWER_RulesFor(text) : NewerRules{};
}

bool accepted_version(std::string_view text) {
  for (std::string_view v : {"2.0", "2.1", "3.0", "3.1", "3.2"})
    if (text == v) return true;
  if (newer_rules(text).declared != 0) return true;
  return g_hdr_settings.accept_version1 && text.substr(0, 2) == "1.";
}

void ibis_ver(FileHeader& h, std::string_view text) {
  if (any_other_header_seen()) RPT_ErrorAtLine("IBIS_Version must be first keyword.\n");
  if (seen(Kw::IBIS_VER)) {
    RPT_ErrorAtLine("Duplicate IBIS_Ver keyword");
    return;
  }
  seen(Kw::IBIS_VER) = true;
  (void)CMN_SetOnce(&h.ibis_version, text, kVersionLimit, "IBIS_Version");
  if (!accepted_version(h.ibis_version))
    RPT_ErrorAtLine("Illegal IBIS_Version '%s'.", h.ibis_version.c_str());
  const NewerRules later = newer_rules(h.ibis_version);
  NEWER_SetRules(later);
  // A later version is read by the IBIS 3.2 rules with its own changes to them.
  if (later.declared != 0) PRS_SetVersion(later.declared / 10);
  else if (!h.ibis_version.empty() && h.ibis_version[0] >= '1' && h.ibis_version[0] <= '3')
    PRS_SetVersion(h.ibis_version[0] - '0');
}

void check_file_name_characters(const std::string& name) {
  if (CMN_CheckFileNameCharacters(name, NEWER_Rules().free_file_names) == 0)
    RPT_ErrorAtLine("File_name '%s' must contain one period.", name.c_str());
}

void file_name(FileHeader& h, std::string_view text) {
  if (seen(Kw::FILE_NAME)) {
    RPT_ErrorAtLine("Duplicate File_name keyword.");
    return;
  }
  seen(Kw::FILE_NAME) = true;
  CMN_CopyField(&h.file_name, text, NEWER_FileNameLimit(), "File_name");
  check_file_name_characters(h.file_name);
  const std::string& opened_path = PRS_GetFileName();
  const size_t sep = opened_path.find_last_of("/\\");
  const std::string opened = sep == std::string::npos ? opened_path : opened_path.substr(sep + 1);
  if (!CMN_EqualNoCase(opened, h.file_name))
    RPT_ErrorAtLine("File name opened '%s' not the same as File_name '%s'.", opened.c_str(),
                    h.file_name.c_str());
  CMN_CheckReservedWord(h.file_name);
  h.file_time = PRS_GetFileTime();
}

void short_text(std::string* field, std::string_view text, Kw code) {
  if (seen(code)) {
    if (code == Kw::FILE_REV) RPT_ErrorAtLine("Duplicate File_Rev keyword.");
    else RPT_ErrorAtLine("Duplicate Date keyword.");
    return;
  }
  seen(code) = true;
  if (code == Kw::FILE_REV) CMN_CopyField(field, text, kFileRevLimit, "File_Rev");
  else CMN_CopyField(field, text, kDateLimit, "Date");
  CMN_CheckReservedWord(*field);
}

std::optional<std::string>* free_text_field(FileHeader& h, Kw code) {
  switch (code) {
    case Kw::SOURCE: return &h.source;
    case Kw::NOTES: return &h.notes;
    case Kw::DISCLAIMER: return &h.disclaimer;
    case Kw::COPYRIGHT: return &h.copyright;
    default: return nullptr;
  }
}

// Lines are joined with a line feed between them; a keyword line without text adds none.
void append_text(std::optional<std::string>* field, std::string_view text) {
  try {
    if (!field->has_value()) {
      field->emplace(text);
    } else if ((*field)->empty()) {
      (*field)->assign(text);
    } else {
      (*field)->push_back('\n');
      (*field)->append(text);
    }
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to add text.");
  }
}

// A second [Disclaimer] adds to the first; the other free-text keywords are set once.
void free_text_keyword(FileHeader& h, Kw code, std::string_view text) {
  g_hdr.dropping = false;
  if (seen(code) && code != Kw::DISCLAIMER) {
    if (code == Kw::SOURCE) RPT_ErrorAtLine("Duplicate Source keyword.");
    else if (code == Kw::NOTES) RPT_ErrorAtLine("Duplicate Notes keyword.");
    else RPT_ErrorAtLine("Duplicate Copyright keyword.");
    g_hdr.dropping = true;
    return;
  }
  seen(code) = true;
  append_text(free_text_field(h, code), text);
}

void keyword_line(FileHeader& h, Kw code, std::string_view line) {
  const std::string_view text = CMN_KeywordArgument(line);
  switch (code) {
    case Kw::IBIS_VER: ibis_ver(h, text); break;
    case Kw::FILE_NAME: file_name(h, text); break;
    case Kw::FILE_REV: short_text(&h.file_rev, text, code); break;
    case Kw::DATE: short_text(&h.date, text, code); break;
    default: free_text_keyword(h, code, text); break;
  }
}

void data_line(FileHeader& h, std::string_view line) {
  std::optional<std::string>* field = free_text_field(h, g_hdr.current);
  if (!field) {
    RPT_ErrorAtLine(kOrphanDataLine);
    return;
  }
  if (!g_hdr.dropping) append_text(field, line);
}

}  // namespace

void HDR_Reset() { g_hdr = HeaderState{}; }

void HDR_Init() {
  IbisDocument* doc = IBIS_Current();
  TARN_ASSERT(doc != nullptr);
  if (doc->header) return;
  try {
    doc->header = std::make_unique<FileHeader>();
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to create new File Header structure.");
  }
}

void HDR_Line(LineKind kind, Kw code, std::string_view line) {
  if (kind != LineKind::Keyword && kind != LineKind::Data) {
    RPT_BugAtLine("Bad line type passed to hdr.");
    return;
  }
  if (code != Kw::IBIS_VER && !kw_in(code, Kw::FILE_NAME, Kw::COPYRIGHT)) {
    RPT_BugAtLine("Bad keyword type passed to hdr.");
    return;
  }
  FileHeader* h = header();
  if (kind == LineKind::Keyword) {
    g_hdr.current = code;
    if (!h) {
      // Remembered all the same, so that a late [IBIS Ver] is told it must come first.
      seen(code) = true;
      RPT_ErrorAtLine("Orphan File Header keyword.");
      return;
    }
    keyword_line(*h, code, line);
    return;
  }
  if (!h) {
    RPT_ErrorAtLine(kOrphanDataLine);
    return;
  }
  data_line(*h, line);
}

void HDR_KeywordDone(Kw) {}

bool HDR_VersionSeen() { return g_hdr.seen[kw_int(Kw::IBIS_VER)]; }

void HDR_SetAcceptVersion1(bool accept) { g_hdr_settings.accept_version1 = accept; }
bool HDR_AcceptsVersion1() { return g_hdr_settings.accept_version1; }

void HDR_SetAcceptNewer(bool accept) { g_hdr_settings.accept_newer = accept; }
bool HDR_AcceptNewer() { return g_hdr_settings.accept_newer; }

namespace {

int get_text(const FileHeader* header, std::string FileHeader::*field, std::string_view* out) {
  TARN_ASSERT(header != nullptr);
  return CMN_GetText(header->*field, out);
}

int get_free_text(const FileHeader* header, std::optional<std::string> FileHeader::*field,
                  std::string_view* out) {
  TARN_ASSERT(header != nullptr && out != nullptr);
  const std::optional<std::string>& text = header->*field;
  if (!text) return 0;
  *out = *text;
  return 1;
}

}  // namespace

int HDR_GetIbisVersion(const FileHeader* header, std::string_view* out) {
  return get_text(header, &FileHeader::ibis_version, out);
}
int HDR_GetFileName(const FileHeader* header, std::string_view* out) {
  return get_text(header, &FileHeader::file_name, out);
}
int HDR_GetFileRev(const FileHeader* header, std::string_view* out) {
  return get_text(header, &FileHeader::file_rev, out);
}
int HDR_GetDate(const FileHeader* header, std::string_view* out) {
  return get_text(header, &FileHeader::date, out);
}
int HDR_GetSource(const FileHeader* header, std::string_view* out) {
  return get_free_text(header, &FileHeader::source, out);
}
int HDR_GetNotes(const FileHeader* header, std::string_view* out) {
  return get_free_text(header, &FileHeader::notes, out);
}
int HDR_GetDisclaimer(const FileHeader* header, std::string_view* out) {
  return get_free_text(header, &FileHeader::disclaimer, out);
}
int HDR_GetCopyright(const FileHeader* header, std::string_view* out) {
  return get_free_text(header, &FileHeader::copyright, out);
}

}  // namespace tarn
