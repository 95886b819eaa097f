// SPDX-License-Identifier: Apache-2.0
// Copies a document for a tool, and publishes the tool's products in the target directory. The
// embedded engine and vellumo-tool both use these functions, which are therefore in C17.
#ifndef VELLUMO_CONVERTERS_EXCHANGE_H
#define VELLUMO_CONVERTERS_EXCHANGE_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { EXCHANGE_NAME = 256 };  // bytes of a file name with its terminating zero byte

struct products;  // the names that products may have, see products.h

// A document that a tool may read.
struct exchange_document {
    int file;    // descriptor open for reading; the caller closes it
    off_t size;  // in bytes, at the time when it was opened
};

// Opens the document `path`. Returns 0, or -1 for a document that no tool may read: one that cannot
// be opened, one that is not a regular file, an empty one (tools turn it into a blank page) and a
// .pdf that is not a PDF (it would be run as a PostScript program). On failure, `*reason` is a
// static text that tells why, or null when errno does.
int exchange_open(const char* path, struct exchange_document* document, const char** reason);

// Copies the document to the new file `copy`, which all users may read. The copy has at most the
// size that the document had when it was opened, keeps its holes, and shares its blocks where the
// file system supports it. Returns 0, or -1 with errno; on failure an incomplete copy may remain.
int exchange_copy(const struct exchange_document* document, const char* copy);

// Publishes the products in the directory `made`, both arguments being open descriptors: each
// product becomes a file of the caller with mode 0644 in the directory `target`, appears there in
// one step, and replaces a file of the same name. Products are regular files with a name in
// `products` that belong to the owner of `made`, are not hidden and are not temporary files of an
// office. The owner of `made` may be writing there.
//
// Returns 0, or -1 with errno. On failure, `failed` is the name of the product that could not be
// published, or empty; the products after it are not published.
int exchange_publish(int made, int target, const struct products* products,
                     char failed[EXCHANGE_NAME]);

// Publishes the content of the open file `product` as `name` in the directory `target`, in the same
// way. Others may be writing to the file. Returns 0, or -1 with errno, which is EINVAL if it is no
// regular file.
int exchange_publish_file(int product, int target, const char* name);

#ifdef __cplusplus
}
#endif

#endif
