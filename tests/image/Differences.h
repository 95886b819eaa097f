// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_IMAGE_DIFFERENCES_H
#define VELLUMO_TESTS_IMAGE_DIFFERENCES_H

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

// As one word of a shell's command.
std::string Quoted(const std::string& text);

// What a script printed, line by line.
std::vector<std::string> Lines(const std::string& text);

}  // namespace vellumo::test

#endif
