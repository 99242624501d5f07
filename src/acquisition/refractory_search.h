#pragma once
// The automatic search of the refractory protocol: which amplitude and delay the next trial pulse has, judged
// by how much a sweep differs from an earlier one. It knows no board; all values are single precision, as the
// settings are.
//
// The first two sweeps at a delay give the unit of change: D(x, y), the sum over the monitored window of
// |x[i] - y[i]|, of the two. From the third one on the change of a sweep is D(sweep, reference) over that
// unit. The amplitude rises until the change reaches the threshold: a spike. Then it falls until it does not
// exceed it any more, and rises again, as often as the threshold is to be checked. The reference is the last
// sweep without a spike, and its own change is the next unit.

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "recording/acquisition_settings.h"

namespace kymora {

inline constexpr const char* sweepTooLongText = "The sweep duration is too long for the search rate.";
inline constexpr const char* windowBeyondText =
    "The monitored window must have a length, and lie within the sweep.";

// D(x, y), of windows of one length.
float SumOfDifferences(std::span<const float> x, std::span<const float> y);
// The change that a difference is in a unit; without a unit it is infinite, and everything is a spike.
float ChangeIn(float difference, float unit);

// How far the monitored window lies behind its place at one delay when the trial pulse comes at another, in
// scans. It follows the pulse: steps that are no whole number of scans do not add up to a drift. A half
// counts down, however the delays were rounded in single precision or as texts.
int64_t WindowShift(float from, float to, double kHz);

// Why a search cannot run with these settings at a rate; empty where it can.
std::string SearchFault(const RefractorySettings& settings, double kHz);

class RefractorySearch {
  public:
    // What a sweep was found to be.
    struct Judgement {
        float change = 0.0f;       // "delta"; a sweep that is compared with none has 0
        bool isAccepted = false;   // it has a spike
        bool isFirst = false;      // the first one from below: the threshold was found
        bool isDelayDone = false;  // it was the last one at its delay
        bool goesOn = true;        // another sweep follows, with amplitude and delay as they are now
    };

    RefractorySearch(const RefractorySettings& settings, double kHz);

    float Amplitude() const { return m_fAmpNow; }
    float Delay() const { return m_fDelayNow; }
    int SweepCount() const { return m_nSweepCount; }  // at this delay
    int SpikesHere() const { return m_nSpikesHere; }
    int SpikesTotal() const { return m_nSpikesTotal; }
    // The monitored window, in scans of a sweep, and in ms.
    int64_t WinStartSample() const { return m_nWinStartSample; }
    int64_t WinSamples() const { return m_nWinSamples; }
    float WinStart() const { return m_fWinStart; }
    float WinEnd() const { return m_fWinEnd; }
    // Whether the window lies in sweeps of so many scans.
    bool HasWindowIn(int64_t scans) const {
        return m_nWinStartSample >= 0 && m_nWinStartSample + m_nWinSamples <= scans;
    }

    // Judges the newest sweep, of the monitored trace, in which the window lies.
    Judgement Judge(std::span<const float> sweep, const std::function<void(std::string)>& log);

  private:
    Judgement Compare(std::vector<float> window, const std::function<void(std::string)>& log);
    bool RaisePasses();
    void TakeReference(std::vector<float> window, float unit);
    Judgement EndDelay(Judgement judged);

    RefractorySettings m_settings;
    double m_dKHz;
    float m_fAmpNow, m_fDelayNow, m_fWinStart, m_fWinEnd;
    int m_nSweepCount = 0, m_nSpikesHere = 0, m_nSpikesTotal = 0;
    bool m_bSearching = true;
    int64_t m_nWinStartSample, m_nWinSamples;
    std::vector<float> m_pRefSweep;
    float m_fRefDiff = 0.0f;
};

}  // namespace kymora
