// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONFIG_STATEMEMBERS_H
#define VELLUMO_CONFIG_STATEMEMBERS_H

#include <json/value.h>

#include <string>
#include <vector>

// The members of the state file.
namespace NAVO::VELLUMO {

inline constexpr const char* kRunningFiles = "runningFiles";  // documents being converted
inline constexpr const char* kWaitingQueue = "waitingQueue";  // three objects, by priority
inline constexpr const char* kRunningQueue = "runningQueue";
inline constexpr const char* kContainerPrefix = "navo";  // a container's name
inline constexpr const char* kUsing = "using";           // commands that run in a container
inline constexpr const char* kUsed = "used";             // commands ever started in it

// The names of all containers, in ascending byte order.
inline std::vector<std::string> ContainerNames(const Json::Value& state) {
    std::vector<std::string> names;
    if (state.isObject()) {
        for (std::string& name : state.getMemberNames()) {
            if (name.starts_with(kContainerPrefix)) {
                names.push_back(std::move(name));
            }
        }
    }
    return names;
}

}  // namespace NAVO::VELLUMO

#endif
