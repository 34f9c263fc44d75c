#include "writers/wrt.h"

#include <charconv>
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
    if (*p != '.') decimal.digits += *p;
  }
  if (p != last) {
    ++p;
    if (p != last && *p == '+') ++p;
    std::from_chars(p, last, decimal.exponent);
  }
  return decimal;
}

// Adds one in the last place; a carry out of the first digit moves the exponent.
void round_up(RoundedDecimal* decimal) {
  std::string& digits = decimal->digits;
  size_t i = digits.size();
  while (i > 0 && digits[i - 1] == '9') digits[--i] = '0';
  if (i > 0) {
    ++digits[i - 1];
    return;
  }
  digits.insert(digits.begin(), '1');
  digits.pop_back();
  ++decimal->exponent;
}

}  // namespace

namespace {

RoundedDecimal exact_decimal(double magnitude, int significant) {
  char buffer[40];
  const auto exact = std::to_chars(buffer, buffer + sizeof buffer, magnitude,
                                   std::chars_format::scientific, significant - 1);
  return parse_scientific(buffer, exact.ptr);
}

}  // namespace

// The shortest digits that read back as the value round to the same digits as the value itself,
// unless they end exactly on the half between two results, or the value is subnormal and so
// holds fewer digits than asked: only then the exact, slower path.
RoundedDecimal WRT_RoundDecimal(double magnitude, int significant) {
  if (magnitude < std::numeric_limits<double>::min()) return exact_decimal(magnitude, significant);
  char buffer[40];
  const auto shortest = std::to_chars(buffer, buffer + sizeof buffer, magnitude,
                                      std::chars_format::scientific);
  RoundedDecimal decimal = parse_scientific(buffer, shortest.ptr);
  const size_t kept = static_cast<size_t>(significant);
  if (decimal.digits.size() <= kept) {
    decimal.digits.resize(kept, '0');
    return decimal;
  }
  const char next = decimal.digits[kept];
  if (next == '5' && decimal.digits.size() == kept + 1) return exact_decimal(magnitude, significant);
  decimal.digits.resize(kept);
  if (next >= '5') round_up(&decimal);
  return decimal;
}

void WRT_AppendGeneral(std::string* out, double value) {
  if (value == 0.0 || !std::isfinite(value)) {
    char buffer[16];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value,
                                      std::chars_format::general, kGeneralDigits);
    out->append(buffer, result.ptr);
    return;
  }
  if (value < 0) *out += '-';
  const RoundedDecimal decimal = WRT_RoundDecimal(std::fabs(value), kGeneralDigits);
  std::string_view digits = decimal.digits;
  while (digits.size() > 1 && digits.back() == '0') digits.remove_suffix(1);
  const int x = decimal.exponent;
  if (x < -4 || x >= kGeneralDigits) {
    *out += digits[0];
    if (digits.size() > 1) {
      *out += '.';
      out->append(digits.substr(1));
    }
    *out += x < 0 ? "e-" : "e+";
    const int magnitude = std::abs(x);
    if (magnitude < 10) *out += '0';
    *out += std::to_string(magnitude);
  } else if (x < 0) {
    *out += "0.";
    out->append(static_cast<size_t>(-x - 1), '0');
    out->append(digits);
  } else {
    const size_t whole = static_cast<size_t>(x) + 1;
    out->append(digits.substr(0, whole));
    if (digits.size() < whole) out->append(whole - digits.size(), '0');
    if (digits.size() > whole) {
      *out += '.';
      out->append(digits.substr(whole));
    }
  }
}

}  // namespace tarn
