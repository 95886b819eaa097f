// SPDX-License-Identifier: Apache-2.0
#include "exchange/words.h"

#include <stddef.h>
#include <string.h>

const char* words_file_name(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash != NULL ? slash + 1 : path;
}

const char* words_within(const char* path, const char* directory) {
    size_t length = strlen(directory);
    while (length > 0 && directory[length - 1] == '/') {
        --length;
    }
    if (strncmp(path, directory, length) != 0) {
        return NULL;
    }
    if (path[length] == '\0') {
        return path + length;
    }
    const char* name = path + length + 1;
    return path[length] == '/' && strchr(name, '/') == NULL && strcmp(name, "..") != 0 &&
                   strcmp(name, ".") != 0
               ? name
               : NULL;
}

const char* words_path_in(const char* word) {
    const char* equals = strchr(word, '=');
    return word[0] != '/' && equals != NULL ? equals + 1 : word;
}
