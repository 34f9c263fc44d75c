// Codes shared by every part of the reader: keywords, line kinds, file kinds, value states.
#pragma once

#include <cstdint>

namespace tarn {

/// Keyword codes. Keywords that recur in another section have a code of their own there
/// (the manufacturer of a package model, the board's pin count, a submodel's tables).
enum class Kw : uint8_t {
  IBIS_VER = 0, COMMENT_CHAR, FILE_NAME, FILE_REV, DATE, SOURCE, NOTES, DISCLAIMER, COPYRIGHT,
  COMPONENT = 9, MANUFACTURER, PACKAGE, PIN, PACKAGE_MODEL, PIN_MAPPING, DIFF_PIN,
  SERIES_SWITCH_GROUPS, SERIES_PIN_MAPPING,
  MODEL = 18, TEMPERATURE_RANGE, VOLTAGE_RANGE, PULLUP_REFERENCE, PULLDOWN_REFERENCE,
  POWER_CLAMP_REFERENCE, GND_CLAMP_REFERENCE, PULLDOWN, PULLUP, GND_CLAMP, POWER_CLAMP, RGND,
  RPOWER, RAC, CAC, RAMP, RISING_WAVEFORM, FALLING_WAVEFORM,
  TTGND = 36, TTPOWER, MODEL_SPEC, DRIVER_SCHEDULE, ON, OFF, R_SERIES, L_SERIES, RL_SERIES,
  C_SERIES, LC_SERIES, RC_SERIES, SERIES_CURRENT, SERIES_MOSFET, ADD_SUBMODEL,
  DEFINE_PACKAGE_MODEL = 51, PKG_MANUFACTURER, OEM, DESCRIPTION, NUMBER_OF_PINS, PIN_NUMBERS,
  MODEL_DATA, RESISTANCE_MATRIX, INDUCTANCE_MATRIX, CAPACITANCE_MATRIX, BANDWIDTH, ROW,
  END_MODEL_DATA, END_PACKAGE_MODEL, NUMBER_OF_SECTIONS,
  BEGIN_BOARD_DESCRIPTION = 66, EBD_MANUFACTURER, EBD_NUMBER_OF_PINS, PIN_LIST,
  PATH_DESCRIPTION, REFERENCE_DESIGNATOR_MAP, END_BOARD_DESCRIPTION,
  MODEL_SELECTOR = 73,
  SUBMODEL = 74, SUBMODEL_SPEC, GND_PULSE_TABLE, POWER_PULSE_TABLE, SUB_PULLDOWN, SUB_PULLUP,
  SUB_GND_CLAMP, SUB_POWER_CLAMP, SUB_RAMP, SUB_RISING_WAVEFORM, SUB_FALLING_WAVEFORM,
  END = 85,
  NOT_KEY = 86,
  // Keywords of IBIS 4.0 to 7.2, read past when a later version is accepted.
  RECEIVER_THRESHOLDS = 87, TEST_DATA, RISING_WAVEFORM_NEAR, FALLING_WAVEFORM_NEAR,
  RISING_WAVEFORM_FAR, FALLING_WAVEFORM_FAR, DIFF_RISING_WAVEFORM_NEAR,
  DIFF_FALLING_WAVEFORM_NEAR, DIFF_RISING_WAVEFORM_FAR, DIFF_FALLING_WAVEFORM_FAR, TEST_LOAD,
  ALTERNATE_PACKAGE_MODELS, END_ALTERNATE_PACKAGE_MODELS, EXTERNAL_MODEL, END_EXTERNAL_MODEL,
  EXTERNAL_CIRCUIT, END_EXTERNAL_CIRCUIT, NODE_DECLARATIONS, END_NODE_DECLARATIONS,
  CIRCUIT_CALL, END_CIRCUIT_CALL, EXTERNAL_REFERENCE, ISSO_PU, ISSO_PD, COMPOSITE_CURRENT,
  ALGORITHMIC_MODEL, END_ALGORITHMIC_MODEL, BEGIN_EMI_COMPONENT, END_EMI_COMPONENT, PIN_EMI,
  PIN_DOMAIN_EMI, BEGIN_EMI_MODEL, END_EMI_MODEL, C_COMP_CORNER, REPEATER_PIN, INITIAL_DELAY,
  MERGED_PINS, INTERCONNECT_MODEL_SET, END_INTERCONNECT_MODEL_SET, INTERCONNECT_MODEL,
  END_INTERCONNECT_MODEL, INTERCONNECT_MODEL_GROUP, END_INTERCONNECT_MODEL_GROUP, BUS_LABEL,
  DIE_SUPPLY_PADS, CLOCK_PINS, C_COMP_MODEL, END_C_COMP_MODEL,
  KEYWORD_COUNT,
};

constexpr int kw_int(Kw code) { return static_cast<int>(code); }
/// Whether a code is one of the keywords added after IBIS 3.2.
constexpr bool kw_newer(Kw code) {
  return kw_int(code) >= kw_int(Kw::RECEIVER_THRESHOLDS) && kw_int(code) < kw_int(Kw::KEYWORD_COUNT);
}
constexpr bool kw_in(Kw code, Kw first, Kw last) {
  return kw_int(code) >= kw_int(first) && kw_int(code) <= kw_int(last);
}

/// What the line reader hands to a section.
enum class LineKind : uint8_t { Comment = 0, Keyword = 1, Data = 2 };

/// The kind of a source, from its extension.
enum class FileKind : uint8_t { Unknown = 0, Ibs = 1, Pkg = 2, Ebd = 3 };

/// A value-or-NA field: absent, a number, or "NA".
enum class ValueStatus : uint8_t { Absent = 0, Value = 1, NA = 2 };

/// Model_type codes, shared by the reader, the compiled file and the component object.
enum class ModelType : uint8_t {
  NotGiven = 0, NoType = 1, Input, Output, IO, ThreeState, OpenDrain, IOOpenDrain, OpenSink,
  IOOpenSink, OpenSource, IOOpenSource, InputECL, OutputECL, IOECL, Terminator, Series,
  SeriesSwitch, ThreeStateECL,
};

/// Longest keyword name between the brackets.
constexpr int kKeywordNameMax = 77;
/// Longest file name the reader assembles.
constexpr size_t kPathMax = 1024;

}  // namespace tarn
