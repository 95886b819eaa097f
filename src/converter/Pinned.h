// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_PINNED_H
#define VELLUMO_CONVERTER_PINNED_H

#include <string>

#include "vellumo/Path.h"

namespace NAVO::VELLUMO::converter {

// A document that a service converts and keeps products of. Between the steps somebody may give its
// name to another file. The object remembers which file is meant, so that no product of one file is
// kept for another.
class Pinned {
public:
    // Pins the file that `source` means (its attribute EADirectory) or, without that, the file that
    // has its real path now. `source` is not owned and outlives the object.
    explicit Pinned(const path::Path& source);

    // The same document for a conversion, which fails if it would convert another file.
    const path::Path& Source() const { return _isKnown ? _pinned : _source; }

    // The extended-attribute directory of the pinned file; "" when there can be none.
    const std::string& Directory() const { return _directory; }

private:
    const path::Path& _source;
    path::Path _pinned;
    std::string _directory;
    bool _isKnown = false;
};

}  // namespace NAVO::VELLUMO::converter

#endif
