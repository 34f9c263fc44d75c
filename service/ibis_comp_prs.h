// The reader of compiled component model files: a keyword stream parser whose table maps each
// record to a parameter of the component or of its current pin.
#pragma once

#include <cstdint>
#include <fstream>
#include <ostream>

#include "tarn/ibis_comp_info.h"
#include "tarn/navig_prs.h"

class CIbisCompPrs : public CNavigPrs {
 public:
  /// `file_size` bounds the pin count a file may declare.
  CIbisCompPrs(CIbisCompInfo* target, uintmax_t file_size)
      : target_(target), file_size_(file_size) {}

  /// Reads the component's records up to its first model; 1 when no error was counted.
  int ParseStream(std::ifstream& s) override;
  /// Passes the problem on to the manager that owns the component.
  void Error(int line, int expected, int got, char* keyword, char* token) override;
  int switch_func(int action, arg_val* args, int tag, int line, int count) override;

  /// Copies one model's copy for `corner` (or its typ copy) to `out`; with `outline` the
  /// model's Model and Type records come first. 1 when the model was found.
  int ListModel(std::ifstream& s, std::ostream& out, const char* model, eTypMinMax corner,
                bool outline);

 private:
  CIbisCompInfo* target_;
  uintmax_t file_size_;
  int pin_ = -1;
  int series_count_ = 0;
};
