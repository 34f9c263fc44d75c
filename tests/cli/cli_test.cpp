// The tool as a user runs it: exit status, standard output and standard error.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "test_support.h"

namespace {

constexpr const char* kGood =
    "[IBIS Ver] 3.2\n[File Name] good.ibs\n[Component] Part\n[Manufacturer] Acme\n[Package]\n"
    "R_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 VCC POWER\n"
    "[End]\n";
constexpr const char* kWarned =
    "[IBIS Ver] 3.2\n[File Name] warned.ibs\n[Component] Part\n[Manufacturer] Acme\n[Package]\n"
    "R_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 VCC POWER\n"
    "2 A n\n[Model] n\nModel_type Input\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n[End]\n";
constexpr const char* kCompilable =
    "[IBIS Ver] 3.2\n[File Name] part.ibs\n[Component] Part\n[Manufacturer] Acme\n"
    "[Package]\nR_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 "
    "IN buf\n2 VCC POWER\n[Model] buf\nModel_type Input\n"
    "Vinl = 0.8\nVinh = 2.0\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n[End]\n";
constexpr const char* kBoard =
    "[IBIS Ver] 3.2\n[File Name] board.ebd\n[File Rev] 1.0\n[Begin Board Description] B\n"
    "[Manufacturer] Acme\n[Number Of Pins] 1\n[Pin List] signal_name\nA1 VCC\n"
    "[Path Description] P\nPin A1 Len = 0 R = 0.01 / Node U1.2\n[Reference Designator Map]\n"
    "U1 part.ibs Part\n[End Board Description]\n[End]\n";
constexpr const char* kSecondComponent =
    "[Component] Other\n[Manufacturer] Acme\n[Package]\nR_pkg 0.1 NA NA\nL_pkg 1n NA NA\n"
    "C_pkg 1p NA NA\n[Pin] signal_name model_name\n1 VCC POWER\n";

std::string banner(const std::string& file) {
  return "\nChecking " + file + " for IBIS 3.2 Compatibility...\n\n";
}

std::string passed(const std::string& file) {
  return banner(file) + "File " + file + "  Errors: 0  Compile Passed\n\n";
}

// A report that failed on one error without a line.
std::string failed(const std::string& file, const std::string& error) {
  return banner(file) + "ERROR " + file + " - " + error + "\nFile " + file +
         "  Errors: 1  Compile Failed\n\n";
}

std::string usage(const std::string& command, const std::string& message) {
  const std::string prefix = command.empty() ? "" : command + ": ";
  return "tarn: " + prefix + message + "\nTry 'tarn " + command + (command.empty() ? "" : " ") +
         "--help'.\n";
}

struct ToolRun {
  int status = -1;
  std::string out;
  std::string err;
};

struct Expected {
  std::string args;
  int status;
  std::string out;
  std::string err;
};

// A folder with the sources most cases read; the tool runs inside it.
class Tool : public ::testing::Test {
 protected:
  Tool() {
    std::string two = kGood;
    two.replace(two.find("good.ibs"), 8, "two.ibs");
    two.insert(two.find("[End]"), kSecondComponent);
    for (const auto& [name, text] : std::vector<std::pair<const char*, std::string>>{
             {"good.ibs", kGood},
             {"warned.ibs", kWarned},
             {"bad.ibs", "[IBIS Ver] 3.2\n[End]\n"},
             {"part.ibs", kCompilable},
             {"two.ibs", two},
             {"notes.txt", "[IBIS Ver] 3.2\n"},
             {"board.ebd", kBoard}})
      dir_.write(name, text);
  }

  ToolRun run(const std::string& args) const {
    const std::string err_file = (dir_.path() / "stderr.txt").string();
    const std::string command =
        "cd '" + dir_.path().string() + "' && '" TARN_CLI "' " + args + " 2>'" + err_file + "'";
    ToolRun r;
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return r;
    char buffer[4096];
    size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) r.out.append(buffer, n);
    const int status = pclose(pipe);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.err = tarn::test::file_text(err_file);
    return r;
  }

  void expect(const std::vector<Expected>& cases) const {
    for (const Expected& c : cases) {
      SCOPED_TRACE(c.args);
      const ToolRun r = run(c.args);
      EXPECT_EQ(r.status, c.status);
      EXPECT_EQ(r.out, c.out);
      EXPECT_EQ(r.err, c.err);
    }
  }

  bool exists(const char* name) const { return std::filesystem::exists(dir_.path() / name); }

  tarn::test::TempDir dir_;
};

TEST_F(Tool, HelpForTheToolAndEachCommand) {
  struct Case {
    const char* args;
    std::vector<const char*> shown;
  };
  const Case cases[] = {
      {"--help",
       {"Usage: tarn [OPTIONS] [COMMAND]", "\n  check ", "\n  compile ", "\n  doc ",
        "\n  index ", "\n  lib ", "\n  plot ", "\n  report ", "\nExit status: 0 every file"}},
      {"help", {"Usage: tarn [OPTIONS] [COMMAND]"}},
      {"check --help",
       {"Usage: tarn check [OPTIONS] [PATH...]", "--format text|gcc|json|sarif",
        "--stdin-name NAME", "-q,--quiet", "--werror", "--color auto|always|never",
        "--accept-newer"}},
      {"compile --help",
       {"Usage: tarn compile [OPTIONS] [FILE]", "--component NAME", "--output OUT",
        "--format text|gcc|json|sarif", "--accept-newer"}},
      {"doc --help", {"Usage: tarn doc [OPTIONS] [FILE]", "--component NAME", "--format"}},
      {"index --help", {"Usage: tarn index [OPTIONS] [FOLDER]"}},
      {"lib --help", {"Usage: tarn lib [OPTIONS] [COMPONENT]", "--cache DIR", "--index FILE"}},
      {"plot --help", {"Usage: tarn plot [OPTIONS] [FILE]", "--model NAME", "--output DIR"}},
      {"report --help", {"Usage: tarn report [OPTIONS] [PATH...]", "--output report.html"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args);
    const ToolRun r = run(c.args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    for (const char* text : c.shown) EXPECT_NE(r.out.find(text), std::string::npos) << text;
  }
  expect({{"--version", 0, "tarn " TARN_VERSION "\n", ""}});
}

TEST_F(Tool, UsageErrorsAreOneLineAndStatusTwo) {
  const std::vector<Expected> cases = {
      {"", 2, "", usage("", "no command given")},
      {"frobnicate", 2, "", usage("", "unknown command 'frobnicate'")},
      {"--fast check good.ibs", 2, "", usage("", "unknown option '--fast'")},
      {"check", 2, "", usage("check", "no FILE given")},
      {"check --fast good.ibs", 2, "", usage("check", "unknown option '--fast'")},
      {"check --format xml good.ibs", 2, "",
       usage("check", "--format takes text, gcc, json or sarif, not 'xml'")},
      {"check --color=sometimes good.ibs", 2, "",
       usage("check", "--color takes auto, always or never, not 'sometimes'")},
      {"check - < good.ibs", 2, "",
       usage("check", "'-' needs --stdin-name NAME (its extension tells the kind)")},
      {"check good.ibs --stdin-name", 2, "", usage("check", "--stdin-name needs a value")},
      {"doc", 2, "", usage("doc", "no FILE given")},
      {"doc good.ibs", 2, "", usage("doc", "--output OUT is required")},
      {"doc good.ibs --output", 2, "", usage("doc", "--output needs a value")},
      {"doc good.ibs --output=", 2, "", usage("doc", "--output needs a value")},
      {"doc good.ibs --component '' --output x.txt", 2, "",
       usage("doc", "--component needs a value")},
      {"doc good.ibs --fast --output x.txt", 2, "", usage("doc", "unknown option '--fast'")},
      {"doc good.ibs other.ibs --output x.txt", 2, "", usage("doc", "one FILE only")},
      {"compile part.ibs", 2, "", usage("compile", "--output OUT is required (a file name)")},
      {"compile part.ibs --output -", 2, "",
       usage("compile", "--output OUT is required (a file name)")},
      {"compile --format yaml part.ibs --output o.cbs", 2, "",
       usage("compile", "--format takes text, gcc, json or sarif, not 'yaml'")},
      {"index", 2, "", usage("index", "one FOLDER expected")},
      {"index a b", 2, "", usage("index", "one FOLDER expected")},
      {"index --accept-newer a", 2, "", usage("index", "unknown option '--accept-newer'")},
      {"lib Part", 2, "", usage("lib", "--cache DIR is required")},
      {"lib --cache c Part", 2, "", usage("lib", "at least one --index FILE is required")},
      {"lib --cache c --index i", 2, "", usage("lib", "no COMPONENT given")},
      // --index takes one value; a second operand is not read as another index.
      {"lib --cache c --index i A B", 2, "", usage("lib", "one COMPONENT only")},
      {"plot part.ibs", 2, "", usage("plot", "--output DIR is required")},
      {"report --output r.html", 2, "", usage("report", "no PATH given")},
      {"report good.ibs", 2, "", usage("report", "--output report.html is required")},
      {"report - --output r.html", 2, "",
       usage("report", "standard input ('-') is not read: name the files")},
      // Not usage errors, but the tool's own: nothing to read.
      {"doc missing.ibs --output x.txt", 2, "",
       "tarn: cannot open 'missing.ibs': No such file or directory\n"},
      {"index nowhere", 2, "", "tarn: 'nowhere' is not a folder\n"},
  };
  expect(cases);
  EXPECT_FALSE(exists("o.cbs"));
}

TEST_F(Tool, CheckReportsFindingsTotalsAndSwitches) {
  const std::string bad = failed("bad.ibs", "Required keyword 'Component' not found.");
  const std::string vinl = "Model 'n': Model_type 'Input' must have Vinl set\n";
  const std::string vinh = "Model 'n': Model_type 'Input' must have Vinh set\n";
  const auto refused_of = [](const std::string& file) {
    return "ERROR " + file + " - Unsupported or Illegal IBIS Version Number\nFile " + file +
           "  Errors: 1  Compile Failed\n\n";
  };
  dir_.write("later.ibs", "| a comment\n[IBIS Ver]   4.1  | the newer rules\n[Component] X\n");
  dir_.write("empty.ibs", "");
  dir_.write("headless.ibs", "[Component] X\n[IBIS Ver] 3.2\n");
  dir_.write("binary.ibs", std::string("\x7f" "ELF\x02\x01\x00\x00\n\xff\xfe", 12));
  const std::vector<Expected> cases = {
      {"check good.ibs", 0, passed("good.ibs"), ""},
      {"check good.ibs bad.ibs", 1, passed("good.ibs") + bad,
       "tarn: 2 files: 1 passed, 1 failed; 1 error, 0 warnings\n"},
      {"check --stdin-name part.ibs - < bad.ibs", 1,
       failed("part.ibs", "Required keyword 'Component' not found."), ""},
      // An unreadable file is the tool's error; the others are still read.
      {"check missing.ibs good.ibs notes.txt", 2, passed("good.ibs"),
       "tarn: cannot open 'missing.ibs': No such file or directory\n"
       "tarn: 'notes.txt' is not an IBIS source (.ibs, .pkg or .ebd)\n"},
      // The report keeps the reader's own line; standard error says what was found.
      {"check later.ibs", 1, refused_of("later.ibs"),
       "tarn: 'later.ibs' declares IBIS version 4.1; this reader takes versions 1.1 to 3.2 "
       "(4.0 to 7.2 with --accept-newer)\n"},
      {"check empty.ibs headless.ibs binary.ibs", 1,
       refused_of("empty.ibs") + refused_of("headless.ibs") + refused_of("binary.ibs"),
       "tarn: 'empty.ibs' is empty: it has no [IBIS Ver] line\n"
       "tarn: 'headless.ibs' has no [IBIS Ver] line before its first keyword\n"
       "tarn: 'binary.ibs' has no [IBIS Ver] line\n"
       "tarn: 3 files: 0 passed, 3 failed; 3 errors, 0 warnings\n"},
      {"check --format gcc good.ibs", 0, "", ""},
      {"check --format=gcc bad.ibs warned.ibs", 1,
       "bad.ibs: error: Required keyword 'Component' not found.\nwarned.ibs: warning: " + vinl +
           "warned.ibs: warning: " + vinh,
       "tarn: 2 files: 1 passed, 1 failed; 1 error, 2 warnings\n"},
      {"check --format gcc --werror good.ibs warned.ibs", 1,
       "warned.ibs: warning: " + vinl + "warned.ibs: warning: " + vinh,
       "tarn: 2 files: 1 passed, 1 failed; 0 errors, 2 warnings\n"},
      // Quiet: only the reports of failing files, and the totals.
      {"check --quiet good.ibs bad.ibs", 1, bad.substr(banner("bad.ibs").size()),
       "tarn: 2 files: 1 passed, 1 failed; 1 error, 0 warnings\n"},
      {"check -q --werror warned.ibs", 1,
       "WARNING warned.ibs - " + vinl + "WARNING warned.ibs - " + vinh +
           "File warned.ibs  Errors: 0  Warnings: 2  Compile Passed\n\n",
       "tarn: 1 file: 0 passed, 1 failed; 0 errors, 2 warnings\n"},
      {"check --quiet warned.ibs", 0, "",
       "tarn: 1 file: 1 passed, 0 failed; 0 errors, 2 warnings\n"},
  };
  expect(cases);
  const ToolRun shipped = run("check '" TARN_SOURCE_DIR "/examples/tarn_demo.ibs'");
  EXPECT_EQ(shipped.status, 0);
  EXPECT_EQ(shipped.out.find("ERROR"), std::string::npos) << shipped.out;
  EXPECT_EQ(shipped.out.find("WARNING"), std::string::npos) << shipped.out;
}

TEST_F(Tool, CheckFindingsCarryTheirSourceLine) {
  std::string faulty = kWarned;
  faulty.replace(faulty.find("Model_type Input"), 16, "Model_type Inputt");
  dir_.write("warned.ibs", faulty);
  const ToolRun gcc = run("check --format gcc warned.ibs");
  EXPECT_EQ(gcc.status, 1);
  EXPECT_EQ(gcc.out.substr(0, gcc.out.find('\n') + 1),
            "warned.ibs:13: error: Invalid Model_type (\"Inputt\")\n");
  const nlohmann::json log = nlohmann::json::parse(run("check --format sarif warned.ibs").out);
  const nlohmann::json& location = log["runs"][0]["results"][0]["locations"][0];
  EXPECT_EQ(location["physicalLocation"]["region"]["startLine"], 13);
}

TEST_F(Tool, JsonParsesBackWithEveryFile) {
  const ToolRun r = run("check --format json good.ibs bad.ibs warned.ibs");
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

TEST_F(Tool, SarifHasOneRunWithRulesByTemplate) {
  std::string two_models = kWarned;
  two_models.replace(two_models.find("2 A n\n"), 6, "2 A n\n3 B p\n");
  two_models.insert(two_models.find("[End]"),
                    "[Model] p\nModel_type Input\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n");
  dir_.write("warned.ibs", two_models);
  const ToolRun r = run("check --format sarif good.ibs bad.ibs warned.ibs");
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

// The folder is named like a command: it stays an operand of check.
TEST_F(Tool, FoldersAreSearchedSortedSkippingHiddenOnes) {
  std::filesystem::create_directories(dir_.path() / "lib/b/deep");
  std::filesystem::create_directories(dir_.path() / "lib/.git");
  std::filesystem::create_directories(dir_.path() / "empty");
  dir_.write("lib/z.ibs", kGood);
  dir_.write("lib/b/deep/a.ibs", kGood);
  dir_.write("lib/a.pkg", "not read: its extension is checked");
  dir_.write("lib/notes.txt", "ignored");
  dir_.write("lib/.git/hidden.ibs", "[IBIS Ver] 3.2\n[End]\n");
  const nlohmann::json doc = nlohmann::json::parse(run("check --format json lib").out);
  std::vector<std::string> paths;
  for (const nlohmann::json& file : doc["files"]) paths.push_back(file["path"]);
  EXPECT_EQ(paths, (std::vector<std::string>{"lib/a.pkg", "lib/b/deep/a.ibs", "lib/z.ibs"}));
  expect({{"check empty", 2, "", "tarn: 'empty' holds no IBIS source (.ibs, .pkg or .ebd)\n"}});
}

// Report takes its paths as check does: a folder stands for its sources, and what cannot be read
// is the tool's error, said on standard error while the page shows the rest.
TEST_F(Tool, ReportTakesPathsAsCheckDoes) {
  std::filesystem::create_directories(dir_.path() / "lib/.git");
  std::filesystem::create_directories(dir_.path() / "empty");
  dir_.write("lib/z.ibs", kGood);
  dir_.write("lib/.git/hidden.ibs", kGood);
  std::string later = kGood;
  later.replace(later.find("3.2"), 3, "4.1");
  dir_.write("later.ibs", later);
  const struct {
    Expected run;
    std::vector<const char*> shown;
  } cases[] = {
      {{"report lib --output r.html", 0, "", ""}, {">lib/z.ibs<"}},
      {{"report missing.ibs good.ibs --output r.html", 2, "",
        "tarn: cannot open 'missing.ibs': No such file or directory\n"},
       {">good.ibs<"}},
      {{"report later.ibs --output r.html", 0, "",
        "tarn: 'later.ibs' declares IBIS version 4.1; this reader takes versions 1.1 to 3.2 "
        "(4.0 to 7.2 with --accept-newer)\n"},
       {">later.ibs<"}},
      {{"report empty --output r.html", 2, "",
        "tarn: 'empty' holds no IBIS source (.ibs, .pkg or .ebd)\n"},
       {}},
  };
  for (const auto& c : cases) {
    std::filesystem::remove(dir_.path() / "r.html");
    expect({c.run});
    const std::string page = tarn::test::file_text(dir_.path() / "r.html");
    EXPECT_EQ(page.empty(), c.shown.empty()) << c.run.args;
    for (const char* shown : c.shown) EXPECT_NE(page.find(shown), std::string::npos) << shown;
    EXPECT_EQ(page.find("hidden.ibs"), std::string::npos) << c.run.args;
  }
}

// Colour only where a person reads: on a terminal (through script(1)), unless NO_COLOR.
TEST_F(Tool, ColourOnATerminalOnly) {
  const std::string red =
      "\033[1;31mERROR\033[0m bad.ibs - Required keyword 'Component' not found.";
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
    // run() puts the tool first: a terminal run follows a harmless one.
    const std::string args = c.args[0] == 's' ? std::string("--version ; ") + c.args : c.args;
    const ToolRun r = run(args);
    EXPECT_EQ(r.out.find(red) != std::string::npos, c.colored) << c.args << r.out;
    EXPECT_EQ(r.out.find(yellow) != std::string::npos, c.colored) << c.args;
    EXPECT_NE(r.out.find("Required keyword 'Component' not found."), std::string::npos) << c.args;
  }
}

TEST_F(Tool, CompileAndDocWriteOnlyWhatPassed) {
  const char* unmodelled = "Unable to find model information.";
  const std::vector<Expected> cases = {
      {"compile part.ibs --component part --output part.cbs", 0, passed("part.ibs"), ""},
      {"compile good.ibs --output o.cbs", 1, failed("good.ibs", unmodelled), ""},
      {"compile bad.ibs --output o.cbs", 1,
       failed("bad.ibs", "Required keyword 'Component' not found."), ""},
      // A missing or unknown component is followed by the names the file has.
      {"compile --component=Nope part.ibs --output=o.cbs", 1,
       failed("part.ibs", "Unable to find component \"Nope\" in ibis file"),
       "tarn: compile: components of 'part.ibs': Part\n"},
      {"compile two.ibs --output o.cbs", 1, failed("two.ibs", unmodelled),
       "tarn: compile: components of 'two.ibs': Part, Other\n"},
      {"doc part.ibs --output part.txt", 0, passed("part.ibs"), ""},
      {"doc --component=PART --output=upper.txt part.ibs", 0, passed("part.ibs"), ""},
      {"doc part.ibs --component Other --output o.txt", 1,
       failed("part.ibs", "Unable to find component \"Other\" in ibis file"),
       "tarn: doc: components of 'part.ibs': Part\n"},
      // A known component that fails for another reason lists nothing.
      {"doc two.ibs --component Other --output o.txt", 1, failed("two.ibs", unmodelled), ""},
      {"doc bad.ibs --output o.txt", 1,
       failed("bad.ibs", "Required keyword 'Component' not found."), ""},
      // A board passes its check and is not written.
      {"compile board.ebd --output o.cbs", 1, passed("board.ebd"),
       "tarn: compile: 'board.ebd' holds no component: only an .ibs file has one\n"},
      {"doc board.ebd --output o.txt", 1, passed("board.ebd"),
       "tarn: doc: 'board.ebd' holds no component: only an .ibs file has one\n"},
      // The other formats: the reading's and the writer's findings, no banner.
      {"doc part.ibs --output gcc.txt --format gcc", 0, "", ""},
      {"doc bad.ibs --output o.txt --format=gcc", 1,
       "bad.ibs: error: Required keyword 'Component' not found.\n", ""},
      {"compile part.ibs --component Nope --output o.cbs --format gcc", 1,
       "part.ibs: error: Unable to find component \"Nope\" in ibis file\n",
       "tarn: compile: components of 'part.ibs': Part\n"},
  };
  expect(cases);
  EXPECT_FALSE(exists("o.cbs"));
  EXPECT_FALSE(exists("o.txt"));
  const std::string head = "File_Rev 3 0\nSrc_Name \"part.ibs\"\nComponent \"Part\"\n";
  EXPECT_EQ(tarn::test::file_text(dir_.path() / "part.cbs").substr(0, head.size()), head);
  for (const char* name : {"part.txt", "upper.txt", "gcc.txt"}) {
    const std::string listing = tarn::test::file_text(dir_.path() / name);
    EXPECT_TRUE(listing.starts_with("| =====")) << name << listing;
    EXPECT_NE(listing.find("\n[Component]     Part\n"), std::string::npos) << name;
    EXPECT_NE(listing.find("\n[Model]        buf\n"), std::string::npos) << name;
    EXPECT_TRUE(listing.ends_with("\n[End]\n")) << name;
  }
}

TEST_F(Tool, CompileAndDocInJsonAndSarif) {
  const ToolRun json = run("compile good.ibs --output o.cbs --format json");
  EXPECT_EQ(json.status, 1);
  const nlohmann::json doc = nlohmann::json::parse(json.out);
  ASSERT_EQ(doc["files"].size(), 1u);
  const nlohmann::json& file = doc["files"][0];
  EXPECT_EQ(file["path"], "good.ibs");
  EXPECT_EQ(file["ibis_version"], 3);
  EXPECT_EQ(file["result"], "failed");
  EXPECT_EQ(file["counts"], (nlohmann::json{{"errors", 1}, {"warnings", 0}, {"bugs", 0}}));
  EXPECT_EQ(file["findings"][0]["message"], "Unable to find model information.");

  const ToolRun sarif = run("doc warned.ibs --output w.txt --format sarif");
  EXPECT_EQ(sarif.status, 0);
  EXPECT_TRUE(exists("w.txt"));
  const nlohmann::json log = nlohmann::json::parse(sarif.out);
  const nlohmann::json& results = log["runs"][0]["results"];
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[0]["level"], "warning");
  EXPECT_EQ(results[1]["message"]["text"], "Model 'n': Model_type 'Input' must have Vinh set");
}

// A 5.1 source (refused by default, as check of a 4.1 one shows): with --accept-newer its
// [Algorithmic Model] is read past and its component is checked, compiled, documented and
// plotted; a plot without it says why the file was not read.
TEST_F(Tool, LaterVersionsOnRequest) {
  std::string later = kCompilable;
  later.replace(later.find("3.2"), 3, "5.1");
  later.insert(later.find("[End]"), "[Algorithmic Model]\nExecutable linux tx.so tx.ami\n"
                                     "[End Algorithmic Model]\n");
  dir_.write("part.ibs", later);
  const std::string read_past = banner("part.ibs") +
                                "WARNING part.ibs (line   18) - [Algorithmic Model] (IBIS 5.0) not "
                                "checked by this reader\n"
                                "File part.ibs  Errors: 0  Warnings: 1  Compile Passed\n\n";
  expect({
      {"check --accept-newer part.ibs", 0, read_past, ""},
      {"compile part.ibs --output part.cbs --accept-newer", 0, read_past, ""},
      {"doc --accept-newer part.ibs --output part.txt", 0, read_past, ""},
      {"plot part.ibs --output plots", 1, "",
       "tarn: cannot read part.ibs\ntarn: 'part.ibs' declares IBIS version 5.1; this reader "
       "takes versions 1.1 to 3.2 (4.0 to 7.2 with --accept-newer)\n"},
      {"plot --accept-newer part.ibs --output plots", 0, "", ""},
  });
  EXPECT_TRUE(exists("part.cbs"));
  EXPECT_TRUE(exists("part.txt"));
}

TEST_F(Tool, IndexThenLibCompilesOnceAndShowsThePins) {
  std::filesystem::create_directory(dir_.path() / "src");
  dir_.write("src/part.ibs", kCompilable);
  dir_.write("src/later.ibs", "[IBIS Ver] 4.0\n[Component] Later\n[End]\n");
  dir_.write("src/bad.ibs", "[IBIS Ver] 3.2\n[File Name] bad.ibs\n[Component] Bad\n[End]\n");
  const ToolRun index = run("index src");
  EXPECT_EQ(index.status, 1) << "a source could not be read";
  EXPECT_EQ(index.err, "tarn: index: 'later.ibs' could not be read (no component found)\n");
  EXPECT_TRUE(index.out.ends_with("src/ibisindex.ibx: 2 components\n")) << index.out;

  const char* ask = "lib --cache cache --index src/ibisindex.ibx Part";
  const ToolRun first = run(ask);
  EXPECT_EQ(first.status, 0) << first.out << first.err;
  EXPECT_NE(first.out.find("status: 7 compiled information current\n"
                           "compiled file: cache/ib000000.cbs\n"
                           "compiled: now (report in cache/tarn_rdr.txt)\n"),
            std::string::npos)
      << first.out;
  EXPECT_NE(first.out.find("\n1      IN           buf            input"), std::string::npos)
      << first.out;
  const ToolRun second = run(ask);
  EXPECT_EQ(second.status, 0);
  EXPECT_NE(second.out.find("compiled: no compile needed\n"), std::string::npos) << second.out;
  EXPECT_EQ(second.out.find("Checking"), std::string::npos) << "the source was not read again";

  const ToolRun unknown = run("lib --cache cache --index src/ibisindex.ibx Nowhere");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_NE(unknown.out.find("status: 1 IBIS source not found\n"), std::string::npos);
  const ToolRun failed = run("lib --cache cache --index src/ibisindex.ibx Bad");
  EXPECT_EQ(failed.status, 1);
  EXPECT_NE(failed.out.find("status: 2 IBIS source has syntax errors\ncompiled file: -\n"
                            "compiled: failed (report in cache/tarn_rdr.txt)\n"),
            std::string::npos)
      << failed.out;
}

// The compiled file keeps only a selector's name, as a pin of no type; lib names the models
// each selector the pins name offers, in the order of the file, whether it compiled just now or
// found the compiled file current.
TEST_F(Tool, LibShowsTheModelsASelectorOffers) {
  std::filesystem::create_directory(dir_.path() / "src");
  dir_.write("src/part.ibs",
             "[IBIS Ver] 3.2\n[File Name] part.ibs\n[Component] Part\n[Manufacturer] Acme\n"
             "[Package]\nR_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
             "[Pin] signal_name model_name\n1 IN sel\n2 VCC POWER\n3 IN2 alt\n"
             "[Model Selector] alt\nfast Fast input\nslow Slow input\n"
             "[Model Selector] idle\nslow Slow input\nfast Fast input\n"
             "[Model Selector] sel\nslow Slow input\nfast Fast input\n"
             "[Model] slow\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp 3p NA NA\n"
             "[Voltage Range] 3.3 NA NA\n"
             "[Model] fast\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp 1p NA NA\n"
             "[Voltage Range] 3.3 NA NA\n[End]\n");
  ASSERT_EQ(run("index src").status, 0);
  for (const char* pass : {"compiling", "compiled file current"}) {
    const ToolRun r = run("lib --cache cache --index src/ibisindex.ibx Part");
    EXPECT_EQ(r.status, 0) << pass << r.err;
    for (const char* line : {"\n1      IN           sel            model selector            -",
                             "\n2      VCC          POWER          no type (pwr, gnd or NC)",
                             "\n3      IN2          alt            model selector            -",
                             "\nmodel selector alt: fast (default), slow\n"
                             "model selector sel: slow (default), fast\n"})
      EXPECT_NE(r.out.find(line), std::string::npos) << pass << r.out;
    EXPECT_EQ(r.out.find("Checking", r.out.find("\npin ")), std::string::npos)
        << pass << ": the look-up is no check the user asked for\n" << r.out;
  }
}

// The page is the help of the tool and of every command, as roff that man reads.
TEST(ManPage, HoldsEveryCommandsHelp) {
  const std::string page = tarn::test::file_text(TARN_MAN_PAGE);
  EXPECT_TRUE(page.starts_with(".TH TARN 1 \"\" \"tarn " TARN_VERSION "\" \"User Commands\"\n"))
      << page.substr(0, 80);
  for (const char* command : {"check", "compile", "doc", "index", "lib", "plot", "report"}) {
    const std::string section = std::string("\n.SS tarn ") + command + "\n.nf\n";
    const size_t at = page.find(section);
    ASSERT_NE(at, std::string::npos) << command;
    const size_t usage = page.find(std::string("\nUsage: tarn ") + command + " [OPTIONS]", at);
    EXPECT_LT(usage, page.find("\n.fi\n", at)) << command;
  }
  EXPECT_NE(page.find("  \\-\\-format text|gcc|json|sarif\n"), std::string::npos);
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(".")) continue;
    const std::string request = line.substr(0, line.find(' '));
    EXPECT_TRUE(request == ".TH" || request == ".SH" || request == ".SS" || request == ".B" ||
                request == ".nf" || request == ".fi")
        << line;
  }
}

}  // namespace
