// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <random>

#include "Device.h"
#include "KilledProgram.h"
#include "Process.h"
#include "StateFile.h"
#include "vellumo/BaseDB.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::IsEmpty;
using testing::SizeIs;

// The power fails at each step of a program. The disk then has all names and times that the file
// system knew, but of the products only what was synced: any other is empty. Of the databases it
// has what was synced, and some of what was written since, in no order; of the journals, some whose
// removal was not synced. That is what a journaling file system may leave that writes data late.
namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;

constexpr const char* kDocument = "/volume1/docs/a.docx";
constexpr const char* kEtc = "/var/packages/Vellumo/etc";
const std::string kProduct(100, 'p');  // of the scripted tool

void RemoveDatabases() {
    for (const std::string& name : Names(kEtc)) {
        if (name.find(".db") != std::string::npos) {
            unlink((std::string(kEtc) + '/' + name).c_str());
        }
    }
}

FileId IdOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? FileId{status.st_dev, status.st_ino} : FileId{};
}

void EmptyLikeAPowerCut(const std::string& path) {
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0) << path;
    ASSERT_EQ(truncate(path.c_str(), 0), 0) << path;
    const timespec times[2] = {status.st_atim, status.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
}

// A scratch source may be the document itself, under another name.
void LoseWhatWasNotSynced(const std::set<FileId>& synced) {
    for (const auto& entry : fs::recursive_directory_iterator("/volume1")) {
        const FileId id = IdOf(entry.path());
        if (entry.is_regular_file() && !synced.contains(id) && id != IdOf(kDocument)) {
            EmptyLikeAPowerCut(entry.path());
        }
    }
}

// In sectors, which disks write whole. What was never written is zeros.
std::string Mixed(const std::string& before, const std::string& after, std::mt19937& random) {
    constexpr size_t kSector = 512;
    std::string mixed = after;
    for (size_t at = 0; at < mixed.size(); at += kSector) {
        if (random() % 2 == 0) {
            std::string sector = at < before.size() ? before.substr(at, kSector) : "";
            const size_t size = std::min(kSector, mixed.size() - at);
            sector.resize(size, '\0');
            mixed.replace(at, size, sector);
        }
    }
    return mixed;
}

// One cut in three loses all that was not synced.
void LosePagesOfDatabases(const Interrupted& cut, std::mt19937& random) {
    const bool losesAll = random() % 3 == 0;
    for (const auto& entry : fs::directory_iterator(kEtc)) {
        const FileId id = IdOf(entry.path());
        const bool isOfDatabase = entry.path().filename().string().find(".db") != std::string::npos;
        if (isOfDatabase && cut.onDisk.contains(id) && !cut.synced.contains(id)) {
            const std::string& before = cut.onDisk.at(id);
            WriteFile(entry.path(),
                      losesAll ? before : Mixed(before, ReadFile(entry.path()), random));
        }
    }
}

// A database's journal whose removal has not reached the disk would undo what was committed.
// After the program's end, all of them come back: of what it was told, nothing may be lost.
void BringBackJournals(const Interrupted& cut, std::mt19937& random) {
    const bool hasEnded = cut.call.empty();
    for (const auto& [path, content] : cut.removed) {
        const bool comesBack = hasEnded || random() % 2 == 0;
        if (path.ends_with("-journal") && !Exists(path) && comesBack) {
            WriteFile(path, content);
        }
    }
}

std::vector<core::Row> RowsOf(const std::string& name, const std::string& query) {
    core::BaseDB database;
    database.path = kEtc + ('/' + name);
    EXPECT_TRUE(database.Open());
    std::vector<core::Row> rows;
    EXPECT_TRUE(database.QueryResult(query, rows)) << query;
    return rows;
}

void ExpectSoundDatabases() {
    for (const std::string name : {"thumb.db", "failures.db", "cache.db"}) {
        if (Exists(kEtc + ('/' + name))) {
            auto rows = RowsOf(name, "PRAGMA integrity_check");
            ASSERT_THAT(rows, SizeIs(1)) << name;
            EXPECT_EQ(rows[0]["integrity_check"], "ok") << name;
        }
    }
}

// Products that are kept are whole; then the same work leads to a whole one.
void ExpectWhole(const std::vector<std::string>& command, const char* stream) {
    const std::string kept = StreamOf(kDocument, stream);
    if (Exists(kept)) {
        EXPECT_EQ(ReadFile(kept), kProduct) << "a torn product is kept";
    }
    EXPECT_EQ(RunProgram(command).status, 0);
    EXPECT_EQ(ReadFile(StreamOf(kDocument, stream)), kProduct);
    EXPECT_EQ(ReadFile(kDocument), "the document");
}

// Calls `expect` after each cut, and says whether the program had ended before.
void CutAtEveryStep(const std::vector<std::string>& command,
                    const std::function<void(bool)>& expect, const Script& tool = {}) {
    std::mt19937 random;  // NOLINT(cert-msc32-c,cert-msc51-cpp): every run plays the same cuts
    int step = 1;
    for (bool hasEnded = false; !hasEnded; ++step) {
        PrepareFreshDevice();
        RemoveDatabases();
        WriteFile(kDocument, "the document");
        PlayTool(tool);
        const Interrupted cut = KilledWithDisk(command, step);
        hasEnded = cut.call.empty();
        LoseWhatWasNotSynced(cut.synced);
        LosePagesOfDatabases(cut, random);
        BringBackJournals(cut, random);
        SCOPED_TRACE("the power failed at change " + std::to_string(step) + ", " + cut.call);
        ExpectSoundDatabases();
        expect(hasEnded);
    }
    EXPECT_GT(step, 20) << "changes of a program that does its work";
}

// Files of the package to which the program has written and which it has not synced since, but for
// those whose loss is mended: the state file, from the copy beside it, and leases, which matter to
// living processes only.
std::vector<std::string> UnsyncedDatabases(const Interrupted& ended) {
    std::vector<std::string> unsynced;
    for (const auto& entry : fs::directory_iterator(kEtc)) {
        const FileId id = IdOf(entry.path());
        if (entry.path().extension() == ".db" && ended.written.contains(id) &&
            !ended.synced.contains(id)) {
            unsynced.push_back(entry.path());
        }
    }
    return unsynced;
}

class PowerCutOf : public DeviceTest {
protected:
    PowerCutOf() {
        RemoveDatabases();
        WriteFile(kDocument, "the document");
    }

    static Interrupted RunToTheEnd(const std::vector<std::string>& command) {
        return KilledWithDisk(command, INT_MAX);
    }
    static void ExpectSynced(const Interrupted& ended, const char* database) {
        const FileId id = IdOf(std::string("/var/packages/Vellumo/etc/") + database);
        EXPECT_TRUE(ended.written.contains(id)) << "it was not written to";
        EXPECT_THAT(UnsyncedDatabases(ended), IsEmpty());
    }
};

}  // namespace

TEST_F(PowerCutOf, APdfNeverLeavesATornOne) {
    const std::vector<std::string> command{VELLUMO_POOL_WORKER, "pdf", kDocument};
    CutAtEveryStep(command, [&](bool) {
        ExpectWhole(command, core::SZK_THUMB_PDF_TYPE);
        EXPECT_THAT(RowsOf("cache.db", "SELECT * FROM cache"), SizeIs(1));
    });
}

TEST_F(PowerCutOf, AThumbnailNeverLeavesATornOne) {
    const std::vector<std::string> command{VELLUMO_POOL_WORKER, "thumbnail", kDocument};
    CutAtEveryStep(command, [&](bool) { ExpectWhole(command, core::SZK_THUMB_TYPE); });
}

TEST_F(PowerCutOf, AQueueLeavesTheTaskOrNothing) {
    const std::vector<std::string> command{VELLUMO_TOOL, "queue", "add", "/docs/a.docx"};
    CutAtEveryStep(command, [&](bool wasAccepted) {
        if (wasAccepted) {
            EXPECT_THAT(RowsOf("thumb.db", "SELECT * FROM tasks"), SizeIs(1));
        }
        EXPECT_EQ(RunProgram(command).status, 0) << "the queue takes no task any more";
    });
}

TEST_F(PowerCutOf, AFailureIsRememberedOrNot) {
    const std::vector<std::string> command{VELLUMO_TOOL, "pdf", "/docs/a.docx", "-o",
                                           "/device/a.pdf"};
    constexpr int kToolFailed = 6;
    const auto expect = [&](bool wasTold) {
        if (wasTold) {
            EXPECT_THAT(RowsOf("failures.db", "SELECT * FROM failures"), SizeIs(1));
        }
        EXPECT_EQ(RunProgram(command).status, kToolFailed);
        EXPECT_THAT(RowsOf("failures.db", "SELECT * FROM failures"), SizeIs(1));
    };
    CutAtEveryStep(command, expect, {.exitStatus = 1, .productSize = -1});
}

TEST_F(PowerCutOf, AQueueLosesNoTaskThatWasAccepted) {
    ExpectSynced(RunToTheEnd({VELLUMO_TOOL, "queue", "add", "/docs/a.docx"}), "thumb.db");
}

TEST_F(PowerCutOf, ACacheIndexLosesNoRowOfAKeptPdf) {
    ExpectSynced(RunToTheEnd({VELLUMO_POOL_WORKER, "pdf", kDocument}), "cache.db");
}
