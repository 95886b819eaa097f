// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_LEASE_H
#define VELLUMO_SUPPORT_LEASE_H

#include <memory>
#include <string>

namespace vellumo::support {

// A locked file that shows others that its holder lives. The kernel releases the lock when the
// holder's process ends, however it ends; the file then stays, and is *free*. Whoever finds it free
// takes the lease over, cleans up after the dead holder, and ends the lease.
//
// The lock belongs to the open file (fcntl, F_OFD_SETLK). A program inherits it only if it gets the
// descriptor on purpose; the lease is then free when the last of them has ended. A fork of the
// holder does not keep it.
class Lease {
public:
    enum class State {
        kNone,  // there is no such lease, or nothing can be known about it
        kHeld,  // its holder lives
        kFree   // its holder has died
    };

    // Looks at the lease at `path` without disturbing anybody who takes it at the same time. If it
    // is free, sets `text`, which may be null, to its text.
    static State StateOf(const std::string& path, std::string* text = nullptr);

    // Takes the lease at `path`, whose directory exists: a new one, or that of a dead holder with
    // its text. Returns an empty lease, with errno, when another holder lives (EAGAIN) or the file
    // cannot be created.
    static Lease Take(const std::string& path);

    // The same for a new lease only: EEXIST when the file exists.
    static Lease Create(const std::string& path);

    Lease();
    // Releases the lock and leaves the file, as the process's death would do.
    ~Lease();
    Lease(Lease&& other) noexcept;
    Lease& operator=(Lease&& other) noexcept;
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    // Whether this process holds a lease; false in a fork of the holder.
    explicit operator bool() const;

    // The descriptor, for a program that is to inherit it; -1 for an empty lease.
    int Get() const;

    // What the file tells those who find the lease free.
    std::string Text() const;
    // A death in the middle of SetText leaves the old text, or the new one with the end of a longer
    // old one after it.
    bool SetText(const std::string& text) const;
    bool AddText(const std::string& text) const;

    // Removes the file and releases the lock: the holder has cleaned up. Does nothing for an empty
    // lease.
    void End();

private:
    struct Held;
    static Lease Lock(const std::string& path, int flags);

    std::unique_ptr<Held> _held;
};

}  // namespace vellumo::support

#endif
