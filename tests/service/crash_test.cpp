// Sessions of the model library killed while they write: a child process runs one request and
// dies at a chosen byte of its writes (the file size limit raises SIGXFSZ) or at a chosen step of
// replacing a file (SIGKILL from the step hook). The next session must then get the component
// its source describes, either from a compiled file that is whole or by compiling it again.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "service/source_index.h"
#include "tarn/ibis_comp_mdls.h"
#include "test_support.h"
#include "writers/safe_file.h"

namespace tarn::test {
namespace {

namespace fs = std::filesystem;

class CrashLibrary : public CIbisCompMdls {
 public:
  using CIbisCompMdls::AddSrcIndex;
  void MessageBox(const char*, eMessageIcon) override {}
};

// Two versions of one source: the second renames a signal and changes a model's values, so a
// session that wrongly keeps the first one's compiled file shows it.
std::string part_source(const char* signal, const char* c_comp) {
  std::string text = R"([IBIS Ver] 3.2
[File Name] part.ibs
[Component] Part
[Manufacturer] Acme
[Package]
R_pkg 0.1 0.08 0.12
L_pkg 1n 0.8n 1.2n
C_pkg 1p 0.8p 1.2p
[Pin] signal_name model_name R_pin L_pin C_pin
1 )";
  text += signal;
  text += R"( io 0.2 2n 0.5p
2 DQ1 io 0.2 2n 0.5p
3 CLK in 0.3 3n 0.6p
4 VCC POWER
5 GND GND
[Model] io
Model_type I/O
Vinl = 0.8
Vinh = 2.0
C_comp )";
  text += c_comp;
  text += R"(
[Voltage Range] 3.3 3.0 3.6
[Pullup]
-3.3 0.10 0.08 0.12
0.0 0.00 0.00 0.00
3.3 -0.10 -0.08 -0.12
[Pulldown]
-3.3 -0.10 -0.08 -0.12
0.0 0.00 0.00 0.00
3.3 0.10 0.08 0.12
[Ramp]
dV/dt_r 2.0/1n 1.8/1.2n 2.2/0.8n
dV/dt_f 2.0/1n 1.8/1.2n 2.2/0.8n
R_load = 50
[Model] in
Model_type Input
Vinl = 0.8
Vinh = 2.0
C_comp 2p 1.8p 2.2p
[Voltage Range] 3.3 3.0 3.6
[GND Clamp]
-3.3 -0.10 -0.08 -0.12
0.0 0.00 0.00 0.00
[End]
)";
  return text;
}

// Everything a caller can ask of the component, as text.
std::string describe(const CIbisCompInfo& info) {
  std::ostringstream out;
  out << "status " << info.GetStatus() << " pins " << info.GetPinCount() << '\n';
  for (int pin = 0; pin < info.GetPinCount(); ++pin) {
    for (const eIbisParam id : {eIbisPinName, eIbisSignalName, eIbisModelName}) {
      const char* text = nullptr;
      if (info.GetModelParam(id, &text, pin)) out << text << ' ';
    }
    for (const eIbisParam id : {eIbisRPin, eIbisVoltRange, eIbisEdgeRate, eIbisVinhPlus}) {
      double value = 0.0;
      if (info.GetModelParam(id, &value, pin, eMax)) out << value << ' ';
    }
    out << '\n';
  }
  for (const char* model : {"io", "in"}) {
    for (const eTypMinMax corner : {eTyp, eMin, eMax}) info.ListSimModel(out, model, corner);
  }
  return out.str();
}

// A source folder with its index; each trial works on its own copy of a cache folder.
struct Bench {
  TempDir dir;
  fs::path src = dir.path() / "src";
  std::string index;

  Bench() {
    fs::create_directories(src);
    write_source("DQ0", "1p 0.9p 1.1p", -60);
    index = quietly([&] { return LIB_IndexFolder(src.string()); }).index_path;
  }
  // The source, dated `age` seconds from now.
  void write_source(const char* signal, const char* c_comp, int age) const {
    std::ofstream(src / "part.ibs") << part_source(signal, c_comp);
    fs::last_write_time(src / "part.ibs",
                        fs::file_time_type::clock::now() + std::chrono::seconds(age));
  }
  // One session: a request for the component and the store saved. `result` gets what a
  // compile gave. Without `source` the session knows only the compiled files.
  std::string session(const fs::path& cache, eRdIbisResult* result = nullptr,
                      bool source = true) const {
    CrashLibrary lib;
    if (source) lib.AddSrcIndex(index.c_str(), "src");
    lib.Init(cache.string().c_str());
    const CIbisCompInfo* info = quietly([&] { return lib.GetIbisCompInfo("Part", result, 0); });
    const std::string text = info ? describe(*info) : "none";
    lib.Fini(1);
    return text;
  }
};

// How a child session ended.
enum class End { kExited, kKilled, kOther };

// Runs a session in a child process after `prepare` (a file size limit, a step hook); the
// child's standard output is dropped.
template <class Prepare>
End child_session(const Bench& bench, const fs::path& cache, Prepare prepare) {
  std::fflush(stdout);
  const pid_t pid = fork_settled();
  if (pid == 0) {
    std::freopen("/dev/null", "w", stdout);
    prepare();
    CrashLibrary lib;
    lib.AddSrcIndex(bench.index.c_str(), "src");
    lib.Init(cache.string().c_str());
    lib.GetIbisCompInfo("Part", nullptr, 0);
    lib.Fini(1);
    _exit(0);
  }
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid) return End::kOther;
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return End::kExited;
  if (WIFSIGNALED(status) && (WTERMSIG(status) == SIGXFSZ || WTERMSIG(status) == SIGKILL))
    return End::kKilled;
  return End::kOther;
}

// A fresh copy of `from` (none: an empty folder) for one trial.
fs::path trial_cache(const TempDir& dir, const fs::path& from, int trial) {
  const fs::path cache = dir.path() / ("trial" + std::to_string(trial));
  fs::create_directories(cache);
  if (from.empty()) return cache;
  fs::copy(from, cache, fs::copy_options::recursive);
  for (const auto& entry : fs::directory_iterator(cache))  // compiled well before the edit
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::minutes(2));
  return cache;
}

// Kills child sessions on fresh copies of an empty cache and of the first compile's cache,
// after the source was edited; each next session must give the edited source's component.
struct Trials {
  Bench bench;
  fs::path first = bench.dir.path() / "first";
  std::string old_component = bench.session(first);
  std::string expected;
  int trial = 0;
  int kills = 0;
  int wrong = 0;

  Trials() {
    bench.write_source("DQ0_EDITED", "3p 2.9p 3.1p", -30);
    expected = bench.session(bench.dir.path() / "reference");
  }
  // One trial from `from` (empty: an empty cache); false when the child was not killed.
  template <class Prepare>
  bool run(const fs::path& from, Prepare prepare, const std::string& what) {
    const fs::path cache = trial_cache(bench.dir, from, ++trial);
    const End end = child_session(bench, cache, prepare);
    EXPECT_NE(end, End::kOther) << what;
    if (end != End::kKilled) return false;
    ++kills;
    const std::string got = bench.session(cache);
    wrong += got != expected;
    EXPECT_EQ(got, expected) << what << (from.empty() ? "" : " of a recompile");
    fs::remove_all(cache);
    return true;
  }
};

// Kills at every `stride`-th byte that a session writes, the first compile (an empty cache) and
// the compile of an edited source over its older compiled file.
TEST(Crash, KilledAtAnyByteOfItsWritesTheNextSessionGetsTheSourcesComponent) {
  Trials t;
  ASSERT_NE(t.expected, t.old_component);
  ASSERT_NE(t.expected.find("DQ0_EDITED"), std::string::npos) << t.expected;
  uintmax_t written = 0;
  for (const auto& entry : fs::directory_iterator(t.bench.dir.path() / "reference"))
    written += entry.file_size();
  constexpr uintmax_t kStride = 7;
  for (const fs::path& from : {fs::path(), t.first}) {
    for (uintmax_t limit = 0; limit <= written; limit += kStride) {
      t.run(from, [limit] {
        const rlimit size{static_cast<rlim_t>(limit), static_cast<rlim_t>(limit)};
        setrlimit(RLIMIT_FSIZE, &size);
      }, "killed at byte " + std::to_string(limit));
    }
  }
  EXPECT_GT(t.kills, 100);
  std::printf("[ kills ] %d sessions killed while writing, %d components wrong after\n", t.kills,
              t.wrong);
}

// The step hook of the killed child: SIGKILL at one step of replacing one file.
SafeFileStep g_kill_step = SafeFileStep::kCreated;
std::string g_kill_file;
int kill_at_step(SafeFileStep step, const char* target) {
  if (step == g_kill_step && fs::path(target).filename().string().ends_with(g_kill_file))
    raise(SIGKILL);
  return 0;
}

// Kills at each step of replacing the compiled file and the store, in both kinds of session.
TEST(Crash, KilledAtEachStepOfReplacingTheCompiledFileOrTheStore) {
  Trials t;
  for (const fs::path& from : {fs::path(), t.first}) {
    for (const char* file : {".cbs", "compibis.ibx"}) {
      for (const SafeFileStep step : {SafeFileStep::kCreated, SafeFileStep::kWritten,
                                      SafeFileStep::kSynced, SafeFileStep::kRenamed}) {
        const std::string what = std::string(file) + " step " + std::to_string(int(step));
        EXPECT_TRUE(t.run(from, [step, file] {
          g_kill_step = step;
          g_kill_file = file;
          SFL_SetStepHook(kill_at_step);
        }, what)) << what;
      }
    }
  }
  std::printf("[ kills ] %d sessions killed at a step, %d components wrong after\n", t.kills,
              t.wrong);
}

// A compiled file cut short at any byte is refused, never read as a smaller component: without
// its source it is unreadable (status 3), with it it is compiled again.
TEST(Crash, ACompiledFileCutAtAnyByteIsRefusedAndCompiledAgain) {
  Bench bench;
  const fs::path cache = bench.dir.path() / "cache";
  const std::string expected = bench.session(cache);
  const fs::path file = cache / "ib000000.cbs";
  std::string whole;
  {
    std::ifstream in(file, std::ios::binary);
    whole.assign(std::istreambuf_iterator<char>(in), {});
  }
  ASSERT_GT(whole.size(), 1000u);
  for (size_t cut = 0; cut < whole.size(); ++cut) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << whole.substr(0, cut);
    ASSERT_EQ(bench.session(cache, nullptr, false), "status 3 pins 0\n") << "cut at byte " << cut;
    if (cut % 50 != 0) continue;
    eRdIbisResult result = eRdIbisNone;
    EXPECT_EQ(bench.session(cache, &result), expected) << "cut at byte " << cut;
    EXPECT_EQ(result, eRdIbisSuccess) << "cut at byte " << cut;
  }
}

}  // namespace
}  // namespace tarn::test
