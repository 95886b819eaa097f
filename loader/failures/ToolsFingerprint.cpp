// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/ToolsFingerprint.h"

#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iomanip>
#include <optional>
#include <set>
#include <sstream>

#include "loader/Problem.h"
#include "loader/pool/EngineClient.h"
#include "loader/pool/PoolState.h"

namespace vellumo::loader {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kWhat = "cannot look at the conversion tools";
constexpr int kLockSecs = 1;
constexpr std::chrono::seconds kEngineLimit(2);
constexpr std::chrono::minutes kRemembered(10);

// The programs that the embedded engine runs. A directory's time changes when a package puts other
// files there.
constexpr const char* kPrograms[] = {
    "/usr/bin/soffice",
    "/usr/lib/libreoffice/program",
    "/usr/lib/libreoffice/program/soffice.bin",
    "/usr/lib/libreoffice/program/versionrc",
    "/usr/bin/unoconv",
    "/usr/bin/pdftk",
    "/usr/share/pdftk/pdftk.jar",
    "/usr/bin/qpdf",
    "/usr/bin/convert",
    "/usr/bin/ebook-convert",
    "/usr/bin/ebook-meta",
    "/usr/lib/calibre/calibre",
};

// FNV-1a: the same in every process, which std::hash does not promise.
class Hash {
public:
    void Add(const std::string& text) {
        for (const char c : text) {
            _value = (_value ^ static_cast<unsigned char>(c)) * 1099511628211U;
        }
    }
    std::string Text() const {
        std::ostringstream text;
        text << std::hex << std::setw(2 * sizeof _value) << std::setfill('0') << _value;
        return text.str();
    }

private:
    uint64_t _value = 14695981039346656037U;
};

void AddFile(Hash& hash, const fs::path& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        std::ostringstream line;
        line << path.string() << ' ' << status.st_size << ' ' << status.st_mtim.tv_sec << ' '
             << status.st_mtim.tv_nsec << '\n';
        hash.Add(line.str());
    }
}

void AddFilesIn(Hash& hash, const fs::path& directory) {
    std::set<fs::path> files;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        files.insert(entry.path());
    }
    for (const fs::path& file : files) {
        AddFile(hash, file);
    }
}

// The engine's own programs, and the wrappers of the tools in its data.
std::string OfEmbeddedEngine(const fs::path& engine) {
    Hash hash;
    const fs::path here = engine.parent_path();
    for (const char* program : {"vellumo-engine", "vellumo-tool"}) {
        AddFile(hash, here / program);
    }
    for (const char* data : {"engine-data", VELLUMO_ENGINE_DATA}) {
        for (const char* part : {"bin", "office", "profile"}) {
            AddFilesIn(hash, here / data / part);
        }
    }
    for (const char* program : kPrograms) {
        AddFile(hash, program);
    }
    return "programs " + hash.Text();
}

std::vector<std::string> Containers() {
    std::vector<std::string> names;
    for (const Container& container : ReadPool(kWhat, kLockSecs).containers) {
        names.push_back(container.name);
    }
    return names;
}

// The images in use; a container that is missing just now changes nothing.
std::string OfContainers(const std::vector<std::string>& names) {
    if (names.empty()) {
        return "";
    }
    std::vector<std::string> arguments{"inspect", "--type", "container", "--format", "{{.Image}}"};
    arguments.insert(arguments.end(), names.begin(), names.end());
    std::istringstream lines(AskEngine(arguments, kEngineLimit).output);
    std::set<std::string> images;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("sha256:")) {
            images.insert(line);
        }
    }
    std::string text;
    for (const std::string& image : images) {
        text += (text.empty() ? "image " : " ") + image;
    }
    return text;
}

}  // namespace

std::string FindToolsFingerprint() {
    std::error_code error;
    const fs::path engine = fs::canonical(kEngineClient, error);
    if (error) {
        return "";
    }
    if (engine.filename() == "vellumo-engine") {
        return OfEmbeddedEngine(engine);
    }
    try {
        return OfContainers(Containers());
    } catch (const Failure&) {
        return "";
    }
}

std::string ToolsFingerprint() {
    struct Found {
        std::string fingerprint;
        Clock::time_point at;
    };
    static std::optional<Found> found;
    if (!found || Clock::now() - found->at >= kRemembered) {
        found = {FindToolsFingerprint(), Clock::now()};
    }
    return found->fingerprint;
}

}  // namespace vellumo::loader
