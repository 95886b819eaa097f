// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_CORPUS_H
#define VELLUMO_TESTS_CORPUS_H

#include <string>
#include <vector>

namespace vellumo::test {

// Documents from other projects' test suites, of every file type and with every kind of fault. They
// lie outside the tree; VELLUMO_CORPUS names the folder, in which MANIFEST.tsv lists them: the file
// first on each line, and what must become of it last.
struct CorpusFile {
    std::string file;  // in the folder
    std::string type;
    bool converts;
};

// Empty when VELLUMO_CORPUS is not set.
std::string CorpusFolder();

std::vector<CorpusFile> CorpusFiles();

}  // namespace vellumo::test

#endif
