// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Worker.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>

#include "loader/Problem.h"
#include "loader/cache/KeptProducts.h"
#include "loader/conversion/Endings.h"
#include "loader/conversion/ToolProcess.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFile.h"
#include "vellumo/Converter.h"
#include "vellumo/utils.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;
using support::Descriptor;

constexpr int kFirstOwnDescriptor = STDERR_FILENO + 1;
constexpr size_t kReportSize = 8192;  // a result and a path, with room to spare
constexpr size_t kToolOutputSize = 4096;
constexpr size_t kToolOutputLines = 5;
constexpr int kLookMs = 100;

struct ConnectionEnds {
    Descriptor ours;
    Descriptor workers;
};

ConnectionEnds Connect(const std::string& what) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        const int error = errno;
        throw Failure({Reason::kNoProcess, what,
                       std::string("no connection to a worker process: ") + std::strerror(error),
                       ""});
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

int AboveStandard(int descriptor) {
    return fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstOwnDescriptor);
}

// Detaches this process from the terminal and closes every inherited file descriptor except the
// connection, so that nobody who waits for the program to close a file waits for this process.
// Returns the connection's new descriptor.
int Detach(int connection, int output) {
    setsid();
    closelog();  // its descriptor is closed below
    const int kept = AboveStandard(connection);
    const int null = AboveStandard(open("/dev/null", O_RDWR | O_CLOEXEC));
    const int said = output >= 0 ? AboveStandard(output) : null;
    dup2(null, STDIN_FILENO);
    dup2(said, STDOUT_FILENO);
    dup2(said, STDERR_FILENO);
    if (kept > kFirstOwnDescriptor) {
        close_range(kFirstOwnDescriptor, static_cast<unsigned>(kept) - 1, 0);
    }
    close_range(static_cast<unsigned>(kept) + 1, ~0U, 0);
    return kept;
}

// Ignores the signals rather than catching them, so that they interrupt no system call of the
// library. The programs that the library starts get the default actions back.
void IgnoreInterrupts() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        static_cast<void>(std::signal(signal, SIG_IGN));
    }
}

// The product of a conversion; removes it at the end if nobody has taken it away.
class Product {
public:
    explicit Product(std::string path) : _path(std::move(path)) {}
    ~Product() {
        if (!_path.empty()) {
            core::RemoveFileDropCache(_path);
        }
    }
    Product(const Product&) = delete;
    Product& operator=(const Product&) = delete;

private:
    std::string _path;
};

void WaitForEndOf(int connection) {
    char byte = 0;
    while (recv(connection, &byte, 1, 0) > 0 || errno == EINTR) {
        errno = 0;
    }
}

int CarryOut(const Assignment& assignment, const core::path::Path& source,
             core::path::Path& output) {
    switch (assignment.service) {
        case Assignment::Service::kCachedPdf:
            return core::converter::ToPDFCacheWithoutCollection(source);
        case Assignment::Service::kThumbnail:
            return core::converter::ToThumbnail(source);
        case Assignment::Service::kPdf:
            break;
    }
    return core::converter::ToPDF(source, output, assignment.pages);
}

// Tells whether somebody has written to a file, whatever its name is by now.
class Unchanged {
public:
    explicit Unchanged(const std::string& path) : _file(open(path.c_str(), O_PATH | O_CLOEXEC)) {
        fstat(_file.Get(), &_before);
    }

    explicit operator bool() const {
        struct stat now {};
        return !_file || fstat(_file.Get(), &now) != 0 ||
               (now.st_size == _before.st_size && now.st_mtim.tv_sec == _before.st_mtim.tv_sec &&
                now.st_mtim.tv_nsec == _before.st_mtim.tv_nsec);
    }

private:
    Descriptor _file;
    struct stat _before {};
};

// A document that is written to while a tool reads it can get a product of what it was before,
// which is newer than the document and so counts as fresh for ever. Such a product is not kept. The
// PDF is made again; a thumbnail would be made of the former PDF again.
int CarryOutUnchanged(const Document& document, const Assignment& assignment,
                      const core::path::Path& source, core::path::Path& output) {
    constexpr int kMostTries = 3;
    int result = 0;
    for (int i = 0; i < kMostTries; ++i) {
        const Unchanged unchanged(document.realPath);
        result = CarryOut(assignment, source, output);
        if (assignment.Stream() == nullptr || !IsSuccess(result) || unchanged) {
            break;
        }
        const auto cache = OpenCache("cannot convert " + document.sharePath);
        KeptProducts(document).Remove(assignment.Stream(), *cache);
        if (assignment.service == Assignment::Service::kThumbnail) {
            break;
        }
    }
    return result;
}

void ConvertAndReport(const Document& document, const Assignment& assignment, int connection) {
    core::path::Path source;
    source.SetData("sharePath", document.sharePath, true);
    source.SetData("user", document.user, true);
    if (!document.checkedDirectory.empty()) {
        source.SetData("EADirectory", document.checkedDirectory, true);
    }
    core::path::Path output;
    const int result = CarryOutUnchanged(document, assignment, source, output);

    const Product product(output.GetRealPath(""));
    const std::string report = std::to_string(result) + '\n' + output.GetRealPath("");
    send(connection, report.data(), report.size(), MSG_NOSIGNAL);
    if (!output.GetRealPath("").empty()) {
        WaitForEndOf(connection);
    }
}

[[noreturn]] void RunWorker(const Document& document, const Assignment& assignment, int connection,
                            int toolOutput) {
    IgnoreInterrupts();
    const int kept = Detach(connection, toolOutput);
    try {
        ConvertAndReport(document, assignment, kept);
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        std::exit(EXIT_FAILURE);
    }
    std::exit(EXIT_SUCCESS);
}

[[noreturn]] void RunStopper(pid_t worker, int connection) {
    pollfd ended{Detach(connection, -1), POLLIN, 0};
    ToolStopper stopper(worker);
    while (poll(&ended, 1, kLookMs) <= 0) {
        stopper.StopTool();
    }
    std::exit(EXIT_SUCCESS);
}

// Flushes first, so that parent and child do not both print buffered text.
pid_t Fork() {
    std::cout.flush();
    std::cerr.flush();
    return fork();
}

}  // namespace

Worker::Worker(const Document& document, const Assignment& assignment)
    : _toolOutput(support::OpenNamelessFile()) {
    Start(document, assignment);
}

void Worker::Start(const Document& document, const Assignment& assignment) {
    ConnectionEnds ends = Connect("cannot convert " + document.sharePath);
    _process = Fork();
    if (_process == 0) {
        RunWorker(document, assignment, ends.workers.Get(), _toolOutput.Get());
    }
    if (_process < 0) {
        const int error = errno;
        throw Failure({Reason::kNoProcess, "cannot convert " + document.sharePath,
                       std::string("no worker process can be started: ") + std::strerror(error),
                       "Try again when fewer processes run."});
    }
    _connection = std::move(ends.ours);
}

Worker::~Worker() {
    Dismiss();
}

std::optional<WorkerReport> Worker::Receive() const {
    std::string text(kReportSize, '\0');
    const ssize_t length = support::Uninterrupted(
        [&] { return recv(_connection.Get(), text.data(), text.size(), 0); });
    if (length <= 0) {
        return std::nullopt;
    }
    text.resize(static_cast<size_t>(length));
    const size_t end = std::min(text.find('\n'), text.size() - 1);
    int result = 0;
    std::from_chars(text.data(), text.data() + end, result);
    return WorkerReport{result, text.substr(end + 1)};
}

std::vector<std::string> Worker::ToolOutput() const {
    std::vector<std::string> lines;
    std::istringstream text(support::ReadTail(_toolOutput, kToolOutputSize));
    for (std::string line; std::getline(text, line);) {
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    const size_t superfluous = lines.size() - std::min(lines.size(), kToolOutputLines);
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(superfluous));
    return lines;
}

int Worker::Dismiss() {
    _connection.Close();
    int status = 0;
    if (_process > 0) {
        support::WaitForEnd(_process, status);
        _process = 0;
    }
    return status;
}

void Worker::LeaveToBackground() {
    if (Fork() == 0) {
        RunStopper(_process, _connection.Get());
    }
    _connection.Close();
    _process = 0;
}

}  // namespace vellumo::loader
