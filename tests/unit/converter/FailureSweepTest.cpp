// SPDX-License-Identifier: Apache-2.0
#include <json/writer.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>

#include "Device.h"
#include "PlatformDouble.h"
#include "Process.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

// One conversion, again and again: each time another one of its calls to the platform fails.
namespace {

constexpr uid_t kUser = 65534;
constexpr const char* kReport = "/device/sweep-report";

// What a conversion gives in which a certain call failed.
struct Outcome {
    const char* operation;
    const char* argument;  // part of the call's arguments
    int result;
    const char* message;  // part of a message about it; null when nothing is said
};

// The first line that fits the call decides.
const Outcome kOutcomes[] = {
    {"NLIBCFileTouch", "", 1000, nullptr},
    {"NAVOShareGet", "docker", 1003, "VolumePathGet"},
    {"NAVOFSMkdirP", "/source/", 1003, "NAVOFSMkdirP(strConvertSourceDir"},
    {"NAVOFSMkdirP", "/target/", 1003, "NAVOFSMkdirP(strConvertTargetDir"},
    {"mkostemps", "/source/", 1003, "strSrcType, strConvertSourceDir"},
    {"mkostemps", "/target/", 1003, "strTargetType, strConvertTargetDir"},
    {"NLIBCFileExist", "/target/", 1000, nullptr},  // "not there" is what is hoped for
    {"NLIBCFileExist", "/docs/", 1003, "NLIBCFileExist(strSourceFile"},
    {"NLIBCFileExist", "/source/", 1003, "NLIBCFileExist(strTargetFile"},
    {"NLIBCExecl", "/bin/ln", 1000, nullptr},  // copied instead
    {"NLIBCFileLockTimeByFile", "", 1000, "file lock fa"},
    {"NLIBCFileUnlockByFile", "", 1000, "file unlock falied"},
    {"NLIBCExecv", "docker", 1002, "ExecuteCommand failed: -1"},
    {"NAVOEADirPath", "", 1000, "Get ea dir path error"},
    {"NLIBCFileCheckDir", "", 1000, nullptr},  // then it is made
    {"NAVOEAMKDir", "", 1000, "Make ea dir path error"},
    {"NAVOEAPath", "", 1000, nullptr},
    {"NLIBCExec", "/usr/bin/rm", 1000, "remove eadir failed"},
};

// The moments at which a user's conversion is root, in their order.
struct Moment {
    std::string place;    // pattern of the place that its messages name
    int result;           // without becoming root there
    const char* message;  // about that
};
const Moment kMoments[] = {
    {"utils:126", 1002, "cannot run as root"},
    {"Path:[0-9]+", 1000, "failed to change root"},
    {"Converter:194", 1000, "remove eadir failed"},
};

// Each of them changes ids four times, which may fail each time.
struct IdChange {
    const char* operation;
    const char* id;
    bool enters;  // or else it leaves, and when it cannot, the process stays root
};
const IdChange kIdChanges[] = {
    {"setresuid", " 0", true},
    {"setresuid", " 0", true},
    {"setresgid", " 0", false},
    {"setresuid", " 65534", false},
};

// How many jobs the state file has at the end.
struct Jobs {
    unsigned waiting;
    unsigned running;
    int inContainer;
};
constexpr Jobs kNone{0, 0, 0};
// The pool locks the file four times. When it cannot unlock it after one of them, the lock stays
// with the process and nothing more is saved; only a lock for reading is given back before the next
// one for writing.
const Jobs kJobsWithoutUnlock[] = {kNone, {1, 0, 0}, {0, 1, 1}, kNone};

bool Fits(const Outcome& outcome, const std::string& operation, const std::string& argument) {
    return operation == outcome.operation && argument.find(outcome.argument) != std::string::npos;
}

size_t OpenDescriptors() {
    using Entries = std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(Entries("/proc/self/fd"), Entries()));
}

class FailureSweep : public DeviceTest {
protected:
    FailureSweep() {
        using std::filesystem::perms;
        for (const char* path : {"/volume1", "/volume1/docker", "/volume1/docs", "/device",
                                 "/device/tool-script", "/var/packages/Vellumo/etc", kStateFile}) {
            std::filesystem::permissions(path, perms::all | perms::sticky_bit);
        }
        WriteFile("/volume1/docs/a.docx", "document");
        std::filesystem::permissions("/volume1/docs/a.docx", perms::all);
    }

    // Converts in a process of its own, which starts without a pool, as a user who can become
    // root; call `k` to the platform fails. What the process saw is the report.
    template <typename Converter>
    Json::Value ConvertWithCallFailing(int k) {
        WriteState(R"({"navo1":{"using":0,"used":0}})");
        SyslogSink::Get().Clear();
        unlink(kReport);
        ChildProcess process([=] {
            WriteFile(kReport, Json::writeString(Json::StreamWriterBuilder(), Run<Converter>(k)));
            return 0;
        });
        EXPECT_EQ(process.Wait(), 0) << "the process died when call " << k << " failed";
        return Parsed(ReadFile(kReport));
    }

    template <typename Converter>
    void Sweep(std::set<std::string>& failedOperations) {
        _idChanges = 0;
        _unlocks = 0;
        for (int k = 1; k < 100; ++k) {
            const Json::Value report = ConvertWithCallFailing<Converter>(k);
            if (!report.isMember("operation")) {
                ExpectEnd(report);
                return;
            }
            failedOperations.insert(report["operation"].asString());
            SCOPED_TRACE("call " + std::to_string(k) + " failed: " +
                         report["operation"].asString() + " " + report["argument"].asString());
            ExpectOutcome(report);
        }
        FAIL() << "the sweep did not come to an end";
    }

private:
    template <typename Converter>
    static Json::Value Run(int k) {
        path::Path source;
        path::Path product;
        source.SetData("realPath", "/volume1/docs/a.docx", true);
        const uid_t user = HasOtherUsers() ? kUser : 0;
        if (user != 0 && !SetEffectiveUser(user)) {
            _exit(1);
        }
        Converter converter(ContainerPoolManager::PRIORITY_HIGH);
        PlatformDouble::Get().Reset();
        PlatformDouble::Get().FailCall(k);
        openlog(nullptr, LOG_NDELAY, 0);  // or the first message would open the log's descriptor
        const size_t descriptors = OpenDescriptors();
        Json::Value report;
        errno = 0;
        report["result"] = converter.Convert("pdf", source, product);
        const std::optional<PlatformCall> failed = PlatformDouble::Get().FailedCall();
        PlatformDouble::Get().Reset();
        report["product"] = product.GetRealPath();
        report["sameUser"] = geteuid() == user;
        report["leakedDescriptors"] =
            static_cast<Json::UInt64>(OpenDescriptors()) - static_cast<Json::UInt64>(descriptors);
        if (failed) {
            report["operation"] = failed->operation;
            for (const std::string& argument : failed->arguments) {
                report["argument"] = report["argument"].asString() + " " + argument;
            }
        }
        // Leaves nothing to whoever reads the report.
        EXPECT_TRUE(SetEffectiveUser(0));
        return report;
    }

    // The conversion without any failure, after all those with one.
    void ExpectEnd(const Json::Value& report) const {
        EXPECT_EQ(report["result"], 1000);
        EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
        ExpectProduct(report);
        ExpectLeft(report, {.jobs = kNone});
        EXPECT_EQ(_idChanges, HasOtherUsers() ? std::size(kMoments) * std::size(kIdChanges) : 0);
        EXPECT_EQ(_unlocks, std::size(kJobsWithoutUnlock));
    }

    void ExpectOutcome(const Json::Value& report) {
        ExpectProduct(report);
        const std::string operation = report["operation"].asString();
        if (operation.starts_with("setres")) {
            ExpectOutcomeOfIdChange(report, _idChanges++);
            return;
        }
        ExpectOutcomeOfOperation(report);
        if (operation == "NLIBCFileUnlockByFile") {
            ASSERT_LT(_unlocks, std::size(kJobsWithoutUnlock));
            ExpectLeft(report, {.jobs = kJobsWithoutUnlock[_unlocks++], .descriptors = 1});
            return;
        }
        // Without these the scratch source's directory of extended attributes cannot be removed.
        const bool isRemoval = operation == "NAVOEAPath" || operation == "NLIBCExec";
        ExpectLeft(report, {.jobs = kNone, .hasAttributes = isRemoval});
    }

    static void ExpectOutcomeOfOperation(const Json::Value& report) {
        const std::vector<std::string> messages = SyslogSink::Get().Texts();
        for (const Outcome& outcome : kOutcomes) {
            if (!Fits(outcome, report["operation"].asString(), report["argument"].asString())) {
                continue;
            }
            EXPECT_EQ(report["result"].asInt(), outcome.result);
            if (outcome.message == nullptr) {
                EXPECT_THAT(messages, IsEmpty());
            } else {
                EXPECT_THAT(messages, Contains(HasSubstr(outcome.message)));
            }
            return;
        }
        FAIL() << "no outcome is specified for this call";
    }

    // `number` of them failed before.
    static void ExpectOutcomeOfIdChange(const Json::Value& report, size_t number) {
        ASSERT_LT(number, std::size(kMoments) * std::size(kIdChanges));
        const Moment& moment = kMoments[number / std::size(kIdChanges)];
        const IdChange& change = kIdChanges[number % std::size(kIdChanges)];
        EXPECT_EQ(report["operation"], change.operation);
        EXPECT_EQ(report["argument"], change.id);
        EXPECT_EQ(report["result"], change.enters ? moment.result : 1000);
        if (change.enters) {
            EXPECT_THAT(SyslogSink::Get().Texts(),
                        ElementsAre(MatchesRegex(moment.place + " ERROR: IF_RUN_AS\\(0, 0\\)"),
                                    HasSubstr(moment.message)));
        } else {
            EXPECT_THAT(
                SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(moment.place + " ERROR: ~IF_RUN_AS\\(65534, 0\\)")));
        }
        const bool isRemoval = change.enters && &moment == std::end(kMoments) - 1;
        ExpectLeft(report, {.jobs = kNone, .hasAttributes = isRemoval, .isRoot = !change.enters});
    }

    // The caller's, who removes it; or none.
    static void ExpectProduct(const Json::Value& report) {
        const std::string product = report["product"].asString();
        if (report["result"] == 1000) {
            EXPECT_TRUE(Exists(product)) << product;
            unlink(product.c_str());
        } else {
            EXPECT_EQ(product, "");
        }
    }

    // What there is after a conversion, beside its product, that there was not before.
    struct Left {
        Jobs jobs;
        unsigned descriptors = 0;
        bool hasAttributes = false;  // of the scratch source
        bool isRoot = false;
    };
    static void ExpectLeft(const Json::Value& report, const Left& left) {
        if (left.hasAttributes) {
            EXPECT_THAT(ScratchFiles(), ElementsAre(StartsWith("streams/")));
            std::filesystem::remove_all("/volume1/@navoea");
        }
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_EQ(report["leakedDescriptors"].asUInt64(), left.descriptors);
        EXPECT_EQ(report["sameUser"].asBool(), !left.isRoot);
        ExpectJobs(left.jobs);
    }
    static void ExpectJobs(const Jobs& jobs) {
        Json::Value state = State();
        unsigned waiting = 0;
        for (const Json::Value& priority : state["waitingQueue"]) {
            waiting += priority.size();
        }
        EXPECT_EQ(waiting, jobs.waiting) << "jobs waiting";
        EXPECT_EQ(state["runningQueue"].size(), jobs.running) << "jobs running";
        EXPECT_EQ(state["navo1"]["using"], jobs.inContainer);
    }

    size_t _idChanges = 0;  // that failed, in this sweep
    size_t _unlocks = 0;
};

}  // namespace

TEST_F(FailureSweep, EveryPlatformCallOfAConversionMayFail) {
    std::set<std::string> failed;
    Sweep<converter::LibreOfficeConverter>(failed);
    Sweep<converter::UnoconvConverter>(failed);
    for (const Outcome& outcome : kOutcomes) {
        // The pool touches its file when it is made, which an earlier test of this process may
        // have done.
        if (outcome.operation != std::string("NLIBCFileTouch")) {
            EXPECT_THAT(failed, Contains(outcome.operation)) << "never failed";
        }
    }
}
