// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_PARAMETERS_H
#define NAVO_LINUX_PARAMETERS_H

namespace NAVO::platform {

// Whether a caller passed a null or empty text.
inline bool IsEmpty(const char* text) {
    return text == nullptr || *text == '\0';
}

}  // namespace NAVO::platform

#endif
