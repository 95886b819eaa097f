// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_CASEFOLD_H
#define NAVO_LINUX_CASEFOLD_H

#include <string>
#include <string_view>

namespace NAVO::platform {

// Returns `text` (UTF-8) in lower case, whatever the process's locale. Leaves bytes that are not
// valid UTF-8 as they are.
std::string LowerCase(std::string_view text);

// Returns `text` with every byte that is not valid UTF-8 replaced by U+FFFD, whatever the process's
// locale.
std::string ValidUtf8(std::string_view text);

}  // namespace NAVO::platform

#endif
