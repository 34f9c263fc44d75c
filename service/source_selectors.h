// The model selectors of a source as the tool shows them beside a component's pins: a pin may
// name a selector in place of a model, and the compiled file keeps only that name.
#pragma once

#include <string>
#include <vector>

namespace tarn {

/// One [Model Selector]: its name and the models it offers in file order, the first being the
/// default.
struct SourceSelector {
  std::string name;
  std::vector<std::string> models;
};

/// The model selectors of `source` in file order; empty when it holds none or cannot be read.
std::vector<SourceSelector> LIB_ModelSelectors(const char* source);

}  // namespace tarn
