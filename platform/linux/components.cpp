// SPDX-License-Identifier: Apache-2.0
#include "components.h"

#include <algorithm>

namespace NAVO::platform {

std::vector<std::string> ComponentsOf(std::string_view path) {
    std::vector<std::string> components;
    while (!path.empty()) {
        const size_t end = std::min(path.find('/'), path.size());
        const std::string_view component = path.substr(0, end);
        if (!component.empty() && component != ".") {
            components.emplace_back(component);
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return components;
}

}  // namespace NAVO::platform
