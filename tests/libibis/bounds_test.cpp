// Hostile sources: counts that promise far more than the file holds, a huge line, a million
// keywords, a hundred thousand tables of one kind. The memory a reading takes follows the
// file, not the counts, and every one ends with its findings. Every allocation of this program
// is counted, so it is a program of its own.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

// Each block carries its size in front of it, so that freeing it can be counted.
constexpr std::size_t kHeader = alignof(std::max_align_t);
// While counting, a request this large is refused instead of tried: a count taken for a size
// fails the test, not the machine.
constexpr std::size_t kRefused = std::size_t{1} << 30;

std::atomic<bool> g_counting{false};
std::atomic<std::size_t> g_live{0};
std::atomic<std::size_t> g_peak{0};
std::atomic<std::size_t> g_largest{0};

void raise_to(std::atomic<std::size_t>& mark, std::size_t value) {
  std::size_t seen = mark.load();
  while (value > seen && !mark.compare_exchange_weak(seen, value)) {}
}

void* counted_new(std::size_t n) {
  if (g_counting.load()) {
    raise_to(g_largest, n);
    if (n >= kRefused) return nullptr;
  }
  void* block = std::malloc(n + kHeader);
  if (!block) return nullptr;
  *static_cast<std::size_t*>(block) = n;
  const std::size_t live = g_live.fetch_add(n) + n;
  if (g_counting.load()) raise_to(g_peak, live);
  return static_cast<char*>(block) + kHeader;
}

void counted_delete(void* p) noexcept {
  if (!p) return;
  char* block = static_cast<char*>(p) - kHeader;
  g_live.fetch_sub(*reinterpret_cast<std::size_t*>(block));
  std::free(block);
}

// Counts from here on; the peak is measured from what is live now.
void start_counting() {
  g_largest = 0;
  g_peak = g_live.load();
  g_counting = true;
}

struct Use {
  std::size_t largest_request;
  std::size_t peak_growth;
};

Use stop_counting(std::size_t baseline) {
  g_counting = false;
  return Use{g_largest.load(), g_peak.load() - baseline};
}

}  // namespace

void* operator new(std::size_t n) {
  void* p = counted_new(n);
  if (!p) throw std::bad_alloc();
  return p;
}
void* operator new[](std::size_t n) { return operator new(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return counted_new(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return counted_new(n); }
void operator delete(void* p) noexcept { counted_delete(p); }
void operator delete[](void* p) noexcept { counted_delete(p); }
void operator delete(void* p, std::size_t) noexcept { counted_delete(p); }
void operator delete[](void* p, std::size_t) noexcept { counted_delete(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { counted_delete(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { counted_delete(p); }

namespace tarn {
namespace {

constexpr std::size_t kSmall = std::size_t{8} << 20;

Use read_counted(const std::string& text, std::string* report, const char* name = "big.pkg") {
  test::TempDir dir;
  dir.write(name, text);
  test::ScopedCwd cwd(dir.path());
  test::MemStream out;  // its buffer is malloc's, not counted
  ::testing::internal::CaptureStdout();
  const std::size_t baseline = g_live.load();
  start_counting();
  const int read = IBIS_ReadSourceToStream(name, out.get(), nullptr);
  const Use use = stop_counting(baseline);
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(read, 1);
  *report = out.text();
  return use;
}

TEST(Counting, SeesALargeRequest) {
  const std::size_t baseline = g_live.load();
  start_counting();
  std::vector<double> counts;
  EXPECT_THROW(counts.reserve(std::size_t{4000000000}), std::bad_alloc);
  std::vector<char> block(std::size_t{64} << 20);
  const Use use = stop_counting(baseline);
  EXPECT_GE(use.largest_request, kRefused);
  EXPECT_GE(use.peak_growth, std::size_t{64} << 20);
}

TEST(HostileCounts, PinsRowsAndBandwidthTakeWhatTheFileHolds) {
  std::string report;
  const Use use = read_counted(
      "[IBIS Ver] 3.2\n"
      "[Define Package Model] BIG\n[Manufacturer] M\n[OEM] O\n[Description] D\n"
      "[Number Of Pins] 4000000000\n"
      "[Pin Numbers]\nA1\nA2\nA3\n"
      "[Model Data]\n"
      "[Resistance Matrix] Banded_matrix\n[Bandwidth] 4000000000\n[Row] A1\n1 2\n"
      "[Inductance Matrix] Sparse_matrix\n[Row] A1\nA1 1n\nA3 0.1n\n"
      "[Capacitance Matrix] Full_matrix\n[Row] A1\n1p 0.1p 0.1p\n"
      "[End Model Data]\n[End Package Model]\n[End]\n",
      &report);
  EXPECT_LT(use.largest_request, std::size_t{1} << 20);
  EXPECT_LT(use.peak_growth, kSmall);
  EXPECT_EQ(
      report,
      "ERROR big.pkg (line   13) -\n"
      "    Bandwidth <4000000000> must be less than Number_of_Pins <4000000000>.\n"
      "ERROR big.pkg (line   16) -\n"
      "    Expected 4000000000 Rows, found 1 for Matrix ending previous to this line.\n"
      "ERROR big.pkg (line   16) - Expected 4000000000 columns of Row data for [Row] A1 in "
      "Matrix ending previous to this line, found 2 columns.\n"
      "ERROR big.pkg (line   20) -\n"
      "    Expected 4000000000 Rows, found 1 for Matrix ending previous to this line.\n"
      "ERROR big.pkg (line   23) -\n"
      "    Expected 4000000000 Rows, found 1 for Matrix ending previous to this line.\n"
      "ERROR big.pkg (line   23) - Expected 4000000000 columns of Row data for [Row] A1 in "
      "Matrix ending previous to this line, found 3 columns.\n"
      "ERROR big.pkg - Number of Pins <4000000000> not the same as count of Pin Numbers names "
      "found <3>.\n");
}

TEST(HostileCounts, SectionsTakeWhatTheFileHolds) {
  std::string report;
  const Use use = read_counted(
      "[IBIS Ver] 3.2\n"
      "[Define Package Model] BIG\n[Manufacturer] M\n[OEM] O\n[Description] D\n"
      "[Number Of Sections] 4000000000\n[Number Of Pins] 4000000000\n"
      "[Pin Numbers]\nA1 Len=0 L=1n /\nFork\nLen=0 L=1n /\nEndfork\nA2 Len=0 L=1n /\n"
      "[End Package Model]\n[End]\n",
      &report);
  EXPECT_LT(use.largest_request, std::size_t{1} << 20);
  EXPECT_LT(use.peak_growth, kSmall);
  EXPECT_EQ(
      report,
      "ERROR big.pkg - Number of Pins <4000000000> not the same as count of Pin Numbers names "
      "found <2>.\n");
}

constexpr const char* kComponent =
    "[IBIS Ver] 3.2\n[File Name] big.ibs\n[Component] C\n[Manufacturer] M\n[Package]\n"
    "R_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 A m\n";

// How many lines of the report hold `text`.
std::size_t lines_with(const std::string& report, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = report.find(text); at != std::string::npos; at = report.find(text, at + 1))
    ++count;
  return count;
}

TEST(HostileSizes, ALineOfTenMegabytesIsOneErrorAndNoCopy) {
  const std::string text = std::string("[IBIS Ver] 3.2\n[File Name] big.ibs\n[Notes] ") +
                           std::string(10'000'000, 'x') + "\n[End]\n";
  std::string report;
  const Use use = read_counted(text, &report, "big.ibs");
  EXPECT_LT(use.peak_growth, kSmall);
  const std::string first = "ERROR big.ibs (line    3) - Exceeds 1022 chararacters.\n";
  EXPECT_EQ(report.substr(0, first.size()), first);
  EXPECT_EQ(lines_with(report, "Exceeds"), 1u);
}

TEST(HostileSizes, ABoardPromisingFourBillionPins) {
  std::string report;
  const Use use = read_counted(
      "[IBIS Ver] 3.2\n[File Name] big.ebd\n[Begin Board Description] B\n[Manufacturer] M\n"
      "[Number Of Pins] 4000000000\n[Pin List] signal_name\nA1 S1\n"
      "[Path Description] P1\nPin A1\nLen=0 L=1n /\nNode U1.1\n"
      "[Reference Designator Map]\nU1 part.ibs P\n[End Board Description]\n[End]\n",
      &report, "big.ebd");
  EXPECT_LT(use.largest_request, std::size_t{1} << 20);
  EXPECT_LT(use.peak_growth, kSmall);
  EXPECT_EQ(report,
            "ERROR big.ebd - Number of Pins <4000000000> not the same as count of Pin Numbers "
            "names found <1>.\n"
            "ERROR big.ebd - Unable to read file 'part.ibs' for Reference Designator 'U1'\n");
}

// A keyword repeated many times: each repeat past the allowed ones is reported, and the
// memory follows the file. The waveforms past the hundredth are reported and still kept, as
// the design has it: what they cost stays within a small multiple of what they take.
TEST(HostileSizes, RepeatedKeywordsCostInProportion) {
  const struct {
    const char* model;
    const char* repeated;
    std::size_t times;
    const char* finding;
    std::size_t findings;
    std::size_t limit;  // of the peak growth, 0 for a few megabytes
  } cases[] = {
      {"Model_type Input\nVinl = 0.8\nVinh = 2\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n",
       "[Copyright] x\n", 1'000'000, " - Duplicate Copyright keyword.\n", 999'999, 0},
      {"Model_type Output\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n",
       "[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n0 0 0 0\n1n 1 1 1\n", 100'000,
       " - More than 100 Rising Waveforms are defined\n", 99'900, 10},
      {"Model_type Input\nVinl = 0.8\nVinh = 2\nC_comp 1p NA NA\n",
       "[Model Spec]\nVinh 2 NA NA\n", 100'000,
       " - Model Specification: Already Defined for this model\n", 99'999, 0},
  };
  for (const auto& c : cases) {
    std::string text = std::string(kComponent) + "[Model] m\n" + c.model;
    text.reserve(text.size() + c.times * std::strlen(c.repeated) + 8);
    for (std::size_t i = 0; i < c.times; ++i) text += c.repeated;
    text += "[End]\n";
    std::string report;
    const Use use = read_counted(text, &report, "big.ibs");
    EXPECT_LT(use.peak_growth, c.limit ? c.limit * text.size() : kSmall) << c.repeated;
    EXPECT_EQ(lines_with(report, c.finding), c.findings) << c.repeated;
  }
}

}  // namespace
}  // namespace tarn
