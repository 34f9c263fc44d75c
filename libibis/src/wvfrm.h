// [Rising Waveform] and [Falling Waveform]: a test fixture and voltage against time; the
// submodels' pulse tables are read and ended the same way.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "libibis/src/rngp.h"

namespace tarn {

struct Waveform {
  std::optional<double> r_fixture;  // ohms
  std::optional<double> v_fixture;  // volts
  std::optional<double> v_fixture_min;
  std::optional<double> v_fixture_max;
  std::optional<double> c_fixture;  // farads
  std::optional<double> l_fixture;  // henries
  std::optional<double> r_dut;
  std::optional<double> l_dut;
  std::optional<double> c_dut;
  RowList rows;  // `x` the time, typ/min/max the voltages
  uint32_t start_line = 0;  // of the keyword, for the end messages
};

/// The waveforms of one kind, in file order.
using WaveformList = std::vector<std::unique_ptr<Waveform>>;

/// A new waveform for a keyword line (items after the keyword are reported). 0 when it cannot
/// be made.
[[nodiscard]] int waveform_create(std::string_view line, const char* label,
                                  std::unique_ptr<Waveform>* out);
/// The keyword line of a waveform: reports one past the 100 a model may have, and appends a
/// new waveform all the same. 0 when it cannot be made.
[[nodiscard]] int waveform_open(std::string_view line, WaveformList* list, const char* label);
/// One data line of `waveform`: a fixture subparameter or a time row.
void waveform_line(std::string_view line, Waveform* waveform, const char* label);
/// One time row of a table that holds nothing else (a submodel's pulse table).
void waveform_row(std::string_view line, Waveform* waveform, const char* label);
/// The checks once the table has ended. `is_waveform`: the fixture is required; otherwise
/// (a pulse table) each corner must end where it began.
void waveform_end(const Waveform& waveform, const char* label, bool is_waveform);

enum class WaveformParam : uint8_t {
  RFixture, VFixture, VFixtureMin, VFixtureMax, CFixture, LFixture, RDut, LDut, CDut
};
/// 1 and the fixture or device value when its line was read, else 0.
[[nodiscard]] int waveform_get(const Waveform* waveform, WaveformParam param, double* out);
/// The time rows; 1 when there is at least one.
[[nodiscard]] int waveform_get_rows(const Waveform* waveform, const RowList** out);

}  // namespace tarn
