// Vendor and generator files: read without a program bug; IBIS 4.x and later refused.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

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

TEST(Corpus, LaterVersionsAreRefused) {
  const std::filesystem::path dir = std::filesystem::path(TARN_TEST_DATA) / "corpus";
  for (const char* name : {"mychip.ibs", "example_tx.ibs"}) {
    EXPECT_EQ(probe_version((dir / name).string()), 0) << name;
  }
  for (const char* name : {"max232.ibs", "hct1g08.ibs", "buffer_ja.ibs"}) {
    EXPECT_GT(probe_version((dir / name).string()), 0) << name;
  }
}

}  // namespace
}  // namespace tarn
