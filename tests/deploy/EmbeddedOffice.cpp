// SPDX-License-Identifier: Apache-2.0
#include "EmbeddedOffice.h"

#include "OfficeScript.h"

namespace vellumo::test {
namespace {

constexpr const char* kEmbedded = R"sh(
above=${T%/*}
cold() { local container=cold; "$@"; }
without_cold() { mount --bind /usr/bin/false /usr/bin/bwrap; }
processes() { pgrep -x $1; }
obey() { mount --bind $folder/obedient "$(dirname "$engine")/engine-data/bin/pdftk"; }
list_office() { ps ax -o comm= | grep -e office -e keep; }
in_office() { nsenter -t $(keeper_process) -m "$@"; }
office_socket() { echo $above/.warm-navo1/run/office; }
end_caller() { kill -$1 $(pgrep -f "^docker exec .*/$2$"); }
left() {
    docker exec none true  # takes away what killed engines have left
    ls -A $T; [ $(ls -dA $above/.engine-* | wc -l) -eq $(ls -dA $above/.warm-* | wc -l) ] || ls -A $above
    processes soffice.bin; processes office-child
    in_office ls -A /tmp /dev/shm | awk '!/^(home|vellumo-rooms|vellumo-office-.*|\/.*:|)$/'
    in_office sh -c 'ls -d /tmp/vellumo-office-*' | tail -n +2
    in_office sh -c 'ls -A /tmp/vellumo-office-*' | awk '!/^(own|profile|room-[0-9]*)$/ || /room/ && ++rooms > 1'
}
)sh";

}  // namespace

std::string EmbeddedOffice::Missing() {
    const std::string program = FirstMissing({"soffice", "pdftotext", "pdfinfo", "pdftoppm"});
    return program.empty() ? "" : program + " is not installed";
}

Said EmbeddedOffice::RunWarm(const std::vector<std::string>& settings, const std::string& script) {
    std::string start = ":";
    for (const std::string& setting : settings) {
        start += "; export " + setting;
    }
    return Try(start + "; docker start navo1 && warm || exit 98\n" + script);
}

Said EmbeddedOffice::Try(const std::string& script) const {
    return InView("make=" VELLUMO_MAKE_DOCUMENT + std::string(kEmbedded) + kOfficeScript + script);
}

}  // namespace vellumo::test
