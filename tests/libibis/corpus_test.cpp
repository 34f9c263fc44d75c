// Vendor and generator files: read without a program bug; IBIS 4.x and later refused, or read
// by the IBIS 3.2 rules when later versions are accepted.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tarn/compile.h"
#include "test_support.h"

namespace tarn {
namespace {

// 1 to 3 for the versions read, 0 for any other.
int probe_version(const std::string& path) {
  return IBIS_DetectVersion(path.c_str(), nullptr, IBIS_KindOf(path.c_str()));
}

TEST(Corpus, EveryFileReadsWithoutProgramBugs) {
  const std::filesystem::path dir = std::filesystem::path(TARN_TEST_DATA) / "corpus";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string path = entry.path().string();
    if (IBIS_KindOf(path.c_str()) == 0) continue;
    ++files;
    const char* list[] = {path.c_str()};
    test::MemStream report;
    ::testing::internal::CaptureStdout();
    IBIS_CheckFilesToStream(list, 1, report.get());
    ::testing::internal::GetCapturedStdout();
    const std::string text = report.text();
    EXPECT_EQ(text.find("PROGRAM BUG"), std::string::npos) << path << "\n" << text;
    const bool refused =
        text.find("Unsupported or Illegal IBIS Version Number") != std::string::npos;
    EXPECT_EQ(refused, probe_version(path) == 0) << path;
  }
  EXPECT_GE(files, 6);
}

// Accepted, a later file reports its own faults only (mychip writes "1980.000mV/nanns" for
// each ramp corner) and every later construct it holds once; its component compiles.
TEST(Corpus, LaterVersionsReadOnRequest) {
  const std::filesystem::path dir = std::filesystem::path(TARN_TEST_DATA) / "corpus";
  const struct {
    const char* name;
    const char* component;
    uint32_t errors;
    std::vector<std::string> read_past;
  } cases[] = {
      {"example_tx.ibs", "Example_Tx", 0, {"[Algorithmic Model] (IBIS 5.0)"}},
      {"io_buf_t2b_7_1.ibs", "CMOS_Buffer", 0,
       {"C_comp_pullup (IBIS 4.0)", "C_comp_pulldown (IBIS 4.0)", "[C Comp Corner] (IBIS 5.1)",
        "[Initial Delay] (IBIS 6.1)", "[Composite Current] (IBIS 5.0)"}},
      {"mychip.ibs", "MyChip", 6, {}},
  };
  IBIS_SetAcceptNewer(1);
  test::TempDir out;
  for (const auto& c : cases) {
    const std::string path = (dir / c.name).string();
    const std::string compiled = (out.path() / "c.cbs").string();
    test::MemStream report;
    ::testing::internal::CaptureStdout();
    const int written = IBIS_CompileSourceToStream(path.c_str(), c.component, compiled.c_str(),
                                                   report.get());
    ::testing::internal::GetCapturedStdout();
    const std::string text = report.text();
    uint32_t errors = 0, warnings = 0, bugs = 0;
    IBIS_GetCounts(&errors, &warnings, &bugs);
    EXPECT_EQ(bugs, 0u) << c.name;
    EXPECT_EQ(errors, c.errors) << c.name << "\n" << text;
    EXPECT_EQ(written, c.errors == 0 ? 1 : 0) << c.name;
    for (const std::string& construct : c.read_past) {
      const std::string warning = construct + " not checked by this reader";
      const size_t at = text.find(warning);
      EXPECT_NE(at, std::string::npos) << c.name << ": " << construct;
      EXPECT_EQ(text.find(warning, at + 1), std::string::npos) << c.name << ": " << construct;
    }
  }
  IBIS_SetAcceptNewer(0);
}

}  // namespace
}  // namespace tarn
