// CIbisCompMdls: the model library a calling program keeps. Asked for a component by name it
// finds the source through the source indexes, compiles it when the compiled file is missing
// or older than the source, records the compiled file, and hands back the component's
// CIbisCompInfo. Derive from it to add source indexes and to route the log, the compile status
// and the recompile question into the program's own user interface.
//
// Threads: every member takes the library's process-wide hold, so threads that call at once
// are served one after the other; the virtual members are called under it. Texts handed out
// (a source's directory and file, a component's values) stay valid while the library lives,
// also across SetSearchPaths and recompiles. The walk of GetFirstIBISComp/GetNextIBISComp is one
// per library: two threads walking at once share it.
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
  /// store "compibis.ibx"; the reader log becomes "tarn_rdr.txt" there. A store that is there
  /// but does not load is kept aside as "compibis.ibx.bad" (".bad1" and on when that exists),
  /// said through MessageBox, and a new one started whose names skip the files already there.
  /// 0 when `dir` is null.
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
  /// Keeps the current log as "tarn_rdr.bak" and starts a new one with its heading. There is
  /// one backup: an existing "tarn_rdr.bak" is replaced by the current log, so after two clears
  /// it holds the log between them. Without a current log the backup is left as it is; a log
  /// that cannot be renamed is left as it is too, and the message box says the new one could
  /// not be started.
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
  /// A component for a calling program whose own part library knows it only by name, pin count
  /// and one model type for all its pins. Looked up, compiled and read as GetIbisCompInfo(name,
  /// result, 0) does; when that gives no usable information (status 6 or 7) and `pin_count` is
  /// above 0, the object stands in with pins "1" to `pin_count`, each of model type `type`
  /// without a model name, and keeps its status, so IsStatusOk still tells the caller that no
  /// IBIS model was found. A usable component is returned as it is. Null only when the object
  /// cannot be made.
  CIbisCompInfo* GetIbisCompInfoAsKdf(const char* name, eRdIbisResult* result, model_type type,
                                      int pin_count);
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
  const char* GetCompileLogPath() const;
  /// The indent of the lines about each compile, and of the reader's findings in the log.
  void SetIbisLogIndents(int first, int second);
  /// Stores a layout number for the log, as programs written for the library set it. The log
  /// has one layout (the reader's lines, each compile between its two lines), so nothing reads
  /// the number: it is kept only so that such programs build and run unchanged.
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

  /// The compiled file the store records for `name`; null when none, or when the store names
  /// something other than a plain file of its folder (refused and said).
  const char* FindCompiledForIbisModel(const char* name);
  /// The next generated name whose file does not exist yet.
  const char* GetNextCompiledName();
  /// Reads the source and writes its compiled file; `write_failed` (when given) tells that a
  /// failure was the writer's, not the source's.
  eRdIbisResult RunRdIbis(const char* source, const char* component, const char* compiled_path,
                          std::FILE* log, bool* write_failed = nullptr);
  int AddCompiledItem(const char* component, const char* file_name);
  const char* GetCbxDirectory() const { return store_dir_.c_str(); }
  bool ReloadSrcIndex(SrcIndex* index, int messages);
  int IterateComps(const char** name, const char** file, const char** dir, const char** label,
                   const char** extra);
  void OpenStore(const std::string& path);

  std::vector<std::unique_ptr<SrcIndex>> sources_;
  // Keyed by the name in lower case: the store finds "PART" and "part" as one component.
  std::unordered_map<std::string, std::unique_ptr<CIbisCompInfo>> components_;
  std::unique_ptr<tarn::ListDb> store_;
  bool store_changed_ = false;
  bool store_kept_ = false;  // a store that failed to load could not be set aside: never saved
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
  // Source indexes replaced by SetSearchPaths or EmptySrcLists: callers may still read texts
  // handed out from them.
  std::vector<std::unique_ptr<SrcIndex>> retired_sources_;
  std::vector<std::unique_ptr<tarn::ListDb>> retired_indexes_;
};
