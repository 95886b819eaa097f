// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONFIG_LEASES_H
#define VELLUMO_CONFIG_LEASES_H

#include <string>
#include <vector>

#include "support/Descriptor.h"
#include "support/Lease.h"

// Who holds what of the state file. A member there says what is in use, and nothing about who uses
// it. Beside it, the process that has put it there holds a lease in etc/leases/, a folder that only
// root can enter. A member whose lease is free is left by a process that has died: whoever meets it
// takes the lease over and removes the member. A member without a lease, of another program or put
// there by hand, is respected as it is.
//
// A lease is taken, taken over and ended under the exclusive lock of the state file: taken before
// the member is saved, ended after its removal is saved. So a member of ours is never without one.
//
// All functions leave errno as it is. Where the folder cannot be used, there are no leases.
namespace NAVO::VELLUMO::leases {

using vellumo::support::Lease;

// Kinds of leases, by what they are of.
inline constexpr const char* kMark = "mark";        // a member of "runningFiles"
inline constexpr const char* kWaiting = "waiting";  // a job in "waitingQueue"
inline constexpr const char* kSlot = "slot";        // a slot of a container, and its running job
inline constexpr const char* kScratch = "scratch";  // scratch files

// The folder of the leases, beside the state file; ends with a slash.
std::string Folder();

// The first field is what the lease is of, the others what a healer must know. None contains a NUL.
using Fields = std::vector<std::string>;

// Makes the leases usable for this process: creates the folder and, once after each start of the
// server, removes what the processes of the time before it have left. Takes the exclusive lock of
// the state file for that, so the caller must not hold it. Cheap after the first call.
void Prepare();

// Whether a living process holds the lease of `name` among those of `kind`.
bool IsHeld(const std::string& kind, const std::string& name);

// Whether a process that has died held it.
bool IsLeft(const std::string& kind, const std::string& name);

// Takes the first of some leases that nobody holds and writes its fields, of which the first is its
// name. Waits for a moment when all are held: a process that dies may free the state file before
// its lease. Empty when living processes hold them, and where there are no leases.
Lease TakeOne(const std::string& kind, const std::vector<Fields>& leases);
Lease Take(const std::string& kind, const Fields& fields);

// The same for a lease without a name, which only TakeOverAll finds.
Lease TakeNew(const std::string& kind);

// Takes over the lease of a dead holder and reads its fields. Empty when it is not free by now, and
// when it is of another name.
Lease TakeOver(const std::string& kind, const std::string& name, Fields& fields);

// The same for all leases of `kind`, whatever their names, that are free. AnyLeft tells without the
// lock whether that is worth while; both look at every lease of the kind.
struct Left {
    Lease lease;
    Fields fields;
};
bool AnyLeft(const std::string& kind);
std::vector<Left> TakeOverAll(const std::string& kind);

// The fields of all leases of `kind` that living processes hold; those of the lease of `name`,
// empty if no living process holds it.
std::vector<Fields> FieldsOfHeld(const std::string& kind);
Fields FieldsOfHeld(const std::string& kind, const std::string& name);

// Tells those who look at the lease that its holder has died; for a healer, before it ends it.
void NoteDeath(const Lease& lease);

// A look at a lease that somebody else holds; remains possible when that is ended.
class Sight {
public:
    Sight() = default;
    Sight(const std::string& kind, const std::string& name);

    // Whether the holder has died, and a healer has ended the lease.
    bool WasLeft() const;

private:
    vellumo::support::Descriptor _file;
};

// Replace all fields; add some. A death leaves all of them that are added, or none.
void SetFields(const Lease& lease, const Fields& fields);
void AddFields(const Lease& lease, const Fields& fields);

}  // namespace NAVO::VELLUMO::leases

#endif
