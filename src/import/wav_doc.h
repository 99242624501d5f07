#pragma once
// Wave audio (.wav): RIFF, RIFX and RF64 with linear numbers of 8 to 32 bits or floating point. The samples
// are the numbers of the file as they stand; those of 8 bits have 128 taken off. Cue points and an event list
// beside the file (NAME-events.txt) become event channels. Layout: the RIFF documents, EBU Tech 3306 (RF64).

#include "import/foreign_doc.h"

namespace kymora {

class CWavDoc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    int GetFileType() const override { return typeWav; }

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
    const char* DetailsTitle() const override { return "Audio File Details"; }

  private:
    void AddEventList(ForeignRecording& recording);
};

}  // namespace kymora
