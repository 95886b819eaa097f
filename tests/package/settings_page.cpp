// SPDX-License-Identifier: Apache-2.0
// Prints the reference of the settings, docs/SETTINGS.md, from the tables that read them. The
// argument is the example of the web service's settings, whose comments say what they mean.
#include <json/value.h>
#include <json/writer.h>

#include <fstream>
#include <iostream>
#include <string>

#include "loader/settings/SettingTable.h"
#include "loader/settings/SettingValue.h"

using namespace vellumo::loader;

namespace {

constexpr const char* kHead =
    "# Settings\n"
    "\n"
    "Made from the programs' own tables; after a change: `scripts/settings-page record`.\n"
    "\n"
    "## Programs and daemon\n"
    "\n"
    "`/var/packages/Vellumo/etc/index.json`, one JSON object; `vellumo settings` shows and changes "
    "it\n"
    "(docs/OPERATIONS.md, \"Settings\").\n"
    "\n"
    "| setting | default | value | meaning |\n"
    "|---|---|---|---|\n";

constexpr const char* kWebHead =
    "\n"
    "## Web service\n"
    "\n"
    "`/etc/vellumo/web.conf`, a line `NAME = VALUE` for each; `vellumo-web --check` says what is "
    "wrong.\n"
    "\n"
    "| setting | default or example | meaning |\n"
    "|---|---|---|\n";

constexpr const char* kWebTail =
    "\n"
    "`page` is the folder of the page's files; what is installed is the default.\n";

std::string Json(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

void PrintTable() {
    for (const SettingEntry& entry : SettingEntries()) {
        std::cout << "| `" << entry.name << "` | `" << Json(DefaultOf(entry)) << "` | "
                  << ExpectedBy(entry) << " | " << entry.help << " |\n";
    }
}

// Each setting is a line "#NAME = VALUE" after the comment that is about it. Comments about two
// settings are about each.
void PrintWebTable(std::istream& example) {
    std::string comment;
    bool isNew = true;
    for (std::string line; std::getline(example, line);) {
        const size_t sign = line.find(" = ");
        if (line.starts_with("# ")) {
            comment = isNew ? line.substr(2) : comment + line.substr(1);
            isNew = false;
        } else if (line.starts_with('#') && sign != std::string::npos) {
            std::cout << "| `" << line.substr(1, sign - 1) << "` | `" << line.substr(sign + 3)
                      << "` | " << comment << " |\n";
            isNew = true;
        } else {
            isNew = true;
        }
    }
}

}  // namespace

int main(int count, char** words) {
    std::ifstream example(count == 2 ? words[1] : "");
    if (!example) {
        std::cerr << "usage: vellumo_settings_page WEB_CONF\n";
        return 1;
    }
    std::cout << kHead;
    PrintTable();
    std::cout << kWebHead;
    PrintWebTable(example);
    std::cout << kWebTail;
    return std::cout.flush() ? 0 : 1;
}
