// SPDX-License-Identifier: Apache-2.0
#include "jobs/Pressure.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace vellumo::daemon {
namespace {

constexpr const char* kCpu = "/proc/pressure/cpu";
constexpr const char* kIo = "/proc/pressure/io";

bool IsAbove(const std::optional<double>& pressure, int limit) {
    return limit > 0 && pressure && *pressure > limit;
}

std::string Percent(double value) {
    return std::to_string(std::lround(value)) + " %)";
}

}  // namespace

std::optional<double> PressureIn(const std::string& file) {
    std::ifstream stream(file);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    return ReadPressure(text);
}

std::optional<double> ReadPressure(const std::string& text) {
    constexpr const char* kBegin = "some avg10=";
    if (!text.starts_with(kBegin)) {
        return std::nullopt;
    }
    const char* const number = text.c_str() + std::char_traits<char>::length(kBegin);
    char* end = nullptr;
    const double value = std::strtod(number, &end);
    return end == number ? std::nullopt : std::optional(value);
}

std::string Overload(const PressureLimits& limits) {
    const auto cpu = PressureIn(kCpu);
    if (IsAbove(cpu, limits.cpu)) {
        return "the processors are busy (CPU pressure " + Percent(*cpu);
    }
    const auto io = PressureIn(kIo);
    if (IsAbove(io, limits.io)) {
        return "the disks are busy (I/O pressure " + Percent(*io);
    }
    return "";
}

}  // namespace vellumo::daemon
