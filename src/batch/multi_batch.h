#pragma once
// A To Do list: operations with their settings, which run one after the other over each file of a batch.

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "catalogue/operations.h"

namespace kymora {

inline constexpr const char* multiBatchFilter = "batch config (*.kymr-batch)|*.kymr-batch||";
inline constexpr const char* multiBatchLoadFilter = "batch config (*.kymr-batch)|*.kymr-batch; *.kymr-cfg||";
inline constexpr const char* multiBatchExtension = "kymr-batch";
inline constexpr const char* saveMultiBatchTitle = "Save Multi-Batch configuration file";
inline constexpr const char* notMultiBatchText =
    "This does not appear to be a Multi-process batch configuration file.";
// What the commands of the list say where nothing is selected.
inline constexpr const char* selectToAddText = "Please select an operation to add to the To Do list.";
inline constexpr const char* selectToRemoveText = "Please select an item in the To Do list to remove.";
inline constexpr const char* selectToMoveUpText = "Please select an item in the To Do list to move up.";
inline constexpr const char* selectToMoveDownText = "Please select an item in the To Do list to move down.";
inline constexpr const char* selectToConfigureText =
    "Please select an item in the To Do list to re-configure.";
inline constexpr const char* emptyToDoText = "Add some operations to the To Do list.";

class CMultiBatch {
  public:
    // The items are owned.
    CMultiBatch() = default;
    CMultiBatch(CMultiBatch&&) = default;
    CMultiBatch& operator=(CMultiBatch&&) = default;

    size_t Count() const { return items_.size(); }
    CBatchBaseDlg& Item(size_t i) const { return *items_[i]; }
    // As the list shows it: the title of the operation.
    std::string Name(size_t i) const { return items_[i]->Title(); }
    void Add(std::unique_ptr<CBatchBaseDlg> item) { items_.push_back(std::move(item)); }
    // Takes an item out of the list.
    std::unique_ptr<CBatchBaseDlg> Take(size_t i);
    // False at the end of the list.
    bool MoveUp(size_t i);
    bool MoveDown(size_t i) { return i + 1 < Count() && MoveUp(i + 1); }

    int32_t m_bWriteNewFile = 0;

    // What the list as a whole changes: traces as soon as any item changes the recording, else nothing. All
    // results are native files.
    Affects WhatItAffects() const;
    // Why the list cannot run over several files; empty when it can.
    std::string SeveralFilesFault() const;
    // Why an operation cannot stand in a list; empty when it can.
    static std::string ItemFault(const CBatchBaseDlg& block);

    // Writes or reads the record of a list's file: version 2, class name, count, then each item's class name
    // and its record. Version 1 has no name. Throws ArchiveError, with the words for the user, for what is no
    // list, is damaged, or holds what this version cannot make; the list is then as it was.
    void Serialize(CArchive& archive);
    // The record in memory.
    std::vector<std::byte> Record() const;
    CMultiBatch Copy() const;

  private:
    void Write(CArchive& archive) const;

    std::vector<std::unique_ptr<CBatchBaseDlg>> items_;
};

// Each tells the user what goes wrong and answers false; the list, and a file of that name, are then as they
// were. A file of a single dialog is a list of one.
bool SaveMultiBatch(Session& session, CMultiBatch& list, const std::filesystem::path& path);
bool LoadMultiBatch(Session& session, CMultiBatch& list, const std::filesystem::path& path);

// An operation as a record, and of a record. Throws ArchiveError for a class that cannot be made, and for
// settings outside their limits.
std::unique_ptr<CBatchBaseDlg> ReadItem(CArchive& archive, const std::string& className);

}  // namespace kymora
