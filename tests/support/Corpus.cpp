// SPDX-License-Identifier: Apache-2.0
#include "Corpus.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace vellumo::test {
namespace {

// An observed result in the note takes precedence over the expected one.
bool Converts(const std::string& note) {
    if (note.find("OBSERVED: soffice 7.4.7 prints \"source file could not be loaded\"") !=
        std::string::npos) {
        return false;
    }
    return note.starts_with("converts");
}

}  // namespace

std::string CorpusFolder() {
    const char* folder = std::getenv("VELLUMO_CORPUS");
    return folder == nullptr ? "" : folder;
}

std::vector<CorpusFile> CorpusFiles() {
    std::vector<CorpusFile> files;
    std::ifstream manifest(CorpusFolder() + "/MANIFEST.tsv");
    std::string line;
    std::getline(manifest, line);  // the names of the columns
    while (std::getline(manifest, line)) {
        std::vector<std::string> columns;
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, '\t');) {
            columns.push_back(cell);
        }
        files.push_back({columns.at(0), columns.at(1), Converts(columns.back())});
    }
    return files;
}

}  // namespace vellumo::test
