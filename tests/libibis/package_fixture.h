// Package model texts shared by the tests of package models, matrices and rows.
#pragma once

#include <string>

namespace tarn::test {

/// [Define Package Model] and the text keywords a block needs: four lines.
inline std::string package_head(const std::string& name = "P") {
  return "[Define Package Model] " + name + "\n[Manufacturer] M\n[OEM] O\n[Description] D\n";
}

/// A sparse matrix holding only the diagonal of pins 1 to n.
inline std::string diagonal_matrix(const std::string& keyword, int n) {
  std::string text = keyword + " Sparse_matrix\n";
  for (int i = 1; i <= n; ++i)
    text += "[Row] " + std::to_string(i) + "\n" + std::to_string(i) + " 1p\n";
  return text;
}

/// A package model of pins 1 to n whose [Model Data] holds `matrices` from line n + 8 on,
/// followed by a diagonal capacitance matrix when `add_capacitance` is set; then the closing
/// keywords and [End].
inline std::string matrix_package(int n, const std::string& matrices, bool add_capacitance = true) {
  std::string text = package_head() + "[Number Of Pins] " + std::to_string(n) + "\n[Pin Numbers]\n";
  for (int i = 1; i <= n; ++i) text += std::to_string(i) + "\n";
  text += "[Model Data]\n" + matrices;
  if (add_capacitance) text += diagonal_matrix("[Capacitance Matrix]", n);
  return text + "[End Model Data]\n[End Package Model]\n[End]\n";
}

}  // namespace tarn::test
