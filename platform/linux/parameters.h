// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_PARAMETERS_H
#define NAVO_LINUX_PARAMETERS_H

namespace NAVO::platform {

// Whether a text that a caller passed says nothing.
inline bool IsEmpty(const char* text) {
    return text == nullptr || *text == '\0';
}

}  // namespace NAVO::platform

#endif
