// SPDX-License-Identifier: Apache-2.0
// vellumo-tool: the converters' tools as a container has them on its search path, this program
// under the tools' names. The document is copied into a room of its own, which belongs to a user
// without rights, and the tool runs there as that user: it sees this document and no other, and
// what it makes goes to the target directory when it has ended well. The office's usual commands
// are answered by the warm office, if it is free.
//
// Exit status: the tool's own, 128 + N when signal N ended it; 1 for a document that is refused;
// 125 when the room cannot be made; 127 when there is no such tool.
//
// Environment, for places other than a container's:
//   VELLUMO_SOURCE, VELLUMO_TARGET   the scratch directories (/Vellumo/@tmp/source, …/target)
//   VELLUMO_ROOT                     what stands before these names where this program runs ("")
//   VELLUMO_ROOMS                    where rooms are made (/tmp)
//   VELLUMO_OFFICE_SOCKET            where the warm office listens (/run/vellumo/office)
//   VELLUMO_OFFICE_WAIT              how long to wait for it before a cold one is started (1200 ms)
//   VELLUMO_OFFICE_UID, VELLUMO_TOOL_UID   users of the warm office and of the tools (65534)
//   VELLUMO_COLD_STATUS              exit status instead of running a tool here: the caller has
//                                    another place for what the warm office does not do
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
