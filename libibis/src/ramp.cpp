#include "libibis/src/ramp.h"

#include <iterator>
#include <new>
#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kRatioEntries = 3;  // typ, min, max
constexpr size_t kRatioParts = 3;    // volts, "/", seconds
constexpr size_t kLineItems = 3;     // enough for "R_load = value"

// Scratch lists, reused so that a line allocates nothing.
struct RampState {
  ItemList items;
  ItemList entries;
  ItemList parts;
};

RampState g_ramp;
SavedWithReading<RampState> g_ramp_saved(&g_ramp);

// In the order of kCornerFields.
constexpr RampEntry RampRatio::*kEntries[] = {&RampRatio::typ, &RampRatio::min, &RampRatio::max};

enum class RampParam : uint8_t { DvdtR, DvdtF, RLoad };

struct RampSubParam {
  const char* name;
  RampParam param;
  std::unique_ptr<RampRatio> Ramp::*ratio;  // null for R_load
};

constexpr RampSubParam kSubParams[] = {
    {"dV/dt_r", RampParam::DvdtR, &Ramp::dvdt_r},
    {"dV/dt_f", RampParam::DvdtF, &Ramp::dvdt_f},
    {"R_load", RampParam::RLoad, nullptr},
};

const RampSubParam* find_sub_param(std::string_view name) {
  for (const RampSubParam& p : kSubParams)
    if (name == p.name) return &p;
  return nullptr;
}

// An entry such as 1.2V/0.5n, or NA in any case.
void parse_ratio_entry(std::string_view text, const char* corner, const char* name, RampEntry* e) {
  if (text.empty()) return;
  ItemList& parts = g_ramp.parts;
  (void)CMN_SplitLine(text, kRatioParts, '/', &parts);
  const std::string shown(text);
  if (parts.found == 1 && CMN_EqualNoCase(parts[0], "NA")) {
    e->status = ValueStatus::NA;
    return;
  }
  double dv = 0.0;
  double dt = 0.0;
  if (parts.found != kRatioParts || parts[1] != "/" || !CMN_ParseNumber(parts[0], &dv) ||
      !CMN_ParseNumber(parts[2], &dt)) {
    RPT_ErrorAtLine("Invalid %s %s Value (\"%s\")", corner, name, shown.c_str());
    return;
  }
  // Both parts are numbers; read again only for the warning about digits after the scale.
  (void)CMN_ParseScaledField(parts[0], name, corner, &dv);
  (void)CMN_ParseScaledField(parts[2], name, corner, &dt);
  e->dv = dv;
  e->dt = dt;
  e->status = ValueStatus::Value;
}

void ratio_line(std::unique_ptr<RampRatio>* slot, const char* name, std::string_view rest,
                const std::string& owner) {
  if (*slot) {
    RPT_ErrorAtLine(kAlreadyDefinedForModel, name, owner.c_str());
    return;
  }
  ItemList& entries = g_ramp.entries;
  (void)CMN_SplitLine(rest, kRatioEntries, 0, &entries);
  range_report_item_count(entries.found, 0, name);
  slot->reset(new (std::nothrow) RampRatio);
  if (!*slot) {
    CMN_ReportNoMemory();
    return;
  }
  RampRatio& ratio = **slot;
  for (size_t i = 0; i < std::size(kEntries); ++i)
    parse_ratio_entry(entries[i], kCornerFields[i].name, name, &(ratio.*kEntries[i]));
  if (ratio.typ.status == ValueStatus::NA)
    RPT_ErrorAtLine("'NA' not allowed for %s Typical value", name);
}

void r_load_line(Ramp* ramp, const ItemList& items, const std::string& owner) {
  if (ramp->r_load_given) {
    RPT_ErrorAtLine(kAlreadyDefinedForModel, "R_load", owner.c_str());
    return;
  }
  std::string_view value;
  if (!CMN_AssignedValue(items, "R_load", &value)) {
    RPT_ErrorAtLine("Invalid Ramp %s Line", "R_load");
    return;
  }
  double r = 0.0;
  if (!CMN_ParseScaledField(value, "Ramp", "R_load", &r)) return;
  ramp->r_load = r;
  ramp->r_load_given = true;
}

int get_ratio(const Ramp* ramp, std::unique_ptr<RampRatio> Ramp::*field, const RampRatio** out) {
  TARN_ASSERT(ramp != nullptr && out != nullptr);
  *out = (ramp->*field).get();
  return *out ? 1 : 0;
}

}  // namespace

int ramp_open(std::string_view line, std::unique_ptr<Ramp>* slot) {
  TARN_ASSERT(slot != nullptr);
  if (*slot) {
    RPT_ErrorAtLine("Ramp Already Defined");
    slot->reset();
  }
  slot->reset(new (std::nothrow) Ramp);
  if (!*slot) {
    CMN_ReportNoMemory();
    return 0;
  }
  CMN_CheckKeywordAlone(line, "Ramp");
  return 1;
}

void ramp_line(std::string_view line, Ramp* ramp, std::string_view owner_name) {
  TARN_ASSERT(ramp != nullptr);
  ItemList& items = g_ramp.items;
  if (!CMN_SplitLine(line, kLineItems, '=', &items)) {
    CMN_ReportUnparsed("Ramp");
    return;
  }
  const RampSubParam* param = find_sub_param(items[0]);
  if (!param) {
    RPT_ErrorAtLine("Unknown Line Among Ramp Data");
    return;
  }
  const std::string owner(owner_name);
  if (param->param == RampParam::RLoad) {
    r_load_line(ramp, items, owner);
    return;
  }
  const size_t rest = static_cast<size_t>(items[0].data() - line.data()) + items[0].size();
  ratio_line(&(ramp->*param->ratio), param->name, line.substr(rest), owner);
}

int ramp_get_dvdt_r(const Ramp* ramp, const RampRatio** out) {
  return get_ratio(ramp, &Ramp::dvdt_r, out);
}
int ramp_get_dvdt_f(const Ramp* ramp, const RampRatio** out) {
  return get_ratio(ramp, &Ramp::dvdt_f, out);
}

int ramp_get_r_load(const Ramp* ramp, double* out) {
  TARN_ASSERT(ramp != nullptr && out != nullptr);
  if (!ramp->r_load_given) return 0;
  *out = ramp->r_load;
  return 1;
}

namespace {

int get_entry(const RampEntry& entry, double* dv_out, double* dt_out) {
  TARN_ASSERT(dv_out != nullptr && dt_out != nullptr);
  if (entry.status != ValueStatus::Value) return 0;
  *dv_out = entry.dv;
  *dt_out = entry.dt;
  return 1;
}

const RampEntry& entry_of(const RampRatio& ratio, int corner) {
  if (corner == kCornerMin) return ratio.min;
  if (corner == kCornerMax) return ratio.max;
  return ratio.typ;
}

}  // namespace

int ramp_get_corner(const RampRatio* ratio, Corner corner, double* dv_out, double* dt_out) {
  TARN_ASSERT(ratio != nullptr);
  return get_entry(entry_of(*ratio, corner), dv_out, dt_out);
}

int ramp_select(const RampRatio* ratio, int corner, double* dv_out, double* dt_out) {
  TARN_ASSERT(ratio != nullptr);
  const RampEntry& own = entry_of(*ratio, corner);
  return get_entry(own.status == ValueStatus::Value ? own : ratio->typ, dv_out, dt_out);
}

}  // namespace tarn
