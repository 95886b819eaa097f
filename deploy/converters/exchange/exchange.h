// SPDX-License-Identifier: Apache-2.0
// How a document comes to a tool, and how what the tool makes of it comes to the target directory:
// the same for the embedded engine and for vellumo-tool. C17, for both.
#ifndef VELLUMO_CONVERTERS_EXCHANGE_H
#define VELLUMO_CONVERTERS_EXCHANGE_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { EXCHANGE_NAME = 256 };  // bytes of a file's name, with its end

// A document that a tool may see.
struct exchange_document {
    int file;    // open for reading; the caller closes it
    off_t size;  // when it was opened
};

// Opens the document `path`. Returns -1 for one that no tool should see: one that cannot be opened,
// no regular file, an empty one (tools make a blank page of it) and a .pdf that is none (it would
// be run as a PostScript program). `*reason` is the text that tells why, or null when errno does.
int exchange_open(const char* path, struct exchange_document* document, const char** reason);

// Copies it to the new file `copy`, which all may read. The copy ends at the size that the document
// had when it was opened, keeps its holes and shares its blocks where the file system can. Returns
// -1 with errno on failure; what was copied by then is left.
int exchange_copy(const struct exchange_document* document, const char* copy);

// Publishes what lies in the directory `made`: each product becomes a file of the caller's with
// mode 0644 in the directory `target`, in one step, and replaces what has its name there. Products
// are regular files that belong to the owner of `made`, are not hidden and are no temporary file of
// an office. Whoever owns `made` may be at work in it.
//
// Returns -1 with errno on failure; `failed` is then the name of the product that could not be
// published, or empty, and of those that come after it none is.
int exchange_publish(int made, int target, char failed[EXCHANGE_NAME]);

#ifdef __cplusplus
}
#endif

#endif
