// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_FIRSTPAGE_H
#define VELLUMO_OFFICE_FIRSTPAGE_H

#include <chrono>
#include <cstdint>
#include <string>

namespace vellumo::office {

// A quarter of a second at 2 MB/s: page 1 of a smaller file is there at once as it is, and its
// conversion would take up to a tenth longer. bin/separate-pages has the same limits.
constexpr uintmax_t kSmallestToSeparate = uintmax_t{512} << 10U;

// Rewrites the PDF `path` so that a viewer that reads page 1 needs only what that page shows. The
// office gives all pages one dictionary of resources, so that a viewer has to read the pictures and
// fonts of all pages first. What the pages show, and the outline, links, tags and form fields stay.
//
// Leaves the PDF as it is when it has fewer than `smallest` bytes or a single page, when it is not
// sound, when there is an error, or when the time limit or `until` is reached. Writes only in the
// PDF's folder and leaves nothing else there, unless this process is killed.
void SeparatePages(const std::string& path, std::chrono::steady_clock::time_point until,
                   uintmax_t smallest = kSmallestToSeparate);

}  // namespace vellumo::office

#endif
