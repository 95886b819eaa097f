// SPDX-License-Identifier: Apache-2.0
#include "WarmUp.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <thread>
#include <vector>

#include "Conversion.h"
#include "Failure.h"
#include "Statuses.h"
#include "support/Directory.h"

namespace vellumo::office {
namespace {

// A document and the usual formats of its kind. The first one is also converted: that loads what a
// PDF of this kind needs.
struct Family {
    const char* document;
    std::array<SavedAs, 3> forms;
};

constexpr Family kFamilies[] = {
    {"text.fodt",
     {{{"warm.docx", "MS Word 2007 XML"}, {"warm.odt", "writer8"}, {"warm.doc", "MS Word 97"}}}},
    {"sheet.fods",
     {{{"warm.xlsx", "Calc MS Excel 2007 XML"},
       {"warm.ods", "calc8"},
       {"warm.xls", "MS Excel 97"}}}},
    {"slides.fodp",
     {{{"warm.pptx", "Impress MS PowerPoint 2007 XML"},
       {"warm.odp", "impress8"},
       {"warm.ppt", "MS PowerPoint 97"}}}},
    {"drawing.fodg", {{{"warm.odg", "draw8"}, {nullptr, nullptr}, {nullptr, nullptr}}}}};

constexpr int kTries = 100;
constexpr std::chrono::milliseconds kPause(20);

size_t Threads() {
    return support::NamesIn(support::OpenDirectory("/proc/self/task")).size();
}

void AwaitSingleThread() {
    for (int i = 0; Threads() > 1; ++i) {
        if (i == kTries) {
            throw Failure(kCannotPreload, "the office keeps threads that cannot be forked");
        }
        std::this_thread::sleep_for(kPause);
    }
}

void Use(const Context& context, const Family& family, const std::string& documents,
         const std::string& folder) {
    std::vector<SavedAs> forms;
    std::copy_if(family.forms.begin(), family.forms.end(), std::back_inserter(forms),
                 [](const SavedAs& form) { return form.name != nullptr; });
    Save(context, documents + '/' + family.document, folder, forms);
    const std::string first = folder + '/' + forms.front().name;
    const std::string product = first + ".pdf";
    Convert(context, {.source = first, .target = product, .refresh = true, .fit = true});
    unlink(product.c_str());
    for (const SavedAs& form : forms) {
        const std::string path = folder + '/' + form.name;
        if (path != first) {
            Load(context, path);
        }
        unlink(path.c_str());
    }
}

}  // namespace

bool WarmUp(const Context& context, const std::string& documents, const std::string& folder,
            const std::function<bool()>& mayGoOn) {
    const bool isWhole =
        std::all_of(std::begin(kFamilies), std::end(kFamilies), [&](const Family& family) {
            const bool goesOn = mayGoOn();
            if (goesOn) {
                Use(context, family, documents, folder);
            }
            return goesOn;
        });
    Kit::ForgetAuthors();
    AwaitSingleThread();
    return isWhole;
}

}  // namespace vellumo::office
