// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONFIG_BOOTRECORD_H
#define VELLUMO_CONFIG_BOOTRECORD_H

namespace NAVO::VELLUMO::leases {

// After a power cut the state file may be on the disk with a member whose lease is not. So the
// folder of the leases records, durably, the server's last start in which the leases were used.
//
// If that was an earlier start, removes from the state file what the processes of that time held:
// all marks, waiting and running jobs and counts of running commands. Also removes their leases and
// their scratch files. Then records the present start. Without a record nothing is known, and all
// is respected. Takes the exclusive lock of the state file if there is something to remove.
void HealAfterBoot();

}  // namespace NAVO::VELLUMO::leases

#endif
