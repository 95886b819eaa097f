// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_XFERLOG_H
#define NAVO_XFERLOG_H

#include <cstdint>

#include "base.h"

// Appends one entry to the file-transfer log, /var/log/navo/transfer.log: who did what with which
// file. Creates the log and its directory if they are missing (modes 0640 and 0755, owned by the
// effective ids).
//
// An entry is one line, a JSON object in ASCII with the members "time" (UTC, as in
// 2026-11-20T18:58:40Z), "ip" (`remoteAddress`), "user", "action", "size" (`size`, in bytes) and
// "file" (`fileName`). It is one line whatever the texts contain; bytes that are not UTF-8 become
// U+FFFD. A null text counts as empty. `reserved` must be 0.
//
// Returns 0, or -1 with errno and the last error NAVO_ERR_BAD_PARAMETERS, NAVO_ERR_OPEN_FAILED,
// NAVO_ERR_LOCK_TIMEOUT, NAVO_ERR_LOCK_FAILED or NAVO_ERR_IO (EINVAL for a log that is not a
// regular file). An entry that does not fit on the disk is removed again.
//
// Entries of several processes do not mix: it writes each with a single call, under an exclusive
// lock on the log. Waits for that lock for at most 5 seconds.
NAVO_API int NAVOLogNOSFMXferLog(const char* remoteAddress, const char* user, const char* action,
                                 int64_t size, const char* fileName, int reserved);

#endif
