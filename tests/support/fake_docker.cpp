// SPDX-License-Identifier: Apache-2.0
// A stand-in for /usr/local/bin/docker in a device view: records its arguments and plays the
// converter according to /device/tool-script (see Script in Device.h), or as the documents tell it
// (see PlayToolsOfDocuments() there).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
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

// Every call that a document tells, with its time, for who counts conversions.
void Note(const char* what, const std::string& container, const std::string& kind,
          const std::string& told) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const std::string line =
        std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now).count()) + ' ' +
        what + ' ' + container + ' ' + std::to_string(getpid()) + ' ' + kind + ' ' + told + '\n';
    const int file = open("/device/tool-notes", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (write(file, line.data(), line.size()) < 0) {
        _exit(99);
    }
    close(file);
}

// Which product the command is for: the whole PDF, one of the first page, or a picture.
std::string KindOf(const std::vector<std::string>& argv) {
    const auto has = [&argv](const std::string& beginning) {
        return std::any_of(argv.begin(), argv.end(), [&beginning](const std::string& argument) {
            return argument.starts_with(beginning);
        });
    };
    if (has("convert")) {
        return "picture";
    }
    return has("pdftk") || has("PageRange=") ? "page" : "pdf";
}

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What the document tells the tool, in its first line: "tool: ID BEHAVIOUR MILLISECONDS".
int PlayTold(const std::vector<std::string>& argv, const std::string& content) {
    const std::string kind = KindOf(argv);
    std::istringstream line(content);
    std::string prefix;
    std::string id;
    std::string behaviour;
    int milliseconds = 0;
    line >> prefix >> id >> behaviour >> milliseconds;
    Note("begin", argv[2], kind, id);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    if (behaviour == "kill") {
        kill(getppid(), SIGKILL);  // the worker process that has called this tool
    }
    if (behaviour == "ok") {
        std::ofstream(kScratchRoot + Product(argv), std::ios::binary) << content;
    }
    Note("end", argv[2], kind, id);
    return behaviour == "ok" ? 0 : 1;
}

// The documents decide when this file exists; it names the engine for those that tell nothing.
std::string EngineBeside() {
    std::string engine;
    std::ifstream file("/device/tool-engine");
    std::getline(file, engine);
    return engine;
}

// What the tool is to convert, when a document tells the tool what to do.
std::string ContentThatTells(const std::vector<std::string>& argv) {
    const std::string source = PathIn(kSourceDir, argv);
    std::string content = source.empty() ? "" : ContentOf(kScratchRoot + source);
    return content.starts_with("tool: ") ? content : "";
}

int PlayOrPassOn(const std::vector<std::string>& argv, const std::string& engine) {
    const std::string content = argv.size() > 3 ? ContentThatTells(argv) : "";
    if (!content.empty()) {
        const ContainerInUse inUse(argv[2]);
        return PlayTold(argv, content);
    }
    std::vector<char*> pointers;
    for (const std::string& argument : argv) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    execv(engine.c_str(), pointers.data());
    return 127;
}

// A look into the container: whether a command runs there whose client has died.
int AnswerLook(const std::string& container) {
    constexpr int kBusy = 10;
    constexpr int kIdle = 11;
    std::ofstream("/device/docker-looks", std::ios::app) << container << '\n';
    return access(("/device/runs-" + container).c_str(), F_OK) == 0 ? kBusy : kIdle;
}

// The images of the containers: a test may write another id to the file.
int AnswerInspection() {
    std::ifstream file("/device/tools-image");
    std::string image = "sha256:1";
    std::getline(file, image);
    std::cout << image << '\n';
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    if (const std::string engine = EngineBeside(); !engine.empty()) {
        return PlayOrPassOn(arguments, engine);
    }
    if (argc > 3 && arguments[3] == "sh") {
        return AnswerLook(arguments[2]);
    }
    if (argc > 1 && arguments[1] == "inspect") {
        return AnswerInspection();
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
