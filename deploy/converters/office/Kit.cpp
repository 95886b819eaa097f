// SPDX-License-Identifier: Apache-2.0
#include "Kit.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#define LOK_USE_UNSTABLE_API
#include <LibreOfficeKit/LibreOfficeKit.h>
#include <LibreOfficeKit/LibreOfficeKitInit.h>

#include <algorithm>
#include <com/sun/star/beans/NamedValue.hpp>
#include <com/sun/star/beans/XPropertySet.hpp>
#include <com/sun/star/lang/XMultiServiceFactory.hpp>
#include <com/sun/star/util/XChangesBatch.hpp>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Failure.h"
#include "Statuses.h"

namespace vellumo::office {
namespace {

namespace beans = com::sun::star::beans;
namespace lang = com::sun::star::lang;
namespace uno = com::sun::star::uno;
namespace util = com::sun::star::util;

constexpr const char* kProgram = VELLUMO_OFFICE_PROGRAM;

// Functions of the office that belong to no interface. Debian 12's office has them; another one may
// not, and cannot be used in this way then.
struct Internals {
    uno::Reference<uno::XComponentContext> (*context)();
    void (*setKitActive)(bool);
    rtl::OUString (*setTemporaryDirectory)(const rtl::OUString&);
};

// Those of the texts' part of the office, with the number that it has among the parts.
struct TextInternals {
    void* (*module)(int);
    void (*clearAuthors)(void*);
};
constexpr int kTextModule = 3;

void* Open(const char* library) {
    void* const opened =
        dlopen((std::string(kProgram) + '/' + library).c_str(), RTLD_LAZY | RTLD_GLOBAL);
    if (opened == nullptr) {
        throw Failure(kCannotPreload, dlerror());
    }
    return opened;
}

template <typename Function>
void Find(void* library, Function*& function, const char* symbol) {
    function = reinterpret_cast<Function*>(dlsym(library, symbol));
    if (function == nullptr) {
        throw Failure(kCannotPreload, std::string("the installed office has no ") + symbol +
                                          "; this program was made for another version");
    }
}

Internals FindInternals() {
    static void* const library = Open("libmergedlo.so");
    Internals found{};
    Find(library, found.context, "_ZN10comphelper26getProcessComponentContextEv");
    Find(library, found.setKitActive, "_ZN10comphelper14LibreOfficeKit9setActiveEb");
    Find(library, found.setTemporaryDirectory,
         "_ZN3utl8TempFile24SetTempNameBaseDirectoryERKN3rtl8OUStringE");
    return found;
}

TextInternals FindTextInternals() {
    static void* const library = Open("libswlo.so");
    TextInternals found{};
    Find(library, found.module, "_ZN14SfxApplication9GetModuleE14SfxToolsModule");
    Find(library, found.clearAuthors, "_ZN8SwModule19ClearRedlineAuthorsEv");
    return found;
}

// The registry layers of the installation. The others are for a user's own extensions and settings.
std::string InstalledLayers() {
    std::ifstream file(std::string(kProgram) + "/fundamentalrc");
    const std::string name = "CONFIGURATION_LAYERS=";
    std::string kept;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(name, 0) != 0) {
            continue;
        }
        std::istringstream layers(line.substr(name.size()));
        for (std::string layer; layers >> layer;) {
            if (layer.rfind("xcsxcu:", 0) == 0 || layer.rfind("res:", 0) == 0) {
                kept += layer + ' ';
            }
        }
    }
    return kept;
}

void SetEnvironment(const std::string& profile) {
    const std::string folder = profile.substr(0, profile.rfind('/'));
    // The asterisk makes the layer read-only: without it, the office starts a thread that saves it.
    const std::string layers = InstalledLayers() + "user:*file://" + profile;
    setenv("CONFIGURATION_LAYERS", layers.c_str(), 1);
    setenv("UserInstallation", ("file://" + folder).c_str(), 1);
    setenv("SAL_USE_VCLPLUGIN", "svp", 1);
    setenv("SAL_LOK_OPTIONS", "unipoll", 1);
    setenv("SAL_DISABLE_CUPS", "1", 1);
}

// What the main loop's two callbacks have in common.
struct Loop {
    std::function<void(const Context&)> work;
    uno::Reference<uno::XComponentContext> context;
    int wake = -1;  // an eventfd
    bool isWorking = false;
};

Loop& TheLoop() {
    static Loop loop;
    return loop;
}

void MakeWake() {
    TheLoop().wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

// The office calls this when it has nothing to do. The first call does the work; in the calls
// during the work, the office waits for a timer or another thread.
int Poll(void* /*data*/, int microseconds) {
    Loop& loop = TheLoop();
    if (!loop.isWorking) {
        loop.isWorking = true;
        loop.work(loop.context);
    }
    pollfd waking{loop.wake, POLLIN, 0};
    const int woken = poll(&waking, 1, microseconds < 0 ? -1 : (microseconds + 999) / 1000);
    uint64_t count = 0;
    static_cast<void>(!read(loop.wake, &count, sizeof count));
    return woken > 0 ? 1 : 0;
}

void Wake(void* /*data*/) {
    const uint64_t one = 1;
    static_cast<void>(!write(TheLoop().wake, &one, sizeof one));
}

// The kit makes the office American; a cold one takes the locale of its environment.
void ResetLocale(const Context& context) {
    const uno::Reference<lang::XMultiServiceFactory> provider(
        context->getServiceManager()->createInstanceWithContext(
            "com.sun.star.configuration.ConfigurationProvider", context),
        uno::UNO_QUERY_THROW);
    const uno::Any place(
        beans::NamedValue("nodepath", uno::Any(rtl::OUString("/org.openoffice.Setup/L10N"))));
    const uno::Sequence<uno::Any> arguments(&place, 1);
    const uno::Reference<beans::XPropertySet> settings(
        provider->createInstanceWithArguments(
            "com.sun.star.configuration.ConfigurationUpdateAccess", arguments),
        uno::UNO_QUERY_THROW);
    settings->setPropertyValue("ooSetupSystemLocale", uno::Any(rtl::OUString()));
    uno::Reference<util::XChangesBatch>(settings, uno::UNO_QUERY_THROW)->commitChanges();
}

LibreOfficeKit* LoadOffice(const std::string& profile) {
    SetEnvironment(profile);
    FindInternals();
    LibreOfficeKit* const office = lok_init_2(kProgram, nullptr);
    if (office == nullptr) {
        throw Failure(kCannotPreload, "the office cannot be loaded into a process");
    }
    return office;
}

}  // namespace

Kit::Kit(const std::string& profile) : _office(LoadOffice(profile)) {}

void Kit::Check() {
    FindInternals();
    FindTextInternals();
}

void Kit::Run(std::function<void(const Context&)> work) {
    const Internals internals = FindInternals();
    Loop& loop = TheLoop();
    loop.work = std::move(work);
    loop.context = internals.context();
    MakeWake();
    try {
        ResetLocale(loop.context);
    } catch (const uno::Exception&) {
        throw Failure(kCannotPreload, "the office does not let its locale be set");
    }
    // Many parts of the office behave differently, also in what they write, while the kit is
    // active.
    internals.setKitActive(false);
    // With null as the data of the callbacks, the office would leave the loop at once.
    _office->pClass->runLoop(_office, Poll, Wake, &loop);
    _exit(kCannotPreload);  // the main loop ends only when the work has not ended the process
}

void Kit::ForgetAuthors() {
    const TextInternals internals = FindTextInternals();
    void* const texts = internals.module(kTextModule);
    if (texts != nullptr) {  // null as long as the office has loaded no text
        internals.clearAuthors(texts);
    }
}

void Kit::LeaveParent() {
    close(TheLoop().wake);
    MakeWake();
}

void Kit::UseForTemporaryFiles(const std::string& directory) {
    setenv("TMPDIR", directory.c_str(), 1);
    // There it puts the fonts that are embedded in a document. It has read its settings long ago.
    setenv("UserInstallation", ("file://" + directory).c_str(), 1);
    FindInternals().setTemporaryDirectory(rtl::OUString::fromUtf8(("file://" + directory).c_str()));
}

}  // namespace vellumo::office
