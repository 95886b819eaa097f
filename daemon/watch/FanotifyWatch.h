// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_FANOTIFYWATCH_H
#define VELLUMO_WATCH_FANOTIFYWATCH_H

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "daemon/watch/Findings.h"
#include "daemon/watch/HandlePaths.h"
#include "daemon/watch/Roots.h"
#include "daemon/watch/TreeWatch.h"
#include "support/Descriptor.h"

struct fanotify_event_metadata;

namespace vellumo::watch {

// Watches whole file systems by fanotify: one mark for each, whatever the number of files and
// folders. Needs Linux 5.17, CAP_SYS_ADMIN and CAP_DAC_READ_SEARCH in the first user namespace, and
// file systems that the kernel can watch so: no FUSE, no subvolumes of btrfs.
//
// An event names its folder by a handle, and the object tells the folder's present path. That is
// another one than at the time of the event if the folder was renamed meanwhile.
//
// A change of a file's times or rights alone is not told.
//
// The roots stay open, so their file systems cannot be unmounted.
class FanotifyWatch : public TreeWatch {
public:
    // Whether to leave out the events of a process; it is 0 for one in another pid namespace.
    using IsOwn = std::function<bool(pid_t)>;

    // Returns null, with errno, when a root is no directory or cannot be watched in this way.
    // `isOwn` may be empty.
    static std::unique_ptr<FanotifyWatch> Start(const Roots& roots, IsOwn isOwn);

    int Descriptor() const override { return _events.Get(); }
    Changes Take() override;
    bool IsReady() const override { return true; }

private:
    FanotifyWatch(Roots roots, IsOwn isOwn);

    bool Mark(const std::string& root);
    // `bytes`: the whole event, of which `event` is the beginning.
    void Examine(const char* bytes, const fanotify_event_metadata& event, Findings& findings);

    Roots _roots;
    IsOwn _isOwn;
    support::Descriptor _events;
    HandlePaths _folders;
};

}  // namespace vellumo::watch

#endif
