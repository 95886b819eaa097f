// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_KIT_H
#define VELLUMO_OFFICE_KIT_H

#include <com/sun/star/uno/XComponentContext.hpp>
#include <functional>
#include <string>

struct _LibreOfficeKit;

namespace vellumo::office {

using Context = com::sun::star::uno::Reference<com::sun::star::uno::XComponentContext>;

// The office, loaded into this process. A process may have one.
class Kit {
public:
    // Loads the office with the settings in `profile`, the path of a registrymodifications.xcu that
    // it only reads. Throws Failure when the installed office cannot be used in this way.
    explicit Kit(const std::string& profile);
    Kit(const Kit&) = delete;
    Kit& operator=(const Kit&) = delete;

    // Throws Failure when the installed office cannot be used in this way, and loads nothing of it.
    static void Check();

    // Becomes the office's main loop, which calls `work` once: `work` may use the office, and ends
    // the process.
    [[noreturn]] void Run(std::function<void(const Context&)> work);

    // Forgets the authors of changes in all documents so far, who have the first colours otherwise.
    static void ForgetAuthors();

    // In a fork of this process: makes a main loop of its own.
    static void LeaveParent();

    // Makes the office put its temporary files into `directory` from now on.
    static void UseForTemporaryFiles(const std::string& directory);

private:
    _LibreOfficeKit* _office;
};

}  // namespace vellumo::office

#endif
