// SPDX-License-Identifier: Apache-2.0
#include "supervisor/PamCheck.h"

#include <glob.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace vellumo::web::supervisor {
namespace {

constexpr const char* kSambaPasswords = "/var/lib/samba/private/passdb.tdb";

// Debian's packages of the modules that lines of others' files name most often.
const std::map<std::string, std::string>& Packages() {
    static const std::map<std::string, std::string> packages{
        {"pam_winbind.so", "libpam-winbind"},
        {"pam_sss.so", "libpam-sss"},
        {"pam_ldap.so", "libpam-ldapd"},
        {"pam_krb5.so", "libpam-krb5"},
        {"pam_systemd.so", "libpam-systemd"},
        {"pam_mount.so", "libpam-mount"},
        {"pam_google_authenticator.so", "libpam-google-authenticator"},
        {"pam_pwquality.so", "libpam-pwquality"}};
    return packages;
}

bool IsInstalled(const std::string& module) {
    if (module.starts_with('/')) {
        return access(module.c_str(), R_OK) == 0;
    }
    for (const char* place : {"/lib/*/security/", "/usr/lib/*/security/", "/lib/security/"}) {
        glob_t found{};
        const int result = glob((place + module).c_str(), 0, nullptr, &found);
        globfree(&found);
        if (result == 0) {
            return true;
        }
    }
    return false;
}

// Reads a file of PAM and what it includes. Lines for changing passwords and for sessions do not
// matter here.
class Reading {
public:
    explicit Reading(std::string directory) : _directory(std::move(directory)) {}

    void Read(const std::string& file) {
        if (!_files.insert(file).second) {
            return;
        }
        std::ifstream lines(file.starts_with('/') ? file : _directory + '/' + file);
        if (!lines) {
            _missing.insert(file);
        }
        for (std::string line; std::getline(lines, line);) {
            ReadLine(line);
        }
    }

    const std::set<std::string>& Modules() const { return _modules; }
    const std::set<std::string>& MissingFiles() const { return _missing; }

private:
    void ReadLine(const std::string& line) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string type;
        std::string control;
        std::string module;
        words >> type >> control;
        if (type == "@include") {
            Read(control);
            return;
        }
        // "[success=1 default=ignore]" is one control; '-' before the type allows it to be missing.
        for (; control.starts_with('[') && !control.ends_with(']') && words >> module;) {
            control += ' ' + module;
        }
        if ((type != "auth" && type != "account") || !(words >> module)) {
            return;
        }
        if (control == "include" || control == "substack") {
            Read(module);
        } else {
            _modules.insert(module);
        }
    }

    std::string _directory;
    std::set<std::string> _files;
    std::set<std::string> _missing;
    std::set<std::string> _modules;
};

std::string PackageOf(const std::string& module) {
    const auto found = Packages().find(module.substr(module.rfind('/') + 1));
    return found == Packages().end() ? "'apt-file search " + module + "' names its package"
                                     : "install the package " + found->second;
}

}  // namespace

Findings CheckPam(const std::string& directory) {
    Findings findings;
    Reading reading(directory);
    reading.Read("vellumo-web");
    for (const std::string& file : reading.MissingFiles()) {
        if (file != "vellumo-web") {  // that one has been told
            findings.problems.push_back("nobody can log in: PAM's file " + file + " is missing");
        }
    }
    for (const std::string& module : reading.Modules()) {
        if (!IsInstalled(module)) {
            findings.problems.push_back("nobody can log in: the PAM module " + module +
                                        " is missing; " + PackageOf(module));
        }
    }
    const bool isMachines = directory == "/etc/pam.d";
    if (isMachines && !reading.Modules().contains("pam_winbind.so") &&
        access(kSambaPasswords, F_OK) == 0) {
        findings.hints.emplace_back(
            "accounts whose password only Samba knows cannot log in; install the packages winbind "
            "and libpam-winbind if there are any");
    }
    return findings;
}

}  // namespace vellumo::web::supervisor
