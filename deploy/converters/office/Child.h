// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_CHILD_H
#define VELLUMO_OFFICE_CHILD_H

#include <sys/types.h>

#include <memory>
#include <string>

#include "Kit.h"
#include "Room.h"
#include "Settings.h"
#include "support/Descriptor.h"

namespace vellumo::office {

// A fork of this process in its jail: it waits for one document, converts it and ends. The
// destructor kills it, waits for its end and removes its room.
class Child {
public:
    // How a child has ended.
    struct Ending {
        std::string result;  // STATUS and reason; empty when it has not said any
        int signal;          // that ended it; 0 if none did
    };

    // Forks a child. `readable` is a directory of the office's settings. Throws Failure when that
    // is not possible.
    Child(Home& home, const Context& context, const Settings& settings,
          const std::string& readable);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Gives it the connection to a caller that has sent a request, and does not wait. False when
    // the child does not take it.
    bool Give(const support::Descriptor& connection) const;

    pid_t Id() const { return _id; }
    const Room& Place() const { return *_room; }

    // Becomes readable when the child has ended.
    const support::Descriptor& Ended() const { return _handle; }
    // Becomes readable when the child has written something, or closed it.
    const support::Descriptor& Reports() const { return _reports; }

    // These read what the child has written so far, which is true unless a document has taken it
    // over: whether it has begun with a document, and whether it has made the PDF.
    bool HasBegun();
    bool HasSucceeded();

    // Whether somebody has stopped it with a signal.
    bool IsStopped() const;

    // Kills it, and does not wait until it has ended.
    void Kill() const;

    // Waits for its end. Call it once.
    Ending Collect();

private:
    void End() const;
    void ReadReports();
    std::string Result() const;

    std::unique_ptr<Room> _room;
    support::Descriptor _handover;
    support::Descriptor _reports;
    support::Descriptor _handle;
    std::string _said;
    pid_t _id = -1;
};

}  // namespace vellumo::office

#endif
