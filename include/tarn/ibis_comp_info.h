// CIbisCompInfo: one component of the model library as a caller sees it, filled from the
// component's compiled model file: its name, files and status, and per pin the names, model,
// parasitics, supply pins, partners and the model-level ranges and thresholds.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tarn/export.h"
#include "tarn/ibis_types.h"

class CIbisCompMdls;

// Threads: every member takes the library's process-wide hold, so objects may be shared between
// threads. A text handed out stays valid while the object lives: when the library fills the
// object again (its source changed), the earlier values are kept aside, not freed, and the next
// answers come from the new ones. Only the caller's own setters change values in place.
class TARN_API CIbisCompInfo {
 public:
  /// How PopulateInfo goes about it; kSkipCompiled reads the source's pins without looking for
  /// a compiled file.
  enum ePopInfOpt { kPopulate = 0, kSkipCompiled = 1 };

  /// An object of `owner`, which it asks for compiled files and compiles.
  explicit CIbisCompInfo(CIbisCompMdls* owner);
  CIbisCompInfo(const CIbisCompInfo&);
  CIbisCompInfo& operator=(const CIbisCompInfo&);
  ~CIbisCompInfo();

  const char* Name() const;
  const char* SourceFile() const;
  /// When the compiled information was made (or, kept out of date, the source it stands for).
  std::time_t CompileDate() const;
  int GetPinCount() const;
  eIbisStatus GetStatus() const;
  void SetStatus(eIbisStatus status);
  /// True for the two usable statuses, 6 and 7.
  bool IsStatusOk() const;
  int IsVisited() const;
  void SetVisited(int visited);

  /// Discards the pins and makes `count` empty ones.
  void AddPinDesc(int count);

  /// Texts: ids 0, 1, 2, 4 of the component; 8, 9, 10, 29, 34 replace a pin's text; 11 to 14
  /// and 33 add to a pin's list. 1 when stored; 0 for an id of another kind or a pin index
  /// outside the pins (for ids 8 and above).
  int SetModelParam(eIbisParam id, const char* value, int pin);
  /// Integers: id 3 of the component; 15 and 30 (kept as 0/1) and 16 of a pin.
  int SetModelParam(eIbisParam id, int value, int pin);
  /// Numbers: ids 5 to 7 of the component; 17 to 25, 31, 32 and 35 to 49 of a pin; `corner`
  /// chooses the slot.
  int SetModelParam(eIbisParam id, double value, int pin, eTypMinMax corner);
  /// The same kinds read back; 1 when the value exists. A list reads as its items separated by
  /// one blank, each list in a text of its own.
  int GetModelParam(eIbisParam id, const char** value, int pin) const;
  int GetModelParam(eIbisParam id, int* value, int pin) const;
  int GetModelParam(eIbisParam id, double* value, int pin, eTypMinMax corner) const;
  /// The number of items of a pin's list (ids 11 to 14, 33), and one of them.
  int GetModelParamCount(eIbisParam id, int pin) const;
  int GetModelParamItem(eIbisParam id, int pin, int index, const char** value) const;

  /// The first pin whose text (or list item) `id` equals `value`, or -1.
  int FindIndex4Pin(const char* value, eIbisParam id) const;
  /// The first pin whose integer `id` equals `value`, or -1.
  int FindIndex4Pin(int value, eIbisParam id) const;

  /// The status texts for 0 to 5; the two usable statuses have none (an empty text).
  static const char* GetIbisStatusText(eIbisStatus status);
  /// The status as a user reads it, for every status (the usable ones included).
  static const char* GetIbisStatusLine(eIbisStatus status);
  /// The text of a model_type code, empty for a code without one.
  static const char* GetModelTypeText(int type);

  /// Writes one model of the compiled file, the `corner` copy when the file has one (else the
  /// typ copy); 1 when the model was found. Refused unless the status is usable.
  int ListSimModel(std::ostream& out, const char* model, eTypMinMax corner) const;
  /// The same as a quoted outline: the model's records with their keywords.
  int ListOutlineModel(std::ostream& out, const char* model, eTypMinMax corner) const;

 private:
  friend class CIbisCompMdls;
  friend class CIbisCompPrs;
  friend struct CIbisCompInfoTest;  // reaches the private fill paths from the tests

  struct Triple {
    std::array<double, 3> value{};
    std::array<bool, 3> set{};
  };
  static constexpr int kPinTexts = 5;
  static constexpr int kPinLists = 5;
  static constexpr int kPinInts = 3;
  static constexpr int kPinTriples = 26;
  struct PinDesc {
    std::array<std::string, kPinTexts> text;
    std::array<std::vector<std::string>, kPinLists> list;
    std::array<std::string, kPinLists> joined;  // each list read as one text
    std::array<int, kPinInts> integer{};
    std::array<bool, kPinInts> integer_set{};
    std::array<Triple, kPinTriples> triple;
  };
  // The pins by the values searched for, made on the first search of each kind of value.
  struct PinIndex;
  // What one fill gives: the texts and values of the component and its pins. The pins are
  // shared with the copies a change of a text makes.
  struct Data {
    std::array<std::string, 5> text;  // ids 0 to 4; id 3 is unused as a text
    int integer = 0;                  // id 3
    bool integer_set = false;
    std::array<Triple, 3> package;  // ids 5 to 7
    std::shared_ptr<std::vector<PinDesc>> pins = std::make_shared<std::vector<PinDesc>>();
    std::shared_ptr<PinIndex> pin_index;  // of `pins` as they are; dropped when they change
  };

  /// Fills the object: reads the compiled file, compiling the source first when needed.
  eRdIbisResult PopulateInfo(ePopInfOpt option);
  /// Reads the pins straight from the source (no compiled file): status 5, or 2 on failure.
  eRdIbisResult ParseIbisPinInfo();
  /// Reads the compiled file `path` into fresh values, which replace the current ones when it
  /// is accepted; true then.
  bool ReadCompiled(const std::string& path);
  /// After a compile that could not run or write: the older compiled file `path`, when it reads,
  /// stays in use (status 6); else `failed` is the status.
  void KeepOlderCompiled(const std::string& path, eIbisStatus failed);
  int ListModel(std::ostream& out, const char* model, eTypMinMax corner, bool outline) const;
  /// The current values of pin `pin`, or null for an index outside the pins.
  PinDesc* PinAt(int pin) const;
  /// Makes `fresh` the current values; the current ones are kept aside for readers.
  void Publish(std::unique_ptr<Data> fresh);
  /// Sets one component text as the library does it: on a copy of the values, published.
  void SetText(eIbisParam id, const std::string& value);

  CIbisCompMdls* owner_;
  std::unique_ptr<Data> data_;
  std::vector<std::unique_ptr<Data>> retired_;  // earlier fills, still readable by callers
  std::time_t compile_date_ = 0;
  // The source's modification time (ns) that the compiled information stands for; none when
  // unknown.
  std::optional<int64_t> source_time_;
  eIbisStatus status_ = eIbisNew;
  int visited_ = 0;
  std::string label_;      // of the source index that knows the component
  std::string directory_;  // of its source
};
