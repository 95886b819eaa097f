// SPDX-License-Identifier: Apache-2.0
// Keeps an office in memory and gives each document a fork of it; see kHelp.
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "Failure.h"
#include "Inherited.h"
#include "Kit.h"
#include "Memory.h"
#include "Profile.h"
#include "Room.h"
#include "Server.h"
#include "Settings.h"
#include "State.h"
#include "Statuses.h"
#include "WarmUp.h"
#include "jail/users.h"

namespace vellumo::office {
namespace {

constexpr const char* kHelp =
    R"(vellumo-office keep | check | state
vellumo-office --help

keep loads an office into memory once, and gives each document that vellumo-tool brings a fork of
it. The fork has a user id of its own, can reach nothing but the document, and ends with it.
check tells whether keep can work here. state prints what the running office does.

Exit status: 0; 69 the directory of the socket is gone, or no office answers; 78 no office can be
kept in memory here, the reason is on standard error; 64 wrong usage.

Environment:
  VELLUMO_OFFICE_SOCKET    path of the socket (/run/vellumo/office)
  VELLUMO_USERS            number of the block of user ids for documents (1024)
  VELLUMO_OFFICE_AT_ONCE   documents that are converted at a time (processors, from 2 to 8)
  VELLUMO_OFFICE_SPARES    forks that wait for a document (1)
  VELLUMO_OFFICE_DEADLINE  time limit for a document, in seconds (118)
  VELLUMO_OFFICE_MEMORY    memory limit for a document, in MiB (1024)
  VELLUMO_OFFICE_SPACE     limit of what is made of a document, in MiB (768)
  VELLUMO_ROOMS            directory of vellumo-tool's rooms (/tmp/vellumo-rooms)
)";

constexpr unsigned kStartLimit = 60;  // seconds after which SIGALRM ends an office that hangs

// Kept until this process ends: the office never returns from its main loop.
struct Keeping {
    Settings settings;
    std::optional<Home> home;
    std::string folder;   // of the office's own files
    std::string profile;  // path of the settings
    std::optional<Server> server;
};

// Makes the directory for the office's own files, in `home`, and returns its path.
std::string MakeOwnFolder(const std::string& home) {
    std::string folder = home + "/own";
    mkdir(folder.c_str(), S_IRWXU);
    setenv("HOME", folder.c_str(), 1);
    setenv("TMPDIR", folder.c_str(), 1);
    return folder;
}

// Returns the exit status. Where no office can be kept, others learn the reason from a file.
int Explain(const Failure& failure, const Settings& settings) {
    if (failure.Status() != kCannotPreload || RememberCold(settings.socket, failure.what())) {
        std::cerr << "vellumo-office: " << failure.what() << '\n';
    }
    return failure.Status();
}

[[noreturn]] void Keep(Keeping& keeping, const Context& context) {
    int status = kCannotPreload;
    try {
        // Whoever waits already is served by an office that has not loaded everything yet.
        const bool isWarm = WarmUp(context, OwnFiles() + "/warm-up", keeping.folder,
                                   [&keeping] { return !keeping.server->Greet(); });
        OpenProfile(keeping.profile);
        SealOfficesFiles(keeping.server->Files());
        ForgetCold(keeping.settings.socket);
        status = keeping.server->Serve(context, isWarm);
    } catch (const Failure& failure) {
        status = Explain(failure, keeping.settings);
    } catch (const std::exception& error) {
        status = Explain({kOfficeFailed, error.what()}, keeping.settings);
    }
    keeping.server.reset();
    keeping.home.reset();
    _exit(status);  // without the office's own end, which may wait
}

int KeepOffice() {
    static Keeping keeping{ReadSettings(), std::nullopt, "", "", std::nullopt};
    alarm(kStartLimit);
    try {
        CheckMemory();
        keeping.home.emplace(keeping.settings.above, users_block(keeping.settings.users));
        keeping.folder = MakeOwnFolder(keeping.home->Path());
        keeping.profile = MakeProfile(keeping.home->Path());
        keeping.server.emplace(keeping.settings, *keeping.home,
                               std::filesystem::path(keeping.profile).parent_path());
        prctl(PR_SET_DUMPABLE, 0);
        Kit kit(keeping.profile);
        kit.Run([](const Context& context) { Keep(keeping, context); });
    } catch (const Failure& failure) {
        keeping.server.reset();
        keeping.home.reset();
        return Explain(failure, keeping.settings);
    }
}

int Run(const std::vector<std::string>& words) {
    if (words == std::vector<std::string>{"--help"}) {
        std::cout << kHelp;
        return 0;
    }
    if (words == std::vector<std::string>{"keep"}) {
        return KeepOffice();
    }
    if (words == std::vector<std::string>{"check"}) {
        CheckMemory();
        Kit::Check();
        return 0;
    }
    if (words == std::vector<std::string>{"state"}) {
        return PrintState(ReadSettings().socket);
    }
    throw Failure(kWrongUsage, "keep, check or state; see --help");
}

}  // namespace
}  // namespace vellumo::office

int main(int argc, char** argv) {
    try {
        return vellumo::office::Run({argv + 1, argv + argc});
    } catch (const vellumo::office::Failure& failure) {
        std::cerr << "vellumo-office: " << failure.what() << '\n';
        return failure.Status();
    } catch (const std::exception& error) {
        std::cerr << "vellumo-office: " << error.what() << '\n';
        return vellumo::office::kCannotPreload;
    }
}
