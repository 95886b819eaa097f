// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_IMAGE_DIFFERENCES_H
#define VELLUMO_TESTS_IMAGE_DIFFERENCES_H

#include <iostream>
#include <string>
#include <vector>

namespace vellumo::test {

// What two ways of converting are known to make differently of a document, and why that has to be
// so. docs/FIDELITY.md says the same to people.
struct Difference {
    std::string document;
    std::string what;
    std::string why;
};

// Fails for each difference that was found ("DOCUMENT: WHAT") and is not known, and for each that
// is known and was not found.
void ExpectDifferences(const std::vector<std::string>& found, const std::vector<Difference>& known);

// What `compare` finds of each of the documents, which have a `file`, as ExpectDifferences() takes
// it; tells on standard output how far it has come.
template <typename Document, typename Compare>
std::vector<std::string> FindDifferences(const std::vector<Document>& documents,
                                         const Compare& compare) {
    std::vector<std::string> found;
    for (const Document& document : documents) {
        std::cout << document.file << std::endl;
        for (const std::string& difference : compare(document)) {
            std::cout << "    " << difference << std::endl;
            found.push_back(document.file + ": " + difference);
        }
    }
    return found;
}

// As one word of a shell's command.
std::string Quoted(const std::string& text);

// What a script printed, line by line.
std::vector<std::string> Lines(const std::string& text);

}  // namespace vellumo::test

#endif
