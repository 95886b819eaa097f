// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONSTANTS_H
#define VELLUMO_CONSTANTS_H

#include <cstdint>

#include "Export.h"

// The package's fixed locations and limits, one home for the library and for every program that
// loads it. SZF_ is a file or directory, SZK_ a key (the name of a cached stream), SZ_ other text.
// All are immutable and may be read from any thread.
namespace NAVO::VELLUMO {

// The daemon's indexing queue file that is being worked on.
VELLUMO_API extern const char* const SZF_INDEX_QUEUE_WORKING;
// Directory of the indexing queue, with its trailing slash.
VELLUMO_API extern const char* const SZF_INDEX_QUEUE_DIR;
// The daemon's indexing queue file.
VELLUMO_API extern const char* const SZF_INDEX_QUEUE;
// Indexing settings.
VELLUMO_API extern const char* const SZF_INDEX_CONFIG;
// The daemon's executable.
VELLUMO_API extern const char* const SZF_INDEX_DAEMON;
// Marker file whose presence switches indexing on.
VELLUMO_API extern const char* const SZF_ENABLE_INDEX;
// The daemon's pid file.
VELLUMO_API extern const char* const SZF_PIDPATH;
// Per-user data directory of the package.
VELLUMO_API extern const char* const SZF_UDC_PATH;
// The user name under which visitors of a sharing link are treated.
VELLUMO_API extern const char* const SZ_ANONYMOUS_USER;
// The action text of a transfer-log entry for a viewed document.
VELLUMO_API extern const char* const SZ_TYPE_VIEW;
// Comma-separated file extensions that the package offers to view ("sxd" stands in it twice).
VELLUMO_API extern const char* const SZF_SUPPORT_FILE_TYPES;
// Stream name of a document's converted PDF.
VELLUMO_API extern const char* const SZK_THUMB_PDF_TYPE;
// Stream name of a document's thumbnail.
VELLUMO_API extern const char* const SZK_THUMB_TYPE;
// Scratch directory for products, relative to the docker scratch root; also its absolute path
// inside every container. Begins and ends with a slash.
VELLUMO_API extern const char* const SZF_COVERT_TARGET_DIR;
// Scratch directory for sources, in the same way.
VELLUMO_API extern const char* const SZF_COVERT_SOURCE_DIR;
// The docker scratch root, relative to the volume that holds the docker share.
VELLUMO_API extern const char* const SZF_DOCKER_DIR;
// SQLite file of conversions requested by other packages.
VELLUMO_API extern const char* const SZF_THIRD_PARTY_DB_PATH;
// SQLite index of the conversion cache.
VELLUMO_API extern const char* const SZF_CACHE_DB_PATH;
// SQLite file of the conversion task queue.
VELLUMO_API extern const char* const SZF_THUMB_DB_PATH;
// The JSON state file; it carries its own lock.
VELLUMO_API extern const char* const SZF_CONFIG_PATH;

// Seconds to wait for the state file's lock.
VELLUMO_API extern const int32_t LOCK_TIMEOUT_SECS;
// Microseconds between two looks while waiting for a container slot or for another process.
VELLUMO_API extern const int32_t USLEEP_TIME;
// Commands that may run at once in one container.
VELLUMO_API extern const int32_t PARALLEL_COUNT;
// Bytes (350 MiB); kept by the container pool.
VELLUMO_API extern const int32_t MAX_MEMORY_COUNT;
// Kept by the container pool.
VELLUMO_API extern const int32_t MAX_USING_COUNT;
// Length of the home alias in a share path with both of its slashes: "/home/".
VELLUMO_API extern const int32_t HOME_LENGTH;

}  // namespace NAVO::VELLUMO

#endif
