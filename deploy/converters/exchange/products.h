// SPDX-License-Identifier: Apache-2.0
// The names that a command's products may have. A tool that its document has taken over must not
// replace another document's product.
#ifndef VELLUMO_CONVERTERS_PRODUCTS_H
#define VELLUMO_CONVERTERS_PRODUCTS_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "exchange/exchange.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { PRODUCTS_MOST = 4 };  // names in one command

struct products {
    char stems[PRODUCTS_MOST][EXCHANGE_NAME];  // names without what follows the last dot
    unsigned count;
    bool any;  // every name is permitted
};

// Finds out what the `count` words of a command name as its products: files in the directory
// `target`, or that directory itself, in which a tool makes a product with the document's name. A
// command without a document in the directory `source` reads nothing that could take it over, so
// its products may have any names.
void products_find(int count, char* const* words, const char* source, const char* target,
                   struct products* products);

// Whether a product may have this name: one of the stems, followed by nothing, by an extension, or
// by a hyphen, digits and an extension, as ImageMagick names the pages of a document.
bool products_has(const struct products* products, const char* name);

#ifdef __cplusplus
}
#endif

#endif
