// SPDX-License-Identifier: Apache-2.0
#include "exchange/products.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "exchange/words.h"

static void add(struct products* products, const char* name) {
    if (products->count < PRODUCTS_MOST) {
        char* stem = products->stems[products->count++];
        (void)snprintf(stem, EXCHANGE_NAME, "%s", name);
        char* dot = strrchr(stem, '.');
        if (dot != NULL && dot != stem) {
            *dot = '\0';
        }
    }
}

static const char* find_document(int count, char* const* words, const char* source) {
    for (int i = 1; i < count; ++i) {
        const char* name = words_within(words_path_in(words[i]), source);
        if (name != NULL && *name != '\0') {
            return name;
        }
    }
    return NULL;
}

void products_find(int count, char* const* words, const char* source, const char* target,
                   struct products* products) {
    const char* document = find_document(count, words, source);
    products->count = 0;
    products->any = document == NULL;
    for (int i = 1; i < count && !products->any; ++i) {
        const char* name = words_within(words_path_in(words[i]), target);
        if (name != NULL) {
            add(products, *name != '\0' ? name : document);
        }
    }
}

static bool is_of(const char* name, const char* stem) {
    const size_t length = strlen(stem);
    if (length == 0 || strncmp(name, stem, length) != 0) {
        return false;
    }
    const char* rest = name + length;
    if (*rest == '-') {
        const size_t digits = strspn(rest + 1, "0123456789");
        rest += digits > 0 ? 1 + digits : 0;
        return *rest == '.';
    }
    return *rest == '\0' || *rest == '.';
}

bool products_has(const struct products* products, const char* name) {
    bool found = products->any;
    for (unsigned i = 0; i < products->count && !found; ++i) {
        found = is_of(name, products->stems[i]);
    }
    return found;
}
