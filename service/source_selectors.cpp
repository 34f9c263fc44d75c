#include "service/source_selectors.h"

#include <memory>

#include "libibis/src/guard.h"
#include "libibis/src/ibis.h"
#include "libibis/src/msel.h"
#include "libibis/src/parse.h"
#include "tarn/reader.h"

namespace tarn {

std::vector<SourceSelector> LIB_ModelSelectors(const char* source) {
  ApiGuard guard;
  std::vector<SourceSelector> selectors;
  IbisDocument* raw = nullptr;
  // A look-up, not a check the user asked for: no banner.
  const bool banner = PRS_BannerEnabled();
  PRS_SetBannerEnabled(false);
  const int read = source ? IBIS_ReadSourceToStream(source, nullptr, &raw) : 0;
  PRS_SetBannerEnabled(banner);
  if (read != 1 || !raw) return selectors;
  const std::unique_ptr<IbisDocument, void (*)(IbisDocument*)> document(raw,
                                                                        IBIS_DestroyDocument);
  for (const std::unique_ptr<ModelSelector>& selector : document->selectors) {
    SourceSelector& shown = selectors.emplace_back();
    shown.name = selector->name;
    for (const ModelSelectorEntry& entry : selector->models) shown.models.push_back(entry.name);
  }
  return selectors;
}

}  // namespace tarn
