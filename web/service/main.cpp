// SPDX-License-Identifier: Apache-2.0
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "supervisor/Check.h"
#include "supervisor/Supervisor.h"

namespace {

namespace supervisor = vellumo::web::supervisor;

constexpr int kUsage = 2;

constexpr const char* kHelp =
    "vellumo-web [OPTION...]\n"
    "\n"
    "Shows the documents of the server's shares in a browser, to each user what the user may\n"
    "read. Needs the rights of root. Runs in the foreground until it gets SIGTERM or SIGINT.\n"
    "\n"
    "  --check               say what is wrong with the settings and this machine, and exit\n"
    "  --settings FILE       read FILE instead of /etc/vellumo/web.conf\n"
    "  --pam-directory DIR   read PAM's configuration from DIR instead of /etc/pam.d\n"
    "  --help                print this text and exit\n"
    "  --version             print the version and exit\n"
    "\n"
    "Exit status: 0 stopped on request, or nothing is wrong; 1 it cannot start or go on, or\n"
    "something is wrong; 2 wrong usage\n";

struct Options {
    bool isCheck = false;
    std::string file = supervisor::kSettingsFile;
    std::string pamDirectory;
};

// The exit status: success unless the service could not start.
int Say(const supervisor::Findings& findings) {
    for (const std::string& problem : findings.problems) {
        std::cerr << "vellumo-web: " << problem << '\n';
    }
    for (const std::string& hint : findings.hints) {
        std::cerr << "vellumo-web: hint: " << hint << '\n';
    }
    return findings.problems.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int Start(const Options& options) {
    openlog("vellumo-web", LOG_PID, LOG_DAEMON);
    supervisor::Findings found;
    supervisor::Settings settings = supervisor::Settings::Read(options.file, found.problems);
    settings.pamDirectory = options.pamDirectory;
    if (options.isCheck) {
        found.Add(supervisor::Check(settings));
        return Say(found);
    }
    found.Add({supervisor::ObstaclesOf(settings), {}});
    if (!found.problems.empty()) {
        return Say(found);
    }
    try {
        return supervisor::Supervisor(settings).Run();
    } catch (const std::exception& error) {
        std::cerr << "vellumo-web: " << error.what() << '\n';
        syslog(LOG_ERR, "%s", error.what());
        return EXIT_FAILURE;
    }
}

int Misused(const std::string& option) {
    std::cerr << "vellumo-web: '" << option << "' is not understood; --help shows how to use it\n";
    return kUsage;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    Options options;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (argument == "--help") {
            std::cout << kHelp;
            return EXIT_SUCCESS;
        }
        if (argument == "--version") {
            std::cout << "vellumo-web " VELLUMO_VERSION "\n";
            return EXIT_SUCCESS;
        }
        if (argument == "--check") {
            options.isCheck = true;
        } else if (argument == "--settings" && hasValue) {
            options.file = arguments[++i];
        } else if (argument == "--pam-directory" && hasValue) {
            options.pamDirectory = arguments[++i];
        } else {
            return Misused(argument);
        }
    }
    return Start(options);
}
