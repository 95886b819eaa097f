// SPDX-License-Identifier: Apache-2.0
#include "documents/PathCommand.h"

#include <CLI/CLI.hpp>

#include <iomanip>
#include <iostream>

#include "app/InvokingUser.h"
#include "app/Messages.h"
#include "loader/documents/Document.h"

namespace vellumo::cli {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo path /docs/report.docx            show the file's real path and its converters\n"
    "  vellumo path /home/notes.odt --user ann   the same in ann's home folder\n"
    "  vellumo path /docs/report.docx --json     the same as JSON\n"
    "The command changes nothing, and the file need not exist.";

constexpr int kLabelWidth = 22;

Json::Value ToJson(const loader::Way& way) {
    Json::Value value(Json::objectValue);
    value["name"] = way.converter;
    value["tool"] = way.tool;
    value["targetType"] = way.targetType;
    return value;
}

Json::Value ConverterJson(const loader::Family* family) {
    if (family == nullptr) {
        return {};
    }
    Json::Value value(Json::objectValue);
    value["whole"] = ToJson(family->whole);
    value["pages"] = ToJson(family->pages);
    return value;
}

Json::Value ToJson(const loader::Document& document, const loader::FileFacts& facts) {
    Json::Value value(Json::objectValue);
    value["sharePath"] = document.sharePath;
    value["user"] = document.user;
    value["realPath"] = document.realPath;
    value["type"] = document.type;
    value["converter"] = ConverterJson(document.family);
    value["eaDirectory"] = document.eaDirectory.empty() ? Json::Value() : document.eaDirectory;
    value["exists"] = facts.exists;
    value["kind"] = facts.kind;
    value["readable"] = facts.readable;
    value["size"] = Json::Int64{facts.size};
    return value;
}

std::string Described(const loader::Way& way) {
    return std::string(way.converter) + " (" + way.tool + ") makes a " + way.targetType;
}

void PrintLine(const std::string& label, const std::string& value) {
    std::cout << std::left << std::setw(kLabelWidth) << label + ":" << Printable(value) << '\n';
}

const char* YesNo(bool value) {
    return value ? "yes" : "no";
}

void PrintConverter(const loader::Family* family) {
    if (family == nullptr) {
        PrintLine("converter", "none takes this type");
        return;
    }
    PrintLine("whole document", Described(family->whole));
    PrintLine("page range", Described(family->pages));
}

void Print(const loader::Document& document, const loader::FileFacts& facts) {
    PrintLine("share path", document.sharePath);
    PrintLine("user", document.user);
    PrintLine("real path", document.realPath);
    PrintLine("type", document.type.empty() ? "none (the name has no extension)" : document.type);
    PrintConverter(document.family);
    PrintLine("attribute directory",
              document.eaDirectory.empty() ? "none (not a file's path)" : document.eaDirectory);
    PrintLine("exists", YesNo(facts.exists));
    if (facts.exists) {
        PrintLine("kind", facts.kind);
        PrintLine("readable", YesNo(facts.readable));
        PrintLine("size", std::to_string(facts.size) + " bytes");
    }
}

}  // namespace

PathCommand::PathCommand(CLI::App& app)
    : Command(app.add_subcommand(
          "path", "Show the real path, the type and the converters of a share path")),
      _user(InvokingUser()) {
    Arguments()->footer(kExamples);
    Arguments()
        ->add_option("SHARE_PATH", _sharePath, "The file, as in /docs/report.docx")
        ->required()
        ->option_text(" ");
    Arguments()
        ->add_option("--user", _user, "The user whose home folder /home means; default: you")
        ->option_text("NAME");
}

CommandResult PathCommand::Run(bool json) {
    const loader::Document document = loader::Resolve(_sharePath, _user);
    const loader::FileFacts facts = loader::FactsOf(document);
    if (!json) {
        Print(document, facts);
    }
    return {ExitCode::kDone, ToJson(document, facts)};
}

}  // namespace vellumo::cli
