// CIbisCompMdls: the model library a calling program keeps. Asked for a component by name it
// finds the source through the source indexes, compiles it when the compiled file is missing
// or older than the source, records the compiled file, and hands back the component's
// CIbisCompInfo. Derive from it to add source indexes and to route the log, the compile status
// and the recompile question into the program's own user interface.
#pragma once

#include <cstdio>
#include <ctime>
#include <memory>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

#include "tarn/export.h"
#include "tarn/ibis_comp_info.h"
#include "tarn/ibis_types.h"

namespace tarn {
class ListDb;
struct ListDbEntry;
}  // namespace tarn

class TARN_API CIbisCompMdls {
 public:
  /// The icons of a message to the user.
  enum eMessageIcon { kIconStop = 0, kIconWarning = 1 };

  CIbisCompMdls();
  CIbisCompMdls(const CIbisCompMdls&) = delete;
  CIbisCompMdls& operator=(const CIbisCompMdls&) = delete;

  // The virtual members keep this order: programs built against the library rely on the slots.

  /// Frees every CIbisCompInfo handed out, the source indexes and the compiled store.
  virtual ~CIbisCompMdls();
  /// Init(dir), then keeps `context` (a ".lmc" or ".prj" path) for every reading.
  virtual int Init(const char* dir, const char* context);
  /// Makes `dir` the compiled-files directory (created when missing) and opens its compiled
  /// store "compibis.ibx"; the reader log becomes "tarn_rdr.txt" there. 0 when `dir` is null.
  virtual int Init(const char* dir);
  /// Saves the compiled store when it changed and `save` is set, then frees it.
  virtual int Fini(int save);
  /// Forgets every component's source and reloads the source indexes; `messages` shows a
  /// message for an index that cannot be read.
  virtual int SetSearchPaths(int messages);
  /// Told the result of each compile; does nothing here.
  virtual void DisplayCompileStatus(eRdIbisResult result);
  /// The reader log, opened when needed; null when it cannot be opened.
  virtual std::FILE* GetLogFD();
  /// Closes the log when GetLogFD opened it.
  virtual void ReleaseLogFD();
  virtual int OpenIBISLog();
  virtual int CloseIBISLog();
  /// Keeps the old log as "tarn_rdr.bak" and starts a new one with its heading.
  virtual int ClearIBISLog();
  /// Told that the log changed; does nothing here.
  virtual void RefreshLogDisplay();
  /// Asked whether to compile again a component whose source is newer; 1 (yes) here.
  virtual int GetReCompileState(const char* component);
  /// Told of each problem in a compiled file being read; does nothing here.
  virtual void Error(int line, int expected, int got, char* keyword, char* token);
  /// Shows a message to the user; here one line on standard error.
  virtual void MessageBox(const char* text, eMessageIcon icon);

  /// The component's information, found, compiled when needed and read (unless
  /// `no_populate`); `result` gets what a compile gave (0 when none ran). Null only when the
  /// object cannot be made.
  CIbisCompInfo* GetIbisCompInfo(const char* name, eRdIbisResult* result, int no_populate);
  /// By preference: `name2`, else `name1`, else "tech_" + `tech_name`, the first whose source
  /// is known; not populated. Null when none is.
  CIbisCompInfo* GetIbisCompInfo(const char* name1, const char* name2, const char* tech_name,
                                 int flag);
  /// The first index that knows `component` gives its source's directory and file, the
  /// index's label and the entry's text. Non-zero when found.
  int FindSrcForIbisModel(const char* component, const char** dir, const char** file,
                          const char** label, const char** extra);
  /// Walks every component the source indexes know, index by index: name, file, directory,
  /// label and text. 0 at the end.
  int GetFirstIBISComp(const char** name, const char** file, const char** dir, const char** label,
                       const char** extra);
  int GetNextIBISComp(const char** name, const char** file, const char** dir, const char** label,
                      const char** extra);
  void EmptySrcLists();

  /// Status 6 becomes 7: the out-of-date question is not asked again until the source changes.
  void ClearCompileOodFlags();
  void ClearVisitedFlags();
  const char* GetCompileLogPath() const { return log_path_.c_str(); }
  void SetIbisLogIndents(int first, int second);
  void SetIbisLogFormat(int format);

  /// Writes one model of a compiled component to `out` (see CIbisCompInfo::ListSimModel); the
  /// model is the one of `pin` when `model` is null. 1 when written.
  int ListCompiledModel(std::ostream& out, const char* component, const char* pin,
                        const char* model, int outline, eTypMinMax corner, int populate);

  /// True for a name beginning "tech_" or equal to "default", case ignored.
  static bool IsTechComp(const char* name);
  /// The text of a model_type code into `*name`; 0 for a code without one.
  static int FindTypeName(int type, const char** name);
  /// The model_type code of a text (case ignored); 0 when none matches.
  static int FindTypeFromName(const char* name);

 protected:
  /// Appends a source index (a list of component names and their source files); 1 when added.
  int AddSrcIndex(const char* index_path, const char* label);

 private:
  friend class CIbisCompInfo;
  struct SrcIndex;

  const char* FindCompiledForIbisModel(const char* name);
  const char* GetNextCompiledName();
  eRdIbisResult RunRdIbis(const char* source, const char* component, const char* compiled_path,
                          std::FILE* log);
  int AddCompiledItem(const char* component, const char* file_name);
  const char* GetCbxDirectory() const { return store_dir_.c_str(); }
  bool ReloadSrcIndex(SrcIndex* index, int messages);
  int IterateComps(const char** name, const char** file, const char** dir, const char** label,
                   const char** extra);

  std::vector<std::unique_ptr<SrcIndex>> sources_;
  std::unordered_map<std::string, std::unique_ptr<CIbisCompInfo>> components_;
  std::unique_ptr<tarn::ListDb> store_;
  bool store_changed_ = false;
  tarn::ListDbEntry* store_last_ = nullptr;
  std::string store_last_name_;
  std::string store_dir_;
  std::FILE* log_ = nullptr;
  std::string log_path_;
  bool log_opened_here_ = false;
  int layout_[4] = {0, 2, 4, 1};
  std::string context_path_;
  size_t walk_source_ = 0;  // GetFirstIBISComp/GetNextIBISComp position
  size_t walk_entry_ = 0;
};
