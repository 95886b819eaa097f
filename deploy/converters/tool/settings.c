// SPDX-License-Identifier: Apache-2.0
#include "settings.h"

#include <stdlib.h>

const char* setting(const char* variable, const char* otherwise) {
    const char* value = getenv(variable);
    return value != NULL && *value != '\0' ? value : otherwise;
}

long number(const char* variable, long otherwise) {
    const char* value = setting(variable, NULL);
    return value != NULL ? strtol(value, NULL, 10) : otherwise;
}

const char* source_directory(void) {
    return setting("VELLUMO_SOURCE", "/Vellumo/@tmp/source");
}

const char* target_directory(void) {
    return setting("VELLUMO_TARGET", "/Vellumo/@tmp/target");
}
