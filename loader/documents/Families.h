// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_FAMILIES_H
#define VELLUMO_LOADER_FAMILIES_H

#include <set>
#include <string>
#include <vector>

namespace vellumo::loader {

// One way in which the library converts a document.
struct Way {
    const char* converter;   // the library's name for it
    std::string tool;        // the program that it runs
    const char* targetType;  // the extension of its product
};

// A group of document types that are converted in the same ways.
struct Family {
    const std::set<std::string>& types;
    Way whole;  // the whole document
    Way pages;  // a range of its pages
};

// The family of a document type (lower-case extension); null when no converter takes it.
const Family* FamilyOf(const std::string& type);

// All types that can be converted, each once, in the order of the package's list.
std::vector<std::string> SupportedTypes();

}  // namespace vellumo::loader

#endif
