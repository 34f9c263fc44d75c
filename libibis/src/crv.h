// VI tables: [Pulldown], [Pullup], [GND Clamp], [POWER Clamp] and the series and submodel
// tables read the same way; their checks, and the piecewise-linear current table built from
// one corner for output.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

#include "libibis/src/defs.h"
#include "libibis/src/rngp.h"

namespace tarn {

/// Rows in file order: `x` the voltage, typ/min/max the currents.
struct ViTable {
  RowList rows;
};

/// The keyword line of a VI table: reports a table already in `slot` (it is replaced) and
/// items after the keyword, then starts the table's reading state. 0 when the table cannot be
/// made (the slot is then empty).
[[nodiscard]] int vi_open(std::string_view line, const char* label, std::unique_ptr<ViTable>* slot);
/// One data line of the table opened last.
void vi_row(std::string_view line, ViTable* table, const char* label);
/// The checks once the table has ended: enough rows, "NA" at its ends, and the sense of the
/// current through 0 V that the model type and the keyword call for. `owner_kind` is "Model"
/// or "Submodel".
void vi_end(const char* owner_kind, std::string_view owner_name, ModelType model_type,
            Kw keyword, const ViTable* table, const char* label);

/// One point of a piecewise-linear current table with the segment that starts there.
struct IPwlEntry {
  double v = 0.0;
  double i = 0.0;
  double didv = 0.0;    // slope of the segment to the next point (the last keeps the previous)
  double v_thev = 0.0;  // the segment as a Thevenin source: i = (v - v_thev) / r_thev
  double r_thev = 0.0;
};

struct IPwlTable {
  int extrapolation = 0;  // 1: the end segments extend beyond the table
  std::vector<IPwlEntry> entries;
};

/// How a table's voltages become absolute ones.
enum IPwlMode : int { kIPwlAdd = 0, kIPwlFromReference = 1 };

/// The current table of one corner (0 minimum, 1 typical, 2 maximum), its points in rising
/// voltage. Mode 1 takes each voltage as `reference` minus the table's (tables referenced to
/// the power rail); otherwise `reference` is added. A row without the corner's current uses
/// its typical one. Null when the table is empty or its first row lacks the corner.
std::unique_ptr<IPwlTable> ipwl_build(const ViTable* table, int corner, int mode,
                                      double reference);
/// The points of that table alone, without their segments, into `points` (emptied first);
/// false where ipwl_build gives null.
bool ipwl_points(const ViTable* table, int corner, int mode, double reference,
                 std::vector<IPwlEntry>* points);
/// The listing of a table.
void ipwl_print(std::FILE* stream, const IPwlTable& ipwl);

}  // namespace tarn
