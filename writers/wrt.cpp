#include "writers/wrt.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

#include "libibis/src/cmn.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "libibis/src/rpt.h"

namespace tarn {

bool WRT_GetSource(const IbisDocument* document, WriterSource* out) {
  TARN_ASSERT(document != nullptr && out != nullptr);
  if (!IBIS_GetHeader(document, &out->header)) {
    RPT_Error("Unable to access header information.");
    return false;
  }
  if (!IBIS_GetList(document->components, &out->components)) {
    RPT_Error("Unable to find component information.");
    return false;
  }
  if (!IBIS_GetList(document->models, &out->models)) {
    RPT_Error("Unable to find model information.");
    return false;
  }
  return true;
}

const Component* WRT_FindComponent(const std::vector<std::unique_ptr<Component>>& components,
                                   const char* name) {
  if (name) {
    for (const std::unique_ptr<Component>& component : components) {
      std::string_view candidate;
      if (CMPNT_GetName(component.get(), &candidate) && CMN_EqualNoCase(candidate, name))
        return component.get();
    }
    return nullptr;
  }
  std::string_view only;
  if (components.size() == 1 && CMPNT_GetName(components.front().get(), &only))
    return components.front().get();
  return nullptr;
}

const Component* WRT_ChooseComponent(const std::vector<std::unique_ptr<Component>>& components,
                                     const char* name) {
  if (const Component* found = WRT_FindComponent(components, name)) return found;
  if (name)
    RPT_Error("Unable to find component \"%s\" in ibis file", name);
  else
    RPT_Error("No Component Name supplied and IBIS file contains multiple entries");
  return nullptr;
}

void WRT_ReportUnopened(const char* path) { RPT_Error("Unable to open file \"%s\"", path); }

bool WRT_CheckSource(const char* source, std::FILE* report, const PassedDocumentUse& write,
                     ModelObserver* observer) {
  if (!source || !*source) return false;
  // The reporter counts nothing without a stream, and the count decides whether to write.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> discard(nullptr, std::fclose);
  if (!report) {
    discard.reset(std::fopen("/dev/null", "w"));
    if (!discard) return false;
    report = discard.get();
  }
  return SRC_CheckOne(source, report, write, observer);
}

void WRT_ReportUnwritten(const char* path, int error) {
  RPT_Error("Unable to write file \"%s\": %s", path, std::strerror(error));
}

namespace {

constexpr int kSixDigits = 6;
constexpr uint32_t kLowestSix = 100000;
constexpr uint32_t kSixLimit = 1000000;

// Two digit characters at a time, from a table.
constexpr auto kPairs = [] {
  std::array<uint16_t, 100> pairs{};
  for (uint16_t i = 0; i < 100; ++i)
    pairs[i] = static_cast<uint16_t>(('0' + i / 10) | ('0' + i % 10) << 8);
  return pairs;
}();
constexpr uint64_t kAllZeros = 0x3030303030303030;  // '0' in every byte
// Characters travel in integers, the first in the lowest byte, and are stored as they lie.
static_assert(std::endian::native == std::endian::little);

// The six digits of a value below a million, leading zeros kept, then two '0'.
uint64_t six_text(uint32_t value) {
  const uint32_t rest = value % 10000;
  return kPairs[value / 10000] | uint64_t{kPairs[rest / 100]} << 16 |
         uint64_t{kPairs[rest % 100]} << 32 | (kAllZeros & 0xffff000000000000);
}

// Six digits as characters, and how many count once trailing zeros go.
SixDigits six_of(uint32_t value, int exponent) {
  SixDigits six;
  six.text = six_text(value);
  six.exponent = exponent;
  // The last digit that is not '0' is the highest non-zero byte of the digits less '0'.
  const uint64_t values = six.text ^ kAllZeros;  // never zero: the first digit is not
  six.count = static_cast<unsigned>(63 - std::countl_zero(values)) / 8 + 1;
  return six;
}

// The slow road, for subnormals and scales beyond exact powers of ten: the library's exact
// conversion, its "d.ddddde±x" read back.
[[gnu::noinline]] SixDigits exact_six(double magnitude) {
  char buffer[40];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, magnitude,
                                    std::chars_format::scientific, kSixDigits - 1);
  uint32_t value = 0;
  const char* p = buffer;
  for (; p != result.ptr && *p != 'e'; ++p)
    if (*p != '.') value = value * 10 + static_cast<uint32_t>(*p - '0');
  int exponent = 0;
  if (p != result.ptr) {
    ++p;
    if (*p == '+') ++p;
    std::from_chars(p, result.ptr, exponent);
  }
  return six_of(value, exponent);
}

constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                              1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                              1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kLargestPower = 22;

// Whether a product (or quotient) that was rounded to exactly `whole` and a half rounds up: by
// the sign of that rounding's error, known exactly through fma, and to even on a true tie.
// Rare, so out of the way.
[[gnu::noinline]] bool half_goes_up(double magnitude, double power, bool dividing, int64_t whole) {
  const double scaled = static_cast<double>(whole) + 0.5;
  const double error =
      dividing ? std::fma(-scaled, power, magnitude) : std::fma(magnitude, power, -scaled);
  return error > 0 || (error == 0 && (whole & 1) != 0);
}

// The exact value of `magnitude` times `power` (over it when `dividing`), a power of ten a
// double holds exactly, rounded to an integer half to even as printf rounds; it must be below
// 2^53. The product is rounded once; only an exact half in it needs a closer look.
uint64_t rounded_scaled(double magnitude, double power, bool dividing) {
  const double scaled = dividing ? magnitude / power : magnitude * power;
  const auto whole = static_cast<int64_t>(scaled);  // the floor; signed converts faster
  const double fraction = scaled - static_cast<double>(whole);
  const bool up =
      fraction != 0.5 ? fraction > 0.5 : half_goes_up(magnitude, power, dividing, whole);
  return static_cast<uint64_t>(whole) + (up ? 1 : 0);
}

// Scaled by an exact power of ten into an integer of six digits, so rounded once.
// False when the scale is out of reach of exact powers; the caller then takes the slow road.
bool scaled_six(double magnitude, SixDigits* out) {
  // floor(log10(2^b)) is the exponent or one less.
  uint64_t bits;
  std::memcpy(&bits, &magnitude, sizeof bits);
  const int binary_exponent = static_cast<int>((bits >> 52) & 0x7ff) - 1023;  // normal only
  int exponent = (binary_exponent * 78913) >> 18;
  for (int attempt = 0; attempt < 2; ++attempt, ++exponent) {
    const int scale = kSixDigits - 1 - exponent;
    if (scale > kLargestPower || -scale > kLargestPower) return false;
    // Below 1e7, the estimate being at most one low.
    const uint64_t rounded =
        rounded_scaled(magnitude, kPowers[scale >= 0 ? scale : -scale], scale < 0);
    // A million is the carry into the next power of ten, whichever side of it the value lay.
    if (rounded > kSixLimit) continue;
    if (rounded < kLowestSix) return false;
    const bool carried = rounded == kSixLimit;
    *out =
        six_of(carried ? kLowestSix : static_cast<uint32_t>(rounded), exponent + (carried ? 1 : 0));
    return true;
  }
  return false;
}

char* put_pair(char* out, uint32_t pair) {
  std::memcpy(out, &kPairs[pair], 2);
  return out + 2;
}

inline SixDigits round_six(double magnitude) {
  SixDigits six;
  if (magnitude >= std::numeric_limits<double>::min() && scaled_six(magnitude, &six)) return six;
  return exact_six(magnitude);
}

}  // namespace

SixDigits WRT_RoundSix(double magnitude) { return round_six(magnitude); }

char* WRT_PutGeneral(char* out, double value) {
  if (value == 0.0 || !std::isfinite(value))
    return std::to_chars(out, out + kNumberRoom, value, std::chars_format::general, kSixDigits).ptr;
  const SixDigits six = round_six(std::fabs(value));
  const int x = six.exponent;
  char* p = out;
  *p = '-';
  p += value < 0 ? 1 : 0;
  if (x >= 0 && x < kSixDigits) return WRT_PutPointed(p, six, static_cast<size_t>(x) + 1);
  if (x < 0 && x >= -4) {
    constexpr uint64_t kZeroPoint = (kAllZeros & ~uint64_t{0xff00}) | uint64_t{'.'} << 8;
    p = WRT_PutEight(p, kZeroPoint, static_cast<size_t>(1 - x));  // "0." and -x-1 zeros
    return WRT_PutEight(p, six.text, six.count);
  }
  p = WRT_PutPointed(p, six, 1);
  *p++ = 'e';
  *p++ = x < 0 ? '-' : '+';
  const auto magnitude = static_cast<uint32_t>(x < 0 ? -x : x);
  if (magnitude >= 100) *p++ = static_cast<char>('0' + magnitude / 100);
  return put_pair(p, magnitude % 100);
}

void WRT_AppendFixed(std::string* out, double value) {
  char text[kNumberRoom];
  size_t length = 0;
  if (RPT_FixedText(value, kSixDigits, text, &length)) {
    out->append(text, length);
    return;
  }
  char buffer[400];  // the longest "%f" of a finite double
  const auto result =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, kSixDigits);
  out->append(buffer, result.ptr);
}

void WRT_AppendGeneral(std::string* out, double value) {
  char text[kNumberRoom];
  out->append(text, WRT_PutGeneral(text, value));
}

}  // namespace tarn
