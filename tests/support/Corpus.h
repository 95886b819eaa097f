// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_CORPUS_H
#define VELLUMO_TESTS_CORPUS_H

#include <string>
#include <vector>

namespace vellumo::test {

// A document from another project's test suite. The corpus has documents of every file type and
// with every kind of fault. It is outside the source tree, in the folder that the environment
// variable VELLUMO_CORPUS names. MANIFEST.tsv in that folder has one line for each document: the
// file is the first column, the expected result the last.
struct CorpusFile {
    std::string file;  // path in the folder
    std::string type;
    bool converts;
};

// The value of VELLUMO_CORPUS; empty when it is not set.
std::string CorpusFolder();

std::vector<CorpusFile> CorpusFiles();

}  // namespace vellumo::test

#endif
