// Reading query replies back in the analysis tests: lines, and a line of
// 1326 numbers in public order turned into ComboIndex order.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "setup/cards.h"

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

inline std::vector<double> ByCombo(const std::string& line) {
  std::vector<double> values(HandCount);
  std::istringstream in(line);
  for (int p = 0; p < HandCount; ++p) {
    std::string word;
    in >> word;
    EXPECT_FALSE(word.empty()) << "entry " << p;
    values[HandOrderToCombo[size_t(p)]] = std::strtod(word.c_str(), nullptr);
  }
  return values;
}
