#include "catalogue/config_operation.h"

#include <fmt/format.h>

#include "operations/config_file.h"

namespace kymora {

const Operation* OperationOfConfig(Session& session, const std::filesystem::path& path) {
    const auto refuse = [&](const std::string& text) {
        session.host.Failure(text);
        return nullptr;
    };
    std::string name;
    try {
        name = ConfigClassName(session, path);
    } catch (const FileError& error) {
        return refuse(error.what());
    }
    session.host.Log(
        fmt::format("CDataDoc::OnLoadConfigFile(): type = {}, filename = {}\n", name, path.string()));
    const std::string file = path.filename().string();
    if (name.empty()) return refuse(fmt::format("{} is no configuration file of an operation.", file));
    const Operation* operation = FindOperation(name);
    // A file has a class name, never the name of the command line.
    if (!operation || (operation->className != name && operation->olderName != name))
        return refuse(fmt::format(unknownConfigText, file, name));
    if (operation->make()->WhatItAffects() == Affects::newRecording)
        return refuse(fmt::format(newRecordingConfigText, file, name));
    return operation;
}

}  // namespace kymora
