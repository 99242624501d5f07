#pragma once
// The frame of filters: what they do to frequencies, to a step and to an impulse is drawn beside the
// parameters while they are set, over the spectrum of the data in view, and told as lists.

#include <complex>
#include <functional>

#include "transforms/transform_dlg.h"

namespace kymora {

inline constexpr const char* nyquistText =
    "Centre frequency must be less than half sample frequency (Nyquist)";
inline constexpr const char* noSampleRateText = "No active view or document: need a sample rate.";

// What a filter is at one sampling rate.
struct FilterShape {
    // Its coefficients under headings: "b", "a". A filter with one row has no heading.
    std::vector<std::pair<std::string, std::vector<double>>> coefficients;
    // What it does to a sine of so many Hz.
    std::function<std::complex<double>(double hz)> response;
    std::vector<double> landmarks;  // Hz, where the response may change within little
    int64_t reach = 1;              // samples over which an impulse spreads
    bool isCentred = false;         // to both sides
    int64_t delayTaken = 0;         // samples of delay that a run does not have, but the response
};

class CFilterDlg : public CTransformTraceDlg {
  public:
    using CTransformTraceDlg::CTransformTraceDlg;

    enum Report { reportNone = 0, reportCoefficients = 1, reportGain = 2 };

    void CheckChangeDoc(CDataDoc* doc) override;
    void OnUpdate(UpdateHint hint) override;
    // A report changes nothing.
    Affects WhatItAffects() const override {
        return m_nReport == reportNone ? Affects::traces : Affects::nothing;
    }
    // The transform is what is asked for then; its settings do not tell of a report.
    WrittenFile WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;

    int32_t m_nReport = reportNone;
    int32_t m_nFreqIncrement = 10;  // Hz

    // The settings can be used at this rate.
    bool HasShape() { return Document() && Validate().empty(); }
    double SampleFrequency() const { return 1000.0 / Document()->sampleInterval; }  // Hz

  protected:
    virtual FilterShape Shape(double fs) const = 0;
    // Frequencies are drawn on a log axis; else from 0 on.
    virtual bool HasLogFrequencies() const { return true; }
    // Lines across the magnitudes, which may be dragged.
    virtual std::vector<GraphLine> Edges() const { return {}; }
    // What is told before a run where no window shows it; empty for nothing.
    virtual std::string RunNote() { return {}; }

    void DescribeReport(ParamList& list);
    // Report and increment, behind the fields of a class.
    void ExchangeReport(CArchive& archive);
    std::string CheckSettings() override;
    bool Analyse(UndoScope&) override { return m_nReport != reportNone; }
    // Half the sampling rate, or without a recording the most that a cutoff may be.
    double Nyquist() const { return Document() ? SampleFrequency() / 2.0 : mostCutoff; }
    // As a float at the limit may lie either side of it.
    bool IsAboveNyquist(float hz) const {
        return Document() && hz > static_cast<float>(SampleFrequency() / 2.0);
    }
    GraphLine Edge(const char* parameter, double hz) const;

    static constexpr double mostCutoff = 1e8;  // Hz

  private:
    void WriteCoefficients(const TextSink& sink, const FilterShape& shape) const;
    void WriteGain(const TextSink& sink, const FilterShape& shape) const;
    GraphAxis FrequencyAxis(const FilterShape& shape) const;
    std::vector<double> DrawnFrequencies(const FilterShape& shape, const GraphAxis& axis) const;
    GraphPane Magnitude(const FilterShape& shape, const std::vector<double>& frequencies,
                        const GraphAxis& axis);
    GraphPane Phase(const FilterShape& shape, const std::vector<double>& frequencies,
                    const GraphAxis& axis) const;
    // `isStep`: to a step from 0 to 1, else to a single 1.
    GraphPane ResponsePane(const FilterShape& shape, bool isStep);
    void TakeSpectrum();

    // The spectrum of the data in view, and of what of the document it is; of nothing until it is taken.
    struct Seen {
        int trace = -1;
        int64_t first = 0, end = 0;
        bool operator==(const Seen&) const = default;
    };
    std::optional<Seen> seen_;
    std::vector<double> spectrum_;  // dB below its largest, at equal distances from 0 to Nyquist
};

}  // namespace kymora
