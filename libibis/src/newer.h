// Files that declare IBIS 4.0 to 7.2, read when the caller asks for it: the rules that their
// version relaxes, and the keywords, blocks and subparameters of those versions, which are
// read past with one warning per name instead of being checked.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

/// What the declared version changes in the IBIS 3.2 rules, decided once from [IBIS Ver].
/// Everything is off for a file of 3.2 or older, and for any file unless the caller accepts
/// later versions.
struct NewerRules {
  uint8_t declared = 0;               // 10 x major + minor, such as 51 for "5.1"; 0: none
  bool later_keywords = false;        // 4.0: its keywords and subparameters are read past
  bool long_waveforms = false;        // 4.0: waveform tables of up to 1000 points
  bool diff_model_types = false;      // 4.1: Input_diff, Output_diff, I/O_diff, 3-state_diff
  bool circuit_call = false;          // 4.1: a pin's model may be CIRCUITCALL
  bool long_lines = false;            // 4.1: lines of up to 120 characters
  bool long_names = false;            // 4.2: model, submodel and signal names of up to 40
  bool free_file_names = false;       // 7.0: file names of mixed case, up to 256 characters
};

/// The rules of a version text such as "5.1"; all off for anything but 4.0 to 7.2.
NewerRules NEWER_RulesFor(std::string_view version);
/// The rules of the file being read.
const NewerRules& NEWER_Rules();
/// Set by [IBIS Ver] (off again at the start of every reading).
void NEWER_SetRules(const NewerRules& rules);
/// The longest name of a model, selector or submodel, wherever it is written, and of a pin's
/// signal: 20 characters, 40 from IBIS 4.2.
size_t NEWER_ModelNameLimit();
/// The longest file name in [File Name] or a board's [Reference Designator Map]: 24
/// characters, 256 from IBIS 7.0.
size_t NEWER_FileNameLimit();

/// A subparameter or column added after IBIS 3.2, with the version that added it
/// (10 x major + minor).
struct NewerName {
  std::string_view name;
  uint8_t since;
};

/// Whether `name` is one of `names` and the declared version has it. If so it is read past,
/// and the first time in the file it is warned about at the current line.
[[nodiscard]] bool NEWER_ReadPast(std::span<const NewerName> names, std::string_view name);

/// Forgets the names warned about and the open blocks, at the start of a reading.
void NEWER_Reset();
/// A keyword line (kind 1) or data line (kind 2) of a later keyword: the keyword is warned
/// about once per file, a block is opened or closed, data lines are read past.
void NEWER_Line(LineKind kind, Kw code, std::string_view line);
/// Whether a line lies inside an open block ([Algorithmic Model] up to [End Algorithmic
/// Model]) and was taken by it. The end keyword of the outermost block is left to the
/// dispatcher; so is a keyword that a block cannot hold ([End], a section's opener), which
/// reports the block as never closed.
[[nodiscard]] bool NEWER_Swallows(LineKind kind, std::string_view line);

}  // namespace tarn
