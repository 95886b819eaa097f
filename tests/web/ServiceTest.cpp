// SPDX-License-Identifier: Apache-2.0
#include "ServiceTest.h"

#include <sys/stat.h>
#include <unistd.h>

namespace vellumo::test {

void ServiceTest::SetUp() {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
    }
    if (!_accounts) {
        GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
    }
    for (const char* database : {"web.db", "links.db"}) {
        for (const char* file : {"", "-wal", "-shm"}) {
            unlink((std::string("/var/packages/Vellumo/etc/") + database + file).c_str());
        }
    }
    unlink("/device/locked-ann");
    MakeDirectory("/volume1/other");
    WriteFile("/etc/samba/smb.conf",
              "[docs]\npath = /volume1/docs\nveto files = /*.veto/\n"
              "[other]\npath = /volume1/other\nvalid users = ann\n"
              "[docker]\npath = /volume1/docker\navailable = no\n");
    Write("/volume1/docs/a.docx", 0644);
    Write("/volume1/docs/secret.docx", 0600);
    Write("/volume1/docs/b.veto", 0644);
    Write("/volume1/other/c.docx", 0644);
    for (const char* folder : {"/volume1/docs", "/volume1/other"}) {
        chmod(folder, 0755);
    }
}

void ServiceTest::Write(const std::string& path, mode_t mode) {
    WriteFile(path, "some document");
    chmod(path.c_str(), mode);
    EXPECT_EQ(chown(path.c_str(), 1001, 1001), 0) << path;
}

std::vector<std::string> ServiceTest::Hrefs(const HttpAnswer& answer, const char* member) {
    std::vector<std::string> hrefs;
    const Json::Value parsed = answer.Json();
    for (const Json::Value& entry : parsed[member]) {
        hrefs.push_back(entry["href"].asString());
    }
    return hrefs;
}

std::string ServiceTest::Opened(Browser& browser, const std::string& path,
                                const std::string& product, const std::string& prefix) {
    const std::string query = path + "?product=" + product;
    std::string state = browser.Post(prefix + "open/" + query, "{}").Json()["state"].asString();
    while (state != "ready" && state != "none" && !state.empty()) {
        state = browser.Get(prefix + "status/" + query + "&wait=5").Json()["state"].asString();
    }
    return state;
}

}  // namespace vellumo::test
