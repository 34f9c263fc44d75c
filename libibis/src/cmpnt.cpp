#include "libibis/src/cmpnt.h"

#include "libibis/src/pending_section.h"

namespace tarn {
namespace {
PendingSection<Component, &IbisDocument::components> g_state;
}  // namespace

void CMPNT_Reset() { g_state.reset(); }
void CMPNT_Init(FileKind) { g_state.init(); }
void CMPNT_Line(LineKind kind, Kw, std::string_view line) { g_state.line(kind, line); }
void CMPNT_KeywordDone(Kw) {}
void CMPNT_EndOfFile() {}

}  // namespace tarn
