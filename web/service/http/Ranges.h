// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_HTTP_RANGES_H
#define VELLUMO_WEB_HTTP_RANGES_H

#include <cstdint>
#include <string>
#include <string_view>

#include "http/Request.h"

// Which part of a file a request asks for.
namespace vellumo::web::http {

struct Part {
    enum class Kind { kWhole, kRange, kUnchanged, kUnsatisfiable };
    Kind kind = Kind::kWhole;
    uint64_t first = 0;   // for kRange: offset in bytes
    uint64_t length = 0;  // for kWhole and kRange
};

// The part of a file of `size` bytes with the strong entity tag `tag` (with its quotes).
// kUnchanged: If-None-Match names the tag. One range is served; several, an odd one, or one whose
// If-Range names another tag or a date, mean the whole file.
Part PartOf(const Request& request, uint64_t size, std::string_view tag);

}  // namespace vellumo::web::http

#endif
