// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_EXPORT_H
#define VELLUMO_EXPORT_H

// Marks what libvellumo.so exports. The library is built with hidden visibility, so its interface
// is exactly what carries this mark.
#define VELLUMO_API __attribute__((visibility("default")))

// Keeps a private member of an exported class to the library.
#define VELLUMO_INTERNAL __attribute__((visibility("hidden")))

#endif
