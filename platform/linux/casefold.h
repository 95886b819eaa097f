// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_CASEFOLD_H
#define NAVO_LINUX_CASEFOLD_H

#include <string>
#include <string_view>

namespace NAVO::platform {

// `text` (UTF-8) in lower case, whatever the locale of the process. Bytes that are no UTF-8 stay.
std::string LowerCase(std::string_view text);

// `text` with every byte that is no part of UTF-8 replaced by U+FFFD, whatever the locale.
std::string ValidUtf8(std::string_view text);

}  // namespace NAVO::platform

#endif
