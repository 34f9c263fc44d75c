// One model library shared by threads: readers ask for a component and read its pins while a
// writer keeps editing the source, so the component is compiled and filled again under them.
// Under ThreadSanitizer this shows races; in any build it shows answers that change after they
// were handed out.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "service/source_index.h"
#include "tarn/ibis_comp_mdls.h"
#include "test_support.h"

namespace tarn::test {
namespace {

namespace fs = std::filesystem;

class SharedLibrary : public CIbisCompMdls {
 public:
  using CIbisCompMdls::AddSrcIndex;
  void DisplayCompileStatus(eRdIbisResult) override { ++compiles; }
  std::atomic<int> compiles{0};
};

// The signal name of pin 1 tells the two versions of the source apart; the supply lists are the
// same in both.
std::string source(const char* signal) {
  return std::string(R"([IBIS Ver] 3.2
[File Name] pm.ibs
[Component] Pm
[Manufacturer] Acme
[Package]
R_pkg 0.1 NA NA
L_pkg 1n NA NA
C_pkg 1p NA NA
[Pin] signal_name model_name
1 )") + signal +
         R"( in
2 VCC POWER
3 GND GND
4 VCC2 POWER
[Pin Mapping] pulldown_ref pullup_ref gnd_clamp_ref power_clamp_ref
1 GNDBUS VCCBUS GNDBUS VCCBUS
2 NC VCCBUS
3 GNDBUS NC
4 NC VCCBUS
[Model] in
Model_type Input
Vinl = 0.8
Vinh = 2.0
C_comp 1p NA NA
[Voltage Range] 3.3 3.0 3.6
[End]
)";
}

// What a reader found wrong.
struct Findings {
  std::atomic<int> wrong{0};
  std::atomic<int> reads{0};
};

// Asks for the component and reads pin 1's lists and signal; every text must still read as it
// did when it was handed out, after the other calls.
void reader(SharedLibrary* lib, const std::atomic<bool>* stop, Findings* findings) {
  while (!stop->load()) {
    const CIbisCompInfo* info = lib->GetIbisCompInfo("PM", nullptr, 0);
    const char* pull_up = nullptr;
    const char* pull_down = nullptr;
    const char* clamp = nullptr;
    const char* signal = nullptr;
    if (!info->GetModelParam(eIbisPullUpPins, &pull_up, 0) ||
        !info->GetModelParam(eIbisSignalName, &signal, 0) ||
        !info->GetModelParam(eIbisPullDownPins, &pull_down, 0) ||
        !info->GetModelParam(eIbisPowerClampPins, &clamp, 0)) {
      ++findings->wrong;
      continue;
    }
    const std::string signal_then = signal;
    (void)lib->GetIbisCompInfo("pm", nullptr, 0);
    const bool right = std::strcmp(pull_up, "2 4") == 0 && std::strcmp(pull_down, "3") == 0 &&
                       std::strcmp(clamp, "2 4") == 0 && signal_then == signal &&
                       (signal_then == "DQ" || signal_then == "DQX");
    if (!right) ++findings->wrong;
    ++findings->reads;
  }
}

TEST(Threads, ReadersKeepTheirAnswersWhileTheComponentIsCompiledAgain) {
  TempDir dir;
  const fs::path src = dir.path() / "src";
  fs::create_directories(src);
  std::ofstream(src / "pm.ibs") << source("DQ");
  const std::string index = quietly([&] { return LIB_IndexFolder(src.string()); }).index_path;
  ::testing::internal::CaptureStdout();  // the reader's banner, from every thread
  SharedLibrary lib;
  lib.AddSrcIndex(index.c_str(), "src");
  lib.Init((dir.path() / "cache").string().c_str());

  std::atomic<bool> stop{false};
  Findings findings;
  std::vector<std::thread> readers;
  for (int i = 0; i < 8; ++i) readers.emplace_back(reader, &lib, &stop, &findings);
  // Each edit dates the source later, so the next request compiles it again; the next edit
  // waits for that compile.
  constexpr int kEdits = 20;
  for (int edit = 1; edit <= kEdits; ++edit) {
    const int compiled = lib.compiles.load();
    // Written aside and renamed, so no compile reads half a source.
    std::ofstream(src / "pm.new") << source(edit % 2 ? "DQX" : "DQ");
    fs::last_write_time(src / "pm.new",
                        fs::file_time_type::clock::now() + std::chrono::seconds(edit));
    fs::rename(src / "pm.new", src / "pm.ibs");
    if (edit % 5 == 0) lib.SetSearchPaths(0);
    for (int wait = 0; wait < 1000 && lib.compiles.load() == compiled; ++wait)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  stop = true;
  for (std::thread& thread : readers) thread.join();
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(findings.wrong.load(), 0) << "of " << findings.reads.load() << " reads";
  EXPECT_GT(findings.reads.load(), 0);
  EXPECT_GE(lib.compiles.load(), kEdits) << "compiled again while being read";
}

}  // namespace
}  // namespace tarn::test
