#include "libibis/src/drvsh.h"

#include <new>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/mdl.h"
#include "libibis/src/mdl_plus.h"
#include "libibis/src/newer.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {


// Scratch list, reused so that a line allocates nothing.
struct ScheduleState {
  ItemList items;
};

ScheduleState g_drvsh;
SavedWithReading<ScheduleState> g_drvsh_saved(&g_drvsh);

// The model name of a line, cut to the limit; false when the line has none.
bool read_model_name(std::string_view line, std::string_view* name, size_t* rest) {
  ItemList& items = g_drvsh.items;
  if (!CMN_SplitLine(line, 1, 0, &items)) {
    RPT_Error("Unable to Set Model Name in Driver Schedule");
    return false;
  }
  if (items.found == 0) {
    RPT_ErrorAtLine("'Driver Schedule' Missing model Name");
    return false;
  }
  *name = items[0];
  *rest = static_cast<size_t>(name->data() - line.data()) + name->size();
  const size_t limit = NEWER_ModelNameLimit();
  if (name->size() > limit) {
    RPT_ErrorAtLine(kModelNameTooLong, static_cast<int>(limit));
    *name = name->substr(0, limit);
  }
  return true;
}

void check_model_name(const std::string& name, std::string_view enclosing) {
  if (name == enclosing)
    RPT_ErrorAtLine("Model Name in Driver Schedule is the same as enclosing Model (\"%s\")",
                    name.c_str());
  else if (!CMN_IsReservedWord(name))
    RPT_ErrorAtLine("Invalid Model Name in Driver Schedule (\"%s\"); Reserved Word.", name.c_str());
}

bool is_output_type(ModelType type) {
  using T = ModelType;
  return type != T::Input && type != T::InputECL && type != T::Terminator && type != T::Series &&
         type != T::SeriesSwitch;
}

void check_entry(const DriverScheduleEntry& entry, const char* owner, const IbisModel* target) {
  const char* name = entry.model_name.c_str();
  if (!target) {
    RPT_Error("Model %s used in the Driver Schedule of Model %s is not defined", name, owner);
    return;
  }
  const DriverSchedule* own = nullptr;
  if (mdl_get_driver_schedule(target, &own))
    RPT_Error(
        "Model %s used in the Driver Schedule of Model %s cannot itself have a "
        "Driver Schedule",
        name, owner);
  ModelType type = ModelType::NotGiven;
  (void)mdl_get_model_type(target, &type);
  if (!is_output_type(type))
    RPT_Error("Model %s used in the Driver Schedule of Model %s should be an output model", name,
              owner);
}

}  // namespace

int driver_schedule_open(std::string_view line, std::unique_ptr<DriverSchedule>* slot) {
  TARN_ASSERT(slot != nullptr);
  int made = 1;
  if (*slot) {
    RPT_ErrorAtLine("Driver Schedule: Already Defined for this model");
  } else {
    slot->reset(new (std::nothrow) DriverSchedule);
    if (!*slot) {
      CMN_ReportNoMemory();
      made = 0;
    }
  }
  CMN_CheckKeywordAlone(line, "Driver Schedule");
  return made;
}

// An entry whose delays break the rules is kept: the line names the model all the same.
void driver_schedule_line(std::string_view line, DriverSchedule* schedule,
                          std::string_view model_name) {
  TARN_ASSERT(schedule != nullptr);
  std::string_view name;
  size_t rest = 0;
  if (!read_model_name(line, &name, &rest)) return;
  DriverScheduleEntry* entry = nullptr;
  bool repeated = false;
  try {
    entry = &schedule->entries.emplace_back();
    entry->model_name.assign(name);
    repeated = !schedule->names.insert(entry->model_name).second;
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to create new Driver Schedule Model.");
    if (entry) schedule->entries.pop_back();
    return;
  }
  check_model_name(entry->model_name, model_name);
  if (repeated)
    RPT_ErrorAtLine("Model Name (\"%s\") previously used in this Driver Schedule",
                    entry->model_name.c_str());
  dly_read(line.substr(rest), entry->model_name, &entry->delays);
}

void driver_schedule_end_of_file(const IbisDocument& document) {
  // Of equal names the model defined last is the one found, as in every lookup of a model.
  bool any = false;
  for (const auto& m : document.models) any = any || m->driver_schedule != nullptr;
  if (!any) return;
  const ModelIndex models(document);
  // Models and entries are walked newest first.
  for (auto m = document.models.rbegin(); m != document.models.rend(); ++m) {
    const DriverSchedule* schedule = nullptr;
    if (!mdl_get_driver_schedule(m->get(), &schedule)) continue;
    for (auto e = schedule->entries.rbegin(); e != schedule->entries.rend(); ++e) {
      check_entry(*e, (*m)->name.c_str(), models.find(e->model_name));
    }
  }
}

int driver_schedule_get_entries(const DriverSchedule* schedule,
                                const std::vector<DriverScheduleEntry>** out) {
  TARN_ASSERT(schedule != nullptr && out != nullptr);
  *out = &schedule->entries;
  return schedule->entries.empty() ? 0 : 1;
}

}  // namespace tarn
