// Reads an IBIS file and prints one model's pulldown table and the findings of the check.
//
//   read FILE [MODEL]     (without MODEL: the first model of the file)
#include <tarn/document.h>

#include <cstdio>
#include <string>

namespace {

// A table entry: its number, or NA, or a dash where the file gives nothing.
std::string entry(const tarn::Value& value) {
  if (value.is_na()) return "NA";
  if (!value.has_value()) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%g", value.value);
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: read FILE [MODEL]\n");
    return 2;
  }
  const tarn::ReadResult result = tarn::read_file(argv[1]);
  const tarn::DocumentView document = result.document();

  std::optional<tarn::ModelView> model;
  if (argc == 3) model = document.find_model(argv[2]);
  else if (!document.models().empty()) model = document.models().front();
  if (!model) {
    std::printf("no such model\n");
  } else if (const auto pulldown = model->pulldown()) {
    std::printf("[Pulldown] of %.*s (%.*s)\n", static_cast<int>(model->name().size()),
                model->name().data(), static_cast<int>(model->type_text().size()),
                model->type_text().data());
    std::printf("%-12s %-12s %-12s %s\n", "voltage", "typ", "min", "max");
    for (const tarn::TableRow& row : pulldown->rows())
      std::printf("%-12s %-12s %-12s %s\n", entry(row.x).c_str(), entry(row.typ).c_str(),
                  entry(row.min).c_str(), entry(row.max).c_str());
  } else {
    std::printf("model %.*s has no [Pulldown]\n", static_cast<int>(model->name().size()),
                model->name().data());
  }

  for (const tarn::Finding& finding : result.findings()) {
    std::string where = finding.file;
    if (finding.line) where += ":" + std::to_string(*finding.line);
    std::printf("%s: %.*s: %s\n", where.c_str(), static_cast<int>(tarn::to_text(finding.severity).size()),
                tarn::to_text(finding.severity).data(), finding.message.c_str());
  }
  const tarn::Counts counts = result.counts();
  std::printf("%u errors, %u warnings: %s\n", counts.errors, counts.warnings,
              result.passed() ? "passed" : "failed");
  return result.passed() ? 0 : 1;
}
