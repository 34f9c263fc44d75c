// A package model whose counts promise far more than the file holds: the memory a reading
// takes follows the file, not the counts. Every allocation of this program is counted, so it
// is a program of its own.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
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

Use read_counted(const std::string& text, std::string* report) {
  test::TempDir dir;
  dir.write("big.pkg", text);
  test::ScopedCwd cwd(dir.path());
  test::MemStream out;
  ::testing::internal::CaptureStdout();
  const std::size_t baseline = g_live.load();
  start_counting();
  const int read = IBIS_ReadSourceToStream("big.pkg", out.get(), nullptr);
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

}  // namespace
}  // namespace tarn
