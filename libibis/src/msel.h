// [Model Selector]: a named choice among models, one model line each, that a pin may name in
// place of a model.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/defs.h"

namespace tarn {

/// One model line of a selector.
struct ModelSelectorEntry {
  std::string name;        // at most 20 characters
  std::string descriptor;  // the rest of the line; with the name at most 80 characters
};

/// One [Model Selector].
struct ModelSelector {
  std::string name;                        // at most 20 characters
  std::vector<ModelSelectorEntry> models;  // in file order
};

/// Forgets the section's current selector and the names seen, at the start of a reading.
void MSEL_Reset();
/// [Model Selector]: a new record in the current document becomes the current selector.
void MSEL_Init(FileKind kind);
/// The keyword line (the selector's name) or a model line.
void MSEL_Line(LineKind kind, Kw code, std::string_view line);
/// The selector's section has ended: it must list models.
void MSEL_KeywordDone(Kw next);
/// Once the whole file is read: selectors against the file's models.
void MSEL_EndOfFile();

}  // namespace tarn
