// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_CONVERSION_H
#define VELLUMO_LOADER_CONVERSION_H

#include <optional>
#include <string>

#include "loader/conversion/Assignment.h"
#include "loader/conversion/Watch.h"
#include "loader/conversion/Worker.h"

namespace vellumo::loader {

// One conversion of a document in a worker process, from its preparation to its product or the
// reason why there is none. It always converts: ask KeptProducts first whether a fresh product is
// kept already.
//
// Use one object per conversion; a process may run several conversions, one after the other. The
// process must be able to become root and must not have other threads, since it forks.
class Conversion {
public:
    // `document` and the pages of `assignment` are not owned and outlive the object.
    Conversion(const Document& document, const Assignment& assignment);

    // Converts, and returns the product's path. A kept product lies in the cache; another
    // one lies in the scratch directory, and the caller moves it away while this object lives.
    //
    // Blocks until the conversion ends or `stops` stops it, and calls `listener` meanwhile. Throws
    // Failure when there is no product. Products of an earlier version of the document are removed
    // in either case.
    std::string Run(StopRequests& stops, Listener& listener);

private:
    std::string What() const { return "cannot convert " + _document.sharePath; }
    void MakeReadyToKeep() const;
    void RemoveFailureMark() const;
    std::string Product(const WorkerReport& report) const;

    const Document& _document;
    Assignment _assignment;
    std::optional<Worker> _worker;
};

}  // namespace vellumo::loader

#endif
