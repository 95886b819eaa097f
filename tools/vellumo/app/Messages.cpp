// SPDX-License-Identifier: Apache-2.0
#include "app/Messages.h"

#include <json/writer.h>

#include <memory>

namespace vellumo::cli {
namespace {

bool IsControl(unsigned char byte) {
    return byte < 0x20 || byte == 0x7f;
}

std::string Escaped(unsigned char byte) {
    constexpr const char* kDigits = "0123456789abcdef";
    return {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0xfU]};
}

}  // namespace

std::string Printable(const std::string& text) {
    std::string printable;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        printable += IsControl(byte) ? Escaped(byte) : std::string(1, c);
    }
    return printable;
}

void Print(std::ostream& out, const Problem& problem) {
    out << "vellumo: " << Printable(problem.what) << ": " << Printable(problem.why) << '\n';
    if (!problem.toolOutput.empty()) {
        out << "  The tool said:\n";
        for (const std::string& line : problem.toolOutput) {
            out << "    " << Printable(line) << '\n';
        }
    }
    if (!problem.next.empty()) {
        out << "  " << Printable(problem.next) << '\n';
    }
    out.flush();
}

Json::Value ToJson(const Problem& problem) {
    Json::Value value(Json::objectValue);
    value["kind"] = EntryOf(problem.code).kind;
    value["what"] = problem.what;
    value["why"] = problem.why;
    value["next"] = problem.next;
    if (!problem.toolOutput.empty()) {
        value["toolOutput"] = JsonArray(problem.toolOutput);
    }
    return value;
}

void PrintJson(std::ostream& out, const Json::Value& document) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    const std::unique_ptr<Json::StreamWriter> writer(builder.newStreamWriter());
    writer->write(document, &out);
    out << '\n';
}

Json::Value JsonArray(const std::vector<std::string>& values) {
    Json::Value array(Json::arrayValue);
    for (const std::string& value : values) {
        array.append(value);
    }
    return array;
}

}  // namespace vellumo::cli
