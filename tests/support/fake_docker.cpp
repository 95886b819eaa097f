// SPDX-License-Identifier: Apache-2.0
// A stand-in for /usr/local/bin/docker in a device view: records its arguments and plays the
// converter according to /device/tool-script (see Script in Device.h).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const char* kScratchRoot = "/volume1/docker/@tmp";
const std::string kSourceDir = "/Vellumo/@tmp/source/";
const std::string kTargetDir = "/Vellumo/@tmp/target/";

struct Script {
    int exitStatus = 0;
    int productSize = 100;
    int sleepMs = 0;
    int signal = 0;
    bool keepSource = false;
    bool isHeld = false;
};

Script ReadScript() {
    Script script;
    std::ifstream file("/device/tool-script");
    file >> script.exitStatus >> script.productSize >> script.sleepMs >> script.signal >>
        script.keepSource >> script.isHeld;
    return script;
}

// Writes one line per call with a single write, so that concurrent calls do not mix.
void Record(const std::vector<std::string>& argv) {
    std::string line;
    for (const std::string& element : argv) {
        line += (line.empty() ? "" : "\x1f") + element;
    }
    line += '\n';
    const int file = open("/device/docker-calls", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (write(file, line.data(), line.size()) < 0) {
        _exit(99);
    }
    close(file);
}

// Marks the container as busy; creates the overlap file when it is busy already.
class ContainerInUse {
public:
    explicit ContainerInUse(const std::string& name) : _mark("/device/busy-" + name) {
        const int file = open(_mark.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file < 0) {
            std::ofstream("/device/overlap") << name << '\n';
        } else {
            close(file);
        }
    }
    ~ContainerInUse() { unlink(_mark.c_str()); }
    ContainerInUse(const ContainerInUse&) = delete;
    ContainerInUse& operator=(const ContainerInUse&) = delete;

private:
    std::string _mark;
};

// The path that begins with `directory` at the end of the first argument that contains one.
std::string PathIn(const std::string& directory, const std::vector<std::string>& argv) {
    for (const std::string& argument : argv) {
        const size_t at = argument.find(directory);
        if (at != std::string::npos && at + directory.size() < argument.size()) {
            return argument.substr(at);
        }
    }
    return "";
}

// The tool's product: the path in its arguments or, if that is a directory, a file in it that is
// named after the input.
std::string Product(const std::vector<std::string>& argv) {
    std::string named = PathIn(kTargetDir, argv);
    if (!named.empty()) {
        return named;
    }
    const std::string source = PathIn(kSourceDir, argv);
    if (source.empty()) {
        return "";
    }
    const std::string name = source.substr(kSourceDir.size());
    return kTargetDir + name.substr(0, name.rfind('.')) + ".pdf";
}

// Waits until the test lets this tool continue; each permission is for one tool.
void AwaitEnd() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (unlink("/device/tool-may-end") != 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void Play(const Script& script, const std::vector<std::string>& argv) {
    if (script.keepSource) {
        std::ofstream("/device/seen-source", std::ios::binary)
            << std::ifstream(kScratchRoot + PathIn(kSourceDir, argv), std::ios::binary).rdbuf();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(script.sleepMs));
    if (script.isHeld) {
        AwaitEnd();
    }
    const std::string product = Product(argv);
    if (script.productSize >= 0 && !product.empty()) {
        std::ofstream(kScratchRoot + product, std::ios::binary)
            << std::string(static_cast<size_t>(script.productSize), 'p');
    }
}

// A look into the container: whether a command runs there whose client has died.
int AnswerLook(const std::string& container) {
    constexpr int kBusy = 10;
    constexpr int kIdle = 11;
    std::ofstream("/device/docker-looks", std::ios::app) << container << '\n';
    return access(("/device/runs-" + container).c_str(), F_OK) == 0 ? kBusy : kIdle;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    if (argc > 3 && arguments[3] == "sh") {
        return AnswerLook(arguments[2]);
    }
    const Script script = ReadScript();
    Record(arguments);
    {
        const ContainerInUse inUse(argc > 2 ? arguments[2] : "");
        Play(script, arguments);
    }
    if (script.signal != 0) {
        std::raise(script.signal);
    }
    return script.exitStatus;
}
