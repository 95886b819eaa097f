// SPDX-License-Identifier: Apache-2.0
#include <json/writer.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>

#include "Device.h"
#include "PlatformDouble.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

// One conversion, again and again: each time another one of its calls to the platform fails.
namespace {

constexpr uid_t kUser = 65534;
constexpr const char* kReport = "/device/sweep-report";

// What a conversion gives in which a certain call failed.
struct Outcome {
    const char* operation;
    const char* argument;  // part of the call's first argument
    int result;
    const char* message;  // part of a message about it; null when nothing need be said
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

bool Fits(const Outcome& outcome, const std::string& operation, const std::string& argument) {
    return operation == outcome.operation && argument.find(outcome.argument) != std::string::npos;
}

size_t OpenDescriptors() {
    using Entries = std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(Entries("/proc/self/fd"), Entries()));
}

// Without these an (empty) extended-attribute directory cannot be removed, which is logged only.
bool IsNeededToRemoveEADir(const std::string& operation) {
    return operation == "NAVOEAPath" || operation == "NLIBCExec" || operation.starts_with("setres");
}

class FailureSweep : public DeviceTest {
protected:
    FailureSweep() {
        using std::filesystem::perms;
        for (const char* path : {"/volume1", "/volume1/docker", "/volume1/docs", "/device",
                                 "/device/tool-script", kStateFile}) {
            std::filesystem::permissions(path, perms::all);
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
        const pid_t child = fork();
        if (child == 0) {
            WriteFile(kReport, Json::writeString(Json::StreamWriterBuilder(), Run<Converter>(k)));
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << "the process died when call " << k << " failed";
        return Parsed(ReadFile(kReport));
    }

    template <typename Converter>
    void Sweep(std::set<std::string>& failedOperations) {
        for (int k = 1; k < 100; ++k) {
            const Json::Value report = ConvertWithCallFailing<Converter>(k);
            if (!report.isMember("operation")) {
                EXPECT_EQ(report["result"], 1000) << "the conversion without any failure";
                ExpectNothingLeft(report);
                return;
            }
            failedOperations.insert(report["operation"].asString());
            SCOPED_TRACE("call " + std::to_string(k) + " failed: " +
                         report["operation"].asString() + " " + report["argument"].asString());
            ExpectOutcome(report);
            ExpectNothingLeft(report);
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

    static void ExpectOutcome(const Json::Value& report) {
        const std::vector<std::string> messages = SyslogSink::Get().Texts();
        if (report["operation"].asString().starts_with("setres")) {
            return;  // the ids' own outcome is ExpectNothingLeft's business
        }
        for (const Outcome& outcome : kOutcomes) {
            if (Fits(outcome, report["operation"].asString(), report["argument"].asString())) {
                EXPECT_EQ(report["result"].asInt(), outcome.result);
                if (outcome.message != nullptr) {
                    EXPECT_THAT(messages, Contains(HasSubstr(outcome.message)));
                }
                return;
            }
        }
        FAIL() << "no outcome is specified for this call";
    }

    static void ExpectNothingLeft(const Json::Value& report) {
        const std::string product = report["product"].asString();
        if (report["result"] == 1000) {
            EXPECT_TRUE(Exists(product)) << product;
            unlink(product.c_str());
        } else {
            EXPECT_EQ(product, "");
        }
        const std::string operation = report["operation"].asString();
        if (IsNeededToRemoveEADir(operation)) {
            std::filesystem::remove_all(std::string(kSourceDir) + ".navoea");
        }
        EXPECT_THAT(Names(kSourceDir), IsEmpty());
        EXPECT_THAT(Names(kTargetDir), IsEmpty());
        if (operation == "NLIBCFileUnlockByFile") {
            return;  // the lock stays with the process until it ends, and so nothing more is saved
        }
        EXPECT_EQ(report["leakedDescriptors"].asUInt64(), 0U);
        EXPECT_EQ(State()["navo1"]["using"], 0);
        EXPECT_FALSE(State().isMember("runningQueue") && !State()["runningQueue"].empty());
        EXPECT_FALSE(State().isMember("waitingQueue") &&
                     State()["waitingQueue"] != Parsed("[{},{},{}]"));
        if (!operation.starts_with("setres")) {
            EXPECT_TRUE(report["sameUser"].asBool());
        }
    }
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
