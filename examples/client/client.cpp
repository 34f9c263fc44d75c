// A calling program as a design tool would use the library: a model library of its own with a
// source index, one component asked for, its pins and package values read back, and on request
// the component's listing for its user.
//
//   client CACHE_DIR INDEX_FILE COMPONENT [LISTING_FILE]
#include <tarn/documentation.h>
#include <tarn/ibis_comp_mdls.h>

#include <cstdio>

namespace {

// Source indexes are added by the program that owns the library.
class DesignLibrary : public CIbisCompMdls {
 public:
  explicit DesignLibrary(const char* index) { AddSrcIndex(index, "design"); }

  // A design tool would ask its user; this one always takes the newer source.
  int GetReCompileState(const char* component) override {
    std::printf("recompile %s? yes\n", component);
    return 1;
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) {
    std::fprintf(stderr, "usage: client CACHE_DIR INDEX_FILE COMPONENT [LISTING_FILE]\n");
    return 2;
  }
  DesignLibrary library(argv[2]);
  if (!library.Init(argv[1])) return 2;
  eRdIbisResult result = eRdIbisNone;
  CIbisCompInfo* info = library.GetIbisCompInfo(argv[3], &result, 0);
  if (!info || !info->IsStatusOk()) {
    std::printf("%s: not usable (status %d)\n", argv[3], info ? info->GetStatus() : -1);
    library.Fini(1);
    return 1;
  }
  std::printf("%s from %s, %d pins\n", info->Name(), info->SourceFile(), info->GetPinCount());
  double r_pkg = 0.0;
  if (info->GetModelParam(eIbisRPkg, &r_pkg, 0, eTyp)) std::printf("R_pkg typ %g\n", r_pkg);
  for (int pin = 0; pin < info->GetPinCount(); ++pin) {
    const char* name = "";
    const char* signal = "";
    const char* model = "";
    int type = 0;
    info->GetModelParam(eIbisPinName, &name, pin);
    info->GetModelParam(eIbisSignalName, &signal, pin);
    info->GetModelParam(eIbisModelName, &model, pin);
    info->GetModelParam(eIbisModelType, &type, pin);
    std::printf("pin %s %s %s (%s)", name, signal, model, CIbisCompInfo::GetModelTypeText(type));
    double c_pin = 0.0;
    if (info->GetModelParam(eIbisCPin, &c_pin, pin, eTyp)) std::printf(" C_pin %g", c_pin);
    double range = 0.0;
    if (info->GetModelParam(eIbisVoltRange, &range, pin, eMax)) std::printf(" Vmax %g", range);
    std::printf("\n");
  }
  // The listing is written from the component's source; the check's report is not wanted here.
  if (argc == 5 &&
      tarn::IBIS_DocumentSourceToStream(info->SourceFile(), info->Name(), argv[4], nullptr))
    std::printf("listing written to %s\n", argv[4]);
  library.Fini(1);
  return 0;
}
