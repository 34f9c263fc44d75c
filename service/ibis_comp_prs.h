// The reader of compiled component model files: a keyword stream parser whose table maps each
// record to a parameter of the component or of its current pin.
#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/ibis_comp_info.h"
#include "tarn/navig_prs.h"

class CIbisCompPrs : public CNavigPrs {
 public:
  /// `file_size` bounds the pin count a file may declare.
  CIbisCompPrs(CIbisCompInfo* target, uintmax_t file_size)
      : target_(target), file_size_(file_size) {}

  /// Reads the component's records, then checks that the file holds what it declares: its
  /// revision, component and pin count, every pin's record, the model of every typed pin, and
  /// each model's Type and copies, the min and max copies with the typ copy's records. A file
  /// cut short anywhere but at a line end is refused by its last line. 1 when accepted.
  int ParseStream(std::ifstream& s) override;
  int ut_getc() override;
  /// Passes the problem on to the manager that owns the component.
  void Error(int line, int expected, int got, char* keyword, char* token) override;
  int switch_func(int action, arg_val* args, int tag, int line, int count) override;

  /// Copies one model's copy for `corner` (or its typ copy) to `out`; with `outline` the
  /// model's Model and Type records come first. 1 when the model was found.
  int ListModel(std::ifstream& s, std::ostream& out, const char* model, eTypMinMax corner,
                bool outline);

 private:
  // One Model block as read: its name, whether Type followed, and the record keywords of each
  // copy (min, max, typ), empty until the copy is met.
  struct ModelBlock {
    std::string name;
    bool typed = false;
    std::array<std::optional<std::string>, 3> copies;
  };

  int StartModel(const char* name);
  int ModelRecord(int action, const char* keyword, int tag);
  bool Refill();
  bool CheckModelBlocks(int line);
  bool CheckModelLine(std::string_view record, int line, bool* in_table);
  bool HoldsWhatItDeclares();
  bool Refuse(int line, const char* keyword, const std::string& token);

  static constexpr size_t kChunk = 64 * 1024;

  CIbisCompInfo* target_;
  uintmax_t file_size_;
  std::vector<char> chunk_;  // read ahead of the parser
  size_t next_ = 0;
  int pin_ = -1;
  int series_count_ = 0;
  bool revision_seen_ = false;
  bool component_seen_ = false;
  int declared_pins_ = -1;
  std::vector<ModelBlock> models_;
  int copy_ = -1;        // the copy being read: 0 min, 1 max, 2 typ; -1 before the first
  int line_offset_ = 0;  // lines before the first Model, for the model pass's line numbers
};
