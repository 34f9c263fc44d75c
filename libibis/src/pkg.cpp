#include "libibis/src/pkg.h"

#include <new>

#include "libibis/src/chars.h"
#include "libibis/src/cmn.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kPackageColumns = 4;  // name, typ, min, max

struct PackageParam {
  const char* name;
  std::unique_ptr<Range> Package::*field;
  const char* duplicate;
  const char* missing;
};

constexpr PackageParam kParams[] = {
    {"R_pkg", &Package::r_pkg, "Duplicate R_pkg sub-parameter.",
     "Required sub-parameter R_pkg not found."},
    {"L_pkg", &Package::l_pkg, "Duplicate L_pkg sub-parameter.",
     "Required sub-parameter L_pkg not found."},
    {"C_pkg", &Package::c_pkg, "Duplicate C_pkg sub-parameter.",
     "Required sub-parameter C_pkg not found."},
};

// Min and max may be "NA" (they fall back to typ); typ must be a number.
struct ColumnRule {
  ValueStatus Range::*status;
  bool na_allowed;
  const char* message;
};

constexpr ColumnRule kColumnRules[] = {
    {&Range::typ_status, false, "The typical column must be specified."},
    {&Range::min_status, true, "The minimum column must be specified or NA."},
    {&Range::max_status, true, "The maximum column must be specified or NA."},
};

const PackageParam* find_param(std::string_view name) {
  for (const PackageParam& p : kParams)
    if (CMN_EqualNoCase(name, p.name)) return &p;
  return nullptr;
}

void check_columns(const Range& range) {
  for (const ColumnRule& rule : kColumnRules) {
    const ValueStatus status = range.*rule.status;
    if (status == ValueStatus::Absent || (status == ValueStatus::NA && !rule.na_allowed))
      RPT_ErrorAtLine("%s", rule.message);
  }
}

int get_param(const Package* package, std::unique_ptr<Range> Package::*field, const Range** out) {
  TARN_ASSERT(package != nullptr && out != nullptr);
  const Range* range = (package->*field).get();
  if (!range) return 0;
  *out = range;
  return 1;
}

}  // namespace

int PKG_KeywordLine(std::unique_ptr<Package>* slot, std::string_view argument) {
  TARN_ASSERT(slot != nullptr);
  if (*slot) {
    RPT_ErrorAtLine("Duplicate Package keyword.");
    return 0;
  }
  if (!argument.empty()) RPT_ErrorAtLine("Unknown data after Package keyword.");
  slot->reset(new (std::nothrow) Package);
  if (!*slot) {
    RPT_ErrorAtLine("Unable to add data for %s keyword.", "Package");
    return 0;
  }
  return 1;
}

void PKG_DataLine(Package* package, std::string_view line) {
  TARN_ASSERT(package != nullptr);
  if (!line.empty() && is_space(line[0]))
    RPT_ErrorAtLine("Package sub-parameters must start in column 1.");
  ItemList items;
  if (!CMN_SplitLine(line, kPackageColumns, 0, &items)) return;
  if (items.found != kPackageColumns) {
    RPT_ErrorAtLine("Expected %d columns in Package sub-parameter line, found %d columns.",
                    static_cast<int>(kPackageColumns), static_cast<int>(items.found));
    return;
  }
  const PackageParam* param = find_param(items[0]);
  if (!param) {
    RPT_ErrorAtLine("Unknown Package subparameter.");
    return;
  }
  std::unique_ptr<Range>& slot = package->*param->field;
  if (slot) {
    RPT_ErrorAtLine("%s", param->duplicate);
    return;
  }
  const size_t values = static_cast<size_t>(items[1].data() - line.data());
  if (!range_parse(line.substr(values), param->name, &slot))
    RPT_ErrorAtLine("Unable to parse data for Package subparameter '%s'.", param->name);
  if (slot) check_columns(*slot);
}

void PKG_KeywordDone(const Package* package) {
  TARN_ASSERT(package != nullptr);
  for (const PackageParam& p : kParams)
    if (!(package->*p.field)) RPT_ErrorAtLine("%s", p.missing);
}

int PKG_GetRpkg(const Package* package, const Range** out) {
  return get_param(package, &Package::r_pkg, out);
}
int PKG_GetLpkg(const Package* package, const Range** out) {
  return get_param(package, &Package::l_pkg, out);
}
int PKG_GetCpkg(const Package* package, const Range** out) {
  return get_param(package, &Package::c_pkg, out);
}

}  // namespace tarn
