// The plot writers seen from outside: exact plot files (golden files in tests/data/expected;
// TARN_UPDATE_GOLDEN=1 rewrites them), well-formed SVG and report pages, the tool's plot
// folder, and the report as a browser renders it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "tarn/plot.h"
#include "test_support.h"

namespace tarn {
namespace {

const std::string kRecords = std::string(TARN_TEST_DATA) + "/records.ibs";
const std::string kHct = std::string(TARN_TEST_DATA) + "/corpus/hct1g08.ibs";

size_t count(std::string_view text, std::string_view what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string_view::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

size_t curve_count(const std::vector<std::string>& paths) {
  size_t n = 0;
  for (const std::string& path : paths) {
    const ReadResult result = read_file(path);
    for (const ModelView& model : result.document().models()) n += model_curves(model).size();
  }
  return n;
}

TEST(Plot, EngineeringNumbers) {
  const struct {
    double value;
    const char* text;
  } cases[] = {{1.5e-9, "1.5n"}, {0.02, "20m"},    {0.0, "0"},      {-0.5, "-500m"},
               {50.0, "50"},     {999.95, "1k"},   {2.5e6, "2.5M"}, {1e-15, "1f"},
               {1.2345e-12, "1.23p"}};
  for (const auto& c : cases) EXPECT_EQ(engineering(c.value), c.text) << c.value;
}

TEST(Plot, PlotFilesOfASmallModel) {
  const ReadResult result = read_file(kRecords);
  const auto model = result.document().find_model("drv");
  ASSERT_TRUE(model);
  const std::vector<Curve> curves = model_curves(*model);
  const char* stems[] = {"pulldown", "pullup", "rising_1", "falling_1"};
  ASSERT_EQ(curves.size(), std::size(stems));
  for (size_t i = 0; i < curves.size(); ++i) {
    EXPECT_EQ(curves[i].file_stem, stems[i]);
    EXPECT_TRUE(test::matches_golden("plot_drv_" + std::string(stems[i]) + ".txt",
                                     curve_text(curves[i], model->name())));
  }
}

// Every curve of the corpus draws as well-formed SVG with one line per corner that holds a
// number, and the axes its family calls for.
TEST(Plot, SvgOfEveryCorpusCurve) {
  size_t pictures = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::string(TARN_TEST_DATA) + "/corpus")) {
    if (entry.path().extension() != ".ibs") continue;
    const ReadResult result = read_file(entry.path().string());
    for (const ModelView& model : result.document().models()) {
      for (const Curve& curve : model_curves(model)) {
        const std::string svg = curve_svg(curve, model.name());
        pugi::xml_document doc;
        ASSERT_TRUE(doc.load_string(svg.c_str())) << entry.path() << " " << curve.title;
        size_t corners = 0;
        for (const eTypMinMax corner : {eTyp, eMin, eMax}) {
          for (const TableRow& row : curve.rows)
            if (row.x.has_value() && row.at(corner).has_value()) {
              ++corners;
              break;
            }
        }
        EXPECT_EQ(doc.select_nodes("/svg/polyline").size(), corners) << curve.title;
        const bool waveform = curve.kind == CurveKind::Rising || curve.kind == CurveKind::Falling;
        EXPECT_NE(svg.find(waveform ? ">Time (s)<" : ">Current (A)<"), std::string::npos);
        ++pictures;
      }
    }
  }
  EXPECT_GT(pictures, 20u);
}

TEST(Plot, ToolWritesAFolderWithAnIndex) {
  test::TempDir dir;
  const std::string out = (dir.path() / "plots").string();
  const std::string command =
      std::string(TARN_CLI) + " plot '" + kRecords + "' --model drv --output '" + out + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  for (const char* name : {"drv_pulldown.txt", "drv_pullup.svg", "drv_rising_1.svg",
                           "drv_falling_1.txt", "index.html"})
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(out) / name)) << name;
  pugi::xml_document index;
  ASSERT_TRUE(index.load_file((std::filesystem::path(out) / "index.html").c_str()));
  EXPECT_EQ(index.select_nodes("//img").size(), 4u);
}

// A component's models: in the order its pins first name them, each once, a name defined twice
// meaning the definition read last; a pin naming a selector adds the models it offers.
TEST(Plot, TheModelsAComponentsPinsUse) {
  const auto model = [](const char* name, const char* current) {
    return std::string("[Model] ") + name +
           "\nModel_type Input\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n[GND Clamp]\n-1 " +
           current + " NA NA\n0 0 NA NA\n";
  };
  test::TempDir dir;
  const std::string source = dir.write(
      "twice.ibs", "[IBIS Ver] 3.2\n[File Name] twice.ibs\n[Component] C\n[Pin] signal_name "
                   "model_name\n1 A b\n2 B a\n3 C b\n4 D sel\n[Model Selector] sel\nc C\na A\n" +
                       model("a", "-10m") + model("b", "-20m") + model("a", "-30m") +
                       model("c", "-40m") + "[End]\n");
  const std::string out = (dir.path() / "plots").string();
  ASSERT_TRUE(write_plots(source, "C", "", out, nullptr));
  const std::string index = test::file_text(out + "/index.html");
  EXPECT_EQ(count(index, "<h2>"), 3u) << index;
  EXPECT_LT(index.find("<h2>b</h2>"), index.find("<h2>a</h2>")) << index;
  EXPECT_LT(index.find("<h2>a</h2>"), index.find("<h2>c</h2>")) << index;
  EXPECT_NE(test::file_text(out + "/a_gnd_clamp.txt").find("\n-1 -0.03 NA NA\n"),
            std::string::npos);
}

// Nothing to plot is said, and nothing is written.
TEST(Plot, WhatHasNoModelToPlot) {
  test::TempDir dir;
  const std::string head = "[IBIS Ver] 3.2\n[File Name] t.ibs\n[Component] C\n[Manufacturer] M\n"
                           "[Package]\nR_pkg 1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
                           "[Pin] signal_name model_name\n1 VCC POWER\n2 GND GND\n";
  const std::string supplies = dir.write("t.ibs", head + "[End]\n");
  const std::string unknown = dir.write("u.ibs", head + "3 A missing\n[End]\n");
  const struct {
    const std::string& source;
    const char* component;
    const char* model;
    std::string said;
  } cases[] = {
      {supplies, "", "", "tarn: no model in " + supplies + "\n"},
      {supplies, "c", "", "tarn: no model in component 'c'\n"},
      {unknown, "C", "", "tarn: no model in component 'C'\n"},
      {supplies, "D", "", "tarn: no component 'D'\n"},
      {supplies, "", "m", "tarn: no model 'm'\n"},
  };
  for (const auto& c : cases) {
    test::MemStream report;
    const std::string out = (dir.path() / "plots").string();
    EXPECT_FALSE(write_plots(c.source, c.component, c.model, out, report.get())) << c.said;
    EXPECT_EQ(report.text(), c.said);
    EXPECT_FALSE(std::filesystem::exists(out)) << c.said;
  }
}

// The report is XHTML-clean, has one plot per curve, and shows the line a finding points at.
TEST(Report, WellFormedWithFindingsAndPlots) {
  test::TempDir dir;
  const std::string broken = dir.write(
      "broken.ibs", "[IBIS Ver] 3.2\n[File Name] broken.ibs\n[File Rev] 1.0\n"
                    "[Component] C\n[Manufacturer] M\n[Package]\nR_pkg abc NA NA\nL_pkg 1n NA NA\n"
                    "C_pkg 1p NA NA\n[Pin] signal_name model_name\n1 A nosuch\n[End]\n");
  const std::vector<std::string> paths = {kRecords, kHct, broken};
  const std::string page = report_html(paths);
  pugi::xml_document doc;
  ASSERT_TRUE(doc.load_string(page.c_str())) << page.substr(0, 400);
  EXPECT_EQ(doc.select_nodes("//svg").size(), curve_count(paths));
  EXPECT_EQ(doc.select_nodes("//nav//li").size(), 3u);
  const ReadResult result = read_file(broken);
  ASSERT_FALSE(result.passed());
  const pugi::xpath_node_set rows = doc.select_nodes("//section[@id='f2']/table[1]/tr");
  EXPECT_EQ(rows.size(), result.findings().size() + 1);
  EXPECT_NE(page.find("<td>7</td><td>Invalid Typical Value (&quot;abc&quot;)</td><td><code>R_pkg abc NA NA</code>"), std::string::npos);
}

// The report of a corpus file as Chromium draws it: not blank, one plot per curve family.
TEST(Report, RendersInChromium) {
  if (!std::filesystem::exists("/usr/bin/chromium")) GTEST_SKIP() << "chromium is not installed";
  test::TempDir dir;
  const std::string page = (dir.path() / "report.html").string();
  const std::vector<std::string> paths = {kHct};
  ASSERT_TRUE(write_report(paths, page, stderr));
  const std::string blank = dir.write("blank.html", "<html><body></body></html>");
  const std::string chrome =
      "/usr/bin/chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
      "--disable-background-networking --disable-component-update --disable-sync "
      "--window-size=1280,2000 --user-data-dir='" + (dir.path() / "profile").string() + "' ";
  const auto run = [&](const std::string& args) {
    const std::string command = chrome + args + " 2>/dev/null";
    return std::system(command.c_str());
  };
  const std::filesystem::path shot = dir.path() / "shot.png", empty = dir.path() / "empty.png";
  ASSERT_EQ(run("--screenshot='" + shot.string() + "' 'file://" + page + "'"), 0);
  ASSERT_EQ(run("--screenshot='" + empty.string() + "' 'file://" + blank + "'"), 0);
  ASSERT_EQ(run("--dump-dom 'file://" + page + "' > '" + (dir.path() / "dom.html").string() + "'"), 0);
  // A blank page compresses to a few kilobytes; the drawn plots cannot.
  EXPECT_GT(std::filesystem::file_size(shot), 10 * std::filesystem::file_size(empty));
  const std::string dom = test::file_text(dir.path() / "dom.html");
  EXPECT_EQ(count(dom, "<svg"), curve_count(paths));
  for (const char* family : {": GND Clamp<", ": POWER Clamp<", ": Pulldown<", ": Pullup<",
                             ": Rising Waveform 1<", ": Falling Waveform 1<"})
    EXPECT_EQ(count(dom, family), 1u) << family;
}

}  // namespace
}  // namespace tarn
