// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "app/Daemon.h"
#include "app/Log.h"

namespace {

constexpr int kUsage = 2;

constexpr const char* kHelp =
    "navovellumod\n"
    "\n"
    "Keeps PDFs and thumbnails of the documents in the server's shares, so that they are there\n"
    "before somebody asks. Works on the queue ('vellumo queue'), on the indexing queue and on\n"
    "documents that change. Needs the rights of root. Runs in the foreground until it gets\n"
    "SIGTERM or SIGINT; SIGHUP makes it read its settings again ('vellumo settings').\n"
    "'vellumo status' shows what it does.\n"
    "\n"
    "  --help      print this text and exit\n"
    "  --version   print the version and exit\n"
    "\n"
    "Exit status: 0 stopped on request, 1 it cannot start or go on, 2 wrong usage\n";

int Start() {
    vellumo::daemon::OpenLog();
    try {
        return vellumo::daemon::Daemon().Run();
    } catch (const vellumo::loader::Failure& failure) {
        const std::string text = vellumo::daemon::InOneLine(failure.Details());
        vellumo::daemon::LogError(text);
        if (isatty(STDERR_FILENO) != 1) {
            std::cerr << "navovellumod: " << text << '\n';
        }
    } catch (const std::exception& error) {
        vellumo::daemon::LogError(std::string("cannot go on: ") + error.what());
    }
    return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) {
        return Start();
    }
    const std::string option = argv[1];
    if (argc == 2 && (option == "--help" || option == "-h")) {
        std::cout << kHelp;
        return EXIT_SUCCESS;
    }
    if (argc == 2 && option == "--version") {
        std::cout << "navovellumod " VELLUMO_VERSION "\n";
        return EXIT_SUCCESS;
    }
    std::cerr << "navovellumod: there is no option '" << argv[argc - 1]
              << "'; --help shows how to use it\n";
    return kUsage;
}
