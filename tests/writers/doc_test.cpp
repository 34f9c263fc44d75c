// The documentation listing of a component, compared whole with the golden files in
// tests/data/expected (TARN_UPDATE_GOLDEN=1 rewrites them), and the writer's refusals.
#include "writers/doc.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "libibis/src/cmpnt.h"
#include "libibis/src/hdr.h"
#include "libibis/src/ibis.h"
#include "libibis/src/rpt.h"
#include "tarn/documentation.h"
#include "test_support.h"
#include "writers/safe_file.h"

namespace tarn {
namespace {

// Pieces that several sources share: the file header, a component with its package, four
// pins, and the one model those pins use.
constexpr const char* kSourceHead = "[IBIS Ver] 3.2\n[File Name] t.ibs\n[File Rev] 1.0\n";
constexpr const char* kSourcePart =
    "[Component] Part\n[Manufacturer] Acme\n[Package]\nR_pkg 250m 200m 300m\nL_pkg 2n NA NA\n"
    "C_pkg 1p NA NA\n";
constexpr const char* kSourcePins =
    "[Pin] signal_name model_name\n1 INP in\n2 INN in\n3 VCC POWER\n4 GND GND\n";
constexpr const char* kSourceModel =
    "[Model] in\nModel_type Input\nVinl = 0.8\nVinh = 2\nC_comp 1.5p NA NA\n"
    "[Voltage Range] 3.3 3 3.6\n";

constexpr const char* kPackageModel = R"([Define Package Model] pm
[Manufacturer] Acme
[OEM] Acme
[Description] One pin of the package
[Number Of Pins] 1
[Pin Numbers]
1
[Model Data]
[Resistance Matrix] Full_matrix
[Row] 1
100m
[Inductance Matrix] Full_matrix
[Row] 1
2n
[Capacitance Matrix] Full_matrix
[Row] 1
1p
[End Model Data]
[End Package Model]
)";

std::string joined(std::initializer_list<const char*> pieces) {
  std::string text;
  for (const char* piece : pieces) text += piece;
  return text;
}

// What one call of the writer gave: its result, what it reported and the listing it wrote.
struct DocRun {
  bool ok = false;
  std::string report;
  std::optional<std::string> listing;
};

// Writes into a fresh folder (or nowhere without a path); the folder must hold the listing
// and nothing else afterwards.
DocRun write_doc(const IbisDocument* document, const char* component, bool with_path = true) {
  test::TempDir dir;
  const std::string path = (dir.path() / "doc.txt").string();
  test::MemStream report;
  RPT_ResetCounts();
  RPT_SetStream(report.get());
  RPT_SetFileName("t.ibs");
  DocRun run;
  run.ok = DOC_WriteComponent(document, with_path ? path.c_str() : nullptr, component);
  RPT_SetStream(nullptr);
  run.report = report.text();
  run.listing = test::file_bytes(path);
  const auto files = std::distance(std::filesystem::directory_iterator(dir.path()), {});
  EXPECT_EQ(files, run.listing ? 1 : 0);
  return run;
}

// A fixture must read without errors: the tool writes no listing of a file that has any.
test::DocumentPtr read_clean(const std::string& source) {
  test::ReadResult read = test::read_source(source, "t.ibs", /*want_document=*/true);
  EXPECT_EQ(read.report.find("ERROR"), std::string::npos) << read.report;
  EXPECT_NE(read.document, nullptr);
  return std::move(read.document);
}

TEST(DocWriter, ListsTheComponentBlockByBlock) {
  struct Case {
    const char* what;
    std::string source;
    const char* golden;  // the expected listing
  };
  const Case cases[] = {
      {"every header keyword, pins without their own R, L and C; an unused model is left out "
       "and a model two pins share is listed once",
       joined({R"([IBIS Ver] 3.2
[File Name] t.ibs
[File Rev] 1.0
[Date] 22 November 2026
[Source] Bench measurements
of the first samples.
[Notes] Typical corner at 25 degC.
[Disclaimer] Example data only.
[Copyright] Public domain.
)",
               kSourcePart, kSourcePins, R"([Model] spare
Model_type Input
Vinl = 0.8
Vinh = 2
C_comp 3p NA NA
[Voltage Range] 5 NA NA
)",
               kSourceModel, "[End]\n"}),
       "doc_every_header_keyword.txt"},
      {"pins with their own R, L and C; NA where a row leaves them out",
       joined({kSourceHead, kSourcePart, R"([Pin] signal_name model_name R_pin L_pin C_pin
1 IN in 200m 2n 500f
2 IN2 in NA 1.8n NA
3 VCC POWER
4 GND GND
)",
               kSourceModel, "[End]\n"}),
       "doc_pin_rlc.txt"},
      {"pin mapping of 3 columns, differential pins of 4",
       joined({kSourceHead, kSourcePart, kSourcePins, R"([Pin Mapping] pulldown_ref pullup_ref
1 GNDBUS VCCBUS
2 GNDBUS VCCBUS
3 NC VCCBUS
4 GNDBUS NC
[Diff Pin] inv_pin vdiff tdelay_typ
1 2 NA 0
)",
               kSourceModel, "[End]\n"}),
       "doc_pin_mapping_3_columns.txt"},
      {"pin mapping of 5 columns, differential pins of 6, and the note on package models",
       joined({kSourceHead, kSourcePart, "[Package Model] pm\n", kSourcePins,
               R"([Pin Mapping] pulldown_ref pullup_ref gnd_clamp_ref power_clamp_ref
1 GNDBUS VCCBUS GNDBUS VCCBUS
2 GNDBUS VCCBUS
3 NC VCCBUS
4 GNDBUS NC
[Diff Pin] inv_pin vdiff tdelay_typ tdelay_min tdelay_max
1 2 200m 1n NA 1.5n
)",
               kSourceModel, kPackageModel, "[End]\n"}),
       "doc_pin_mapping_5_columns.txt"},
      {"a model with every block, and a terminator with its resistors",
       joined({kSourceHead, kSourcePart, R"([Pin] signal_name model_name
1 IO io
2 TERM term
3 VCC POWER
4 GND GND
[Model] io
Model_type I/O
Polarity Non-Inverting
Enable Active-High
Vinl = 0.8
Vinh = 2
Vmeas = 1.5
Cref = 0
Rref = 50
Vref = 0
C_comp 2p 1.8p 2.2p
[Model Spec]
| Subparameter typ min max
Vinh+ 2.1 2.0 2.2
Vinl- 0.7 0.6 0.8
S_overshoot_high 4 3.8 4.2
S_overshoot_low -0.7 NA NA
[Temperature Range] 25 100 0
[Pullup Reference] 3.3 3 3.6
[Pulldown Reference] 0 0 0
[POWER Clamp Reference] 3.3 3 3.6
[GND Clamp Reference] 0 0 0
[Pulldown]
-3.3 -50m -40m -60m
3.3 50m 40m 60m
[Pullup]
-3.3 50m 40m 60m
3.3 -50m -40m -60m
[GND Clamp]
-3.3 -100m NA NA
0 0 NA NA
[POWER Clamp]
-3.3 100m NA NA
0 0 NA NA
[Ramp]
dV/dt_r 1.2/0.5n 1.0/0.6n 1.4/0.4n
dV/dt_f 1.2/0.5n NA NA
R_load = 50
[Rising Waveform]
R_fixture = 50
V_fixture = 0
| time V(typ) V(min) V(max)
0 0 0 0
1n 2.29 1.5 1.8
[Falling Waveform]
R_fixture = 50
V_fixture = 3.3
V_fixture_min = 3
V_fixture_max = 3.6
L_fixture = 1n
C_fixture = 2p
R_dut = 10m
L_dut = 1n
C_dut = 1p
| time V(typ) V(min) V(max)
0 3.3 3 3.6
1n 1.01 1.5 1.8
[Model] term
Model_type Terminator
C_comp 1p NA NA
[Voltage Range] 3.3 3 3.6
[Rgnd] 100 90 110
[Rpower] 100 NA NA
[Rac] 50 NA NA
[Cac] 100p NA NA
[End]
)"}),
       "doc_model_every_block.txt"},
      {"a pin that names a selector: the models it offers are listed, the first the default",
       joined({kSourceHead, kSourcePart, R"([Pin] signal_name model_name
1 INP sel
2 INN sel
3 VCC POWER
4 GND GND
[Model Selector] sel
fast Fast input, 1 pF
in   Standard input
[Model] fast
Model_type Input
Vinl = 0.8
Vinh = 2
C_comp 1p NA NA
[Voltage Range] 3.3 NA NA
)",
               kSourceModel, "[End]\n"}),
       "doc_model_selector.txt"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const test::DocumentPtr document = read_clean(c.source);
    if (!document) continue;
    const DocRun run = write_doc(document.get(), nullptr);
    EXPECT_TRUE(run.ok);
    EXPECT_EQ(run.report, "");
    EXPECT_TRUE(test::matches_golden(c.golden, run.listing.value_or("(none)")));
  }
}

// Two components: the name picks one without regard to case; without a name there is no
// choosing.
constexpr const char* kTwoComponents = R"([IBIS Ver] 3.2
[File Name] t.ibs
[File Rev] 1.0
[Component] Alpha
[Manufacturer] Acme
[Package]
R_pkg 250m 200m 300m
L_pkg 2n NA NA
C_pkg 1p NA NA
[Pin] signal_name model_name
1 A in
2 VCC POWER
[Component] Beta
[Manufacturer] Other
[Package]
R_pkg 100m NA NA
L_pkg 1n NA NA
C_pkg 500f NA NA
[Pin] signal_name model_name
7 B in
8 GND GND
[Model] in
Model_type Input
Vinl = 0.8
Vinh = 2
C_comp 1.5p NA NA
[Voltage Range] 3.3 3 3.6
[End]
)";

TEST(DocWriter, ChoosesTheComponentOrReportsWhyNot) {
  const test::DocumentPtr two = read_clean(kTwoComponents);
  const test::DocumentPtr one =
      read_clean(joined({kSourceHead, kSourcePart, kSourcePins, kSourceModel, "[End]\n"}));
  ASSERT_TRUE(two && one);
  const char* kMultiple =
      "ERROR t.ibs - No Component Name supplied and IBIS file contains multiple entries\n";
  struct Case {
    const IbisDocument* document;
    const char* component;
    bool with_path;
    bool ok;
    const char* report;
    const char* golden;  // the expected listing; null: none
  };
  const Case cases[] = {
      {two.get(), "bEtA", true, true, "", "doc_second_of_two.txt"},
      {two.get(), nullptr, true, false, kMultiple, nullptr},
      {one.get(), "Alpha", true, false,
       "ERROR t.ibs - Unable to find component \"Alpha\" in ibis file\n", nullptr},
      // Without a path the call only checks that the component is there.
      {one.get(), nullptr, false, true, "", nullptr},
      {two.get(), "alpha", false, true, "", nullptr},
      {two.get(), nullptr, false, false, kMultiple, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.component ? c.component : "(no name)") +
                 (c.with_path ? " to a file" : " without a path"));
    const DocRun run = write_doc(c.document, c.component, c.with_path);
    EXPECT_EQ(run.ok, c.ok);
    EXPECT_EQ(run.report, c.report);
    if (c.golden)
      EXPECT_TRUE(test::matches_golden(c.golden, run.listing.value_or("(none)")));
    else
      EXPECT_FALSE(run.listing.has_value());
  }
}

TEST(DocWriter, ReportsAFileItCannotOpenOrComplete) {
  const test::DocumentPtr document =
      read_clean(joined({kSourceHead, kSourcePart, kSourcePins, kSourceModel, "[End]\n"}));
  ASSERT_NE(document, nullptr);
  test::TempDir dir;
  test::ScopedCwd cwd(dir.path());
  dir.write("doc.txt", "earlier listing\n");
  test::MemStream report;
  RPT_ResetCounts();
  RPT_SetStream(report.get());
  RPT_SetFileName("t.ibs");
  EXPECT_FALSE(DOC_WriteComponent(document.get(), "missing/doc.txt", "Part"));
  // A disk that fills before the listing is complete: the earlier listing stays whole.
  SFL_SetStepHook(
      [](SafeFileStep step, const char*) { return step == SafeFileStep::kWritten ? ENOSPC : 0; });
  EXPECT_FALSE(DOC_WriteComponent(document.get(), "doc.txt", "Part"));
  SFL_SetStepHook(nullptr);
  RPT_SetStream(nullptr);
  EXPECT_EQ(report.text(),
            "ERROR t.ibs - Unable to open documentation file.\n"
            "ERROR t.ibs - Unable to open file \"missing/doc.txt\"\n"
            "ERROR t.ibs - Unable to close documentation file.\n"
            "ERROR t.ibs - Unable to write file \"doc.txt\": No space left on device\n");
  EXPECT_EQ(test::file_bytes(dir.path() / "doc.txt"), "earlier listing\n");
}

// A listing written while the source is read equals the one written from the kept document,
// whatever order the file gives its parts in; the writer's errors are the same too.
TEST(DocWriter, StreamedListingEqualsTheKeptDocumentsOne) {
  const std::string in_model = joined({kSourceModel, "[Pulldown]\n-1 -1m NA NA\n1 1m NA NA\n"});
  std::string many_models = joined({kSourceHead, kSourcePart, "[Pin] signal_name model_name\n"});
  for (int i = 0; i < 12; ++i)
    many_models += std::to_string(i + 1) + " S m" + std::to_string(i) + "\n";
  for (int i = 0; i < 12; ++i)
    many_models += "[Model] m" + std::to_string(i) +
                   "\nModel_type Input\nVinl = 0.8\nVinh = 2\nC_comp 1p NA NA\n"
                   "[Voltage Range] 3.3 NA NA\n[GND Clamp]\n-1 -" + std::to_string(i + 1) +
                   "m NA NA\n0 0 NA NA\n";
  many_models += "[End]\n";
  const std::string component_last =
      joined({kSourceHead, in_model.c_str(), kSourcePart, kSourcePins, "[End]\n"});
  const std::string selector_last = joined(
      {kSourceHead, kSourcePart, "[Pin] signal_name model_name\n1 INP sel\n2 VCC POWER\n",
       in_model.c_str(), "[Model Selector] sel\nin Standard input\n[End]\n"});
  const std::string package_model_last = joined({kSourceHead, kSourcePart, "[Package Model] pm\n",
                                                 kSourcePins, in_model.c_str(), kPackageModel,
                                                 "[End]\n"});
  const std::string two_and_spare =
      std::string(kTwoComponents).substr(0, std::strlen(kTwoComponents) - 6) +
      "[Model] spare\nModel_type Input\nVinl = 0.8\nVinh = 2\nC_comp 1p NA NA\n"
      "[Voltage Range] 3.3 NA NA\n[End]\n";
  const std::string defined_twice = joined(
      {kSourceHead, kSourcePart, kSourcePins, in_model.c_str(), kSourceModel, "[End]\n"});
  const auto fail_write = [](SafeFileStep step, const char*) {
    return step == SafeFileStep::kWritten ? ENOSPC : 0;
  };
  constexpr const char* kNoSpace =
      "ERROR t.ibs - Unable to close documentation file.\n"
      "ERROR t.ibs - Unable to write file \"doc.txt\": No space left on device\n";
  struct Case {
    const char* what;
    std::string source;
    const char* component;
    const char* output;
    SafeFileHook hook;
    const char* errors;  // the report's error lines, in full
  };
  const Case cases[] = {
      {"models in the order the pins use them", many_models, nullptr, "doc.txt", nullptr, ""},
      {"the second component, and a model neither uses", two_and_spare, "beta", "doc.txt",
       nullptr, ""},
      {"the first of two components", kTwoComponents, "Alpha", "doc.txt", nullptr, ""},
      {"the component after the models", component_last, "Part", "doc.txt", nullptr, ""},
      {"a selector after the models", selector_last, nullptr, "doc.txt", nullptr, ""},
      {"a package model after the models", package_model_last, nullptr, "doc.txt", nullptr, ""},
      {"a check that fails: a model defined twice", defined_twice, nullptr, "doc.txt", nullptr,
       "ERROR t.ibs (line   24) - Model Name Previously Defined (\"in\")\n"},
      {"an output that cannot be opened", many_models, nullptr, "missing/doc.txt", nullptr,
       "ERROR t.ibs - Unable to open documentation file.\n"
       "ERROR t.ibs - Unable to open file \"missing/doc.txt\"\n"},
      {"a failed write, listing as written", many_models, nullptr, "doc.txt", fail_write, kNoSpace},
      {"a failed write, listing put together again", selector_last, nullptr, "doc.txt",
       fail_write, kNoSpace},
  };
  // On one processor the worker's jobs run on the reading thread, as they come.
  for (const bool one_processor : {false, true})
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.what) + (one_processor ? ", one processor" : ""));
    test::TempDir dir;
    test::ScopedCwd cwd(dir.path());
    dir.write("t.ibs", c.source);
    test::MemStream report;
    SFL_SetStepHook(c.hook);
    int streamed = 0;
    {
      test::ProcessorScope processors(one_processor);
      streamed = IBIS_DocumentSourceToStream("t.ibs", c.component, c.output, report.get());
    }
    const std::optional<std::string> listing = test::file_bytes(dir.path() / "doc.txt");
    SFL_SetStepHook(nullptr);
    std::string errors;
    std::istringstream lines(report.text());
    for (std::string line; std::getline(lines, line);)
      if (line.rfind("ERROR", 0) == 0) errors += line + "\n";
    EXPECT_EQ(errors, c.errors);
    const auto files = std::distance(std::filesystem::directory_iterator(dir.path()), {});
    EXPECT_EQ(files, listing ? 2 : 1);  // no temporary file left behind
    std::filesystem::remove(dir.path() / "doc.txt");
    const test::ReadResult read =
        test::quietly([&] { return test::read_source(c.source, "t.ibs", true); });
    if (!read.document || read.report.find("ERROR") != std::string::npos) {
      EXPECT_EQ(streamed, 0);
      EXPECT_FALSE(listing.has_value());
      continue;
    }
    test::MemStream kept_report;
    SFL_SetStepHook(c.hook);
    const int kept = IBIS_DocumentComponent(read.document.get(), c.output, c.component,
                                            kept_report.get());
    SFL_SetStepHook(nullptr);
    EXPECT_EQ(streamed, kept);
    EXPECT_EQ(listing, test::file_bytes(dir.path() / "doc.txt"));
    EXPECT_EQ(kept_report.text(), c.errors);
  }
}

// A pipe named as the output gets the listing a file would, and the same report, both where the
// listing is streamed and where a model the component does not use has it put together again;
// the pipe stays a pipe, not replaced by a plain file.
TEST(DocWriter, APipeGetsTheListingAFileWould) {
  const char* spare =
      "[Model] spare\nModel_type Input\nVinl = 0.8\nVinh = 2\nC_comp 1p NA NA\n"
      "[Voltage Range] 3.3 NA NA\n";
  for (const std::string& source :
       {joined({kSourceHead, kSourcePart, kSourcePins, kSourceModel, "[End]\n"}),
        joined({kSourceHead, kSourcePart, kSourcePins, kSourceModel, spare, "[End]\n"})}) {
    test::TempDir dir;
    test::ScopedCwd cwd(dir.path());
    dir.write("t.ibs", source);
    const auto document_to = [](const char* output) {
      test::MemStream report;
      EXPECT_EQ(IBIS_DocumentSourceToStream("t.ibs", "Part", output, report.get()), 1);
      return report.text();
    };
    const std::string file_report = document_to("doc.txt");
    ASSERT_EQ(::mkfifo("pipe", 0600), 0);
    std::string received;
    std::thread reader([&] { received = test::file_text(dir.path() / "pipe"); });
    EXPECT_EQ(document_to("pipe"), file_report);
    reader.join();
    EXPECT_EQ(received, test::file_text(dir.path() / "doc.txt"));
    EXPECT_TRUE(std::filesystem::is_fifo(dir.path() / "pipe"));
  }
}

// The selectors the pins name, in the order of the file, each with the models it offers; a name
// that is also a model's stands for the model (the reader refuses such a file, but a caller may
// list one that failed), and a selector no pin names is left out.
TEST(DocWriter, ListsTheSelectorsThePinsName) {
  const std::string source =
      joined({kSourceHead, kSourcePart,
              "[Pin] signal_name model_name\n1 INP in\n2 INN pick\n3 VCC POWER\n4 GND GND\n"
              "5 OUT alt\n[Model Selector] alt\nin Standard input\n[Model Selector] in\n"
              "in Standard input\n[Model Selector] idle\nin Standard input\n"
              "[Model Selector] pick\nin Standard input\n",
              kSourceModel, "[End]\n"});
  const test::ReadResult read = test::read_source(source, "t.ibs", /*want_document=*/true);
  ASSERT_NE(read.document, nullptr);
  const std::string listing = write_doc(read.document.get(), nullptr).listing.value_or("");
  std::string selectors;
  std::istringstream lines(listing);
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with("[Model Selector]") || line.starts_with("[Model] "))
      selectors += line + "\n";
  EXPECT_EQ(selectors, "[Model Selector] alt\n[Model Selector] pick\n[Model]        in\n")
      << listing;
}

// The header, the component list and the model list are each required, in that order.
TEST(DocWriter, NeedsAHeaderComponentsAndModels) {
  IbisDocument document;
  EXPECT_EQ(write_doc(&document, nullptr).report,
            "ERROR t.ibs - Unable to access header information.\n");
  document.header = std::make_unique<FileHeader>();
  EXPECT_EQ(write_doc(&document, nullptr).report,
            "ERROR t.ibs - Unable to find component information.\n");
  document.components.push_back(std::make_unique<Component>());
  document.components.back()->name = "Part";
  const DocRun run = write_doc(&document, nullptr);
  EXPECT_FALSE(run.ok);
  EXPECT_EQ(run.report, "ERROR t.ibs - Unable to find model information.\n");
}

TEST(DocFormatNumber, EngineeringNotation) {
  struct Case {
    double value;
    const char* text;
  };
  const Case cases[] = {
      {0.0, "0"}, {-0.0, "0"}, {50, "50"}, {3.3, "3.3"}, {0.25, "250m"}, {1.5e-3, "1.5m"},
      {1e-4, "100u"}, {-1.5e-12, "-1.5p"}, {1e-15, "1f"}, {123456, "123.456k"}, {2.2e6, "2.2M"},
      {1e9, "1G"}, {4.7e12, "4.7T"}, {0.1 + 0.2, "300m"}, {1.23456789, "1.23457"},
      // Rounding to six digits can carry into the next scale letter.
      {999.9999, "1k"}, {999999.6e-9, "1m"},
      // Beyond the scale letters the reader takes, and at their edges.
      {1e-18, "1e-18"}, {2.5e15, "2.5e+15"}, {999e12, "999T"}, {999999.6e9, "1e+15"},
      {9.5e-16, "9.5e-16"}, {-999.9996e-18, "-1f"},
  };
  for (const Case& c : cases) EXPECT_EQ(DOC_FormatNumber(c.value), c.text) << c.value;
}

}  // namespace
}  // namespace tarn
