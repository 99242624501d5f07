#include "acquisition/refractory_search.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kymora {

namespace {

constexpr double sweepMarginMs = 5.0;
constexpr double halfMargin = 1.0 / 64.0;  // of a scan
constexpr double mostShift = 1e15;         // beyond every sweep

// Whether a step leads on in single precision.
bool Leads(float from, float step) { return from + step != from; }

}  // namespace

float SumOfDifferences(std::span<const float> x, std::span<const float> y) {
    double sum = 0.0;
    for (size_t i = 0; i < x.size(); ++i) sum += std::abs(double{x[i]} - double{y[i]});
    return static_cast<float>(sum);
}

float ChangeIn(float difference, float unit) {
    return unit == 0.0f ? std::numeric_limits<float>::infinity() : difference / unit;
}

int64_t WindowShift(float from, float to, double kHz) {
    const double scans = std::ceil((double{to} - from) * kHz - 0.5 - halfMargin);
    return static_cast<int64_t>(std::clamp(scans, -mostShift, mostShift));
}

std::string SearchFault(const RefractorySettings& settings, double kHz) {
    if (!(settings.m_fSearchRate > 0.0f)) return "The search rate must be above 0 Hz.";
    if (!(settings.m_fSweepDur + sweepMarginMs <= 1000.0 / settings.m_fSearchRate)) return sweepTooLongText;
    if (!(settings.m_fAmpStep > 0.0f) || !Leads(settings.m_fTrialAmp0, settings.m_fAmpStep) ||
        !Leads(settings.m_fTrialAmpMax, settings.m_fAmpStep))
        return "An automatic search needs a larger amplitude step, or it would never come to an end.";
    if (!Leads(settings.m_fTrialDelay0, settings.m_fDelayStep) ||
        !Leads(settings.m_fTrialDelayMin, settings.m_fDelayStep))
        return "An automatic search needs a larger delay step, or it would never come to an end.";
    const double first = std::round(settings.m_fWinStart * kHz), end = std::round(settings.m_fWinEnd * kHz);
    if (!(first >= 0.0 && end > first && end <= std::round(settings.m_fSweepDur * kHz) + 1.0))
        return windowBeyondText;
    return {};
}

RefractorySearch::RefractorySearch(const RefractorySettings& settings, double kHz)
    : m_settings(settings),
      m_dKHz(kHz),
      m_fAmpNow(settings.m_fTrialAmp0),
      m_fDelayNow(settings.m_fTrialDelay0),
      m_fWinStart(settings.m_fWinStart),
      m_fWinEnd(settings.m_fWinEnd),
      m_nWinStartSample(std::llround(settings.m_fWinStart * kHz)),
      m_nWinSamples(std::llround(settings.m_fWinEnd * kHz) - m_nWinStartSample) {}

// Whether the next amplitude lies beyond the greatest one.
bool RefractorySearch::RaisePasses() {
    m_fAmpNow += m_settings.m_fAmpStep;
    return m_fAmpNow > m_settings.m_fTrialAmpMax;
}

void RefractorySearch::TakeReference(std::vector<float> window, float unit) {
    m_pRefSweep = std::move(window);
    m_fRefDiff = unit;
}

RefractorySearch::Judgement RefractorySearch::Judge(std::span<const float> sweep,
                                                    const std::function<void(std::string)>& log) {
    const auto part =
        sweep.subspan(static_cast<size_t>(m_nWinStartSample), static_cast<size_t>(m_nWinSamples));
    std::vector<float> window(part.begin(), part.end());
    ++m_nSweepCount;
    if (m_nSweepCount > 2) return Compare(std::move(window), log);
    const float unit = m_nSweepCount == 2 ? SumOfDifferences(window, m_pRefSweep) : 0.0f;
    TakeReference(std::move(window), unit);
    return RaisePasses() ? EndDelay({}) : Judgement{};
}

RefractorySearch::Judgement RefractorySearch::Compare(std::vector<float> window,
                                                      const std::function<void(std::string)>& log) {
    const float difference = SumOfDifferences(window, m_pRefSweep);
    Judgement judged;
    judged.change = ChangeIn(difference, m_fRefDiff);
    log(fmt::format("sweep = {}, SumDiff = {:f}, err = {:f}\n", m_nSweepCount, difference, judged.change));
    const bool isSpike = m_bSearching ? judged.change >= m_settings.m_fSpikeThreshold
                                      : judged.change > m_settings.m_fSpikeThreshold;
    if (isSpike) {
        log(m_bSearching ? "GOT SPIKE\n" : "STILL got spike\n");
        judged.isAccepted = true;
        m_fAmpNow -= m_settings.m_fAmpStep;
        if (m_bSearching) {
            m_bSearching = false;
            judged.isFirst = true;
            ++m_nSpikesHere;
            ++m_nSpikesTotal;
            return judged;
        }
        return m_fAmpNow < m_settings.m_fTrialAmp0 ? EndDelay(judged) : judged;
    }
    log(m_bSearching ? "NO spike\n" : "DROPPED below spike\n");
    if (!m_bSearching && m_nSpikesHere >= static_cast<int64_t>(m_settings.m_nChecksPerDelay))
        return EndDelay(judged);
    // After a drop the amplitude comes back to one that it has had.
    if (RaisePasses() && m_bSearching) return EndDelay(judged);
    m_bSearching = true;
    TakeReference(std::move(window), difference);
    return judged;
}

RefractorySearch::Judgement RefractorySearch::EndDelay(Judgement judged) {
    judged.isDelayDone = true;
    m_fDelayNow += m_settings.m_fDelayStep;
    if (m_settings.m_fTrialDelayMin > m_fDelayNow) {
        judged.goesOn = false;
        return judged;
    }
    m_nSpikesHere = 0;
    m_bSearching = true;
    m_fAmpNow = m_settings.m_fTrialAmp0;
    m_nSweepCount = 0;
    m_nWinStartSample = std::llround(m_settings.m_fWinStart * m_dKHz) +
                        WindowShift(m_settings.m_fTrialDelay0, m_fDelayNow, m_dKHz);
    m_fWinStart += m_settings.m_fDelayStep;
    m_fWinEnd += m_settings.m_fDelayStep;
    return judged;
}

}  // namespace kymora
