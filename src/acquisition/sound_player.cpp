#include "acquisition/sound_player.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>

#include "recording/acq_doc.h"

namespace kymora {

namespace {

constexpr int64_t mostValues = int64_t{1} << 26;  // of all channels
constexpr size_t valuesAtOnce = size_t{1} << 18;
constexpr double greatestCode = 32767.0, playedPart = 0.9;
constexpr const char* tooLongToPlayText = "This is too long to be played at once. Show less of it.";

// A trace around its mean, or as it is where it is sound. Gaps are silent.
std::vector<float> ReadTrace(CDataDoc& doc, int trace, int64_t first, int64_t count, bool isSound,
                             ProgressScope& progress) {
    std::vector<float> values(static_cast<size_t>(count));
    std::vector<uint8_t> valid(values.size());
    for (size_t at = 0; at < values.size(); at += valuesAtOnce) {
        const size_t many = std::min(valuesAtOnce, values.size() - at);
        doc.ReadBlock(trace, first + static_cast<int64_t>(at), std::span(values).subspan(at, many),
                      std::span(valid).subspan(at, many));
        progress.Step(many);
    }
    double sum = 0.0;
    size_t there = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        const bool counts = valid[i] != 0 && std::isfinite(values[i]);
        sum += counts ? values[i] : 0.0f;
        there += counts;
        valid[i] = counts;
    }
    const double mean = isSound || there == 0 ? 0.0 : sum / static_cast<double>(there);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = valid[i] ? static_cast<float>(values[i] - mean) : 0.0f;
    return values;
}

// From values to codes.
double FactorOf(const CDataDoc& doc, const std::vector<std::vector<float>>& traces) {
    const auto* const recording = dynamic_cast<const CAcqDoc*>(&doc);
    if (recording && recording->IsWave()) return recording->BytesPerSample() == 1 ? 256.0 : 1.0;
    float peak = 0.0f;
    for (const auto& values : traces)
        for (const float value : values) peak = std::max(peak, std::abs(value));
    return peak > 0.0f ? playedPart * greatestCode / peak : 0.0;
}

double ValueAt(const std::vector<float>& values, double place) {
    const auto before = std::min(static_cast<size_t>(place), values.size() - 1);
    const size_t behind = std::min(before + 1, values.size() - 1);
    const double part = place - static_cast<double>(before);
    return values[before] + part * (double{values[behind]} - values[before]);
}

}  // namespace

PlayedSound MakePlayedSound(CDataDoc& doc, std::span<const int> traces, int64_t first, int64_t count,
                            double rate) {
    PlayedSound sound;
    sound.channels = static_cast<int>(traces.size());
    sound.sourceRate = 1000.0 / doc.sampleInterval;
    sound.rate = rate;
    sound.first = first;
    const double step = sound.sourceRate / rate;
    const double frames = std::ceil(static_cast<double>(count) / step);
    if (std::max(frames, static_cast<double>(count)) * sound.channels > static_cast<double>(mostValues))
        throw SoundError(tooLongToPlayText);
    if (count < 1) return sound;
    const auto* const recording = dynamic_cast<const CAcqDoc*>(&doc);
    const auto all = static_cast<int64_t>(frames);
    ProgressScope progress(doc.GetSession().host, "Reading what will be played",
                           static_cast<uint64_t>(count + all) * traces.size());
    std::vector<std::vector<float>> read;
    for (const int trace : traces)
        read.push_back(ReadTrace(doc, trace, first, count, recording && recording->IsWave(), progress));
    const double factor = FactorOf(doc, read);
    sound.samples.reserve(static_cast<size_t>(frames) * traces.size());
    for (int64_t i = 0; i < all; ++i) {
        for (const auto& values : read) {
            const double code = std::round(factor * ValueAt(values, static_cast<double>(i) * step));
            sound.samples.push_back(
                static_cast<int16_t>(std::clamp(code, -greatestCode - 1.0, greatestCode)));
        }
        if (i % static_cast<int64_t>(valuesAtOnce) == 0)
            progress.At((static_cast<uint64_t>(count + i)) * traces.size());
    }
    return sound;
}

SoundPlayer::SoundPlayer(std::unique_ptr<SoundOutput> output, PlayedSound sound)
    : m_pOutput(std::move(output)),
      m_sound(std::move(sound)),
      m_nLatency(std::llround(m_pOutput->Latency() * m_sound.rate)),
      m_written(Clock::now().time_since_epoch().count()),
      m_thread([this] { Run(); }) {}

void SoundPlayer::Stop() {
    m_bStop = true;
    if (m_thread.joinable()) m_thread.join();
}

// What was written last is heard after the latency; between writes time goes on.
int64_t SoundPlayer::Position() const {
    const Clock::time_point written{Clock::duration(m_written.load())};
    const double since = std::chrono::duration<double>(Clock::now() - written).count();
    const int64_t all = m_nWritten;
    const int64_t heard = std::clamp<int64_t>(all - m_nLatency + std::llround(since * m_sound.rate), 0, all);
    return m_sound.first + std::llround(static_cast<double>(heard) * m_sound.sourceRate / m_sound.rate);
}

void SoundPlayer::Run() {
    try {
        m_pOutput->Start();
        Play();
    } catch (const SoundError& error) {
        m_fault = error.what();
    }
    m_bEnded = true;
}

void SoundPlayer::Play() {
    // The device begins when it has enough, and drops what it was not given time for: silence follows.
    const auto channels = static_cast<size_t>(m_sound.channels);
    std::span<const int16_t> left = m_sound.samples;
    while (!left.empty() && !m_bStop) {
        const size_t frames = m_pOutput->Write(left);
        left = left.subspan(frames * channels);
        m_written = Clock::now().time_since_epoch().count();
        m_nWritten += static_cast<int64_t>(frames);
    }
    const std::vector<int16_t> silence(channels * static_cast<size_t>(m_nLatency));
    for (left = silence; !left.empty() && !m_bStop;) left = left.subspan(m_pOutput->Write(left) * channels);
}

}  // namespace kymora
