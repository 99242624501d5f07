#pragma once
// Operations that make a new recording and need none that is open, such as those that take up what the
// clipboard holds. A window asks for their settings by dialogs of its own.

#include <filesystem>
#include <functional>
#include <string>

#include "operations/batch_base_dlg.h"

namespace kymora {

class CNewRecordingDlg : public CBatchBaseDlg {
  public:
    const char* ActionLabel() const override { return "Make"; }
    Affects WhatItAffects() const final { return Affects::newRecording; }
    bool NeedsRecording() const final { return false; }
    WrittenFile WriteFile(Session& session, const std::filesystem::path& out, bool keepsSource) final;

    void Serialize(CArchive& archive) override;

    // Stands for the clipboard's content.
    std::string m_sFile;

  protected:
    // Writes the recording that the settings describe. False when none was written, which the user was told.
    virtual bool WriteRecording(Session& session, const std::filesystem::path& out) = 0;
    void DescribeFile(ParamList& list, const char* toolTip);
    // Runs `write` with the file that stands for the clipboard, if the settings allow it and it can be read.
    // What prevents it is told to the user, and then the answer is false.
    bool WriteFromFile(Session& session, const std::function<bool(const DataFile&)>& write);
};

}  // namespace kymora
