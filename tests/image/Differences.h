// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_IMAGE_DIFFERENCES_H
#define VELLUMO_TESTS_IMAGE_DIFFERENCES_H

#include <iostream>
#include <string>
#include <vector>

namespace vellumo::test {

// A known difference between the results of two ways to convert a document, and its reason.
// docs/FIDELITY.md describes these differences for users.
struct Difference {
    std::string document;
    std::string what;
    std::string why;
};

// Fails for each difference that was found ("DOCUMENT: WHAT") but is not known, and for each that
// is known but was not found.
void ExpectDifferences(const std::vector<std::string>& found, const std::vector<Difference>& known);

// Calls `compare` for each document, which must have a member `file`, and returns the differences
// in the form for ExpectDifferences(). Prints its progress to standard output.
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

// Returns `text` quoted as one word of a shell command.
std::string Quoted(const std::string& text);

// Splits a script's output into lines.
std::vector<std::string> Lines(const std::string& text);

}  // namespace vellumo::test

#endif
