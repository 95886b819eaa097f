// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/SlotReleases.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

constexpr size_t kBufferSize = 16384;
constexpr std::string_view kSlot = "slot-";

std::string LeaseFolder() {
    const std::string stateFile = NAVO::VELLUMO::SZF_CONFIG_PATH;
    return stateFile.substr(0, stateFile.rfind('/')) + "/leases";
}

// Whether the events include one for the lease of a slot, or some were lost.
bool TellsOfSlot(const char* events, size_t length) {
    inotify_event event{};
    for (size_t at = 0; at + sizeof(event) <= length; at += sizeof(event) + event.len) {
        std::memcpy(&event, events + at, sizeof(event));
        const std::string_view name(events + at + sizeof(event), event.len);
        if ((event.mask & IN_Q_OVERFLOW) != 0 || name.starts_with(kSlot)) {
            return true;
        }
    }
    return false;
}

}  // namespace

SlotReleases::SlotReleases() : _events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    Watch();
}

void SlotReleases::Watch() {
    _isWatching = inotify_add_watch(_events.Get(), LeaseFolder().c_str(), IN_DELETE) >= 0;
}

// On a new server, the first conversion creates the folder.
bool SlotReleases::Take() {
    if (!_isWatching) {
        Watch();
    }
    std::array<char, kBufferSize> events{};
    bool any = false;
    ssize_t length = 0;
    while ((length = read(_events.Get(), events.data(), events.size())) > 0) {
        any = TellsOfSlot(events.data(), static_cast<size_t>(length)) || any;
    }
    return any;
}

}  // namespace vellumo::loader
