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
  char text[48] = "";
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

void header(Writer& w, const std::string& path) {
  w.line("[IBIS Ver] 3.2");
  w.line("[File Name] " + path.substr(path.find_last_of('/') + 1));
  w.line("[File Rev] 1.0");
}

void component_head(Writer& w, const std::string& name) {
  w.line("[Component] " + name);
  w.line("[Manufacturer] Tarn Benchmarks");
  w.line("[Package]");
  w.line("R_pkg 250mOhm 200mOhm 300mOhm");
  w.line("L_pkg 2.5nH 2nH 3nH");
  w.line("C_pkg 600fF 500fF 700fF");
  w.line("[Pin] signal_name model_name");
}

void input_model(Writer& w, int index) {
  w.line("[Model] m" + std::to_string(index));
  w.line("Model_type Input");
  w.line("Vinl = 800mV");
  w.line("Vinh = 2V");
  w.line("C_comp 1pF NA NA");
  w.line("[Voltage Range] 3.3V NA NA");
}

size_t closed(Writer& w) {
  w.line("[End]");
  return std::fclose(w.file) == 0 ? w.bytes : 0;
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

size_t generate_ibis_own_models(const std::string& path, int pins) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) return 0;
  Writer w{file};
  header(w, path);
  component_head(w, "BENCH");
  for (int p = 1; p <= pins; ++p)
    w.line(std::to_string(p) + " sig" + std::to_string(p) + (p % 2 ? " m" : " s") +
           std::to_string(p));
  for (int p = 2; p <= pins; p += 2) {
    w.line("[Model Selector] s" + std::to_string(p));
    w.line("m" + std::to_string(p - 1) + " the pin before");
    w.line("m" + std::to_string(p + 1 <= pins ? p + 1 : 1) + " the pin after");
  }
  for (int p = 1; p <= pins; p += 2) input_model(w, p);
  return closed(w);
}

size_t generate_board_parts(const std::string& path, int parts) {
  const std::string library = path.substr(0, path.find_last_of('/') + 1) + "parts.ibs";
  std::FILE* file = std::fopen(library.c_str(), "w");
  if (!file) return 0;
  Writer part{file};
  header(part, library);
  for (int k = 1; k <= parts; ++k) {
    component_head(part, "P" + std::to_string(k));
    part.line("1 in m1");
    part.line("2 gnd GND");
  }
  input_model(part, 1);
  if (closed(part) == 0 || !(file = std::fopen(path.c_str(), "w"))) return 0;
  Writer w{file};
  header(w, path);
  w.line("[Begin Board Description] BOARD");
  w.line("[Manufacturer] Tarn Benchmarks");
  w.line("[Number Of Pins] " + std::to_string(parts));
  w.line("[Pin List] signal_name");
  for (int k = 1; k <= parts; ++k) w.line("A" + std::to_string(k) + " S" + std::to_string(k));
  for (int k = 1; k <= parts; ++k) {
    w.line("[Path Description] P" + std::to_string(k));
    w.line("Pin A" + std::to_string(k));
    w.line("Len = 0.5 L = 2n C = 1p R = 0.1 /");
    w.line("Node U" + std::to_string(k) + ".1");
  }
  w.line("[Reference Designator Map]");
  for (int k = 1; k <= parts; ++k)
    w.line("U" + std::to_string(k) + " parts.ibs P" + std::to_string(k));
  w.line("[End Board Description]");
  return closed(w);
}

}  // namespace tarn::bench
