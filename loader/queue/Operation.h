// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_OPERATION_H
#define VELLUMO_LOADER_OPERATION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vellumo::loader {

// What a task of the queue asks for, as the numbers in its columns op and convert_type. All
// programs agree on them; a number never changes its meaning.
enum class Operation : int32_t {
    kConvert = 0,     // keep the products of a document, or of all documents in a folder
    kConvertNow = 1,  // the same before everything else, because somebody waits for them
    kRemove = 2,      // remove what is kept of a document, or of all documents in a folder
    kReindex = 3      // kConvert for a folder, and kRemove for the documents that it has lost
};

// Which products are meant.
enum class Products : int32_t { kBoth = 0, kPdf = 1, kThumbnail = 2 };

// The operation or products with the number; nothing for a number that no program uses.
std::optional<Operation> OperationOf(int32_t number);
std::optional<Products> ProductsOf(int32_t number);

// Their names for people and for the command line: "convert", "now", "remove", "reindex"; "both",
// "pdf", "thumbnail". The functions with a name return nothing for an unknown one.
const char* NameOf(Operation operation);
const char* NameOf(Products products);
std::optional<Operation> OperationOf(const std::string& name);
std::optional<Products> ProductsOf(const std::string& name);

// All names, in the order of the numbers.
std::vector<std::string> OperationNames();
std::vector<std::string> ProductsNames();

inline bool WantsPdf(Products products) {
    return products != Products::kThumbnail;
}
inline bool WantsThumbnail(Products products) {
    return products != Products::kPdf;
}

}  // namespace vellumo::loader

#endif
