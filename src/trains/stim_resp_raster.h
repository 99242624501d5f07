#pragma once
// "Stimulus-response raster": the responses to the stimuli of a channel as a row of marks for each stimulus,
// under the histogram of their latencies. What is selected can be tagged and coloured in the recording.

#include "histograms/histogram.h"
#include "trains/latency_raster.h"
#include "trains/trains_base.h"

namespace kymora {

enum RasterColour : int32_t { colourOfEvents, colourOfTarget };
enum RasterOrder : int32_t { rowsByTime, rowsByLatency };

class CStimRespRaster : public CTrainsBase {
  public:
    const char* ClassName() const override { return "CStimRespRaster"; }
    const char* Title() const override { return "Stimulus-response latency raster"; }
    // Where it is to tag or colour.
    Affects WhatItAffects() const override {
        return m_bTag || m_bColour ? Affects::events : Affects::nothing;
    }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    std::optional<Graph> GetGraph() override;
    std::vector<Result> Results() override;
    void WriteResult(const TextSink& sink) override;

    // Stimuli are those of channel 1, responses those of channel 2.
    bool m_bAutoLatency = true;                            // from 0 to the shortest time between stimuli
    double m_dLatencyStart = 0.0, m_dLatencyEnd = 1000.0;  // ms
    int32_t m_nBins = 50;
    int32_t m_nSmoothHalfWindow = 0;  // bins; 0: no smoothed curve
    int32_t m_nOrder = rowsByTime;
    double m_dSelectStart = 0.0, m_dSelectEnd = 0.0;    // ms, both included
    int32_t m_nFirstStimulus = 1, m_nLastStimulus = 0;  // rows, both included; the last one of none is 0
    bool m_bTag = false, m_bColour = false;
    uint32_t m_nTargetColour = 0x0000FF;  // 0x00BBGGRR
    int32_t m_nRasterColour = colourOfEvents;
    int32_t m_nMarkWidth = 1;  // pixels
    bool m_bZeroLine = true;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    struct Job;
    // What the last run has found.
    struct Found {
        std::vector<int32_t> stimuli, responses;  // by onset: which events of their channels they are
        std::vector<int64_t> onsets;              // of the stimuli
        std::vector<LatencyMark> marks;
        bool isCut = false;             // there were more
        std::vector<uint32_t> colours;  // of the responses
        std::vector<int32_t> rows;      // of each stimulus, from 1
        HistPart part;
        std::optional<SmoothedResponses> smooth;
        int64_t shortestInterval = 0;
        int stimulusChannel = 0, responseChannel = 1;
    };
    // The events of a channel by their places in it, ascending, each once.
    struct Selected {
        std::vector<int32_t> stimuli, responses;
    };
    int64_t FirstSampleFrom(double ms) const;
    void AskForHistogram(Job& job) const;
    bool Holds(const LatencyMark& mark) const;
    Selected FindSelected() const;
    void TakeRows();
    void TakeColours();
    bool Mark(UndoScope& undo);
    bool MarkEvents(UndoScope& undo, int channel, const std::vector<int32_t>& events);
    GraphPane HistogramPane() const;
    GraphPane RasterPane() const;
    Result MarksResult() const;

    std::optional<Found> m_found;
};

}  // namespace kymora
