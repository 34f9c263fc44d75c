// The document as a program walks it, against the text of tests/data/records.ibs and .ebd, read
// from the file and from memory alike.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tarn/document.h"
#include "test_support.h"

namespace tarn {

void PrintTo(const Value& v, std::ostream* os) {
  if (v.state == ValueState::Absent) *os << "absent";
  else if (v.state == ValueState::NA) *os << "NA";
  else *os << v.value;
}

namespace {

const Value kNA{ValueState::NA, 0.0};
const Value kAbsent{};
Value v(double x) { return {ValueState::Value, x}; }

// Scaled numbers such as "1n" come out within rounding of the literal.
bool same(const Value& a, const Value& b) {
  if (a.state != b.state) return false;
  return a.state != ValueState::Value || std::fabs(a.value - b.value) <= 1e-12 * std::fabs(b.value);
}

bool same(std::optional<double> a, double b) { return a && same(v(*a), v(b)); }

::testing::AssertionResult same_triple(const std::optional<TypMinMax>& a, const TypMinMax& b) {
  if (!a) return ::testing::AssertionFailure() << "absent";
  if (same(a->typ, b.typ) && same(a->min, b.min) && same(a->max, b.max))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << ::testing::PrintToString(a->typ) << " "
                                       << ::testing::PrintToString(a->min) << " "
                                       << ::testing::PrintToString(a->max);
}

::testing::AssertionResult same_rows(const RowRange& rows, const std::vector<TableRow>& expected) {
  std::vector<TableRow> got(rows.begin(), rows.end());
  if (got.size() != rows.size()) return ::testing::AssertionFailure() << "size() disagrees";
  if (got.size() != expected.size()) return ::testing::AssertionFailure() << got.size() << " rows";
  for (size_t i = 0; i < got.size(); ++i) {
    const TableRow& g = got[i];
    const TableRow& e = expected[i];
    if (!same(g.x, e.x) || !same_triple(g, e)) return ::testing::AssertionFailure() << "row " << i;
  }
  return ::testing::AssertionSuccess();
}

enum class Entry { File, Text };

// Both entries read the fixture under the same name, so even the findings must agree.
class Records : public ::testing::TestWithParam<Entry> {
 protected:
  static ReadResult read(const char* name) {
    const std::filesystem::path path = std::filesystem::path(TARN_TEST_DATA) / name;
    if (GetParam() == Entry::File) return read_file(path.string());
    return read_text(test::file_text(path), path.string());
  }
  void SetUp() override {
    result_ = read("records.ibs");
    ASSERT_TRUE(result_.passed());
    doc_ = result_.document();
  }
  ModelView model(std::string_view name) const {
    const auto found = doc_.find_model(name);
    EXPECT_TRUE(found) << name;
    return *found;
  }

  ReadResult result_;
  DocumentView doc_;
};

TEST_P(Records, HeaderAndComponent) {
  EXPECT_EQ(result_.ibis_version(), 3);
  EXPECT_EQ(result_.kind(), SourceKind::Ibs);
  const HeaderInfo header = doc_.header();
  EXPECT_EQ(header.ibis_version, "3.2");
  EXPECT_EQ(header.file_name, "records.ibs");
  EXPECT_EQ(header.date, "May 1, 2026");
  EXPECT_EQ(header.notes, "Two\nlines");
  EXPECT_FALSE(header.source);

  ASSERT_EQ(doc_.components().size(), 1u);
  const ComponentView chip = doc_.components()[0];
  EXPECT_EQ(chip.name(), "Chip");
  EXPECT_EQ(chip.manufacturer(), "Acme");
  EXPECT_EQ(chip.package_model(), "PK");
  EXPECT_FALSE(chip.si_location());
  const auto package = chip.package();
  ASSERT_TRUE(package);
  EXPECT_TRUE(same_triple(package->r_pkg, {v(0.2), v(0.1), kNA}));
  EXPECT_TRUE(same_triple(package->c_pkg, {v(1e-12), kNA, v(2e-12)}));

  struct PinCase {
    const char* name;
    const char* signal;
    const char* model;
    Value r, l, c;
  };
  const PinCase pins[] = {
      {"1", "OUT", "drv", v(0.1), v(1e-9), kNA},
      {"2", "OUTB", "drv", kAbsent, kAbsent, kAbsent},
      {"3", "VDD", "POWER", kAbsent, kAbsent, kAbsent},
      {"7", "IN", "sel", kAbsent, kAbsent, kAbsent},
  };
  EXPECT_EQ(chip.pins().size(), 7u);
  for (const PinCase& p : pins) {
    const auto pin = chip.find_pin(p.name);
    ASSERT_TRUE(pin) << p.name;
    EXPECT_EQ(pin->signal, p.signal);
    EXPECT_EQ(pin->model, p.model);
    EXPECT_TRUE(same(pin->r_pin, p.r) && same(pin->l_pin, p.l) && same(pin->c_pin, p.c)) << p.name;
  }
  EXPECT_EQ(chip.pins().back().name, "7");
  EXPECT_FALSE(chip.find_pin("8"));
}

TEST_P(Records, ComponentMappings) {
  const ComponentView chip = *doc_.find_component("Chip");
  const auto mapping = chip.pin_mapping();
  ASSERT_EQ(mapping.size(), 7u);
  EXPECT_EQ(mapping[0].pin, "1");
  EXPECT_EQ(mapping[0].pulldown_ref, "GNDBUS");
  EXPECT_EQ(mapping[0].pullup_ref, "VDDBUS");
  EXPECT_FALSE(mapping[0].gnd_clamp_ref);
  EXPECT_EQ(mapping[1].power_clamp_ref, "NC");

  ASSERT_EQ(chip.diff_pins().size(), 1u);
  const DiffPinInfo pair = chip.diff_pins()[0];
  EXPECT_EQ(pair.pin, "1");
  EXPECT_EQ(pair.inv_pin, "2");
  EXPECT_TRUE(same(pair.vdiff, v(0.2)));
  EXPECT_TRUE(same_triple(pair.tdelay, {v(1e-9), kNA, v(2e-9)}));

  ASSERT_EQ(chip.series_pin_mapping().size(), 1u);
  const SeriesPinInfo series = chip.series_pin_mapping()[0];
  EXPECT_EQ(series.pin1, "5");
  EXPECT_EQ(series.pin2, "6");
  EXPECT_EQ(series.model, "sw");
  EXPECT_EQ(series.function_table_group, "g1");

  const auto groups = chip.series_switch_groups();
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_TRUE(groups[0].on);
  EXPECT_FALSE(groups[1].on);
  ASSERT_EQ(groups[1].groups.size(), 1u);
  EXPECT_EQ(groups[1].groups[0], "g1");
}

TEST_P(Records, ModelValues) {
  const ModelView drv = model("drv");
  EXPECT_EQ(drv.type(), MT_3STATE);
  EXPECT_EQ(drv.type_text(), "3-state");
  EXPECT_EQ(drv.polarity(), ModelPolarity::Inverting);
  EXPECT_EQ(to_text(drv.enable()), "Active-Low");
  EXPECT_TRUE(same(drv.vmeas(), 1.5) && same(drv.cref(), 5e-12) && same(drv.rref(), 50));
  EXPECT_FALSE(drv.vinl());
  EXPECT_TRUE(same_triple(drv.c_comp(), {v(2e-12), v(1e-12), kNA}));
  EXPECT_TRUE(same_triple(drv.temperature_range(), {v(25), v(100), v(0)}));
  EXPECT_FALSE(drv.pullup_reference());

  const auto ramp = drv.ramp();
  ASSERT_TRUE(ramp && ramp->dv_dt_r && ramp->dv_dt_f);
  EXPECT_EQ(ramp->dv_dt_r->min.state, ValueState::NA);
  EXPECT_DOUBLE_EQ(ramp->dv_dt_r->max.dv, 1.2);
  EXPECT_DOUBLE_EQ(ramp->dv_dt_r->max.dt, 0.4e-9);
  EXPECT_DOUBLE_EQ(ramp->dv_dt_f->typ.dt, 0.6e-9);
  EXPECT_EQ(ramp->r_load, 50);

  const auto spec = drv.model_spec();
  ASSERT_TRUE(spec);
  EXPECT_TRUE(same_triple(spec->get(ModelSpecParam::Vinh), {v(2.0), v(1.9), v(2.1)}));
  EXPECT_TRUE(same_triple(spec->get(ModelSpecParam::Vmeas), {v(1.5), kNA, kNA}));
  EXPECT_FALSE(spec->get(ModelSpecParam::Vinl));

  const auto schedule = drv.driver_schedule();
  ASSERT_TRUE(schedule && schedule->size() == 1);
  const ScheduledModelInfo entry = (*schedule)[0];
  EXPECT_EQ(entry.model, "drv2");
  EXPECT_TRUE(same(entry.rise_on_dly, v(1e-9)) && same(entry.rise_off_dly, kNA) &&
              same(entry.fall_on_dly, v(2e-9)) && same(entry.fall_off_dly, kNA));
  ASSERT_EQ(drv.add_submodels().size(), 1u);
  EXPECT_EQ(drv.add_submodels()[0].name, "hold");
  EXPECT_EQ(drv.add_submodels()[0].mode, AddSubmodelMode::NonDriving);
  EXPECT_FALSE(model("drv2").driver_schedule());

  // The three corners of one typ/min/max each keep their own state.
  const TypMinMax c_comp = *drv.c_comp();
  EXPECT_EQ(c_comp.select(eMax), c_comp.typ.value);
  EXPECT_EQ(c_comp.select(eMin), c_comp.min.value);
}

TEST_P(Records, TablesAndWaveforms) {
  const ModelView drv = model("drv");
  ASSERT_TRUE(drv.pulldown());
  EXPECT_TRUE(same_rows(drv.pulldown()->rows(), {
                                                    {{v(-10e-3), kNA, v(-12e-3)}, v(-1)},
                                                    {{v(0), kNA, kNA}, v(0)},
                                                    {{v(10e-3), kNA, v(12e-3)}, v(1)},
                                                }));
  EXPECT_TRUE(same_rows(drv.pullup()->rows(), {
                                                  {{v(10e-3), v(8e-3), v(12e-3)}, v(-1)},
                                                  {{v(0), v(0), v(0)}, v(0)},
                                                  {{v(-10e-3), v(-8e-3), v(-12e-3)}, v(1)},
                                              }));
  EXPECT_FALSE(drv.gnd_clamp());

  ASSERT_EQ(drv.rising_waveforms().size(), 1u);
  const WaveformView rising = drv.rising_waveforms()[0];
  EXPECT_TRUE(same(rising.r_fixture(), 50) && same(rising.c_fixture(), 1e-12));
  EXPECT_EQ(rising.v_fixture(), 0.0);
  EXPECT_FALSE(rising.l_fixture());
  EXPECT_TRUE(same_rows(rising.rows(), {
                                           {{v(0), kNA, v(0)}, v(0)},
                                           {{v(1.65), kNA, v(1.8)}, v(1e-9)},
                                           {{v(3.3), kNA, v(3.6)}, v(2e-9)},
                                       }));
  ASSERT_EQ(drv.falling_waveforms().size(), 1u);
  EXPECT_EQ(drv.falling_waveforms()[0].v_fixture(), 3.3);
  EXPECT_EQ(drv.falling_waveforms()[0].rows().size(), 2u);
}

TEST_P(Records, SeriesSelectorsAndSubmodels) {
  const ModelView sw = model("sw");
  EXPECT_EQ(sw.type_text(), "Series_switch");
  ASSERT_TRUE(sw.on() && sw.off());
  EXPECT_TRUE(same_triple(sw.on()->r_series(), {v(10), kNA, kNA}));
  EXPECT_TRUE(same_triple(sw.off()->r_series(), {v(1e6), kNA, kNA}));
  EXPECT_FALSE(sw.off()->series_current());
  ASSERT_TRUE(sw.on()->series_current());
  EXPECT_TRUE(same_rows(sw.on()->series_current()->rows(),
                        {{{v(-0.1), kNA, kNA}, v(-1)}, {{v(0.1), kNA, kNA}, v(1)}}));
  const auto mosfets = sw.on()->series_mosfets();
  ASSERT_EQ(mosfets.size(), 1u);
  EXPECT_EQ(mosfets[0].vds, 1.0);
  ASSERT_TRUE(mosfets[0].table);
  EXPECT_TRUE(same_rows(mosfets[0].table->rows(),
                        {{{v(-0.2), kNA, kNA}, v(-1)}, {{v(0.2), kNA, kNA}, v(1)}}));

  ASSERT_EQ(doc_.model_selectors().size(), 1u);
  const auto sel = doc_.find_model_selector("sel");
  ASSERT_TRUE(sel);
  ASSERT_EQ(sel->models.size(), 2u);
  EXPECT_EQ(sel->models[1].model, "rcv2");
  EXPECT_EQ(sel->models[1].description, "Other input");

  const auto hold = doc_.find_submodel("hold");
  ASSERT_TRUE(hold);
  EXPECT_EQ(hold->kind(), SubmodelKind::BusHold);
  EXPECT_EQ(to_text(hold->kind()), "Bus_hold");
  EXPECT_TRUE(hold->has_submodel_spec());
  EXPECT_TRUE(same_triple(hold->v_trigger_f(), {v(1.0), kNA, kNA}));
  EXPECT_FALSE(hold->off_delay());
  EXPECT_FALSE(hold->pulldown());
  ASSERT_TRUE(hold->pullup());
  EXPECT_EQ(hold->pullup()->rows().size(), 2u);
  EXPECT_TRUE(hold->ramp());
  EXPECT_FALSE(hold->gnd_pulse_table());
}

TEST_P(Records, PackageModels) {
  ASSERT_EQ(doc_.package_models().size(), 2u);
  const PackageModelView pk = *doc_.find_package_model("PK");
  EXPECT_EQ(pk.description(), "Seven pins");
  EXPECT_EQ(pk.number_of_pins(), 7u);
  EXPECT_EQ(pk.number_of_sections(), 3u);
  ASSERT_EQ(pk.pins().size(), 7u);
  EXPECT_FALSE(pk.resistance_matrix());

  // Pin 2: a section, a fork whose branch is a section, and a section after it.
  const PackagePinInfo pin2 = pk.pins()[1];
  EXPECT_EQ(pin2.name, "2");
  ASSERT_EQ(pin2.sections.size(), 3u);
  EXPECT_EQ(pin2.sections[0].kind, PathElementKind::Section);
  EXPECT_TRUE(same(pin2.sections[0].r, 0.1));
  EXPECT_FALSE(pin2.sections[0].l);
  EXPECT_EQ(pin2.sections[1].kind, PathElementKind::Fork);
  ASSERT_EQ(pin2.sections[1].branch.size(), 1u);
  EXPECT_TRUE(same(pin2.sections[1].branch[0].c, 0.5e-12));
  EXPECT_TRUE(same(pin2.sections[2].l, 2e-9));
  EXPECT_TRUE(pk.pins()[2].sections.empty());

  const PackageModelView pkm = *doc_.find_package_model("PKM");
  EXPECT_FALSE(pkm.number_of_sections());
  struct MatrixCase {
    std::optional<MatrixInfo> matrix;
    MatrixForm form;
    std::optional<uint32_t> bandwidth;
    std::vector<std::vector<MatrixEntryInfo>> rows;  // of pins 1 and 2
  };
  const MatrixCase matrices[] = {
      {pkm.resistance_matrix(), MatrixForm::Banded, 1u, {{{1, 0.1}, {2, 0.01}}, {{1, 0.1}}}},
      {pkm.inductance_matrix(), MatrixForm::Sparse, {}, {{{1, 1e-9}, {2, 0.1e-9}}, {{2, 1e-9}}}},
      {pkm.capacitance_matrix(), MatrixForm::Full, {}, {{{1, 1e-12}, {2, -0.1e-12}}, {{1, 1e-12}}}},
  };
  for (const MatrixCase& m : matrices) {
    ASSERT_TRUE(m.matrix);
    EXPECT_EQ(m.matrix->form, m.form);
    EXPECT_EQ(m.matrix->bandwidth, m.bandwidth);
    ASSERT_EQ(m.matrix->rows.size(), 2u);
    for (size_t r = 0; r < 2; ++r) {
      const MatrixRowInfo row = m.matrix->rows[r];
      EXPECT_EQ(row.pin, std::to_string(r + 1));
      ASSERT_EQ(row.entries.size(), m.rows[r].size());
      for (size_t i = 0; i < m.rows[r].size(); ++i) {
        EXPECT_EQ(row.entries[i].slot, m.rows[r][i].slot);
        EXPECT_TRUE(same(row.entries[i].value, m.rows[r][i].value));
      }
    }
  }
}

TEST_P(Records, BoardDescription) {
  const ReadResult board_file = read("records.ebd");
  EXPECT_TRUE(board_file.passed());
  EXPECT_EQ(board_file.kind(), SourceKind::Ebd);
  const DocumentView doc = board_file.document();
  ASSERT_EQ(doc.boards().size(), 1u);
  const BoardView board = *doc.find_board("MOD");
  EXPECT_EQ(board.manufacturer(), "Acme");
  EXPECT_EQ(board.number_of_pins(), 3u);
  ASSERT_EQ(board.pins().size(), 3u);
  EXPECT_EQ(board.pins()[1].name, "A2");
  EXPECT_EQ(board.pins()[1].signal, "VDD");
  const auto designators = board.reference_designators();
  ASSERT_EQ(designators.size(), 1u);
  EXPECT_EQ(designators[0].name, "U1");
  EXPECT_EQ(designators[0].file_name, "records.ibs");
  EXPECT_EQ(designators[0].component, "Chip");

  ASSERT_EQ(board.paths().size(), 2u);
  const BoardPathInfo p1 = board.paths()[0];
  EXPECT_EQ(p1.name, "P1");
  std::vector<PathElementKind> kinds;
  for (const PathElementInfo& e : p1.elements) kinds.push_back(e.kind);
  EXPECT_EQ(kinds, (std::vector<PathElementKind>{PathElementKind::Pin, PathElementKind::Section,
                                                  PathElementKind::Fork, PathElementKind::Node}));
  EXPECT_EQ(p1.elements[0].pin, "A1");
  EXPECT_TRUE(same(p1.elements[1].len, 0.5) && same(p1.elements[1].r, 0.1));
  const auto branch = p1.elements[2].branch;
  ASSERT_EQ(branch.size(), 2u);
  EXPECT_EQ(branch[1].kind, PathElementKind::NC);
  EXPECT_EQ(p1.elements[3].designator, "U1");
  EXPECT_EQ(p1.elements[3].pin, "1");
  // The component file the board places is read for its checks, not into the board's document.
  EXPECT_TRUE(doc.components().empty());
}

INSTANTIATE_TEST_SUITE_P(BothEntries, Records, ::testing::Values(Entry::File, Entry::Text),
                         [](const auto& info) {
                           return info.param == Entry::File ? "read_file" : "read_text";
                         });

TEST(Settings, TheFileSpelling) {
  const std::pair<std::string_view, std::string_view> texts[] = {
      {to_text(MT_IO_OPEN_DRAIN), "I/O_open_drain"},
      {to_text(MT_3STATE_ECL), "3-state_ECL"},
      {to_text(MT_NO_TYPE), ""},
      {to_text(ModelPolarity::NonInverting), "Non-Inverting"},
      {to_text(ModelPolarity::Invalid), ""},
      {to_text(ModelEnable::ActiveHigh), "Active-High"},
      {to_text(SubmodelKind::DynamicClamp), "Dynamic_clamp"},
      {to_text(AddSubmodelMode::All), "All"},
      {to_text(AddSubmodelMode::Invalid), ""},
      {to_text(ModelSpecParam::VinlMinus), "Vinl-"},
      {to_text(ModelSpecParam::DOvershootTime), "D_overshoot_time"},
      {to_text(Severity::ProgramBug), "PROGRAM BUG"},
  };
  for (const auto& [text, expected] : texts) EXPECT_EQ(text, expected);
}

TEST(DocumentView, EmptyAndRepeatedNames) {
  const DocumentView empty;
  EXPECT_TRUE(empty.components().empty());
  EXPECT_FALSE(empty.find_model("x"));
  EXPECT_FALSE(empty.header().ibis_version);
  EXPECT_TRUE(ReadResult().document().models().empty());

  // A repeated [Model] is the later one; a repeated component or selector the first.
  const ReadResult r = read_text(
      "[IBIS Ver] 3.2\n[File Name] t.ibs\n[File Rev] 1\n"
      "[Component] C\n[Manufacturer] first\n[Package]\nR_pkg 1 NA NA\nL_pkg 1n NA NA\n"
      "C_pkg 1p NA NA\n[Pin] signal_name model_name\n1 A m\n"
      "[Component] C\n[Manufacturer] second\n"
      "[Model Selector] s\nm first choice\n[Model Selector] s\nm second choice\n"
      "[Model] m\nModel_type Input\nC_comp 1p NA NA\n"
      "[Model] m\nModel_type Terminator\nC_comp 1p NA NA\n[End]\n",
      "t.ibs");
  ASSERT_EQ(r.document().models().size(), 2u);
  EXPECT_EQ(r.document().find_model("m")->type(), MT_TERMINATOR);
  ASSERT_EQ(r.document().model_selectors().size(), 2u);
  EXPECT_EQ(r.document().find_model_selector("s")->models[0].description, "first choice");
  EXPECT_FALSE(r.document().find_model_selector("m"));
  EXPECT_EQ(r.document().find_component("C")->manufacturer(), "first");
  EXPECT_FALSE(r.document().find_component("c"));

  // The same for the other kinds: a repeated [Submodel] or package model is the later one, a
  // repeated board the first.
  const auto package = [](const char* description) {
    return std::string("[Define Package Model] P\n[Manufacturer] M\n[OEM] M\n[Description] ") +
           description + "\n[Number Of Pins] 1\n[Pin Numbers]\n1 Len = 0 R = 0.1 /\n"
                         "[End Package Model]\n";
  };
  const ReadResult kinds = read_text(
      "[IBIS Ver] 3.2\n[File Name] k.ibs\n[File Rev] 1\n"
      "[Submodel] s\nSubmodel_type Bus_hold\n[Submodel] s\nSubmodel_type Dynamic_clamp\n" +
          package("first") + package("second") + "[End]\n",
      "k.ibs");
  ASSERT_EQ(kinds.document().submodels().size(), 2u);
  EXPECT_EQ(kinds.document().find_submodel("s")->kind(), SubmodelKind::DynamicClamp);
  ASSERT_EQ(kinds.document().package_models().size(), 2u);
  EXPECT_EQ(kinds.document().find_package_model("P")->description(), "second");
  const auto board = [](const char* manufacturer) {
    return std::string("[Begin Board Description] B\n[Manufacturer] ") + manufacturer +
           "\n[Number Of Pins] 1\n[Pin List] signal_name\nA1 DATA\n[End Board Description]\n";
  };
  const ReadResult boards = read_text(
      "[IBIS Ver] 3.2\n[File Name] b.ebd\n[File Rev] 1\n" + board("first") + board("second") +
          "[End]\n",
      "b.ebd");
  ASSERT_EQ(boards.document().boards().size(), 2u);
  EXPECT_EQ(boards.document().find_board("B")->manufacturer(), "first");
}

// Threads that share a result look its models up at once: the first look-ups, which make the
// names' index, must neither race nor see it half made.
TEST(DocumentView, LookUpsFromSeveralThreadsAtOnce) {
  const ReadResult r = read_file(std::string(TARN_TEST_DATA) + "/records.ibs");
  const DocumentView document = r.document();
  std::vector<std::string> names;
  for (const ModelView& model : document.models()) names.emplace_back(model.name());
  ASSERT_FALSE(names.empty());
  std::atomic<int> found{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (const std::string& name : names) found += document.find_model(name) ? 1 : 0;
      found += document.find_model_selector("sel") ? 1 : 0;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, 4 * (static_cast<int>(names.size()) + 1));
}

}  // namespace
}  // namespace tarn
