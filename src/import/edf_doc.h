#pragma once
// European Data Format files (.edf): EDF, EDF+C and EDF+D. The data file is never written; what the user adds
// goes to the side-car.
//
// What the dialogs ask can be given as import settings: "signals" (numbers from 1 over the signals that are
// no annotations), "annotations" ("separate" or "same") and "from" (seconds: the recording begins with the
// data record in which they lie, and has no side-car). A setting that is given is not asked for.

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "document/data_doc.h"
#include "document/side_car_signals.h"
#include "import/edf_events.h"
#include "import/edf_header.h"
#include "import/edf_samples.h"

namespace kymora {

class EdfTimeline;
class SideCarFile;

class CEDFDoc : public CDataDoc {
  public:
    using CDataDoc::CDataDoc;

    int GetFileType() const override { return typeEdf; }

    static constexpr const char* startMarkComment = "Sweep trigger point.";  // of channel 'a'
    const EdfHeader& Header() const { return header_; }
    // Index in the header's signals of each trace; empty for a file of annotations only.
    const std::vector<int>& ChosenSignals() const { return chosen_; }
    // All annotations as text, also those that are no events. Made from the file when it is first asked for.
    const std::string& AnnotationList() const;
    // Shows the details of the file. False when the user cancels.
    bool ShowInfo();
    Reopening ToReopen() const override;
    std::optional<double> GetStartClock() const override;
    // Nothing where the header tells none, or says that it is not known.
    std::optional<std::chrono::sys_days> GetStartDate() const;

  protected:
    virtual const char* Extension() const { return ".edf"; }
    // Adds what the file tells of events beside its annotations. Not called where the side-car holds events.
    virtual void AddFileEvents() {}
    // Of the file, with which the recording begins.
    int64_t FirstRecord() const { return firstRecord_; }
    int64_t SamplesPerRecord() const { return samplesPerRecord_; }
    // Where a data record begins in the recording, counted from its first one.
    int64_t PositionOfRecord(int64_t record) const;
    void Note(const std::string& text) const;

    void Load() override;
    void AfterLoad() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;
    bool CanFold() const override { return canFold_; }
    void FoldStored(int64_t storedIndex, int64_t count, FoldSlots slots,
                    std::span<const TraceFold> folds) override;
    void FoldStoredStretches(int trace, std::span<const FoldStretch> stretches) override;

  private:
    enum class AnnotationLayout { separate, same };
    static constexpr int64_t mostSeparateTals = 989;  // more of them share channels

    std::optional<AnnotationLayout> LayoutSetting();
    AnnotationLayout AskLayout(const EdfEventCollector& collected);
    void ChooseSignals(const std::vector<int>& remembered);
    void SkipRecords();
    void SetTimeBase();
    void ReadAnnotations(EdfEventCollector& collected);
    void WalkAnnotations(EdfEventCollector& collected, EdfTimeline& timeline);
    void FillModel();
    std::string DescribedFile() const;
    TraceSettings DescribedTrace(int trace) const;

    // edf_side_car.cpp
    struct Recalled;
    Recalled RecallSignals(SideCarFile& sideCar);
    std::vector<TraceSignal> OrdinarySignals() const;
    void ReadOwnSideCar(SideCarFile& sideCar, Recalled recalled, EdfEventCollector& collected);
    void PlaceTraces(Recalled& recalled);
    std::vector<int> GuessSlots(const std::vector<TraceSignal>& slots) const;
    void TellUnplaced(const Recalled& recalled, size_t newlyAbsent);
    bool HoldsEvents() const;

    // edf_process_annots.cpp
    void ProcessAnnots(EdfEventCollector& collected, AnnotationLayout layout);
    void NoteAnnotations(EdfEventCollector& collected);
    bool IsSeparate(const EdfEventCollector& collected, AnnotationLayout layout) const;
    std::string LabelOfChannel(size_t c, const CEventKM& first, bool separate) const;
    std::vector<std::vector<CEventKM>> SortIntoChannels(std::deque<EdfEvent>& events, bool separate) const;
    void LabelChannels(const std::vector<std::vector<CEventKM>>& channels, bool separate);

    EdfHeader header_;
    EdfHeader part_;  // as if the file began with the first record
    int64_t firstRecord_ = 0;
    double skippedSeconds_ = 0.0, startMark_ = 0.0;  // s
    std::vector<int> chosen_;
    bool wasChosenByDialog_ = false;
    int64_t samplesPerRecord_ = 0;
    EdfTimeAxis axis_;
    RunList runs_;
    std::vector<int64_t> runEndRecords_;
    std::unique_ptr<EdfSampleReader> reader_;
    bool canFold_ = false;
    std::optional<AnnotationLayout> layoutSetting_;  // given, or chosen when the file opened
    mutable std::unique_ptr<std::string> list_;
};

}  // namespace kymora
