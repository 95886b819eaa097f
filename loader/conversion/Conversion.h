// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_CONVERSION_H
#define VELLUMO_LOADER_CONVERSION_H

#include <optional>
#include <string>

#include "loader/conversion/Assignment.h"
#include "loader/conversion/Watch.h"
#include "loader/conversion/Worker.h"

namespace vellumo::loader {

// One conversion of a document, in a worker process, from what it needs beforehand to its product
// or the reason why there is none. It looks at no kept product: whether one is fresh is a question
// to KeptProducts.
//
// An object is for one conversion; several in one process are possible one after the other. The
// process must be able to become root and must not have threads.
class Conversion {
public:
    // `document` and what `assignment` points to are not owned and outlive the object.
    Conversion(const Document& document, const Assignment& assignment);

    // Converts, and returns where the product lies: kept for the document, or in the scratch
    // directory, where it is the caller's to move away as long as this object lives.
    //
    // Blocks until the conversion has ended or was stopped by `stops`. Throws Failure when there is
    // no product; what an earlier version of the document has left is then gone all the same.
    std::string Run(StopRequests& stops, Listener& listener);

private:
    std::string What() const { return "cannot convert " + _document.sharePath; }
    void MakeReadyToKeep() const;
    void Tidy() const;
    std::string Product(const WorkerReport& report) const;

    const Document& _document;
    Assignment _assignment;
    std::optional<Worker> _worker;
};

}  // namespace vellumo::loader

#endif
