// [Begin Board Description] ... [End Board Description]: a component made of a board. Its pins,
// the electrical path from each pin through R/L/C sections and forks to the pins of the parts
// placed on the board (nodes), and the map of the files that define those parts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/defs.h"
#include "libibis/src/sect.h"

namespace tarn {

/// Longest pin name of a board, in its pin list and on its paths.
constexpr size_t kBoardPinLimit = 8;

struct BoardPin {
  std::string name;    // at most kBoardPinLimit characters
  std::string signal;  // at most 20
};

/// A path from a board pin: its pins, nodes, R/L/C sections, forks and NC, in file order.
struct BoardPath {
  std::string name;
  SectionChain elements;
};

/// A line of [Reference Designator Map]: where the part placed as `name` is defined.
struct ReferenceDesignator {
  std::string name;                        // at most 10 characters
  std::string file_name;                   // at most 24
  FileKind file_kind = FileKind::Unknown;  // Ibs or Ebd; Unknown when the extension is neither
  std::string component;                   // at most 40
  bool component_given = false;
};

struct BoardDescription {
  std::string name;             // at most 40 characters
  std::string manufacturer;     // at most 40
  uint32_t number_of_pins = 0;  // 0: not given or bad
  /// [Pin List] as stored, in file order; never more than number_of_pins.
  std::vector<BoardPin> pins;
  std::vector<BoardPath> paths;
  std::vector<ReferenceDesignator> reference_designators;
};

/// Forgets the section's current object at the start of a reading.
void EBDMDL_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void EBDMDL_Init(FileKind kind);
void EBDMDL_Line(LineKind kind, Kw code, std::string_view line);
/// Completes the keyword just finished; a keyword outside the description ends it, with its
/// checks.
void EBDMDL_KeywordDone(Kw next);
/// The checks once the whole file has been read: the parts each description places, looked up
/// in the files its map names, then descriptions of equal names. `nested` is set for a file
/// read during another (one that a board names).
void EBDMDL_EndOfFile(bool nested);

}  // namespace tarn
