#include "libibis/src/smspec.h"

#include <new>
#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

struct SpecParam {
  const char* name;
  std::unique_ptr<Range> SubmodelSpec::*value;
};

constexpr SpecParam kParams[] = {
    {"V_trigger_r", &SubmodelSpec::v_trigger_r},
    {"V_trigger_f", &SubmodelSpec::v_trigger_f},
    {"Off_delay", &SubmodelSpec::off_delay},
};

const SpecParam* find_param(std::string_view name) {
  for (const SpecParam& p : kParams)
    if (name == p.name) return &p;
  return nullptr;
}

// A scratch list, reused so that a line allocates nothing.
struct SubmodelSpecState {
  ItemList items;
};

SubmodelSpecState g_smspec;
SavedWithReading<SubmodelSpecState> g_smspec_saved(&g_smspec);

}  // namespace

int submodel_spec_open(std::string_view line, std::unique_ptr<SubmodelSpec>* slot) {
  TARN_ASSERT(slot != nullptr);
  if (*slot) {
    RPT_ErrorAtLine("Sub Model Specification: Already Defined for this sub model");
    slot->reset();
  }
  slot->reset(new (std::nothrow) SubmodelSpec);
  if (!*slot) {
    CMN_ReportNoMemory();
    return 0;
  }
  CMN_CheckKeywordAlone(line, "Submodel Spec");
  return 1;
}

void submodel_spec_line(std::string_view line, SubmodelSpec* spec,
                        std::string_view submodel_name) {
  TARN_ASSERT(spec != nullptr);
  ItemList& items = g_smspec.items;
  if (!CMN_SplitLine(line, 1, '=', &items)) {
    CMN_ReportUnparsed("Sub Model Spec Sub-Parameter");
    return;
  }
  const SpecParam* p = find_param(items[0]);
  // The three names are all there is; anything else is refused like an unknown line of the
  // submodel.
  if (!p) {
    RPT_ErrorAtLine("Unknown Line Among Sub Model Spec Data");
    return;
  }
  std::unique_ptr<Range>& slot = spec->*p->value;
  if (slot) {
    RPT_ErrorAtLine(kAlreadyDefinedForSubmodel, p->name,
                    std::string(submodel_name).c_str());
    return;
  }
  const size_t rest = static_cast<size_t>(items[0].data() - line.data()) + items[0].size();
  (void)range_parse(line.substr(rest), p->name, &slot);
  // Kept all the same: the comparisons skip a trigger without a typical value.
  if (slot && slot->typ_status == ValueStatus::NA)
    RPT_ErrorAtLine("'NA' not allowed for Typical value");
}

void submodel_spec_end(const SubmodelSpec& spec, std::string_view submodel_name) {
  for (const SpecParam& p : kParams)
    if (spec.*p.value) return;
  RPT_Error("Submodel %s: Empty Submodel Spec", std::string(submodel_name).c_str());
}

}  // namespace tarn
