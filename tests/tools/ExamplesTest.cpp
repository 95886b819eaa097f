// SPDX-License-Identifier: Apache-2.0
// The examples of the manual pages and of the help texts, each run as it stands: what is added
// there is run too. They run from top to bottom, as somebody would try them, each in an empty
// folder. A script plays the conversion tools.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

#include "Accounts.h"
#include "HelpText.h"
#include "StateFile.h"
#include "Tool.h"
#include "loader/daemon/DaemonClient.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::SizeIs;

namespace {

namespace fs = std::filesystem;

const std::string kTree = VELLUMO_TOOL_SOURCES "/../..";

// What cannot run in a device view, and why.
const std::map<std::string, std::string> kNotRun{
    {"vellumo-web --check", "examines the accounts of the machine; CheckTest of the web service"},
    {"vellumo-uninstall --keep products,links,settings",
     "removes packages of the machine; check-packages runs it with -y"},
    {"vellumo status --metrics >/var/lib/prometheus/node-exporter/vellumo.prom",
     "writes into a folder of another package; DaemonTest runs it without the file"},
};

// The state file that an example is about, for those to which the fresh one does not fit.
const std::map<std::string, std::string> kStates{
    {"vellumo pool reset", "{}"},
    {"vellumo pool remove --force navo2", R"({"navo1":{"using":0},"navo2":{"using":1}})"},
};

// Plays a container engine whose containers run as long as nobody removes them.
constexpr const char* kEngine = R"(
here=/device/containers; mkdir -p $here
last=${!#}
case $1 in
    --version) echo 'Docker version 99' ;;
    inspect)
        [ -e $here/$last ] || { echo "No such container: $last" >&2; exit 1; }
        case $* in *Labels*) echo yes ;; *) echo running ;; esac
        ;;
    run) while [ $# -gt 0 ]; do [ "$1" = --name ] && touch $here/$2; shift; done ;;
    rm) rm $here/$last ;;
    ps) ls $here ;;
    build) cat >/dev/null ;;
esac
)";

// The examples of a page or a help text, in their order.
struct Examples {
    std::string place;
    std::vector<std::string> commands;
};

bool IsManual(const fs::path& path) {
    static const std::regex pattern("\\.[1-9]");
    return std::regex_match(path.extension().string(), pattern);
}

// Lines of the section EXAMPLES, without the prompt. What mdoc escapes is a backslash.
Examples OfManual(const fs::path& page) {
    static const std::regex example("\\.Dl ([#$] )?(.*)");
    Examples examples{page.filename(), {}};
    std::istringstream lines(ReadFile(page));
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, example)) {
            examples.commands.push_back(
                std::regex_replace(match[2].str(), std::regex("\\\\e"), "\\"));
        }
    }
    return examples;
}

std::vector<Examples> OfAllManuals() {
    std::vector<Examples> all;
    for (const char* folder : {"daemon", "deploy", "tools"}) {
        for (const auto& entry : fs::recursive_directory_iterator(kTree + "/" + folder)) {
            if (entry.is_regular_file() && IsManual(entry.path())) {
                all.push_back(OfManual(entry.path()));
            }
        }
    }
    return all;
}

// Lines that are indented by two blanks and begin with the program; two blanks end the command.
Examples OfHelp(const Words& command) {
    static const std::regex example("  (vellumo .*?)(  .*)?");
    Examples examples{Joined(command) + " --help", {}};
    std::istringstream lines(Help(command));
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, example)) {
            examples.commands.push_back(match[1]);
        }
    }
    return examples;
}

std::set<std::string> AllExamples() {
    std::vector<Examples> places = OfAllManuals();
    for (const Words& command : AllCommands()) {
        places.push_back(OfHelp(command));
    }
    std::set<std::string> all;
    for (const Examples& place : places) {
        all.insert(place.commands.begin(), place.commands.end());
    }
    return all;
}

// A daemon that answers; it ends with the object.
class Daemon {
public:
    Daemon() : _process([] { return BecomeProgram({VELLUMO_DAEMON}); }) {
        EXPECT_TRUE(
            ComesTrue([] { return vellumo::loader::AskDaemon("status", kLimit).has_value(); }));
    }
    ~Daemon() {
        _process.Signal(SIGTERM);
        _process.Wait();
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

private:
    static constexpr std::chrono::seconds kLimit{10};
    ChildProcess _process;
};

bool Has(const std::string& command, const std::string& pattern) {
    return std::regex_search(command, std::regex(pattern));
}

// Whether it changes nothing but the view. What installs or removes packages, for instance, would
// find those of the machine.
bool IsHarmless(const std::string& command) {
    return !kNotRun.contains(command) && Has(command, "^(vellumo|vellumo-device|mkdir) ");
}

// The documents and folders that a command names, in the shares docs and home.
void MakeDocumentsOf(const std::string& command) {
    static const std::regex place("/(docs|home)(/[^ ']*)");
    for (std::sregex_iterator match(command.begin(), command.end(), place), end; match != end;
         ++match) {
        const std::string share = (*match)[1] == "home" ? "/volume1/homes/ann" : "/volume1/docs";
        const fs::path path = share + (*match)[2].str();
        MakeDirectory(path.has_extension() ? path.parent_path() : path);
        if (path.has_extension() && !Exists(path)) {
            WriteFile(path, "some document");
        }
    }
}

// The doctor runs all tools, the pool's commands start and end containers. For all others, a script
// plays the tools, which this class puts back.
class EngineFor {
public:
    explicit EngineFor(const std::string& command) {
        if (Has(command, "doctor")) {
            UseEmbeddedEngine();
        } else if (Has(command, "vellumo pool")) {
            InstallDocker(kEngine);
        }
    }
    ~EngineFor() {
        fs::remove(kDocker);
        fs::create_symlink(_scripted, kDocker);
    }
    EngineFor(const EngineFor&) = delete;
    EngineFor& operator=(const EngineFor&) = delete;

private:
    static constexpr const char* kDocker = "/device/bin/docker";
    fs::path _scripted = fs::read_symlink(kDocker);
};

void Prepare(const std::string& command) {
    fs::remove_all(kOutputDir);
    MakeDirectory(std::string(kOutputDir) + "/out");
    MakeDirectory("/device/home");
    WriteFile(std::string(kOutputDir) + "/FILE", "a password of a link\n");
    MakeDocumentsOf(command);
    if (kStates.contains(command)) {
        WriteState(kStates.at(command));
    }
}

void RunExample(const std::string& command) {
    Prepare(command);
    const EngineFor engine(command);
    std::optional<Daemon> daemon;
    if (Has(command, "vellumo (status|doctor)")) {
        daemon.emplace();
    }
    const Finished run = RunProgram({"bash", "-c",
                                     "exec 2>&1 </dev/null; cd " + std::string(kOutputDir) +
                                         "; PATH=$(dirname " VELLUMO_TOOL "):" + kTree +
                                         "/deploy/device:$PATH; "
                                         "HOME=/device/home; " +
                                         command});
    EXPECT_EQ(run.status, 0) << command << "\n" << run.output;
}

void ForgetAll() {
    fs::remove_all("/device/containers");
    for (const char* file :
         {NAVO::VELLUMO::SZF_THUMB_DB_PATH, NAVO::VELLUMO::SZF_CACHE_DB_PATH,
          NAVO::VELLUMO::SZF_THIRD_PARTY_DB_PATH, NAVO::VELLUMO::SZF_INDEX_CONFIG,
          NAVO::VELLUMO::SZF_ENABLE_INDEX, "/var/packages/Vellumo/etc/links.db",
          "/var/packages/Vellumo/etc/failures.db"}) {
        fs::remove(file);
    }
}

class ExamplesTest : public ToolTest {
protected:
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
    }
    ~ExamplesTest() override { ForgetAll(); }

    static void RunAll(const Examples& examples) {
        SCOPED_TRACE(examples.place);
        ForgetAll();
        PrepareFreshDevice();
        for (const std::string& command : examples.commands) {
            if (IsHarmless(command)) {
                RunExample(command);
            } else {
                EXPECT_TRUE(kNotRun.contains(command)) << "not run, for no reason: " << command;
            }
        }
    }

private:
    const Accounts _accounts{{{"ann", 1001, 1001}, {"CORP\\ann", 1005, 1005}},
                             {{"ann", 1001, {}}, {"CORP\\ann", 1005, {}}}};
};

}  // namespace

TEST_F(ExamplesTest, OfTheManualPagesWork) {
    const std::vector<Examples> pages = OfAllManuals();
    EXPECT_THAT(pages, SizeIs(testing::Ge(5U)));
    for (const Examples& examples : pages) {
        RunAll(examples);
    }
}

TEST_F(ExamplesTest, OfTheHelpTextsWork) {
    for (const Words& command : AllCommands()) {
        RunAll(OfHelp(command));
    }
}

TEST_F(ExamplesTest, ThatAreTreatedSpeciallyExist) {
    const std::set<std::string> all = AllExamples();
    EXPECT_THAT(all, SizeIs(testing::Ge(70U)));
    for (const auto& [command, why] : kNotRun) {
        EXPECT_TRUE(all.contains(command)) << "no page has it any more: " << command;
    }
    for (const auto& [command, state] : kStates) {
        EXPECT_TRUE(all.contains(command)) << "no page has it any more: " << command;
    }
}
