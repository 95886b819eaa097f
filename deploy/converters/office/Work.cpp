// SPDX-License-Identifier: Apache-2.0
#include "Work.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <vector>

#include "Conversion.h"
#include "Failure.h"
#include "FirstPage.h"
#include "Packets.h"
#include "Statuses.h"
#include "exchange/exchange.h"
#include "exchange/request.h"

namespace vellumo::office {
namespace {

using support::Descriptor;

constexpr size_t kLongestLine = 512;  // bytes; the parent does not read more than twice that
constexpr int kSofficeFailed = 1;     // for every reason
constexpr char kDone[] = "0 ";
// After this time a PDF stays as it is, for the command's time limit is 120 s.
constexpr auto kLastImprovement = std::chrono::seconds(100);

struct Request {
    Descriptor caller;
    std::string mode;
    std::string fit;
    std::string pages;
    std::string name;
    Descriptor document;
};

std::vector<std::string> Fields(const std::string& text) {
    std::vector<std::string> fields;
    for (size_t at = 0, end = 0; (end = text.find('\0', at)) != std::string::npos; at = end + 1) {
        fields.push_back(text.substr(at, end - at));
    }
    return fields;
}

// Ends this process when nobody asks for anything. Closes the handover, so that a document finds no
// socket to the parent.
Request Await(Descriptor handover) {
    Packet caller = Receive(handover);
    if (caller.files.size() != 1) {
        _exit(0);
    }
    Packet packet = Receive(caller.files[0]);
    std::vector<std::string> fields = Fields(packet.text);
    if (fields.size() != REQUEST_FIELDS || packet.files.size() != 1 ||
        (fields[0] != "soffice" && fields[0] != "unoconv") || fields[3].empty() ||
        fields[3].find('/') != std::string::npos) {
        throw Failure(kOfficeFailed, "the request is wrong");
    }
    return {std::move(caller.files[0]), fields[0], fields[1], fields[2], fields[3],
            std::move(packet.files[0])};
}

std::string MakeFolder(const Room& room, const char* name) {
    std::string path = room.Path() + '/' + name;
    if (mkdir(path.c_str(), S_IRWXU) != 0) {
        throw Failure(kRoomFailed, path + ": " + std::strerror(errno));
    }
    return path;
}

// Copies the document and closes it, so that the office has no file of the caller's.
void TakeIn(Request& request, const std::string& path) {
    struct stat status {};
    if (fstat(request.document.Get(), &status) != 0) {
        throw Failure(kRoomFailed, std::strerror(errno));
    }
    const exchange_document document{request.document.Get(), status.st_size};
    if (exchange_copy(&document, path.c_str()) != 0) {
        throw Failure(kRoomFailed, std::strerror(errno));
    }
    request.document.Close();
}

Descriptor OpenProduct(const std::string& path) {
    Descriptor made(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!made || fstat(made.Get(), &status) != 0 || status.st_size == 0) {
        throw Failure(kOfficeFailed, "the office has not made a PDF");
    }
    return made;
}

void Say(const Descriptor& reports, std::string line) {
    line.resize(std::min(line.size(), kLongestLine));
    std::replace(line.begin(), line.end(), '\n', ' ');
    line += '\n';
    static_cast<void>(!write(reports.Get(), line.data(), line.size()));
}

std::string Without(std::string text, const std::string& part) {
    for (size_t at = 0; (at = text.find(part)) != std::string::npos;) {
        text.erase(at, part.size());
    }
    const size_t first = text.find_first_not_of(": ");
    const size_t last = text.find_last_not_of(": ");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

// The exit status that the command has for the failure.
int StatusFor(const Request& request, int failure) {
    return request.mode == "unoconv" || failure == kRoomFailed ? failure : kSofficeFailed;
}

Descriptor Do(const Context& context, const Room& room, Request& request,
              const std::string& source) {
    const std::string target = MakeFolder(room, "out") + "/product.pdf";
    const auto began = std::chrono::steady_clock::now();
    TakeIn(request, source);
    Convert(context, {.source = source,
                      .target = target,
                      .pages = request.pages,
                      .refresh = request.mode == "unoconv",
                      .fit = request.fit == "1",
                      .endsSoon = true});
    SeparatePages(target, began + kLastImprovement);
    return OpenProduct(target);
}

}  // namespace

void Work(const Context& context, const Room& room, Descriptor handover,
          const Descriptor& reports) {
    Kit::UseForTemporaryFiles(MakeFolder(room, "tmp"));
    const std::string in = MakeFolder(room, "in");
    Request request = Await(std::move(handover));
    prctl(PR_SET_NAME, "office-child");
    Say(reports, ANSWER_BEGUN);
    const std::string source = in + '/' + request.name;
    try {
        const Descriptor product = Do(context, room, request, source);
        Say(reports, kDone);
        // Not by the parent, which would wait until all memory of this process is free.
        Send(request.caller, kDone, product.Get());
    } catch (const Failure& failure) {
        const int status = StatusFor(request, failure.Status());
        Say(reports, std::to_string(status) + ' ' + Without(failure.what(), source));
    }
    _exit(0);
}

}  // namespace vellumo::office
