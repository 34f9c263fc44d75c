// [Component] and the keywords that describe it: package, pins, pin mapping.
#pragma once

#include <string>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

struct Component {
  std::string name;
};

/// Forgets the section's current object at the start of a reading.
void CMPNT_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void CMPNT_Init(FileKind kind);
void CMPNT_Line(LineKind kind, Kw code, std::string_view line);
void CMPNT_KeywordDone(Kw next);
/// The checks that run once the whole file has been read.
void CMPNT_EndOfFile();

}  // namespace tarn
