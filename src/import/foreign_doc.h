#pragma once
// A recording of another system, whose reader tells all of it at once (foreign_recording.h). Its file is
// never written; what the user adds goes to the side-car. A format is a class with its reader.

#include <memory>
#include <string>

#include "document/data_doc.h"
#include "document/side_car.h"
#include "import/foreign_recording.h"

namespace kymora {

class CForeignDoc : public CDataDoc {
  public:
    using CDataDoc::CDataDoc;

    std::optional<double> GetStartClock() const override { return recording_.startClock; }
    std::optional<std::chrono::sys_days> GetStartDate() const { return recording_.startDate; }
    // Shows the details of the file. False when the user cancels.
    bool ShowDetails();

  protected:
    // Reads all but the samples. Throws OpenError, ImportSettingError, OpenDeclined or FileError.
    virtual ForeignRecording ReadRecording(const DataFile& file) = 0;
    // A dialog has shown what the file is; its details need not follow.
    bool wasAsked_ = false;
    virtual const char* DetailsTitle() const { return "File Details"; }

    // Fills the model with what the user has added. ResetModel follows where it is damaged.
    virtual SideCarResult ReadOwnSideCar() { return ReadSideCar(*this); }

    void Load() override;
    void AfterLoad() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;

  private:
    void SetExtent();
    void FillModel();
    void FillEvents();
    bool HasInnerGaps() const;

    ForeignRecording recording_;
    int64_t length_ = 0;
    std::unique_ptr<StoredChannelReader> reader_;
};

}  // namespace kymora
