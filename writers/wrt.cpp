#include "writers/wrt.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cmath>
#include <cstdio>
#include <cstdlib>
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

const Component* WRT_ChooseComponent(const std::vector<std::unique_ptr<Component>>& components,
                                     const char* name) {
  if (name) {
    for (const std::unique_ptr<Component>& component : components) {
      std::string_view candidate;
      if (CMPNT_GetName(component.get(), &candidate) && CMN_EqualNoCase(candidate, name))
        return component.get();
    }
    RPT_Error("Unable to find component \"%s\" in ibis file", name);
    return nullptr;
  }
  std::string_view only;
  if (components.size() == 1 && CMPNT_GetName(components.front().get(), &only))
    return components.front().get();
  RPT_Error("No Component Name supplied and IBIS file contains multiple entries");
  return nullptr;
}

void WRT_ReportUnopened(const char* path) { RPT_Error("Unable to open file \"%s\"", path); }

bool WRT_CheckSource(const char* source, std::FILE* report, const PassedDocumentUse& write) {
  if (!source || !*source) return false;
  // The reporter counts nothing without a stream, and the count decides whether to write.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> discard(nullptr, std::fclose);
  if (!report) {
    discard.reset(std::fopen("/dev/null", "w"));
    if (!discard) return false;
    report = discard.get();
  }
  return SRC_CheckOne(source, report, write);
}

void WRT_ReportUnwritten(const char* path, int error) {
  RPT_Error("Unable to write file \"%s\": %s", path, std::strerror(error));
}

namespace {

constexpr int kGeneralDigits = 6;

// Reads "d.ddde±x" into its digits and exponent.
RoundedDecimal parse_scientific(const char* first, const char* last) {
  RoundedDecimal decimal;
  const char* p = first;
  for (; p != last && *p != 'e'; ++p) {
    if (*p != '.' && decimal.size < decimal.text.size()) decimal.text[decimal.size++] = *p;
  }
  if (p != last) {
    ++p;
    if (p != last && *p == '+') ++p;
    std::from_chars(p, last, decimal.exponent);
  }
  return decimal;
}

}  // namespace

namespace {

RoundedDecimal exact_decimal(double magnitude, int significant) {
  char buffer[40];
  const auto exact = std::to_chars(buffer, buffer + sizeof buffer, magnitude,
                                   std::chars_format::scientific, significant - 1);
  return parse_scientific(buffer, exact.ptr);
}

// Exactly `count` digits of `value`, written from the last, two at a time.
void put_digits(uint64_t value, int count, RoundedDecimal* out) {
  static constexpr auto kPairs = [] {
    std::array<char, 200> pairs{};
    for (size_t i = 0; i < 100; ++i) {
      pairs[2 * i] = static_cast<char>('0' + i / 10);
      pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
  }();
  out->size = static_cast<size_t>(count);
  size_t i = out->size;
  for (; i >= 2; i -= 2, value /= 100) {
    const size_t pair = static_cast<size_t>(value % 100) * 2;
    out->text[i - 2] = kPairs[pair];
    out->text[i - 1] = kPairs[pair + 1];
  }
  if (i == 1) out->text[0] = static_cast<char>('0' + value % 10);
}

// Scaled by an exact power of ten into an integer of the digits asked for, the product's
// rounding error known exactly (fma), so the one rounding to that integer is the exact value's.
// False when the scale is out of reach of exact powers; the caller then takes the slow path.
bool scaled_decimal(double magnitude, int significant, RoundedDecimal* out) {
  static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                       1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                       1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr int kLargest = 22;
  const double lowest = kPowers[significant - 1];
  const double limit = kPowers[significant];
  // floor(log10(2^b)) is the exponent or one less.
  uint64_t bits;
  std::memcpy(&bits, &magnitude, sizeof bits);
  const int binary_exponent = static_cast<int>((bits >> 52) & 0x7ff) - 1023;  // normal only
  int exponent = (binary_exponent * 78913) >> 18;
  for (int attempt = 0; attempt < 2; ++attempt, ++exponent) {
    const int scale = significant - 1 - exponent;
    if (scale > kLargest || -scale > kLargest) return false;
    double scaled;
    double error;  // only its sign and whether it is zero matter
    if (scale >= 0) {
      scaled = magnitude * kPowers[scale];
      error = std::fma(magnitude, kPowers[scale], -scaled);
    } else {
      scaled = magnitude / kPowers[-scale];
      error = std::fma(-scaled, kPowers[-scale], magnitude);
    }
    if (scaled >= limit) continue;
    const auto whole = static_cast<uint64_t>(scaled);  // below 1e15: exact, and the floor
    const double fraction = scaled - static_cast<double>(whole);
    bool up = fraction > 0.5;
    if (fraction == 0.5) up = error > 0 || (error == 0 && (whole & 1) != 0);
    const uint64_t rounded = whole + (up ? 1 : 0);
    if (static_cast<double>(rounded) < lowest) return false;
    const bool carried = static_cast<double>(rounded) >= limit;
    put_digits(carried ? static_cast<uint64_t>(lowest) : rounded, significant, out);
    out->exponent = exponent + (carried ? 1 : 0);
    return true;
  }
  return false;
}

}  // namespace

RoundedDecimal WRT_RoundDecimal(double magnitude, int significant) {
  RoundedDecimal decimal;
  if (magnitude >= std::numeric_limits<double>::min() &&
      scaled_decimal(magnitude, significant, &decimal))
    return decimal;
  return exact_decimal(magnitude, significant);
}

void WRT_AppendGeneral(std::string* out, double value) {
  if (value == 0.0 || !std::isfinite(value)) {
    char buffer[16];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value,
                                      std::chars_format::general, kGeneralDigits);
    out->append(buffer, result.ptr);
    return;
  }
  const RoundedDecimal decimal = WRT_RoundDecimal(std::fabs(value), kGeneralDigits);
  std::string_view digits = decimal.digits();
  while (digits.size() > 1 && digits.back() == '0') digits.remove_suffix(1);
  const int x = decimal.exponent;
  // Built in place and appended once: the compiled file writes millions of these.
  char text[32];
  char* p = text;
  const auto put = [&p](std::string_view part) { p = std::copy(part.begin(), part.end(), p); };
  if (value < 0) *p++ = '-';
  if (x < -4 || x >= kGeneralDigits) {
    *p++ = digits[0];
    if (digits.size() > 1) {
      *p++ = '.';
      put(digits.substr(1));
    }
    put(x < 0 ? "e-" : "e+");
    const int magnitude = std::abs(x);
    if (magnitude < 10) *p++ = '0';
    p = std::to_chars(p, text + sizeof text, magnitude).ptr;
  } else if (x < 0) {
    put("0.");
    p = std::fill_n(p, -x - 1, '0');
    put(digits);
  } else {
    const size_t whole = static_cast<size_t>(x) + 1;
    put(digits.substr(0, whole));
    if (digits.size() < whole) p = std::fill_n(p, whole - digits.size(), '0');
    if (digits.size() > whole) {
      *p++ = '.';
      put(digits.substr(whole));
    }
  }
  out->append(text, static_cast<size_t>(p - text));  // the (pointer, length) form: no replace
}

}  // namespace tarn
