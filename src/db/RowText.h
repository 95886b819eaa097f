// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DB_ROWTEXT_H
#define VELLUMO_DB_ROWTEXT_H

#include <cstdlib>
#include <string>

// Conversion of values in rows.
namespace NAVO::VELLUMO::db {

// Returns the decimal number at the beginning of `text`; 0 when there is none, as in "NULL" and "".
template <typename Number>
Number ToNumber(const std::string& text) {
    constexpr int kDecimal = 10;
    return static_cast<Number>(std::strtol(text.c_str(), nullptr, kDecimal));
}

}  // namespace NAVO::VELLUMO::db

#endif
