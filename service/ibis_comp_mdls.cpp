#include "tarn/ibis_comp_mdls.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include "libibis/src/cmn.h"
#include "libibis/src/guard.h"
#include "libibis/src/ibis.h"
#include "libibis/src/rpt.h"
#include "service/lib_files.h"
#include "service/listdb.h"
#include "tarn/reader.h"
#include "writers/cbs.h"

namespace {

constexpr const char* kStoreFile = "compibis.ibx";
constexpr const char* kCompiledTemplate = "ib%06d.cbs";
constexpr const char* kLogFile = "tarn_rdr.txt";
constexpr const char* kLogBackup = "tarn_rdr.bak";

void write_blanks(std::FILE* log, int count) {
  for (int i = 0; i < count; ++i) std::fputc(' ', log);
}

// The component table's key: names compared as the compiled store compares them.
std::string table_key(std::string_view name) {
  std::string key(name);
  for (char& c : key)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return key;
}

// A free name beside `path` for a file set aside: "<path>.bad", then "<path>.bad1" and on, so an
// earlier one is never overwritten.
std::optional<std::string> aside_name(const std::string& path) {
  constexpr int kTries = 1000;
  for (int n = 0; n < kTries; ++n) {
    std::string name = path + ".bad" + (n == 0 ? std::string() : std::to_string(n));
    if (!tarn::lib_exists(name)) return name;
  }
  return std::nullopt;
}

}  // namespace

// One source index: a list of component names and their source files, relative to the index.
struct CIbisCompMdls::SrcIndex {
  std::string path;
  std::string directory;
  std::string label;
  std::unique_ptr<tarn::ListDb> index;
  bool loaded = false;
  std::vector<const tarn::ListDbEntry*> walk;  // the entries GetNextIBISComp goes through
};

CIbisCompMdls::CIbisCompMdls() { components_.reserve(100); }

CIbisCompMdls::~CIbisCompMdls() {
  if (log_) std::fclose(log_);
}

int CIbisCompMdls::Init(const char* dir, const char* context) {
  tarn::ApiGuard guard;
  const int result = Init(dir);
  if (context) context_path_ = context;
  return result;
}

int CIbisCompMdls::Init(const char* dir) {
  if (!dir) return 0;
  tarn::ApiGuard guard;
  store_dir_ = dir;
  std::error_code ec;
  if (!std::filesystem::exists(store_dir_, ec)) std::filesystem::create_directories(store_dir_, ec);
  OpenStore(tarn::lib_join(store_dir_, kStoreFile));
  store_changed_ = false;
  store_last_ = nullptr;
  SetSearchPaths(1);
  log_path_ = tarn::lib_join(store_dir_, kLogFile);
  layout_[0] = 2;
  layout_[1] = 4;
  layout_[2] = 1;
  layout_[3] = 0;
  return 1;
}

// A store that is there but does not load (damaged, not an index, not readable) still records
// which compiled files belong to which component: it is set aside for the user, never saved
// over. The new store's names skip files that exist, so no compiled file is overwritten.
void CIbisCompMdls::OpenStore(const std::string& path) {
  store_kept_ = false;
  store_ = tarn::ListDb::Load(path, kCompiledTemplate, false);
  if (store_) return;
  store_ = tarn::ListDb::Create(path, kCompiledTemplate, false);
  if (!tarn::lib_exists(path)) return;
  const std::optional<std::string> aside = aside_name(path);
  std::error_code ec;
  if (aside && (std::filesystem::rename(path, *aside, ec), !ec)) {
    MessageBox(("The compiled model index \"" + path + "\" could not be read; it was kept as \"" +
                *aside + "\" and a new index started")
                   .c_str(),
               kIconWarning);
    return;
  }
  store_kept_ = true;
  MessageBox(("The compiled model index \"" + path +
              "\" could not be read nor set aside; it is left as it is and not saved over")
                 .c_str(),
             kIconWarning);
}

int CIbisCompMdls::Fini(int save) {
  tarn::ApiGuard guard;
  if (store_) {
    if (store_changed_ && save && !store_kept_ && !store_->Save())
      MessageBox(("Cannot save the compiled model index \"" + store_->file() + "\"").c_str(),
                 kIconWarning);
    store_.reset();
    store_last_ = nullptr;
  }
  return 1;
}

int CIbisCompMdls::SetSearchPaths(int messages) {
  tarn::ApiGuard guard;
  for (auto& [name, info] : components_) info->SetText(eIbisSourceFile, "");
  for (const std::unique_ptr<SrcIndex>& source : sources_) ReloadSrcIndex(source.get(), messages);
  return 1;
}

bool CIbisCompMdls::ReloadSrcIndex(SrcIndex* source, int messages) {
  if (source->index) retired_indexes_.push_back(std::move(source->index));
  source->index = tarn::ListDb::Load(source->path, "", false);
  source->loaded = source->index != nullptr;
  if (!source->loaded && messages) {
    // One that opens and does not load is not an index, which the user should hear as such.
    std::FILE* probe = std::fopen(source->path.c_str(), "rb");
    std::error_code ec;
    if (probe && !std::filesystem::is_directory(source->path, ec)) {
      MessageBox(("Warning: IBIS index file \"" + source->path +
                  "\" is unreadable: it is not an index file.")
                     .c_str(),
                 kIconWarning);
    } else {
      MessageBox(("Warning: IBIS index file \"" + source->path + "\" could not be opened.").c_str(),
                 kIconWarning);
    }
    if (probe) std::fclose(probe);
  }
  return source->loaded;
}

void CIbisCompMdls::DisplayCompileStatus(eRdIbisResult) {}

std::FILE* CIbisCompMdls::GetLogFD() {
  tarn::ApiGuard guard;
  if (!log_ && OpenIBISLog()) log_opened_here_ = true;
  return log_;
}

void CIbisCompMdls::ReleaseLogFD() {
  tarn::ApiGuard guard;
  if (!log_opened_here_) return;
  CloseIBISLog();
  RefreshLogDisplay();
  log_opened_here_ = false;
}

// The log gathers every compile of the session: opened to append, so a request does not wipe
// the reports of the requests before it; ClearIBISLog starts it anew.
int CIbisCompMdls::OpenIBISLog() {
  tarn::ApiGuard guard;
  if (!log_) {
    log_ = std::fopen(log_path_.c_str(), "a");
    if (!log_) {
      MessageBox(("Cannot Open IBIS Reader Log File\n" + log_path_ +
                  "\nEnsure Directory and File are Writable")
                     .c_str(),
                 kIconStop);
    }
  }
  return log_ ? 1 : 0;
}

int CIbisCompMdls::CloseIBISLog() {
  tarn::ApiGuard guard;
  if (log_) std::fclose(log_);
  log_ = nullptr;
  return 1;
}

int CIbisCompMdls::ClearIBISLog() {
  tarn::ApiGuard guard;
  std::error_code ec;
  if (std::filesystem::exists(log_path_, ec))
    std::filesystem::rename(log_path_, tarn::lib_join(store_dir_, kLogBackup), ec);
  // A log that could not become the backup is not wiped either.
  std::FILE* log = ec ? nullptr : std::fopen(log_path_.c_str(), "w");
  if (log) {
    std::fputs("\t\tIBIS COMPILER REPORT\n\n", log);
    std::fclose(log);
  } else {
    MessageBox(("Cannot Open IBIS Compiler Log File\n" + log_path_ +
                "\nEnsure Directory and File are Writable")
                   .c_str(),
               kIconStop);
  }
  if (log_) std::fclose(log_);
  log_ = nullptr;
  log_opened_here_ = false;
  RefreshLogDisplay();
  return 1;
}

void CIbisCompMdls::RefreshLogDisplay() {}

int CIbisCompMdls::GetReCompileState(const char*) { return 1; }

void CIbisCompMdls::Error(int, int, int, char*, char*) {}

void CIbisCompMdls::MessageBox(const char* text, eMessageIcon) {
  std::fprintf(stderr, "tarn: %s\n", text ? text : "");
}

int CIbisCompMdls::AddSrcIndex(const char* index_path, const char* label) {
  tarn::ApiGuard guard;
  if (!index_path) return 0;
  auto source = std::make_unique<SrcIndex>();
  source->path = index_path;
  source->directory = tarn::lib_directory(index_path);
  if (label) source->label = label;
  sources_.push_back(std::move(source));
  return 1;
}

void CIbisCompMdls::EmptySrcLists() {
  tarn::ApiGuard guard;
  for (std::unique_ptr<SrcIndex>& source : sources_) retired_sources_.push_back(std::move(source));
  sources_.clear();
}

int CIbisCompMdls::FindSrcForIbisModel(const char* component, const char** dir, const char** file,
                                       const char** label, const char** extra) {
  tarn::ApiGuard guard;
  if (!component) return 0;
  for (const std::unique_ptr<SrcIndex>& source : sources_) {
    if (!source->loaded) continue;
    const tarn::ListDbEntry* entry = source->index->Find(component);
    if (!entry) continue;
    if (dir) *dir = source->directory.c_str();
    if (file) *file = entry->disk.c_str();
    if (label) *label = source->label.c_str();
    if (extra) *extra = entry->text ? entry->text->c_str() : "";
    return 1;
  }
  return 0;
}

int CIbisCompMdls::GetFirstIBISComp(const char** name, const char** file, const char** dir,
                                    const char** label, const char** extra) {
  tarn::ApiGuard guard;
  walk_source_ = 0;
  walk_entry_ = 0;
  for (const std::unique_ptr<SrcIndex>& source : sources_)
    source->walk =
        source->loaded ? source->index->Entries() : std::vector<const tarn::ListDbEntry*>{};
  return IterateComps(name, file, dir, label, extra);
}

int CIbisCompMdls::GetNextIBISComp(const char** name, const char** file, const char** dir,
                                   const char** label, const char** extra) {
  tarn::ApiGuard guard;
  return IterateComps(name, file, dir, label, extra);
}

// Index by index, each index's entries in its saved order.
int CIbisCompMdls::IterateComps(const char** name, const char** file, const char** dir,
                                const char** label, const char** extra) {
  while (walk_source_ < sources_.size()) {
    const SrcIndex& source = *sources_[walk_source_];
    if (walk_entry_ < source.walk.size()) {
      const tarn::ListDbEntry* entry = source.walk[walk_entry_++];
      if (name) *name = entry->user.c_str();
      if (file) *file = entry->disk.c_str();
      if (dir) *dir = source.directory.c_str();
      if (label) *label = source.label.c_str();
      if (extra) *extra = entry->text ? entry->text->c_str() : "";
      return 1;
    }
    ++walk_source_;
    walk_entry_ = 0;
  }
  return 0;
}

CIbisCompInfo* CIbisCompMdls::GetIbisCompInfo(const char* name, eRdIbisResult* result,
                                              int no_populate) {
  tarn::ApiGuard guard;
  if (result) *result = eRdIbisNone;
  if (!name) return nullptr;
  const std::string key = table_key(name);
  auto found = components_.find(key);
  if (found == components_.end()) {
    auto info = std::make_unique<CIbisCompInfo>(this);
    info->data_->text[eIbisCompName] = name;
    found = components_.emplace(key, std::move(info)).first;
  }
  CIbisCompInfo* info = found->second.get();
  // Found again first, after SetSearchPaths, so that a current component is checked against it.
  if (!*info->SourceFile()) {
    const char* dir = nullptr;
    const char* file = nullptr;
    const char* label = nullptr;
    if (FindSrcForIbisModel(name, &dir, &file, &label, nullptr)) {
      info->SetText(eIbisSourceFile, tarn::lib_join(dir, file));
      info->label_ = label;
      info->directory_ = dir;
    }
  }
  bool ask = info->status_ == eIbisOutOfDate || info->status_ == eIbisOutOfDateKept;
  if (info->status_ == eIbisCurrent) {
    // Any change of the source's time, to later or to earlier, makes the information old.
    const std::optional<int64_t> changed = tarn::lib_mtime(info->SourceFile());
    if (!changed || changed == info->source_time_) return info;
    info->status_ = eIbisOutOfDate;
    ask = true;
  }
  if (ask) {
    if (!GetReCompileState(name)) {
      // The source's time stands as the compile date: after ClearCompileOodFlags the question
      // comes again only when the source changes once more.
      const std::optional<int64_t> changed = tarn::lib_mtime(info->SourceFile());
      if (changed) info->compile_date_ = tarn::lib_seconds(*changed);
      info->source_time_ = changed;
      info->status_ = eIbisOutOfDateKept;
      return info;
    }
    info->status_ = eIbisOutOfDate;
  }
  if (no_populate) return info;
  const eRdIbisResult populated = info->PopulateInfo(CIbisCompInfo::kPopulate);
  if (result) *result = populated;
  return info;
}

CIbisCompInfo* CIbisCompMdls::GetIbisCompInfo(const char* name1, const char* name2,
                                              const char* tech_name, int) {
  tarn::ApiGuard guard;
  const auto known = [this](const std::string& name) -> CIbisCompInfo* {
    CIbisCompInfo* info = GetIbisCompInfo(name.c_str(), nullptr, 1);
    return info && *info->SourceFile() ? info : nullptr;
  };
  if (name2 && *name2) return known(name2);
  if (name1 && *name1) {
    if (CIbisCompInfo* info = known(name1)) return info;
  }
  if (tech_name && *tech_name) return known(std::string("tech_") + tech_name);
  return nullptr;
}

CIbisCompInfo* CIbisCompMdls::GetIbisCompInfoAsKdf(const char* name, eRdIbisResult* result,
                                                   model_type type, int pin_count) {
  tarn::ApiGuard guard;
  CIbisCompInfo* info = GetIbisCompInfo(name, result, 0);
  if (!info || info->IsStatusOk() || pin_count <= 0) return info;
  // The stand-in replaces what the object held, as a fill does; readers of it keep theirs.
  CIbisCompInfo stand_in(this);
  stand_in.data_->text = info->data_->text;
  stand_in.AddPinDesc(pin_count);
  for (int pin = 0; pin < stand_in.GetPinCount(); ++pin) {
    stand_in.SetModelParam(eIbisPinName, std::to_string(pin + 1).c_str(), pin);
    stand_in.SetModelParam(eIbisModelType, static_cast<int>(type), pin);
  }
  info->Publish(std::move(stand_in.data_));
  return info;
}

void CIbisCompMdls::ClearCompileOodFlags() {
  tarn::ApiGuard guard;
  for (auto& [name, info] : components_)
    if (info->status_ == eIbisOutOfDateKept) info->status_ = eIbisCurrent;
}

void CIbisCompMdls::ClearVisitedFlags() {
  tarn::ApiGuard guard;
  for (auto& [name, info] : components_) info->visited_ = 0;
}

const char* CIbisCompMdls::GetCompileLogPath() const {
  tarn::ApiGuard guard;
  return log_path_.c_str();
}

void CIbisCompMdls::SetIbisLogIndents(int first, int second) {
  tarn::ApiGuard guard;
  layout_[1] = first;
  layout_[2] = second;
}

void CIbisCompMdls::SetIbisLogFormat(int format) {
  tarn::ApiGuard guard;
  layout_[3] = format;
}

int CIbisCompMdls::ListCompiledModel(std::ostream& out, const char* component, const char* pin,
                                     const char* model, int outline, eTypMinMax corner,
                                     int populate) {
  tarn::ApiGuard guard;
  CIbisCompInfo* info = GetIbisCompInfo(component, nullptr, populate ? 0 : 1);
  if (!info) return 0;
  if (!model) {
    const int index = pin ? info->FindIndex4Pin(pin, eIbisPinName) : -1;
    if (index < 0 || !info->GetModelParam(eIbisModelName, &model, index)) return 0;
  }
  return outline ? info->ListOutlineModel(out, model, corner)
                 : info->ListSimModel(out, model, corner);
}

bool CIbisCompMdls::IsTechComp(const char* name) {
  if (!name) return false;
  const std::string_view text(name);
  return tarn::CMN_EqualNoCaseN(text, "tech_", 5) || tarn::CMN_EqualNoCase(text, "default");
}

// The texts are the component information's; a code without one has no name.
int CIbisCompMdls::FindTypeName(int type, const char** name) {
  const char* text = CIbisCompInfo::GetModelTypeText(type);
  if (!name || !*text) return 0;
  *name = text;
  return 1;
}

int CIbisCompMdls::FindTypeFromName(const char* name) {
  if (!name) return 0;
  for (int type = MT_NO_TYPE; *CIbisCompInfo::GetModelTypeText(type); ++type)
    if (tarn::CMN_EqualNoCase(name, CIbisCompInfo::GetModelTypeText(type))) return type;
  return 0;
}

const char* CIbisCompMdls::FindCompiledForIbisModel(const char* name) {
  store_last_ = store_ ? store_->Find(name) : nullptr;
  if (!store_last_) return nullptr;
  // Compiled files are written where the store says: only into its own folder.
  if (!tarn::lib_is_plain_name(store_last_->disk)) {
    MessageBox(
        ("The compiled model index \"" + store_->file() + "\" names \"" + store_last_->disk +
         "\" for component \"" + name + "\", which is not a file of its folder; it is not used")
            .c_str(),
        kIconWarning);
    store_last_ = nullptr;
    return nullptr;
  }
  return store_last_->disk.c_str();
}

// A name whose file exists belongs to something the store does not know (a store set aside, a
// session that ended before saving): it is skipped rather than overwritten.
const char* CIbisCompMdls::GetNextCompiledName() {
  if (!store_) return nullptr;
  for (;;) {
    const std::optional<std::string> next = store_->NextName();
    if (!next) return nullptr;
    store_changed_ = true;  // the counter moved
    if (tarn::lib_exists(tarn::lib_join(store_dir_, *next))) continue;
    store_last_name_ = *next;
    return store_last_name_.c_str();
  }
}

int CIbisCompMdls::AddCompiledItem(const char* component, const char* file_name) {
  if (!store_ || !tarn::lib_is_plain_name(file_name)) return 0;
  tarn::ListDbEntry* entry = store_->Add(component, file_name, std::nullopt, 0);
  if (!entry) return 0;
  entry->disk = file_name;  // a recompile under a new name replaces the old one
  store_last_ = entry;
  store_changed_ = true;
  return 1;
}

eRdIbisResult CIbisCompMdls::RunRdIbis(const char* source, const char* component,
                                       const char* compiled_path, std::FILE* log,
                                       bool* write_failed) {
  tarn::ApiGuard guard;
  eRdIbisResult result = eRdIbisSuccess;
  std::fputc('\n', log);
  write_blanks(log, layout_[0]);
  const int32_t indent = tarn::RPT_GetIndent();
  tarn::RPT_SetIndent(layout_[1]);
  tarn::RPT_SetFileNameMode(static_cast<uint32_t>(layout_[2]));
  std::fprintf(log, "Compiling IBIS model for component %s from file %s\n", component, source);
  tarn::IbisDocument* raw = nullptr;
  uint32_t errors = 0;
  uint32_t warnings = 0;
  uint32_t bugs = 0;
  const bool read = tarn::IBIS_ReadWithContext(context_path_.c_str(), source, log, &raw) == 1;
  // A refused reading counted its errors too; the log shows them.
  tarn::RPT_GetCounts(&errors, &warnings, &bugs);
  if (!read || errors != 0 || bugs != 0)
    result = eRdIbisFailed;
  else if (warnings != 0)
    result = eRdIbisWarnings;
  if (result != eRdIbisFailed) {
    // The writer's failures (a full disk, a failed close) are errors in the log like the
    // source's, and fail the compile: its file is then not recorded.
    tarn::RPT_SetStream(log);
    const int written = tarn::CBS_CompileComponent(raw, compiled_path, component);
    uint32_t after = 0;
    tarn::RPT_GetCounts(&after, &warnings, &bugs);
    tarn::RPT_SetStream(nullptr);
    if (!written || after != errors) {
      result = eRdIbisFailed;
      errors = after;
      if (write_failed) *write_failed = true;
    }
  }
  write_blanks(log, layout_[0]);
  if (result == eRdIbisSuccess)
    std::fputs("IBIS Compilation Completed successfully\n", log);
  else if (result == eRdIbisWarnings)
    std::fprintf(log, "IBIS Compilation Completed with %u Warnings\n", warnings);
  else
    std::fprintf(log, "IBIS Compilation Failed due to  %u Errors\n", errors);
  tarn::RPT_SetIndent(indent);
  tarn::RPT_SetFileNameMode(0);
  if (raw) tarn::IBIS_DestroyDocument(raw);
  return result;
}
