#include "setup/numbers.h"

#include <stdexcept>

// std::stoi and std::stod give exactly the reading rule the protocol wants:
// leading white space and a sign, then as many characters as fit. Their
// out-of-range error is turned into the invalid-argument one so that every
// unreadable number gets the same answer.
int ParseInt(const std::string& token) {
  try {
    return std::stoi(token);
  } catch (const std::out_of_range&) {
    throw std::invalid_argument("stoi argument out of range");
  }
}

double ParseDouble(const std::string& token) {
  try {
    return std::stod(token);
  } catch (const std::out_of_range&) {
    throw std::invalid_argument("stod argument out of range");
  }
}
