// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "jail/users.h"

namespace vellumo::office {
namespace {

constexpr double kMebibyte = 1024.0 * 1024.0;

std::string Value(const char* variable, const char* otherwise) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

double Number(const char* variable, double otherwise) {
    const std::string value = Value(variable, "");
    return value.empty() ? otherwise : std::max(0.0, std::strtod(value.c_str(), nullptr));
}

double Processors() {
    return std::clamp(static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN)), 2.0, 8.0);
}

// Each document in work, each spare child and each child that is ending needs a user id.
size_t Children(const char* variable, double otherwise) {
    return static_cast<size_t>(
        std::clamp(Number(variable, otherwise), 1.0, int{USERS_OF_OFFICE} / 3.0));
}

}  // namespace

Settings ReadSettings() {
    return {
        .socket = Value("VELLUMO_OFFICE_SOCKET", "/run/vellumo/office"),
        .above = "/tmp",  // its size is limited
        .rooms = Value("VELLUMO_ROOMS", "/tmp/vellumo-rooms"),
        .users = static_cast<unsigned>(Number("VELLUMO_USERS", USERS_FIRST_CONTAINER)),
        .spares = Children("VELLUMO_OFFICE_SPARES", 1),
        .atOnce = Children("VELLUMO_OFFICE_AT_ONCE", Processors()),
        .deadline = std::chrono::seconds(static_cast<int>(Number("VELLUMO_OFFICE_DEADLINE", 118))),
        .memory = static_cast<size_t>(Number("VELLUMO_OFFICE_MEMORY", 1024) * kMebibyte),
        .space = static_cast<size_t>(Number("VELLUMO_OFFICE_SPACE", 768) * kMebibyte),
    };
}

}  // namespace vellumo::office
