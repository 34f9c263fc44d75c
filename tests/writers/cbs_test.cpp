// Compiled component model files: whole files for components that exercise each record, compared
// with the golden files in tests/data/expected (TARN_UPDATE_GOLDEN=1 rewrites them), the
// writer's failures, and the same bytes whatever locale the host program set.
#include "writers/cbs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "libibis/src/ibis.h"
#include "libibis/src/rpt.h"
#include "tarn/compile.h"
#include "test_support.h"
#include "writers/safe_file.h"

namespace tarn::test {
namespace {

struct Compiled {
  int result = -1;
  std::string read_report;          // findings of the reading
  std::string report;               // the writer's own findings
  std::optional<std::string> file;  // the compiled file, when one was written
};

// Reads `source` as t.ibs and compiles `component` of it to `output` (a name in a fresh folder
// that may hold an `older` file, or null for no path) with the writer's findings collected. A
// `full_disk` fails each write as a full disk does.
Compiled compile(std::string_view source, const char* component, const char* output = "out.cbs",
                 const char* older = nullptr, bool full_disk = false) {
  Compiled c;
  ReadResult read = read_source(source, "t.ibs", /*want_document=*/true);
  c.read_report = read.report;
  if (!read.document) {
    ADD_FAILURE() << "no document:\n" << read.report;
    return c;
  }
  TempDir dir;
  ScopedCwd cwd(dir.path());
  if (older) dir.write(output, older);
  if (full_disk)
    SFL_SetStepHook([](SafeFileStep step, const char*) {
      return step == SafeFileStep::kWritten ? ENOSPC : 0;
    });
  MemStream report;
  RPT_SetStream(report.get());
  c.result = CBS_CompileComponent(read.document.get(), output, component);
  RPT_SetStream(nullptr);
  SFL_SetStepHook(nullptr);
  c.report = report.text();
  if (output) c.file = file_bytes(dir.path() / output);  // "-" means no file: none may appear
  return c;
}

// A component that a caller would get compiled: no errors in the reading.
std::string compile_clean(std::string_view source, const char* component) {
  const Compiled c = compile(source, component);
  EXPECT_EQ(c.read_report.find("ERROR"), std::string::npos) << c.read_report;
  EXPECT_EQ(c.result, 1);
  EXPECT_EQ(c.report, "");
  return c.file.value_or("<no file>");
}

// Three models: one with entries in every corner (NA rows in the min column of later rows),
// one whose only min entry is a VI table column, one without any min entry.
constexpr const char* kCornerSource = R"([IBIS Ver] 3.2
[File Name] t.ibs
[File Rev] 1.0
[Component] CORNERS
[Manufacturer] Acme
[Package]
R_pkg 0.2 NA NA
L_pkg 1n 0.8n 1.2n
C_pkg 1p NA 1.5p
[Pin] signal_name model_name
1 DQ0 io_a
2 IN0 in_b
3 OUT0 tri_c
4 VCC POWER
5 GND GND
[Model] io_a
Model_type I/O
Vmeas = 1.5
C_comp 2p 1.5p NA
[Voltage Range] 3.3 3.0 3.6
[Pulldown]
-1 -0.01 -0.008 -0.012
1 0.01 NA 0.012
3.3 0.02 0.015 0.024
[Pullup]
-1 0.01 NA NA
3.3 -0.02 NA NA
[Ramp]
dV/dt_r 1.0/1n 0.8/1.2n 1.6/0.8n
dV/dt_f 1.5/1n 1.0/1n NA
R_load = 50
[Rising Waveform]
R_fixture = 50
V_fixture = 0
C_fixture = 1p
C_dut = 0.5p
0 0 0 0
1n 1.0 NA 1.2
2n 1.65 1.3 2.0
[Falling Waveform]
R_fixture = 50
V_fixture = 3.3
0 3.3 3.0 3.6
2n 1.65 1.5 1.8
[Falling Waveform]
R_fixture = 50
V_fixture = 0
0 1.65 NA NA
2n 0 NA NA
[Model] in_b
Model_type Input
Vinl = 0.8
Vinh = 2.0
C_comp 1p NA NA
[Voltage Range] 3.3 NA NA
[GND Clamp]
-1 -0.1 -0.09 NA
0 0 0 NA
[Model] tri_c
Model_type 3-state
C_comp 1p NA 1.2p
[Voltage Range] 3.3 NA 3.6
[Pulldown]
0 0 NA 0
1 0.01 NA 0.012
[Pullup]
0 0 NA NA
1 -0.01 NA NA
[Ramp]
dV/dt_r 1.0/1n NA NA
dV/dt_f 1.0/1n NA NA
[End]
)";

TEST(CompiledFile, CornerCopiesFollowTheirProbeAndTheTableRule) {
  // Models in the order of the document's list, newest first. Each table takes its column
  // from its first row; a row whose chosen entry is NA is left out. Only the first waveform of
  // a direction is carried; the fixture sums the fixture's and the device's C.
  EXPECT_TRUE(matches_golden("cbs_corners.cbs", compile_clean(kCornerSource, "corners")));
}

// Whatever locale the host set, the file is the same bytes: a comma-decimal locale must not
// turn 0.2 into 0,2.
TEST(CompiledFile, SameBytesUnderACommaDecimalLocale) {
  TempDir dir;
  const std::string source = dir.write("t.ibs", kCornerSource);
  const auto compiled = [&](const char* name) {
    const std::string output = (dir.path() / name).string();
    const int result = quietly([&] {
      return IBIS_CompileSourceToStream(source.c_str(), "CORNERS", output.c_str(), nullptr);
    });
    EXPECT_EQ(result, 1) << name;
    return file_text(output);
  };
  const std::string in_c = compiled("c.cbs");
  const std::string previous = std::setlocale(LC_ALL, nullptr);
  if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) GTEST_SKIP() << "de_DE.UTF-8 is not installed";
  char probe[16];
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  const std::string in_de = compiled("de.cbs");
  std::setlocale(LC_ALL, previous.c_str());
  ASSERT_STREQ(probe, "0,5") << "the locale did not take effect";
  EXPECT_NE(in_c.find("R_Pkg 0.2 0.2 0.2\n"), std::string::npos) << in_c;
  EXPECT_EQ(in_de, in_c);
}

// Pin-level records: a quoted name, the copyright cut, pin parasitics, a diff pair, a pin on a
// model selector, a terminator, a series pair, supply lists and the thresholds.
constexpr const char* kPinSource = R"([IBIS Ver] 3.2
[File Name] t.ibs
[File Rev] 1.0
[Copyright] Copyright 2026 Acme Semiconductor Corporation, all rights kept
[Component] A"B
[Manufacturer] Acme
[Package]
R_pkg 0.2 NA NA
L_pkg 1n NA NA
C_pkg 1p NA NA
[Pin] signal_name model_name R_pin L_pin C_pin
1 DP out_d 0.1 1n 1p
2 DN out_d 0.1 1n 1p
3 RX1 sel
4 TP term_e
5 SA in_g
6 SB in_g
7 V1 POWER
8 V7 POWER
9 G1 GND
10 VQ POWER
11 SC in_g
[Pin Mapping] pulldown_ref pullup_ref gnd_clamp_ref power_clamp_ref
1 GNDBUS VDDBUS GNDBUS VDDQ
2 GNDBUS VDDBUS
3 GNDBUS VDDBUS
4 NC NC GNDBUS VDDBUS
5 GNDBUS VDDBUS
6 GNDBUS VDDBUS
7 NC VDDBUS
8 NC VDDBUS
9 GNDBUS NC
10 NC VDDQ
11 GNDBUS VDDBUS
[Diff Pin] inv_pin vdiff tdelay_typ tdelay_min tdelay_max
1 2 0.15 1u NA 3u
[Series Pin Mapping] pin_2 model_name
5 6 ser_f
11 5 ser_f
[Model Selector] sel
in_g Input buffer
[Model] out_d
Model_type Input
C_comp 1p NA NA
[Model Spec]
| subparameter typ min max
Vinh+ 2.1 2.0 2.2
S_overshoot_high 3.6 NA NA
D_overshoot_high 4.0 NA NA
D_overshoot_time 1n NA NA
Vmeas 1.4 1.3 NA
[Voltage Range] 3.3 NA NA
[Model] in_g
Model_type Input
Vinl = 0.8
Vinh = 2.0
C_comp 1p NA NA
[Voltage Range] 3.3 NA NA
[Model] term_e
Model_type Terminator
C_comp 1p NA NA
[Voltage Range] 3.3 NA NA
[Rgnd] 100 90 NA
[Rpower] 100 NA 110
[Rac] 50 NA NA
[Cac] 10p NA NA
[Model] ser_f
Model_type Series
C_comp 1p NA NA
[Voltage Range] 3.3 NA NA
[R Series] 10 9 11
[L Series] 1n NA NA
[End]
)";

TEST(CompiledFile, PinGroupsCarryTheirPartnersModelRecordsAndSupplies) {
  // The pin on a selector finds no model: type 1 and no model records. "NC" in a mapping row
  // names no bus. A pin in two series pairs lists both partners in the pairs' order. The %f
  // thresholds lose a 1 ns time; the series model is not written since no pin names it;
  // term_rac keeps its two blanks.
  EXPECT_TRUE(matches_golden("cbs_pin_groups.cbs", compile_clean(kPinSource, "A\"B")));
}

// Neither is a file the reader passes, but the writer writes what the document holds: no
// Model_type is "No Type" with code 1, and a zero ramp time gives no ERate record.
constexpr const char* kUntyped = R"([IBIS Ver] 3.2
[File Name] t.ibs
[Component] X
[Manufacturer] Acme
[Pin] signal_name model_name
1 A plain
[Model] plain
Vinl = 0.8
[Ramp]
dV/dt_r 1/0 NA NA
dV/dt_f 1/1n NA NA
[End]
)";

constexpr const char* kTwoComponents = R"([IBIS Ver] 3.2
[File Name] t.ibs
[Component] First
[Manufacturer] Acme
[Pin] signal_name model_name
1 VCC POWER
[Component] Second
[Manufacturer] Acme
[Model] m
Model_type Input
[End]
)";

TEST(CompiledFile, WhatIsWrittenAndReportedDecidesTheResult) {
  struct Case {
    const char* what;
    const char* source;
    const char* component;
    const char* output;
    int result;
    const char* report;
    const char* golden;  // the expected file; null: none, or the older file left as it was
    const char* older = nullptr;
    bool full_disk = false;
  };
  const Case cases[] = {
      {"a model without type, a ramp without time", kUntyped, "X", "out.cbs", 1, "",
       "cbs_untyped.cbs"},
      {"a name matches without regard to case, only the first such component", kTwoComponents,
       "FIRST", "out.cbs", 1, "", "cbs_first_of_two.cbs"},
      {"no name and two components", kTwoComponents, nullptr, "out.cbs", 0,
       "ERROR t.ibs - No Component Name supplied and IBIS file contains multiple entries\n",
       nullptr},
      {"no path only checks the component", kTwoComponents, "Second", nullptr, 1, "", nullptr},
      {"\"-\" only checks the component", kTwoComponents, "Second", "-", 1, "", nullptr},
      {"a component without pins: both passes report it, the head is still written", kTwoComponents,
       "Second", "out.cbs", 1,
       "ERROR t.ibs - Unable to access component info: pin list\n"
       "ERROR t.ibs - Unable to access component info: pin list\n",
       "cbs_head_only.cbs"},
      {"an output that cannot be opened", kTwoComponents, "First", "missing/out.cbs", 0,
       "ERROR t.ibs - Unable to open output file.\n"
       "ERROR t.ibs - Unable to open file \"missing/out.cbs\"\n",
       nullptr},
      // The result says the file was not written, so a caller records nothing.
      {"a full disk keeps the older file", kTwoComponents, "First", "out.cbs", 0,
       "ERROR t.ibs - Unable to close output file.\n"
       "ERROR t.ibs - Unable to write file \"out.cbs\": No space left on device\n",
       nullptr, "older\n", true},
  };
  for (const Case& k : cases) {
    const Compiled c = compile(k.source, k.component, k.output, k.older, k.full_disk);
    EXPECT_EQ(c.result, k.result) << k.what;
    EXPECT_EQ(c.report, k.report) << k.what;
    if (k.golden)
      EXPECT_TRUE(matches_golden(k.golden, c.file.value_or("<no file>"))) << k.what;
    else
      EXPECT_EQ(c.file, k.older ? std::optional<std::string>(k.older) : std::nullopt) << k.what;
  }
}

// Sources built from parts: clean models whose one table, with all three corners, makes each
// block some kilobytes long, and components naming them on their pins.
std::string model_part(const std::string& name) {
  std::string part = "[Model] " + name +
                     "\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp 1p 0.9p 1.1p\n"
                     "[Voltage Range] 3.3 3.0 3.6\n[GND Clamp]\n";
  for (int row = 0; row < 100; ++row) {
    const double v = -3.3 + 0.066 * row;
    const double i = v < 0 ? 0.01 * v : 0.0;
    part += std::to_string(v) + " " + std::to_string(i) + " " + std::to_string(0.9 * i) + " " +
            std::to_string(1.1 * i) + "\n";
  }
  return part;
}

std::string component_part(const std::string& name, const std::vector<std::string>& models) {
  std::string part = "[Component] " + name +
                     "\n[Manufacturer] Acme\n[Package]\nR_pkg 0.2 NA NA\nL_pkg 1n NA NA\n"
                     "C_pkg 1p NA NA\n[Pin] signal_name model_name\n";
  for (size_t pin = 0; pin < models.size(); ++pin)
    part += std::to_string(pin + 1) + " S" + std::to_string(pin + 1) + " " + models[pin] + "\n";
  return part;
}

std::string ibis_file(const std::string& body) {
  return "[IBIS Ver] 3.2\n[File Name] t.ibs\n" + body + "[End]\n";
}

// Many models, a pin on two of every three: more than wait for the worker at once, and more text
// than one piece of the store the blocks wait in.
std::string many_models() {
  std::vector<std::string> named;
  std::string models;
  for (int i = 0; i < 90; ++i) {
    const std::string name = "m" + std::to_string(i);
    if (i % 3 != 1) named.push_back(name);
    models += model_part(name);
  }
  return ibis_file(component_part("MANY", named) + models);
}

struct Written {
  int result = -1;
  std::string report;
  std::optional<std::string> file;
};

// The file read, checked and compiled in one pass, the models formatted as they are read.
Written compile_streamed(const std::string& source, const char* component, const char* output,
                         bool full_disk) {
  TempDir dir;
  dir.write("t.ibs", source);
  ScopedCwd cwd(dir.path());
  if (full_disk)
    SFL_SetStepHook([](SafeFileStep step, const char*) {
      return step == SafeFileStep::kWritten ? ENOSPC : 0;
    });
  MemStream report;
  Written w;
  w.result = quietly(
      [&] { return IBIS_CompileSourceToStream("t.ibs", component, output, report.get()); });
  SFL_SetStepHook(nullptr);
  w.report = report.text();
  w.file = file_bytes(dir.path() / output);
  return w;
}

// The same from a document read whole and kept.
Written compile_kept(const std::string& source, const char* component) {
  ReadResult read = read_source(source, "t.ibs", /*want_document=*/true);
  TempDir dir;
  const std::string output = (dir.path() / "out.cbs").string();
  MemStream report;
  Written w;
  w.result = IBIS_CompileDocument(read.document.get(), output.c_str(), component, report.get());
  w.report = report.text();
  w.file = file_bytes(output);
  return w;
}

TEST(CompiledFile, StreamedModelsGiveTheKeptDocumentsFile) {
  const std::vector<std::string> ab = {"a", "b", "GND"};
  const std::string a_b = model_part("a") + model_part("b");
  // Long enough for its pin groups to be shared out, and for the helper to use its texts over.
  std::vector<std::string> long_list;
  for (int pin = 0; pin < 3000; ++pin) long_list.push_back(pin % 3 == 0 ? "a" : "b");
  struct Case {
    const char* what;
    std::string source;
    const char* component;
    const char* output = "out.cbs";
    bool full_disk = false;
    // The end of the report: the writer's findings, if any, and the summary.
    const char* report_end = "File t.ibs  Errors: 0  Compile Passed\n\n";
    bool written = true;  // else no file is left
  };
  const Case cases[] = {
      {"many models, some named by no pin", many_models(), "MANY"},
      {"the second of two components, a model only the first names",
       ibis_file(component_part("ONE", {"a", "b", "c"}) + component_part("TWO", {"b"}) + a_b +
                 model_part("c")),
       "TWO"},
      {"the component after its models", ibis_file(a_b + component_part("LATE", ab)), "LATE"},
      {"a long pin list", ibis_file(component_part("LONG", long_list) + a_b), "LONG"},
      {"a pin on a selector given after the models",
       ibis_file(component_part("SEL", {"a", "sel", "b"}) + a_b +
                 "[Model Selector] sel\na first\nb second\n"),
       "SEL"},
      {"a model defined twice fails the check",
       ibis_file(component_part("TWICE", ab) + a_b + model_part("a")), "TWICE", "out.cbs", false,
       "File t.ibs  Errors: 1  Compile Failed\n\n", false},
      {"an output that cannot be opened", ibis_file(component_part("X", ab) + a_b), "X",
       "missing/out.cbs", false,
       "ERROR t.ibs - Unable to open output file.\n"
       "ERROR t.ibs - Unable to open file \"missing/out.cbs\"\n"
       "File t.ibs  Errors: 2  Compile Failed\n\n",
       false},
      {"a write that fails", ibis_file(component_part("X", ab) + a_b), "X", "out.cbs", true,
       "ERROR t.ibs - Unable to close output file.\n"
       "ERROR t.ibs - Unable to write file \"out.cbs\": No space left on device\n"
       "File t.ibs  Errors: 2  Compile Failed\n\n",
       false},
  };
  // On one processor the worker's jobs run on the reading thread, as they come.
  for (const bool one_processor : {false, true})
  for (const Case& k : cases) {
    SCOPED_TRACE(one_processor ? "one processor" : "all processors");
    Written streamed;
    {
      ProcessorScope processors(one_processor);
      streamed = compile_streamed(k.source, k.component, k.output, k.full_disk);
    }
    const std::string& report = streamed.report;
    const std::string_view end(k.report_end);
    EXPECT_TRUE(report.size() >= end.size() && report.substr(report.size() - end.size()) == end)
        << k.what << "\n" << report;
    EXPECT_EQ(streamed.result, k.written ? 1 : 0) << k.what;
    if (!k.written) {
      EXPECT_EQ(streamed.file, std::nullopt) << k.what;
      continue;
    }
    const Written kept = compile_kept(k.source, k.component);
    ASSERT_EQ(kept.result, 1) << k.what << "\n" << kept.report;
    EXPECT_TRUE(streamed.file == kept.file) << k.what;  // not printed: they are long
  }
}

TEST(CompiledFile, EscapingDoublesQuotesWithinItsBudget) {
  struct Case {
    std::string_view source;
    size_t limit;
    const char* escaped;
  };
  const Case cases[] = {
      {"A\"B", 2048, "A\"\"B"},
      {"abcdef", 4, "abc"},
      {"abc", 4, "abc"},  // fits exactly
      {"ab\"cd", 4, "ab\"\""},  // the quote costs two and fits exactly
      {"abc\"d", 4, "abc"},     // the budget is spent before the quote
      {"a\"bcd", 3, "a\"\""},   // a quote is never cut in half, even past the budget
      {"", 40, ""},
  };
  for (const Case& k : cases) {
    std::string out = "x";
    CBS_EscapeString(&out, k.source, k.limit);
    EXPECT_EQ(out, std::string("x") + k.escaped) << k.source << " / " << k.limit;
  }
}

// Vendor files: every component of every file that reads compiles to a file whose pin count
// matches its pin records, whatever findings the reading had.
TEST(CompiledFile, EveryCorpusComponentCompiles) {
  const std::filesystem::path dir = std::filesystem::path(TARN_TEST_DATA) / "corpus";
  int components = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string path = entry.path().string();
    if (entry.path().extension() != ".ibs") continue;
    IbisDocument* raw = nullptr;
    ::testing::internal::CaptureStdout();
    (void)IBIS_ReadSourceToStream(path.c_str(), nullptr, &raw);
    ::testing::internal::GetCapturedStdout();
    const DocumentPtr document(raw);
    if (!document) continue;
    for (const auto& component : document->components) {
      ++components;
      TempDir out_dir;
      const std::string out = (out_dir.path() / "c.cbs").string();
      MemStream report;
      RPT_SetStream(report.get());
      const int result = CBS_CompileComponent(document.get(), out.c_str(), component->name.c_str());
      RPT_SetStream(nullptr);
      EXPECT_EQ(result, 1) << path << " " << component->name << "\n" << report.text();
      const std::string text = file_bytes(out).value_or("");
      EXPECT_EQ(text.rfind("File_Rev 3 0\n", 0), 0u) << path;
      std::istringstream lines(text);
      std::string line;
      int pins = 0;
      int declared = -1;
      while (std::getline(lines, line)) {
        if (line.rfind("Pin \"", 0) == 0) ++pins;
        if (line.rfind("Num_Pins ", 0) == 0) declared = std::stoi(line.substr(9));
      }
      EXPECT_EQ(pins, declared) << path << " " << component->name;
    }
  }
  EXPECT_GE(components, 4);
}

}  // namespace
}  // namespace tarn::test
