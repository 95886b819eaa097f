// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_COMPONENTS_H
#define NAVO_LINUX_COMPONENTS_H

#include <string>
#include <string_view>
#include <vector>

namespace NAVO::platform {

// The components of a path; empty ones and "." mean nothing and are left out.
std::vector<std::string> ComponentsOf(std::string_view path);

}  // namespace NAVO::platform

#endif
