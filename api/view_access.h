// The one door through which the library makes the public views of its records.
#pragma once

#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "tarn/document.h"

namespace tarn {

struct ViewAccess {
  template <class View, class Record>
  static View make(const Record* record) {
    return View(record);
  }
  static RowRange rows(const RowList& list) { return RowRange(list.head(), list.size()); }

  /// The reading behind read_file (no text) and read_text.
  static ReadResult read(std::string_view name, std::optional<std::string_view> text,
                         const ReadOptions& options);
  static void read_into(ReadResult::State* state, const SourceInput& input,
                        const ReadOptions& options);
};

}  // namespace tarn
