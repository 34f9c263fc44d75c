#include "libibis/src/pkgmdl.h"

#include "libibis/src/pending_section.h"

namespace tarn {
namespace {
PendingSection<PackageModel, &IbisDocument::package_models> g_state;
}  // namespace

void PKGMDL_Reset() { g_state.reset(); }
void PKGMDL_Init(FileKind) { g_state.init(); }
void PKGMDL_Line(LineKind kind, Kw, std::string_view line) { g_state.line(kind, line); }
void PKGMDL_KeywordDone(Kw) {}
void PKGMDL_EndOfFile() {}

}  // namespace tarn
