// A section whose rules are not read yet: it keeps its records in the current document and
// takes its lines without findings, so that the dispatch around it is whole.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/reading_state.h"

namespace tarn {

template <class Record, std::vector<std::unique_ptr<Record>> IbisDocument::*List>
struct PendingSection {
  Record* current = nullptr;
  SavedWithReading<Record*> saved{&current};

  void reset() { current = nullptr; }

  void init() {
    IbisDocument* doc = IBIS_Current();
    TARN_ASSERT(doc != nullptr);
    (doc->*List).push_back(std::make_unique<Record>());
    current = (doc->*List).back().get();
  }

  // The opener's text names the record.
  void line(LineKind kind, std::string_view text) {
    if (kind == LineKind::Keyword && current && current->name.empty())
      current->name = std::string(CMN_KeywordArgument(text));
  }
};

}  // namespace tarn
