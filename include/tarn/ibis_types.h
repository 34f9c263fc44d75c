// The enumerations shared by the model library's classes and their callers.
#pragma once

/// What compiling a source gave.
enum eRdIbisResult {
  eRdIbisNone = 0,      ///< nothing was compiled
  eRdIbisSuccess = 1,   ///< compiled without findings
  eRdIbisWarnings = 2,  ///< compiled; the source has warnings
  eRdIbisFailed = 3,    ///< not compiled: errors, an unreadable source or no log
};

/// Where a component of the library stands. Only 6 and 7 are usable.
enum eIbisStatus {
  eIbisNew = 0,            ///< not looked at yet
  eIbisNotFound = 1,       ///< neither source nor compiled file found
  eIbisSourceErrors = 2,   ///< the source has errors; no compiled file
  eIbisUnreadable = 3,     ///< the compiled file could not be read (or is about to be re-read)
  eIbisOutOfDate = 4,      ///< compiled just now, or older than its source
  eIbisSourceOnly = 5,     ///< pins read straight from the source
  eIbisOutOfDateKept = 6,  ///< older than its source, kept by the caller's choice
  eIbisCurrent = 7,        ///< compiled information current
};

/// The parameters of a component (ids 0 to 7) and of its pins (ids 8 and above).
enum eIbisParam {
  eIbisCompName = 0,
  eIbisSourceFile = 1,
  eIbisCompiledFile = 2,
  eIbisCompInteger = 3,
  eIbisCompText = 4,
  eIbisRPkg = 5,
  eIbisLPkg = 6,
  eIbisCPkg = 7,
  eIbisPinName = 8,
  eIbisSignalName = 9,
  eIbisModelName = 10,
  eIbisPullUpPins = 11,
  eIbisPullDownPins = 12,
  eIbisPowerClampPins = 13,
  eIbisGndClampPins = 14,
  eIbisDiffFlag = 15,
  eIbisModelType = 16,
  eIbisRPin = 17,
  eIbisLPin = 18,
  eIbisCPin = 19,
  eIbisEdgeRate = 20,
  eIbisVoltRange = 21,
  eIbisPullUpRef = 22,
  eIbisPullDownRef = 23,
  eIbisPowerClampRef = 24,
  eIbisGndClampRef = 25,
  eIbisDiffPartner = 29,
  eIbisDiffPolarity = 30,
  eIbisVdiff = 31,
  eIbisTdelay = 32,
  eIbisSeriesPartners = 33,
  eIbisSeriesModel = 34,
  eIbisSeriesR = 35,
  eIbisSeriesL = 36,
  eIbisSeriesC = 37,
  eIbisSeriesRL = 38,
  eIbisSeriesLC = 39,
  eIbisSeriesRC = 40,
  eIbisTermRgnd = 41,
  eIbisTermRpower = 42,
  eIbisTermRac = 43,
  eIbisTermCac = 44,
  eIbisVmeas = 45,
  eIbisVinlPlus = 46,
  eIbisVinhPlus = 47,
  eIbisVinlMinus = 48,
  eIbisVinhMinus = 49,
  eIbisOverHighS = 50,  ///< checked when read, never stored
  eIbisOverLowS = 51,
  eIbisOverHighD = 52,
  eIbisOverLowD = 53,
  eIbisOverTimeD = 54,
};

/// The corner of a typ/min/max value, in the order the compiled file writes them.
enum eTypMinMax { eTyp = 0, eMin = 1, eMax = 2 };

/// Model_type codes.
enum model_type {
  MT_NOT_GIVEN = 0,
  MT_NO_TYPE = 1,
  MT_INPUT = 2,
  MT_OUTPUT = 3,
  MT_IO = 4,
  MT_3STATE = 5,
  MT_OPEN_DRAIN = 6,
  MT_IO_OPEN_DRAIN = 7,
  MT_OPEN_SINK = 8,
  MT_IO_OPEN_SINK = 9,
  MT_OPEN_SOURCE = 10,
  MT_IO_OPEN_SOURCE = 11,
  MT_INPUT_ECL = 12,
  MT_OUTPUT_ECL = 13,
  MT_IO_ECL = 14,
  MT_TERMINATOR = 15,
  MT_SERIES = 16,
  MT_SERIES_SWITCH = 17,
  MT_3STATE_ECL = 18,
};
