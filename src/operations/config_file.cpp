#include "operations/config_file.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/native_writer.h"

namespace kymora {

namespace {

// No settings take as much, with the longest template; a larger file is none.
constexpr uint64_t mostConfigBytes = uint64_t{8} << 20;

std::vector<std::byte> ReadFile(Session& session, const std::filesystem::path& path) {
    const auto file = session.files.Open(path, OpenMode::readOnly);
    std::vector<std::byte> bytes(static_cast<size_t>(std::min(file->Length(), mostConfigBytes)));
    ReadWhole(*file, 0, bytes);
    return bytes;
}

void WriteFile(Session& session, const std::filesystem::path& path, std::span<const std::byte> bytes) {
    WriteFileAtomically(session.files, path, [bytes](CArchive& archive) { archive.WriteRaw(bytes); });
}

}  // namespace

std::string SettingsFault(CBatchBaseDlg& operation) {
    for (const Field& param : operation.Params()) {
        if (!param.HasValue()) continue;
        std::string fault = param.Fault();
        if (!fault.empty()) return fault;
    }
    return {};
}

bool SaveConfig(Session& session, CBatchBaseDlg& operation, const std::filesystem::path& path) {
    try {
        WriteFile(session, path, operation.Settings());
        return true;
    } catch (const FileError& error) {
        session.host.Failure(error.what());
        return false;
    }
}

bool LoadConfig(Session& session, CBatchBaseDlg& operation, const std::filesystem::path& path) {
    const std::vector<std::byte> before = operation.Settings();
    std::string fault;
    bool isWrongClass = false;
    // Limits that follow from the recording at hand say nothing about the file, which may come from another
    // one. What depends on the recording is taken up anew.
    CDataDoc* doc = operation.Document();
    operation.CheckChangeDoc(nullptr);
    try {
        operation.TakeSettings(ReadFile(session, path));
        fault = SettingsFault(operation);
        if (!fault.empty())
            fault = fmt::format("{}\n{}", fmt::format(damagedConfigText, operation.ClassName()), fault);
    } catch (const FileError& error) {
        fault = error.what();
    } catch (const ArchiveError& error) {
        isWrongClass = operation.m_bConfigError;
        fault = error.what();
    }
    if (fault.empty()) operation.SettingsWereChosen();
    operation.CheckChangeDoc(doc);
    if (fault.empty()) return true;
    operation.TakeSettings(before);
    operation.m_bConfigError = isWrongClass;
    session.host.Failure(fault);
    return false;
}

bool DropConfig(Session& session, CBatchBaseDlg& operation, const std::filesystem::path& path) {
    if (FoldedExtension(path) == std::string(".") + configExtension)
        return LoadConfig(session, operation, path);
    session.host.Failure(dropConfigText);
    return false;
}

bool AskSaveConfig(Session& session, CBatchBaseDlg& operation) {
    const FileRequest request{saveConfigTitle, configFilter, configExtension,
                              std::string(operation.ClassName()) + "." + configExtension};
    const auto path = session.host.ChooseSaveFile(request);
    return path && SaveConfig(session, operation, *path);
}

bool AskLoadConfig(Session& session, CBatchBaseDlg& operation) {
    const auto paths = session.host.ChooseOpenFiles({loadConfigTitle, configFilter, configExtension, {}});
    return !paths.empty() && LoadConfig(session, operation, paths[0]);
}

std::string ConfigClassName(Session& session, const std::filesystem::path& path) {
    const auto file = session.files.Open(path, OpenMode::readOnly);
    CArchive archive(*file, CArchive::Mode::load);
    return ReadClassName(archive);
}

}  // namespace kymora
