#pragma once
// "De-mean/median, rectify, smooth": three steps in one.

#include <map>

#include "kernels/conditioning.h"
#include "transforms/transform_dlg.h"

namespace kymora {

inline constexpr const char* nothingToDoText =
    "You have not selected any operation. Check the De-mean/median, Rectify and/or Smooth boxes, or Cancel "
    "to quit.";
inline constexpr const char* endPastFileText =
    "The specified end time is past the end of the file. Change time, or Cancel to quit.";
inline constexpr const char* emptyEventChannelText =
    "You have selected an event channel with no events. Change channel, or Cancel to quit.";
inline constexpr const char* noSuchEventText =
    "The loaded event ID does not exist. Setting source to Visible screen.";
inline constexpr const char* medianTooLongText =
    "Calculating the median is done in memory. There are too many samples (> 5000000) for this calculation.\n"
    "Suggest calculating the median from a reduced region of data.";

class CMultiProcess : public CTransformTraceWindowDlg {
  public:
    CMultiProcess() : CTransformTraceWindowDlg("De-mean or median rectify smooth") {}
    const char* ClassName() const override { return "CMultiProcess"; }
    const char* Title() const override { return "De-mean/median, rectify, smooth"; }

    void CheckChangeDoc(CDataDoc* doc) override;
    void SettingsWereChosen() override { m_wereLoaded = true; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    WrittenFile WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    bool ChangesScale() const override { return m_bRemoveCentre || m_bRectify; }
    std::vector<std::byte> StepSettings() override;

    enum CentreType : int32_t { mean = 0, median = 1 };
    enum Region : int32_t { wholeFile = 0, visible = 1, userTimes = 2, inEvent = 3 };

    bool m_bRemoveCentre = false;
    int32_t m_nCentreType = mean;
    bool m_bRectify = false;
    int32_t m_nRectifyType = 0;  // RectifyType
    bool m_bSmooth = false;
    int32_t m_nRegion = wholeFile;                    // where the mean or median is taken
    double m_dUserStart = 0.0, m_dUserEnd = 100.0;    // ms, of userTimes
    int32_t m_nEventChannel = 0, m_nEventNumber = 1;  // of inEvent; events count from 1

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;

  private:
    // The mean or median of a run or region, or why there is none.
    struct Level {
        float value = 0.0f;
        const char* fault = "";
        std::string note;  // why it is not as exact as it might be
    };

    void DescribeCentre(ParamList& list);
    bool HasEvent() const;
    // Of regions 1 to 3. The document is there and the settings are valid.
    SampleSpan RegionSpan() const;
    std::string RegionFault() const;
    Level LevelOfRegion(int trace) const;
    template <typename Input>
    Level MeanOf(Input&& input) const;
    // Of the run itself, or that of its region, which is read once for each trace.
    template <typename Input>
    Level LevelFor(const TransformRun& run, Input&& input);
    ConditioningSettings KernelSettings(const TransformRun& run, const Level& level) const;
    void TellNote(const TransformRun& run, const Level& level);

    std::map<int, Level> m_levels;  // by trace, while a file is written
    bool m_wereLoaded = false;      // and not looked at beside a recording
    bool m_isWriting = false, m_wasTold = false;
    std::string m_strNote;  // what a preview says
};

}  // namespace kymora
