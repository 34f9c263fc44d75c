#include "writers/wrt.h"

#include <cstdio>
#include <cstring>
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

}  // namespace tarn
