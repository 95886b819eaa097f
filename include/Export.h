// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_EXPORT_H
#define VELLUMO_EXPORT_H

// Marks what libvellumo.so exports. The library is built with hidden visibility, so exactly the
// names with this mark are its interface.
#define VELLUMO_API __attribute__((visibility("default")))

// Hides a private member of an exported class: only the library itself can call it.
#define VELLUMO_INTERNAL __attribute__((visibility("hidden")))

#endif
