#include "batch/multi_batch.h"

#include <fmt/format.h>

#include <utility>

#include "document/native_writer.h"
#include "host/memory_file_system.h"
#include "operations/config_file.h"

namespace kymora {

namespace {

constexpr const char* listClassName = "CMultiBatch";
constexpr uint32_t listVersion = 2;
// A class name, and the version and pane state of the record.
constexpr size_t leastItemBytes = 14;
constexpr const char* unknownItemText =
    "The list holds {}, which this version of Kymora does not have. Nothing was loaded.";
constexpr const char* leftOverText =
    "The file holds more than the settings of its operations. It is damaged, and nothing was loaded.";
constexpr const char* laterListText =
    "The list was written by a later version of Kymora and cannot be read by this one.";
constexpr const char* damagedItemText = "The settings of {} in the list are damaged. Nothing was loaded.\n{}";

}  // namespace

std::unique_ptr<CBatchBaseDlg> CMultiBatch::Take(size_t i) {
    auto item = std::move(items_[i]);
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(i));
    return item;
}

bool CMultiBatch::MoveUp(size_t i) {
    if (i == 0) return false;
    std::swap(items_[i - 1], items_[i]);
    return true;
}

Affects CMultiBatch::WhatItAffects() const {
    for (const auto& item : items_)
        if (item->WhatItAffects() != Affects::nothing) return Affects::traces;
    return Affects::nothing;
}

std::string CMultiBatch::SeveralFilesFault() const {
    for (const auto& item : items_)
        if (const std::string fault = item->SeveralFilesFault(); !fault.empty())
            return fmt::format("{}: {}", item->Title(), fault);
    return {};
}

std::string CMultiBatch::ItemFault(const CBatchBaseDlg& block) {
    if (block.WhatItAffects() == Affects::newRecording || !block.NeedsRecording())
        return fmt::format("{} works on no recording and cannot stand in a list.", block.ClassName());
    return block.BatchFault();
}

std::unique_ptr<CBatchBaseDlg> ReadItem(CArchive& archive, const std::string& className) {
    const Operation* operation = FindOperation(className);
    if (!operation || (operation->className != className && operation->olderName != className))
        throw ArchiveError(fmt::format(unknownItemText, className.empty() ? "no identifier" : className));
    auto item = operation->make();
    if (const std::string fault = CMultiBatch::ItemFault(*item); !fault.empty()) throw ArchiveError(fault);
    try {
        item->Serialize(archive);
    } catch (const ArchiveError& error) {
        throw ArchiveError(fmt::format(damagedItemText, className, error.what()));
    }
    if (const std::string fault = SettingsFault(*item); !fault.empty())
        throw ArchiveError(fmt::format(damagedItemText, className, fault));
    if (const std::string fault = item->BatchFault(); !fault.empty()) throw ArchiveError(fault);
    item->SettingsWereChosen();
    return item;
}

void CMultiBatch::Write(CArchive& archive) const {
    archive.Write<uint32_t>(listVersion);
    archive.WriteString(listClassName);
    archive.Write<int32_t>(static_cast<int32_t>(items_.size()));
    for (const auto& item : items_) {
        archive.WriteString(item->ClassName());
        item->Serialize(archive);
    }
}

std::vector<std::byte> CMultiBatch::Record() const {
    MemoryFile file;
    CArchive archive(file, CArchive::Mode::store);
    Write(archive);
    archive.Close();
    return file.Bytes();
}

CMultiBatch CMultiBatch::Copy() const {
    MemoryFile file;
    file.Bytes() = Record();
    CArchive archive(file, CArchive::Mode::load);
    CMultiBatch copy;
    copy.Serialize(archive);
    copy.m_bWriteNewFile = m_bWriteNewFile;
    return copy;
}

void CMultiBatch::Serialize(CArchive& archive) {
    if (archive.IsStoring()) return Write(archive);
    const auto version = archive.Read<uint32_t>();
    if (version == 0) throw ArchiveError(notMultiBatchText);
    if (version > 1 && ReadClassName(archive) != listClassName) throw ArchiveError(notMultiBatchText);
    if (version > listVersion) throw ArchiveError(laterListText);
    std::vector<std::unique_ptr<CBatchBaseDlg>> items;
    const uint32_t count = archive.ReadItemCount(leastItemBytes, "operations");
    for (uint32_t i = 0; i < count; ++i) items.push_back(ReadItem(archive, ReadClassName(archive)));
    if (archive.Remaining() > 0) throw ArchiveError(leftOverText);
    items_ = std::move(items);
}

bool SaveMultiBatch(Session& session, CMultiBatch& list, const std::filesystem::path& path) {
    try {
        WriteFileAtomically(session.files, path, [&](CArchive& archive) { list.Serialize(archive); });
        return true;
    } catch (const FileError& error) {
        session.host.Failure(error.what());
        return false;
    }
}

bool LoadMultiBatch(Session& session, CMultiBatch& list, const std::filesystem::path& path) {
    try {
        const auto file = session.files.Open(path, OpenMode::readOnly);
        CArchive archive(*file, CArchive::Mode::load);
        if (FoldedExtension(path) == std::string(".") + configExtension) {
            const std::string name = ReadClassName(archive);
            archive.Seek(0);
            CMultiBatch single;
            single.Add(ReadItem(archive, name));
            if (archive.Remaining() > 0) throw ArchiveError(leftOverText);
            single.m_bWriteNewFile = list.m_bWriteNewFile;
            list = std::move(single);
        } else {
            list.Serialize(archive);
        }
        return true;
    } catch (const std::exception& error) {
        session.host.Failure(fmt::format("{}\n{}", path.filename().string(), error.what()));
        return false;
    }
}

}  // namespace kymora
