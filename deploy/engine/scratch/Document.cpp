// SPDX-License-Identifier: Apache-2.0
#include "scratch/Document.h"

#include <cerrno>
#include <system_error>

#include "Failure.h"
#include "exchange/exchange.h"
#include "support/Descriptor.h"

namespace vellumo::engine {
namespace {

Failure Refusal(const std::string& document, const char* reason, int error) {
    return {kRefused,
            document + " " +
                (reason != nullptr ? reason
                                   : "cannot be read: " + std::generic_category().message(error))};
}

}  // namespace

void CopyDocument(const std::string& source, const std::string& copy) {
    exchange_document document{};
    const char* reason = nullptr;
    if (exchange_open(source.c_str(), &document, &reason) != 0) {
        const int error = errno;
        throw Refusal(source, reason, error);
    }
    const support::Descriptor file(document.file);
    if (exchange_copy(&document, copy.c_str()) != 0) {
        const int error = errno;
        throw SystemFailure("cannot copy " + source + " to " + copy, error);
    }
}

}  // namespace vellumo::engine
