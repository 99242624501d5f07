#pragma once
// "Append recording": the scans of another recording file behind those of the one at hand, marked as an
// episode in channel 'a'. It makes a recording file (.kymr-rec), in the place of the first one or beside it.

#include <string>

#include "operations/batch_base_dlg.h"

namespace kymora {

class CAcqDoc;

class CAppendRecording : public CBatchBaseDlg {
  public:
    const char* ClassName() const override { return "CAppendRecording"; }
    const char* Title() const override { return "Append recording"; }
    const char* ActionLabel() const override { return "Append"; }
    Affects WhatItAffects() const override { return Affects::traces; }
    const char* ResultExtension() const override;
    WrittenFile WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) override;
    std::string BatchFault() const override;

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    std::string m_sFile;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;

  private:
    void ChooseFile();
    // The recording of this document; null where it is none.
    CAcqDoc* Recording() const;
    // Why nothing was written; empty where it was.
    std::string Write(Session& session, const std::filesystem::path& path);
};

}  // namespace kymora
