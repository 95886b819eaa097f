// SPDX-License-Identifier: Apache-2.0
// vellumo-tool runs the converters' tools in a container, where it is on the search path under the
// names of the tools. It sends the usual commands for an office to vellumo-office, with the open
// document, and publishes the PDF that it gets. For every other command, and when no office
// answers, it copies the document into a new room, a directory for a user without rights, and runs
// the tool there as that user, in the jail. The tool can read this document and no other, and write
// only in its room. When the tool has ended, everything that it has started is ended too; its
// products are published in the target directory unless a signal ended it.
//
// Exit status: that of the tool, 128 + N when signal N ended it; 1 when the document is refused;
// 125 when the room cannot be made; 127 when there is no such tool.
//
// Environment, for places other than a container's:
//   VELLUMO_SOURCE, VELLUMO_TARGET   the scratch directories (/Vellumo/@tmp/source, …/target)
//   VELLUMO_ROOT                     prefix of these paths where this program runs ("")
//   VELLUMO_ROOMS                    directory in which rooms are made (/tmp/vellumo-rooms)
//   VELLUMO_OFFICE_SOCKET            socket of vellumo-office (/run/vellumo/office)
//   VELLUMO_OFFICE_WAIT              milliseconds to wait for a sign of it before a cold office
//   starts
//                                    (1200)
//   VELLUMO_USERS                    number of the block of user ids, one for each tool (1024); see
//                                    jail/users.h
//   VELLUMO_COLD_STATUS              if set, this program ends with this exit status when the warm
//                                    office does not run the command, so that the caller can run
//                                    it elsewhere
#include <sys/stat.h>

#include "call.h"
#include "cold.h"
#include "office.h"
#include "settings.h"

static int convert(Call* call) {
    const int status = run_warm(call);
    if (status >= 0) {
        return status;
    }
    const int instead = (int)number("VELLUMO_COLD_STATUS", -1);
    return instead >= 0 ? instead : run_cold(call);
}

int main(int argc, char** argv) {
    (void)umask(S_IWGRP | S_IWOTH);
    Call call = begin_call(argc, argv);
    finish(&call, convert(&call));
}
