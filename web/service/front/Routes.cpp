// SPDX-License-Identifier: Apache-2.0
#include "front/Routes.h"

#include <array>
#include <charconv>
#include <optional>
#include <sstream>

namespace vellumo::web::front {
namespace {

using http::Method;
using message::Kind;

constexpr std::array<Route, 20> kOfPersons{{{"me", Method::kGet, Kind::kMe},
                                            {"shares", Method::kGet, Kind::kShares},
                                            {"list/*", Method::kGet, Kind::kList},
                                            {"thumb/*", Method::kGet, Kind::kThumbnail},
                                            {"pdf/*", Method::kGet, Kind::kPdf},
                                            {"original/*", Method::kGet, Kind::kOriginal},
                                            {"status/*", Method::kGet, Kind::kOpen},
                                            {"open/*", Method::kPost, Kind::kView},
                                            {"open/*", Method::kDelete, Kind::kCancel},
                                            {"visible", Method::kPost, Kind::kVisible},
                                            {"place/*", Method::kGet, Kind::kPlace},
                                            {"place/*", Method::kPut, Kind::kSetPlace},
                                            {"login", Method::kPost, Kind::kLogin},
                                            {"logout", Method::kPost, Kind::kLogout},
                                            {"logout-everywhere", Method::kPost, Kind::kLogoutAll},
                                            {"links", Method::kGet, Kind::kLinks},
                                            {"links", Method::kPost, Kind::kAddLink},
                                            {"links/#", Method::kPatch, Kind::kChangeLink},
                                            {"links/#", Method::kDelete, Kind::kRemoveLink},
                                            {"links/#/visits", Method::kGet, Kind::kLinkVisits}}};

constexpr std::array<Route, 11> kOfVisitors{{{"me", Method::kGet, Kind::kMe},
                                             {"list", Method::kGet, Kind::kList},
                                             {"list/*", Method::kGet, Kind::kList},
                                             {"thumb/*", Method::kGet, Kind::kThumbnail},
                                             {"pdf/*", Method::kGet, Kind::kPdf},
                                             {"original/*", Method::kGet, Kind::kOriginal},
                                             {"status/*", Method::kGet, Kind::kOpen},
                                             {"open/*", Method::kPost, Kind::kView},
                                             {"open/*", Method::kDelete, Kind::kCancel},
                                             {"visible", Method::kPost, Kind::kVisible},
                                             {"unlock", Method::kPost, Kind::kUnlock}}};

std::optional<uint32_t> NumberIn(const std::string& text) {
    uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// Where the components lead if they fit the pattern.
std::optional<Destination> Fit(const Route& route, const std::vector<std::string>& components) {
    Destination destination{.kind = route.kind};
    std::istringstream pattern(route.pattern);
    size_t place = 0;
    for (std::string part; std::getline(pattern, part, '/'); ++place) {
        if (place >= components.size()) {
            return std::nullopt;
        }
        if (part == "*") {
            for (; place < components.size(); ++place) {
                destination.path += '/' + components[place];
            }
            return destination;
        }
        const auto number = part == "#" ? NumberIn(components[place]) : std::nullopt;
        if (!number && part != components[place]) {
            return std::nullopt;
        }
        destination.id = number.value_or(destination.id);
    }
    return place == components.size() ? std::optional(destination) : std::nullopt;
}

bool IsSame(Method one, Method other) {
    return one == other || (!http::IsChange(one) && !http::IsChange(other));
}

}  // namespace

std::span<const Route> RoutesOfPersons() {
    return kOfPersons;
}

std::span<const Route> RoutesOfVisitors() {
    return kOfVisitors;
}

Destination Find(std::span<const Route> routes, Method method,
                 const std::vector<std::string>& components) {
    int status = 404;
    for (const Route& route : routes) {
        auto destination = Fit(route, components);
        if (destination && IsSame(route.method, method)) {
            return std::move(*destination);
        }
        status = destination ? 405 : status;
    }
    return {.status = status};
}

}  // namespace vellumo::web::front
