#include "ibis_gen.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace tarn::bench {
namespace {

constexpr int kRows = 100;
constexpr int kPinsPerModel = 12;

// A value with the largest engineering suffix that keeps it at or above 1.
std::string eng(double v, const char* unit) {
  static const struct {
    double factor;
    const char* suffix;
  } scales[] = {{1, ""}, {1e-3, "m"}, {1e-6, "u"}, {1e-9, "n"}, {1e-12, "p"}, {1e-15, "f"}};
  char text[48];
  if (v == 0) {
    std::snprintf(text, sizeof text, "0%s", unit);
    return text;
  }
  for (const auto& s : scales) {
    if (std::fabs(v) >= s.factor || s.factor == 1e-15) {
      std::snprintf(text, sizeof text, "%.4g%s%s", v / s.factor, s.suffix, unit);
      return text;
    }
  }
  return text;
}

struct Writer {
  std::FILE* file;
  size_t bytes = 0;
  void line(const std::string& text) {
    bytes += text.size() + 1;
    std::fputs(text.c_str(), file);
    std::fputc('\n', file);
  }
  void row(const std::string& x, const std::string& typ, const std::string& min,
           const std::string& max) {
    char text[128];
    std::snprintf(text, sizeof text, "%-12s%-14s%-14s%s", x.c_str(), typ.c_str(), min.c_str(),
                  max.c_str());
    line(text);
  }
};

void vi_table(Writer& w, const char* keyword, double vmin, double vmax, double isat, double r,
              double sign) {
  w.line(keyword);
  w.line("| voltage   I(typ)        I(min)        I(max)");
  for (int i = 0; i < kRows; ++i) {
    const double v = vmin + (vmax - vmin) * i / (kRows - 1);
    auto current = [&](double scale) { return sign * isat * scale * std::tanh(v / (r * isat)); };
    w.row(eng(v, "V"), eng(current(1.0), "A"), eng(current(0.8), "A"), eng(current(1.2), "A"));
  }
}

void waveform(Writer& w, const char* keyword, bool rising) {
  w.line(keyword);
  w.line("R_fixture = 50ohm");
  w.line(rising ? "V_fixture = 0V" : "V_fixture = 3.3V");
  w.line("| time      V(typ)        V(min)        V(max)");
  for (int i = 0; i < kRows; ++i) {
    const double t = 20e-12 * i;
    const double k = 0.5 - 0.5 * std::cos(M_PI * std::fmin(1.0, i / 60.0));
    auto volts = [&](double high) { return rising ? high * k : 3.3 - (3.3 - high * 0.4) * k; };
    w.row(eng(t, "s"), eng(volts(2.2), "V"), eng(volts(1.9), "V"), eng(volts(2.5), "V"));
  }
}

void model(Writer& w, int index) {
  char name[32];
  std::snprintf(name, sizeof name, "[Model] m%05d", index);
  w.line(name);
  w.line("Model_type I/O");
  w.line("Polarity Non-Inverting");
  w.line("Enable Active-High");
  w.line("Vinl = 800mV");
  w.line("Vinh = 2V");
  w.line("Vmeas = 1.65V");
  w.line("C_comp 2pF 1.8pF 2.2pF");
  w.line("[Voltage Range] 3.3V 3V 3.6V");
  w.line("[Temperature Range] 25 85 0");
  vi_table(w, "[Pulldown]", -3.3, 6.6, 0.1, 20, 1);
  vi_table(w, "[Pullup]", -3.3, 6.6, 0.1, 25, -1);
  vi_table(w, "[GND Clamp]", -3.3, 3.3, 0.5, 4, 1);
  vi_table(w, "[POWER Clamp]", -3.3, 3.3, 0.5, 4, -1);
  w.line("[Ramp]");
  w.line("dV/dt_r 1.32V/800ps 1.1V/1ns 1.5V/600ps");
  w.line("dV/dt_f 1.41V/800ps 1.2V/1ns 1.6V/600ps");
  w.line("R_load = 50ohm");
  waveform(w, "[Rising Waveform]", true);
  waveform(w, "[Rising Waveform]", true);
  waveform(w, "[Falling Waveform]", false);
  waveform(w, "[Falling Waveform]", false);
}

// What one model and its pins take, measured once so the model count hits the target size.
size_t bytes_per_model() {
  std::FILE* null = std::fopen("/dev/null", "w");
  if (!null) return 60000;
  Writer w{null};
  model(w, 0);
  std::fclose(null);
  return w.bytes + kPinsPerModel * 40;
}

// Every pin on one of `models` models, `pins_per_model` to a model; with `pairs` each odd pin
// and the next form a differential pair.
size_t write_component(const std::string& path, int models, int pins_per_model, bool pairs) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) return 0;
  Writer w{file};
  w.line("[IBIS Ver] 3.2");
  const std::string base = path.substr(path.find_last_of('/') + 1);
  w.line("[File Name] " + base);
  w.line("[File Rev] 1.0");
  w.line("[Source] Generated for benchmarks.");
  w.line("[Component] BENCH");
  w.line("[Manufacturer] Tarn Benchmarks");
  w.line("[Package]");
  w.line("R_pkg 250mOhm 200mOhm 300mOhm");
  w.line("L_pkg 2.5nH 2nH 3nH");
  w.line("C_pkg 600fF 500fF 700fF");
  w.line("[Pin] signal_name model_name R_pin L_pin C_pin");
  const int pins = models * pins_per_model;
  for (int p = 0; p < pins; ++p) {
    char row[96];
    std::snprintf(row, sizeof row, "%d sig%d m%05d %s %s %s", p + 1, p + 1, p / pins_per_model,
                  eng(0.1 + 0.001 * (p % 100), "Ohm").c_str(), eng(1e-9 + 1e-11 * (p % 50), "H").c_str(),
                  eng(4e-13 + 1e-15 * (p % 30), "F").c_str());
    w.line(row);
  }
  if (pairs) {
    w.line("[Diff Pin] inv_pin vdiff tdelay_typ tdelay_min tdelay_max");
    for (int p = 1; p < pins; p += 2)
      w.line(std::to_string(p) + " " + std::to_string(p + 1) + " 200mV 0ns NA NA");
  }
  for (int m = 0; m < models; ++m) model(w, m);
  w.line("[End]");
  const bool ok = std::fclose(file) == 0;
  return ok ? w.bytes : 0;
}

}  // namespace

size_t generate_ibis(const std::string& path, size_t target_bytes) {
  return write_component(
      path, static_cast<int>(std::fmax(1.0, double(target_bytes) / bytes_per_model())),
      kPinsPerModel, false);
}

size_t generate_ibis_pins(const std::string& path, int pins) {
  return write_component(path, std::max(1, pins / kPinsPerModel), kPinsPerModel, false);
}

size_t generate_ibis_pairs(const std::string& path, int pins) {
  constexpr int kModels = 8;
  return write_component(path, kModels, std::max(1, pins / kModels), true);
}

}  // namespace tarn::bench
