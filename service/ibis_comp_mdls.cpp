#include "tarn/ibis_comp_mdls.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
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
  const std::string store_path = tarn::lib_join(store_dir_, kStoreFile);
  store_ = tarn::ListDb::Load(store_path, kCompiledTemplate, false);
  if (!store_) store_ = tarn::ListDb::Create(store_path, kCompiledTemplate, false);
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

int CIbisCompMdls::Fini(int save) {
  tarn::ApiGuard guard;
  if (store_) {
    if (store_changed_ && save && !store_->Save())
      MessageBox(("Cannot save the compiled model index \"" + store_->file() + "\"").c_str(),
                 kIconWarning);
    store_.reset();
    store_last_ = nullptr;
  }
  return 1;
}

int CIbisCompMdls::SetSearchPaths(int messages) {
  tarn::ApiGuard guard;
  for (auto& [name, info] : components_) info->text_[eIbisSourceFile].clear();
  for (const std::unique_ptr<SrcIndex>& source : sources_) ReloadSrcIndex(source.get(), messages);
  return 1;
}

bool CIbisCompMdls::ReloadSrcIndex(SrcIndex* source, int messages) {
  source->index = tarn::ListDb::Load(source->path, "", false);
  source->loaded = source->index != nullptr;
  if (!source->loaded && messages) {
    MessageBox(("Warning: IBIS index file \"" + source->path + "\" could not be opened.").c_str(),
               kIconWarning);
  }
  return source->loaded;
}

void CIbisCompMdls::DisplayCompileStatus(eRdIbisResult) {}

std::FILE* CIbisCompMdls::GetLogFD() {
  if (!log_ && OpenIBISLog()) log_opened_here_ = true;
  return log_;
}

void CIbisCompMdls::ReleaseLogFD() {
  if (!log_opened_here_) return;
  CloseIBISLog();
  RefreshLogDisplay();
  log_opened_here_ = false;
}

// The log gathers every compile of the session: opened to append, so a request does not wipe
// the reports of the requests before it; ClearIBISLog starts it anew.
int CIbisCompMdls::OpenIBISLog() {
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
  if (log_) std::fclose(log_);
  log_ = nullptr;
  return 1;
}

int CIbisCompMdls::ClearIBISLog() {
  std::error_code ec;
  if (std::filesystem::exists(log_path_, ec))
    std::filesystem::rename(log_path_, tarn::lib_join(store_dir_, kLogBackup), ec);
  std::FILE* log = std::fopen(log_path_.c_str(), "w");
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
  if (!index_path) return 0;
  auto source = std::make_unique<SrcIndex>();
  source->path = index_path;
  source->directory = tarn::lib_directory(index_path);
  if (label) source->label = label;
  sources_.push_back(std::move(source));
  return 1;
}

void CIbisCompMdls::EmptySrcLists() { sources_.clear(); }

int CIbisCompMdls::FindSrcForIbisModel(const char* component, const char** dir, const char** file,
                                       const char** label, const char** extra) {
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
  walk_source_ = 0;
  walk_entry_ = 0;
  for (const std::unique_ptr<SrcIndex>& source : sources_)
    source->walk =
        source->loaded ? source->index->Entries() : std::vector<const tarn::ListDbEntry*>{};
  return IterateComps(name, file, dir, label, extra);
}

int CIbisCompMdls::GetNextIBISComp(const char** name, const char** file, const char** dir,
                                   const char** label, const char** extra) {
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
  auto found = components_.find(name);
  if (found == components_.end()) {
    auto info = std::make_unique<CIbisCompInfo>(this);
    info->text_[eIbisCompName] = name;
    found = components_.emplace(name, std::move(info)).first;
  }
  CIbisCompInfo* info = found->second.get();
  bool ask = info->status_ == eIbisOutOfDate || info->status_ == eIbisOutOfDateKept;
  if (info->status_ == eIbisCurrent) {
    const std::optional<std::time_t> changed = tarn::lib_mtime(info->SourceFile());
    if (!changed || *changed <= info->compile_date_) return info;
    info->status_ = eIbisOutOfDate;
    ask = true;
  }
  if (ask) {
    if (!GetReCompileState(name)) {
      // The source's time stands as the compile date: after ClearCompileOodFlags the question
      // comes again only when the source changes once more.
      const std::optional<std::time_t> changed = tarn::lib_mtime(info->SourceFile());
      if (changed) info->compile_date_ = *changed;
      info->status_ = eIbisOutOfDateKept;
      return info;
    }
    info->status_ = eIbisOutOfDate;
  }
  if (info->text_[eIbisSourceFile].empty()) {
    const char* dir = nullptr;
    const char* file = nullptr;
    const char* label = nullptr;
    if (FindSrcForIbisModel(name, &dir, &file, &label, nullptr)) {
      info->text_[eIbisSourceFile] = tarn::lib_join(dir, file);
      info->label_ = label;
      info->directory_ = dir;
    }
  }
  if (no_populate) return info;
  const eRdIbisResult populated = info->PopulateInfo(CIbisCompInfo::kPopulate);
  if (result) *result = populated;
  return info;
}

CIbisCompInfo* CIbisCompMdls::GetIbisCompInfo(const char* name1, const char* name2,
                                              const char* tech_name, int) {
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

void CIbisCompMdls::ClearCompileOodFlags() {
  for (auto& [name, info] : components_)
    if (info->status_ == eIbisOutOfDateKept) info->status_ = eIbisCurrent;
}

void CIbisCompMdls::ClearVisitedFlags() {
  for (auto& [name, info] : components_) info->visited_ = 0;
}

void CIbisCompMdls::SetIbisLogIndents(int first, int second) {
  layout_[1] = first;
  layout_[2] = second;
}

void CIbisCompMdls::SetIbisLogFormat(int format) { layout_[3] = format; }

int CIbisCompMdls::ListCompiledModel(std::ostream& out, const char* component, const char* pin,
                                     const char* model, int outline, eTypMinMax corner,
                                     int populate) {
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
  return store_last_ ? store_last_->disk.c_str() : nullptr;
}

const char* CIbisCompMdls::GetNextCompiledName() {
  if (!store_) return nullptr;
  const std::optional<std::string> next = store_->NextName();
  if (!next) return nullptr;
  store_last_name_ = *next;
  store_changed_ = true;  // the counter moved
  return store_last_name_.c_str();
}

int CIbisCompMdls::AddCompiledItem(const char* component, const char* file_name) {
  if (!store_) return 0;
  tarn::ListDbEntry* entry = store_->Add(component, file_name, std::nullopt, 0);
  if (!entry) return 0;
  entry->disk = file_name;  // a recompile under a new name replaces the old one
  store_last_ = entry;
  store_changed_ = true;
  return 1;
}

eRdIbisResult CIbisCompMdls::RunRdIbis(const char* source, const char* component,
                                       const char* compiled_path, std::FILE* log) {
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
  if (tarn::IBIS_ReadWithContext(context_path_.c_str(), source, log, &raw) != 1) {
    result = eRdIbisFailed;
  } else {
    tarn::RPT_GetCounts(&errors, &warnings, &bugs);
    if (errors != 0 || bugs != 0)
      result = eRdIbisFailed;
    else if (warnings != 0)
      result = eRdIbisWarnings;
  }
  if (result != eRdIbisFailed) {
    tarn::RPT_SetStream(log);
    (void)tarn::CBS_CompileComponent(raw, compiled_path, component);
    tarn::RPT_SetStream(nullptr);
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
