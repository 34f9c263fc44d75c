// What the plot, SVG and report writers share: locale-proof numbers and HTML escaping.
#pragma once

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>

#include "tarn/document.h"

namespace tarn {

/// The shortest text that reads back as `value`, in the C locale whatever the host's.
std::string PLT_Number(double value);
/// A value's number, or "NA" where the file gives none.
std::string PLT_Cell(const Value& value);
/// `text` with the five XML specials escaped.
std::string PLT_Escape(std::string_view text);
/// Writes `text` to `path`; false after naming the file on `report`.
bool PLT_Save(const std::filesystem::path& path, const std::string& text, std::FILE* report);
/// Reports a failure caught at a public entry.
void PLT_ReportFailure(const std::exception& failure, std::FILE* report);
/// `name` with every character but letters, digits, '-', '_' and '.' turned into '_'.
std::string PLT_SafeName(std::string_view name);

}  // namespace tarn
