// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_XFERLOG_H
#define NAVO_XFERLOG_H

#include <cstdint>

#include "base.h"

// Appends one entry to the file-transfer log, /var/log/navo/transfer.log: who did what with which
// file. The log and its folder are made when they are missing (modes 0640 and 0755, owned by the
// effective ids).
//
// An entry is one line, a JSON object in ASCII with the members "time" (UTC, as in
// 2026-11-20T18:58:40Z), "ip" (`remoteAddress`), "user", "action", "size" (`size`, in bytes) and
// "file" (`fileName`). Whatever the texts hold, it stays one line; bytes that are no UTF-8 come as
// U+FFFD. Null texts are empty ones. `reserved` must be 0.
//
// Written by a single call under an exclusive lock on the log, waited for at most 5 seconds, so
// entries of several processes do not mix; an entry that finds no room is taken back.
// Returns 0, or -1 with errno and NAVO_ERR_BAD_PARAMETERS, NAVO_ERR_OPEN_FAILED,
// NAVO_ERR_LOCK_TIMEOUT, NAVO_ERR_LOCK_FAILED or NAVO_ERR_IO (EINVAL for a log that is no regular
// file).
NAVO_API int NAVOLogNOSFMXferLog(const char* remoteAddress, const char* user, const char* action,
                                 int64_t size, const char* fileName, int reserved);

#endif
