// The tool as a user runs it: exit status, standard output and standard error.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "test_support.h"

namespace {

struct ToolRun {
  int status = -1;
  std::string out;
  std::string err;
};

ToolRun run_tool(const std::string& args, const tarn::test::TempDir& dir) {
  const std::string err_file = (dir.path() / "stderr.txt").string();
  const std::string command =
      "cd '" + dir.path().string() + "' && '" TARN_CLI "' " + args + " 2>'" + err_file + "'";
  ToolRun r;
  std::FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return r;
  char buffer[4096];
  size_t n = 0;
  while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) r.out.append(buffer, n);
  const int status = pclose(pipe);
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream in(err_file);
  std::stringstream s;
  s << in.rdbuf();
  r.err = s.str();
  return r;
}

constexpr const char* kGood =
    "[IBIS Ver] 3.2\n[File Name] good.ibs\n[Component] Part\n[Manufacturer] Acme\n[Package]\n"
    "R_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 VCC POWER\n"
    "[End]\n";

TEST(Tool, UsageAndVersion) {
  tarn::test::TempDir dir;
  const ToolRun help = run_tool("--help", dir);
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("usage: tarn <command>"), std::string::npos);
  EXPECT_NE(help.out.find("check [OPTIONS] FILE|FOLDER|-..."), std::string::npos);
  EXPECT_NE(help.out.find("doc FILE [--component NAME] --output OUT"), std::string::npos);
  const ToolRun version = run_tool("--version", dir);
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "tarn " TARN_VERSION "\n");

  struct Case {
    const char* args;
    const char* first_error_line;
  };
  const Case usage_errors[] = {
      {"", "tarn: no command given\n"},
      {"frobnicate", "tarn: unknown command 'frobnicate'\n"},
      {"check", "tarn: check: no FILE given\n"},
      {"check --fast good.ibs", "tarn: check: unknown option '--fast'\n"},
      {"doc", "tarn: doc: no FILE given\n"},
      {"doc good.ibs", "tarn: doc: --output OUT is required\n"},
      {"doc good.ibs --output", "tarn: doc: --output needs a value\n"},
      {"doc good.ibs --output=", "tarn: doc: --output needs a value\n"},
      {"doc good.ibs --component '' --output x.txt", "tarn: doc: --component needs a value\n"},
      {"doc good.ibs --fast --output x.txt", "tarn: doc: unknown option '--fast'\n"},
      {"doc good.ibs other.ibs --output x.txt", "tarn: doc: one FILE only\n"},
      {"doc missing.ibs --output x.txt",
       "tarn: cannot open 'missing.ibs': No such file or directory\n"},
  };
  for (const Case& c : usage_errors) {
    const ToolRun r = run_tool(c.args, dir);
    EXPECT_EQ(r.status, 2) << c.args;
    EXPECT_EQ(r.out, "") << c.args;
    EXPECT_EQ(r.err.substr(0, r.err.find('\n') + 1), c.first_error_line) << c.args;
  }
}

TEST(Tool, CheckReportsEachFileWithItsSummary) {
  tarn::test::TempDir dir;
  dir.write("good.ibs", kGood);
  dir.write("bad.ibs", "[IBIS Ver] 3.2\n[End]\n");
  const ToolRun pass = run_tool("check good.ibs", dir);
  EXPECT_EQ(pass.status, 0);
  EXPECT_EQ(pass.out,
            "\nChecking good.ibs for IBIS 3.2 Compatibility...\n\n"
            "File good.ibs  Errors: 0  Compile Passed\n\n");
  EXPECT_EQ(pass.err, "");

  const ToolRun fail = run_tool("check good.ibs bad.ibs", dir);
  EXPECT_EQ(fail.status, 1);
  EXPECT_EQ(fail.out,
            "\nChecking good.ibs for IBIS 3.2 Compatibility...\n\n"
            "File good.ibs  Errors: 0  Compile Passed\n\n"
            "\nChecking bad.ibs for IBIS 3.2 Compatibility...\n\n"
            "ERROR bad.ibs - Required keyword 'Component' not found.\n"
            "File bad.ibs  Errors: 1  Compile Failed\n\n");
}

TEST(Tool, UnreadableFilesAreToolErrorsAndTheOthersAreStillRead) {
  tarn::test::TempDir dir;
  dir.write("good.ibs", kGood);
  dir.write("notes.txt", "[IBIS Ver] 3.2\n");
  const ToolRun r = run_tool("check missing.ibs good.ibs notes.txt", dir);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "tarn: cannot open 'missing.ibs': No such file or directory\n"
            "tarn: 'notes.txt' is not an IBIS source (.ibs, .pkg or .ebd)\n");
  EXPECT_NE(r.out.find("File good.ibs  Errors: 0  Compile Passed\n"), std::string::npos);
}

// The report keeps the reader's own line; the tool says on standard error what it found.
TEST(Tool, ARefusedVersionIsExplainedInOneLine) {
  tarn::test::TempDir dir;
  dir.write("empty.ibs", "");
  dir.write("binary.ibs", std::string("\x7f"
                                      "ELF\x02\x01\x00\x00\n\xff\xfe",
                                      12));
  dir.write("later.ibs", "| a comment\n[IBIS Ver]   4.1  | the newer rules\n[Component] X\n");
  dir.write("headless.ibs", "[Component] X\n[IBIS Ver] 3.2\n");
  struct Case {
    const char* file;
    const char* explained;
  };
  for (const Case& c : {
           Case{"empty.ibs", "tarn: 'empty.ibs' is empty: it has no [IBIS Ver] line\n"},
           Case{"binary.ibs", "tarn: 'binary.ibs' has no [IBIS Ver] line\n"},
           Case{"later.ibs",
                "tarn: 'later.ibs' declares IBIS version 4.1; this reader takes versions 1.1 to "
                "3.2 (4.0 to 7.2 with --accept-newer)\n"},
           Case{"headless.ibs",
                "tarn: 'headless.ibs' has no [IBIS Ver] line before its first keyword\n"},
       }) {
    const ToolRun r = run_tool(std::string("check ") + c.file, dir);
    EXPECT_EQ(r.status, 1) << c.file;
    EXPECT_EQ(r.out, std::string("ERROR ") + c.file +
                         " - Unsupported or Illegal IBIS Version Number\nFile " + c.file +
                         "  Errors: 1  Compile Failed\n\n")
        << c.file;
    EXPECT_EQ(r.err, c.explained);
  }
}

std::string read_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

constexpr const char* kCompilable =
    "[IBIS Ver] 3.2\n[File Name] part.ibs\n[Component] Part\n[Manufacturer] Acme\n"
    "[Package]\nR_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 "
    "IN buf\n2 VCC POWER\n[Model] buf\nModel_type Input\n"
    "Vinl = 0.8\nVinh = 2.0\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n[End]\n";

TEST(Tool, CompileWritesOnlyWhatPassed) {
  tarn::test::TempDir dir;
  dir.write("part.ibs", kCompilable);
  dir.write("good.ibs", kGood);
  dir.write("bad.ibs", "[IBIS Ver] 3.2\n[End]\n");

  const ToolRun written = run_tool("compile part.ibs --component part --output part.cbs", dir);
  EXPECT_EQ(written.status, 0);
  EXPECT_EQ(written.out,
            "\nChecking part.ibs for IBIS 3.2 Compatibility...\n\n"
            "File part.ibs  Errors: 0  Compile Passed\n\n");
  const std::string head = "File_Rev 3 0\nSrc_Name \"part.ibs\"\nComponent \"Part\"\n";
  EXPECT_EQ(read_file(dir.path() / "part.cbs").substr(0, head.size()), head);

  struct Case {
    const char* args;
    const char* report_tail;  // the writer's findings and the summary
  };
  const Case failures[] = {
      {"compile good.ibs --output o.cbs",
       "ERROR good.ibs - Unable to find model information.\n"
       "File good.ibs  Errors: 1  Compile Failed\n\n"},
      {"compile bad.ibs --output o.cbs",
       "ERROR bad.ibs - Required keyword 'Component' not found.\n"
       "File bad.ibs  Errors: 1  Compile Failed\n\n"},
      {"compile --component=Nope part.ibs --output=o.cbs",
       "ERROR part.ibs - Unable to find component \"Nope\" in ibis file\n"
       "File part.ibs  Errors: 1  Compile Failed\n\n"},
  };
  for (const Case& c : failures) {
    const ToolRun r = run_tool(c.args, dir);
    EXPECT_EQ(r.status, 1) << c.args;
    const std::string tail = c.report_tail;
    EXPECT_EQ(r.out.substr(r.out.size() - std::min(r.out.size(), tail.size())), tail) << c.args;
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "o.cbs")) << c.args;
  }
}

TEST(Tool, CompileUsageErrors) {
  tarn::test::TempDir dir;
  dir.write("part.ibs", kCompilable);
  struct Case {
    const char* args;
    const char* error;
    int status;
  };
  const Case cases[] = {
      {"compile part.ibs", "tarn: compile: --output OUT is required (a file name)\n", 2},
      {"compile part.ibs --output -", "tarn: compile: --output OUT is required (a file name)\n", 2},
      {"compile --output o.cbs", "tarn: compile: no FILE given\n", 2},
      {"compile part.ibs part.ibs --output o.cbs", "tarn: compile: one FILE only\n", 2},
      {"compile part.ibs --output", "tarn: compile: --output needs a value\n", 2},
      {"compile part.ibs --fast --output o.cbs", "tarn: compile: unknown option '--fast'\n", 2},
      {"compile missing.ibs --output o.cbs",
       "tarn: cannot open 'missing.ibs': No such file or directory\n", 2},
  };
  for (const Case& c : cases) {
    const ToolRun r = run_tool(c.args, dir);
    EXPECT_EQ(r.status, c.status) << c.args;
    EXPECT_EQ(r.out, "") << c.args;
    EXPECT_EQ(r.err.substr(0, r.err.find('\n') + 1), c.error) << c.args;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "o.cbs"));
}

TEST(Tool, IndexThenLibCompilesOnceAndShowsThePins) {
  tarn::test::TempDir dir;
  std::filesystem::create_directory(dir.path() / "src");
  dir.write("src/part.ibs", kCompilable);
  dir.write("src/later.ibs", "[IBIS Ver] 4.0\n[Component] Later\n[End]\n");
  dir.write("src/bad.ibs", "[IBIS Ver] 3.2\n[File Name] bad.ibs\n[Component] Bad\n[End]\n");
  const ToolRun index = run_tool("index src", dir);
  EXPECT_EQ(index.status, 1) << "a source could not be read";
  EXPECT_EQ(index.err, "tarn: index: 'later.ibs' could not be read (no component found)\n");
  const std::string summary = "src/ibisindex.ibx: 2 components\n";
  ASSERT_GE(index.out.size(), summary.size());
  EXPECT_EQ(index.out.substr(index.out.size() - summary.size()), summary);

  const char* ask = "lib --cache cache --index src/ibisindex.ibx Part";
  const ToolRun first = run_tool(ask, dir);
  EXPECT_EQ(first.status, 0) << first.out << first.err;
  EXPECT_NE(first.out.find("status: 7 compiled information current\n"
                           "compiled file: cache/ib000000.cbs\n"
                           "compiled: now (report in cache/tarn_rdr.txt)\n"),
            std::string::npos)
      << first.out;
  EXPECT_NE(first.out.find("\n1      IN           buf            input"), std::string::npos)
      << first.out;
  const ToolRun second = run_tool(ask, dir);
  EXPECT_EQ(second.status, 0);
  EXPECT_NE(second.out.find("compiled: no compile needed\n"), std::string::npos) << second.out;
  EXPECT_EQ(second.out.find("Checking"), std::string::npos) << "the source was not read again";

  const ToolRun unknown = run_tool("lib --cache cache --index src/ibisindex.ibx Nowhere", dir);
  EXPECT_EQ(unknown.status, 1);
  EXPECT_NE(unknown.out.find("status: 1 IBIS source not found\n"), std::string::npos);
  const ToolRun failed = run_tool("lib --cache cache --index src/ibisindex.ibx Bad", dir);
  EXPECT_EQ(failed.status, 1);
  EXPECT_NE(failed.out.find("status: 2 IBIS source has syntax errors\ncompiled file: -\n"
                            "compiled: failed (report in cache/tarn_rdr.txt)\n"),
            std::string::npos)
      << failed.out;

  struct Case {
    const char* args;
    const char* error;
  };
  for (const Case& c :
       {Case{"index", "tarn: index: one FOLDER expected\n"},
        Case{"index nowhere", "tarn: 'nowhere' is not a folder\n"},
        Case{"lib Part", "tarn: lib: --cache DIR is required\n"},
        Case{"lib --cache c Part", "tarn: lib: at least one --index FILE is required\n"},
        Case{"lib --cache c --index i", "tarn: lib: no COMPONENT given\n"}}) {
    const ToolRun r = run_tool(c.args, dir);
    EXPECT_EQ(r.status, 2) << c.args;
    EXPECT_EQ(r.err.substr(0, r.err.find('\n') + 1), c.error) << c.args;
  }
}

// The compiled file keeps only a selector's name, as a pin of no type; lib names the models
// it offers, whether it compiled just now or found the compiled file current.
TEST(Tool, LibShowsTheModelsASelectorOffers) {
  tarn::test::TempDir dir;
  std::filesystem::create_directory(dir.path() / "src");
  dir.write("src/part.ibs",
            "[IBIS Ver] 3.2\n[File Name] part.ibs\n[Component] Part\n[Manufacturer] Acme\n"
            "[Package]\nR_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
            "[Pin] signal_name model_name\n1 IN sel\n2 VCC POWER\n"
            "[Model Selector] sel\nslow Slow input\nfast Fast input\n"
            "[Model] slow\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp 3p NA NA\n"
            "[Voltage Range] 3.3 NA NA\n"
            "[Model] fast\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp 1p NA NA\n"
            "[Voltage Range] 3.3 NA NA\n[End]\n");
  ASSERT_EQ(run_tool("index src", dir).status, 0);
  for (const char* run : {"compiling", "compiled file current"}) {
    const ToolRun r = run_tool("lib --cache cache --index src/ibisindex.ibx Part", dir);
    EXPECT_EQ(r.status, 0) << run << r.err;
    EXPECT_NE(r.out.find("\n1      IN           sel            model selector            -"),
              std::string::npos)
        << run << r.out;
    EXPECT_NE(r.out.find("\n2      VCC          POWER          no type (pwr, gnd or NC)"),
              std::string::npos)
        << run << r.out;
    EXPECT_NE(r.out.find("\nmodel selector sel: slow (default), fast\n"), std::string::npos)
        << run << r.out;
    EXPECT_EQ(r.out.find("Checking", r.out.find("\npin ")), std::string::npos)
        << run << ": the look-up is no check the user asked for\n" << r.out;
  }
}

TEST(Tool, DocWritesTheListingOnlyWhenTheFileHasNoErrors) {
  tarn::test::TempDir dir;
  dir.write("part.ibs", kCompilable);
  dir.write("bad.ibs", "[IBIS Ver] 3.2\n[File Name] bad.ibs\n[Component] Part\n[End]\n");
  struct Case {
    const char* args;
    int status;
    const char* output;  // the listing's name when one is written
    const char* report;
  };
  const Case cases[] = {
      {"doc part.ibs --output part.txt", 0, "part.txt",
       "\nChecking part.ibs for IBIS 3.2 Compatibility...\n\n"
       "File part.ibs  Errors: 0  Compile Passed\n\n"},
      {"doc --component=PART --output=upper.txt part.ibs", 0, "upper.txt",
       "\nChecking part.ibs for IBIS 3.2 Compatibility...\n\n"
       "File part.ibs  Errors: 0  Compile Passed\n\n"},
      // What the writer refuses counts in the summary.
      {"doc part.ibs --component Other --output other.txt", 1, nullptr,
       "\nChecking part.ibs for IBIS 3.2 Compatibility...\n\n"
       "ERROR part.ibs - Unable to find component \"Other\" in ibis file\n"
       "File part.ibs  Errors: 1  Compile Failed\n\n"},
      {"doc bad.ibs --output bad.txt", 1, nullptr,
       "\nChecking bad.ibs for IBIS 3.2 Compatibility...\n\n"
       "ERROR bad.ibs - Required keyword 'Manufacturer' not defined for Component 'Part'.\n"
       "ERROR bad.ibs - Keyword 'Package' not defined for Component 'Part'.\n"
       "ERROR bad.ibs - Unable to find Pin keyword data for Component 'Part'.\n"
       "File bad.ibs  Errors: 3  Compile Failed\n\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args);
    const ToolRun r = run_tool(c.args, dir);
    EXPECT_EQ(r.status, c.status);
    // An unknown component is followed by the names the file has.
    EXPECT_EQ(r.err, std::string(c.args).find("Other") == std::string::npos
                         ? ""
                         : "tarn: doc: components of 'part.ibs': Part\n");
    EXPECT_EQ(r.out, c.report);
    if (!c.output) continue;
    const std::string listing = read_file(dir.path() / c.output);
    EXPECT_TRUE(listing.starts_with("| =====")) << listing;
    EXPECT_NE(listing.find("\n[Component]     Part\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("\n[Model]        buf\n"), std::string::npos) << listing;
    EXPECT_TRUE(listing.ends_with("\n[End]\n")) << listing;
  }
  // The refused runs wrote nothing.
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "other.txt"));
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "bad.txt"));
}

// A 5.1 source: refused by default; with --accept-newer its [Algorithmic Model] is read past
// and its component is checked, compiled and documented.
TEST(Tool, LaterVersionsOnRequest) {
  tarn::test::TempDir dir;
  std::string later = kCompilable;
  later.replace(later.find("3.2"), 3, "5.1");
  later.insert(later.find("[End]"), "[Algorithmic Model]\nExecutable linux tx.so tx.ami\n"
                                     "[End Algorithmic Model]\n");
  dir.write("part.ibs", later);
  const char* banner = "\nChecking part.ibs for IBIS 3.2 Compatibility...\n\n";
  const std::string read_past = std::string(banner) +
                                "WARNING part.ibs (line   18) - [Algorithmic Model] (IBIS 5.0) not "
                                "checked by this reader\n"
                                "File part.ibs  Errors: 0  Warnings: 1  Compile Passed\n\n";
  struct Case {
    const char* args;
    int status;
    std::string report;
    const char* err;
    const char* written;
  };
  const Case cases[] = {
      {"check part.ibs", 1,
       "ERROR part.ibs - Unsupported or Illegal IBIS Version Number\n"
       "File part.ibs  Errors: 1  Compile Failed\n\n",
       "tarn: 'part.ibs' declares IBIS version 5.1; this reader takes versions 1.1 to 3.2 "
       "(4.0 to 7.2 with --accept-newer)\n",
       nullptr},
      {"check --accept-newer part.ibs", 0, read_past, "", nullptr},
      {"compile part.ibs --output part.cbs --accept-newer", 0, read_past, "", "part.cbs"},
      {"doc --accept-newer part.ibs --output part.txt", 0, read_past, "", "part.txt"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args);
    const ToolRun r = run_tool(c.args, dir);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.out, c.report);
    if (c.written) {
      EXPECT_TRUE(std::filesystem::exists(dir.path() / c.written));
    }
  }
}

TEST(Tool, ShippedExamplePasses) {
  tarn::test::TempDir dir;
  const ToolRun r = run_tool("check '" TARN_SOURCE_DIR "/examples/tarn_demo.ibs'", dir);
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out.find("ERROR"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("WARNING"), std::string::npos) << r.out;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// check's other report forms, sources from folders and standard input, and its switches.

constexpr const char* kWarned =
    "[IBIS Ver] 3.2\n[File Name] warned.ibs\n[Component] Part\n[Manufacturer] Acme\n[Package]\n"
    "R_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 VCC POWER\n"
    "2 A n\n[Model] n\nModel_type Input\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n[End]\n";
constexpr const char* kBroken = "[IBIS Ver] 3.2\n[End]\n";

struct CheckDir : tarn::test::TempDir {
  CheckDir() {
    write("good.ibs", kGood);
    write("warned.ibs", kWarned);
    write("bad.ibs", kBroken);
  }
};

TEST(Check, GccLinesAndTotals) {
  CheckDir dir;
  struct Case {
    const char* args;
    int status;
    const char* out;
    const char* err;
  };
  const Case cases[] = {
      {"check --format gcc good.ibs", 0, "", ""},
      {"check --format=gcc bad.ibs warned.ibs", 1,
       "bad.ibs: error: Required keyword 'Component' not found.\n"
       "warned.ibs: warning: Model 'n': Model_type 'Input' must have Vinl set\n"
       "warned.ibs: warning: Model 'n': Model_type 'Input' must have Vinh set\n",
       "tarn: 2 files: 1 passed, 1 failed; 1 error, 2 warnings\n"},
      {"check --format gcc --werror good.ibs warned.ibs", 1,
       "warned.ibs: warning: Model 'n': Model_type 'Input' must have Vinl set\n"
       "warned.ibs: warning: Model 'n': Model_type 'Input' must have Vinh set\n",
       "tarn: 2 files: 1 passed, 1 failed; 0 errors, 2 warnings\n"},
      // Quiet: only the reports of failing files, and the totals.
      {"check --quiet good.ibs bad.ibs", 1,
       "ERROR bad.ibs - Required keyword 'Component' not found.\n"
       "File bad.ibs  Errors: 1  Compile Failed\n\n",
       "tarn: 2 files: 1 passed, 1 failed; 1 error, 0 warnings\n"},
      {"check -q --werror warned.ibs", 1,
       "WARNING warned.ibs - Model 'n': Model_type 'Input' must have Vinl set\n"
       "WARNING warned.ibs - Model 'n': Model_type 'Input' must have Vinh set\n"
       "File warned.ibs  Errors: 0  Warnings: 2  Compile Passed\n\n",
       "tarn: 1 file: 0 passed, 1 failed; 0 errors, 2 warnings\n"},
      {"check --quiet warned.ibs", 0, "", "tarn: 1 file: 1 passed, 0 failed; 0 errors, 2 warnings\n"},
      {"check --format xml good.ibs", 2, "",
       "tarn: check: --format takes text, gcc, json or sarif, not 'xml'\nTry 'tarn --help'.\n"},
      {"check - < good.ibs", 2, "",
       "tarn: check: '-' needs --stdin-name NAME (its extension tells the kind)\n"
       "Try 'tarn --help'.\n"},
  };
  for (const Case& c : cases) {
    const ToolRun r = run_tool(c.args, dir);
    EXPECT_EQ(r.status, c.status) << c.args;
    EXPECT_EQ(r.out, c.out) << c.args;
    EXPECT_EQ(r.err, c.err) << c.args;
  }
}

TEST(Check, GccLinesCarryTheSourceLine) {
  tarn::test::TempDir dir;
  std::string faulty = kWarned;
  faulty.replace(faulty.find("Model_type Input"), 16, "Model_type Inputt");
  dir.write("warned.ibs", faulty);
  const ToolRun r = run_tool("check --format gcc warned.ibs", dir);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1),
            "warned.ibs:13: error: Invalid Model_type (\"Inputt\")\n");
}

TEST(Check, JsonParsesBackWithEveryFile) {
  CheckDir dir;
  const ToolRun r = run_tool("check --format json good.ibs bad.ibs warned.ibs", dir);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "");
  const nlohmann::json doc = nlohmann::json::parse(r.out);
  EXPECT_EQ(doc["tool"], "tarn");
  EXPECT_EQ(doc["version"], TARN_VERSION);
  ASSERT_EQ(doc["files"].size(), 3u);
  const nlohmann::json& good = doc["files"][0];
  EXPECT_EQ(good["path"], "good.ibs");
  EXPECT_EQ(good["ibis_version"], 3);
  EXPECT_EQ(good["result"], "passed");
  EXPECT_EQ(good["findings"], nlohmann::json::array());
  const nlohmann::json& bad = doc["files"][1];
  EXPECT_EQ(bad["result"], "failed");
  EXPECT_EQ(bad["counts"], (nlohmann::json{{"errors", 1}, {"warnings", 0}, {"bugs", 0}}));
  EXPECT_EQ(bad["findings"][0],
            (nlohmann::json{{"severity", "error"},
                            {"line", nullptr},
                            {"message", "Required keyword 'Component' not found."}}));
  const nlohmann::json& warned = doc["files"][2];
  EXPECT_EQ(warned["result"], "passed");
  EXPECT_EQ(warned["findings"][1]["severity"], "warning");
}

TEST(Check, FoldersAreSearchedSortedSkippingHiddenOnes) {
  tarn::test::TempDir dir;
  std::filesystem::create_directories(dir.path() / "lib/b/deep");
  std::filesystem::create_directories(dir.path() / "lib/.git");
  std::filesystem::create_directories(dir.path() / "empty");
  dir.write("lib/z.ibs", kGood);
  dir.write("lib/b/deep/a.ibs", kGood);
  dir.write("lib/a.pkg", "not read: its extension is checked");
  dir.write("lib/notes.txt", "ignored");
  dir.write("lib/.git/hidden.ibs", kBroken);
  const ToolRun r = run_tool("check --format json lib", dir);
  const nlohmann::json doc = nlohmann::json::parse(r.out);
  std::vector<std::string> paths;
  for (const nlohmann::json& file : doc["files"]) paths.push_back(file["path"]);
  EXPECT_EQ(paths, (std::vector<std::string>{"lib/a.pkg", "lib/b/deep/a.ibs", "lib/z.ibs"}));

  const ToolRun none = run_tool("check empty", dir);
  EXPECT_EQ(none.status, 2);
  EXPECT_EQ(none.err, "tarn: 'empty' holds no IBIS source (.ibs, .pkg or .ebd)\n");
}

TEST(Check, StandardInputReadsUnderTheGivenName) {
  CheckDir dir;
  const ToolRun r = run_tool("check --stdin-name part.ibs - < bad.ibs", dir);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out,
            "\nChecking part.ibs for IBIS 3.2 Compatibility...\n\n"
            "ERROR part.ibs - Required keyword 'Component' not found.\n"
            "File part.ibs  Errors: 1  Compile Failed\n\n");
}

TEST(Check, SarifHasOneRunWithRulesByTemplate) {
  CheckDir dir;
  std::string two_models = kWarned;
  two_models.replace(two_models.find("2 A n\n"), 6, "2 A n\n3 B p\n");
  two_models.insert(two_models.find("[End]"),
                    "[Model] p\nModel_type Input\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n");
  dir.write("warned.ibs", two_models);
  const ToolRun r = run_tool("check --format sarif good.ibs bad.ibs warned.ibs", dir);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "");
  const nlohmann::json log = nlohmann::json::parse(r.out);
  EXPECT_EQ(log["version"], "2.1.0");
  EXPECT_EQ(log["$schema"], "https://json.schemastore.org/sarif-2.1.0.json");
  ASSERT_EQ(log["runs"].size(), 1u);
  const nlohmann::json& run = log["runs"][0];
  EXPECT_EQ(run["tool"]["driver"]["name"], "tarn");
  std::vector<std::string> rules;
  for (const nlohmann::json& rule : run["tool"]["driver"]["rules"]) rules.push_back(rule["id"]);
  // The Vinl and Vinh findings of both models fall under two rules.
  EXPECT_EQ(rules, (std::vector<std::string>{"Required keyword '{}' not found.",
                                             "Model '{}': Model_type '{}' must have Vinl set",
                                             "Model '{}': Model_type '{}' must have Vinh set"}));
  ASSERT_EQ(run["results"].size(), 5u);
  const nlohmann::json& first = run["results"][0];
  EXPECT_EQ(first["ruleId"], rules[0]);
  EXPECT_EQ(first["level"], "error");
  EXPECT_EQ(first["message"]["text"], "Required keyword 'Component' not found.");
  EXPECT_EQ(first["locations"][0]["physicalLocation"]["artifactLocation"]["uri"], "bad.ibs");
  EXPECT_EQ(run["results"][1]["level"], "warning");
}

TEST(Check, SarifRegionCarriesTheSourceLine) {
  tarn::test::TempDir dir;
  std::string faulty = kWarned;
  faulty.replace(faulty.find("Model_type Input"), 16, "Model_type Inputt");
  dir.write("warned.ibs", faulty);
  const nlohmann::json log =
      nlohmann::json::parse(run_tool("check --format sarif warned.ibs", dir).out);
  const nlohmann::json& location = log["runs"][0]["results"][0]["locations"][0];
  EXPECT_EQ(location["physicalLocation"]["region"]["startLine"], 13);
}

// Colour only where a person reads: on a terminal (through script(1)), unless NO_COLOR.
TEST(Check, ColourOnATerminalOnly) {
  CheckDir dir;
  const std::string red = "\033[1;31mERROR\033[0m bad.ibs - Required keyword 'Component' not found.";
  const std::string yellow = "\033[1;33mWARNING\033[0m warned.ibs - Model 'n'";
  struct Case {
    const char* args;
    bool colored;
  };
  const Case cases[] = {
      {"script -qec \"'" TARN_CLI "' check bad.ibs warned.ibs\" /dev/null", true},
      {"script -qec \"NO_COLOR=1 '" TARN_CLI "' check bad.ibs warned.ibs\" /dev/null", false},
      {"script -qec \"'" TARN_CLI "' check --color never bad.ibs warned.ibs\" /dev/null", false},
      {"check --color=always bad.ibs warned.ibs", true},
      {"check bad.ibs warned.ibs", false},
  };
  for (const Case& c : cases) {
    std::string args = c.args;
    if (args.starts_with("script")) args = "; " + args;  // run_tool puts the tool first
    const ToolRun r = run_tool(c.args[0] == 's' ? "--version " + args : args, dir);
    EXPECT_EQ(r.out.find(red) != std::string::npos, c.colored) << c.args << r.out;
    EXPECT_EQ(r.out.find(yellow) != std::string::npos, c.colored) << c.args;
    EXPECT_NE(r.out.find("Required keyword 'Component' not found."), std::string::npos) << c.args;
  }
}

TEST(ComponentCommands, NameTheComponentsWhenTheChoiceIsMissingOrUnknown) {
  tarn::test::TempDir dir;
  std::string two = kGood;
  two.replace(two.find("good.ibs"), 8, "two.ibs");
  two.insert(two.find("[End]"),
             "[Component] Other\n[Manufacturer] Acme\n[Package]\nR_pkg 0.1 NA NA\n"
             "L_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 VCC POWER\n");
  dir.write("two.ibs", two);
  struct Case {
    const char* args;
    int status;
    const char* err;
  };
  const Case cases[] = {
      {"compile two.ibs --output x.out", 1, "tarn: compile: components of 'two.ibs': Part, Other\n"},
      {"doc two.ibs --component Nope --output x.txt", 1,
       "tarn: doc: components of 'two.ibs': Part, Other\n"},
      // A known component that fails for another reason lists nothing.
      {"doc two.ibs --component Other --output x.txt", 1, ""},
  };
  for (const Case& c : cases) {
    const ToolRun r = run_tool(c.args, dir);
    EXPECT_EQ(r.status, c.status) << c.args << r.out;
    EXPECT_EQ(r.err, c.err) << c.args;
  }
}
