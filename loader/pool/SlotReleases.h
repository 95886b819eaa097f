// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_SLOTRELEASES_H
#define VELLUMO_LOADER_SLOTRELEASES_H

#include "support/Descriptor.h"

namespace vellumo::loader {

// Tells when any process has given back a slot of the pool: its lease is then removed. Where there
// are no leases yet, it tells nothing, and looks for them again at each Take().
class SlotReleases {
public:
    SlotReleases();

    // A file descriptor that becomes readable when something happens; -1 if there is none.
    int WaitOn() const { return _isWatching ? _events.Get() : -1; }

    // Whether a slot was given back since the last call.
    bool Take();

private:
    void Watch();

    support::Descriptor _events;
    bool _isWatching = false;
};

}  // namespace vellumo::loader

#endif
