// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_WARMUP_H
#define VELLUMO_OFFICE_WARMUP_H

#include <functional>
#include <string>

#include "Kit.h"

namespace vellumo::office {

// Saves the documents in the directory `documents` in the usual formats, in the directory `folder`,
// and converts them, so that the office has loaded what it needs for the first real one. Throws
// Failure when that fails, and when the office still has another thread afterwards: such a process
// cannot be forked. Asks `mayGoOn` before each document, and leaves out the rest when that returns
// false. Returns whether all were converted.
bool WarmUp(const Context& context, const std::string& documents, const std::string& folder,
            const std::function<bool()>& mayGoOn);

}  // namespace vellumo::office

#endif
