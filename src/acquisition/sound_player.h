#pragma once
// Plays a stretch of one or two traces of a recording.

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/sound_system.h"
#include "document/data_doc.h"

namespace kymora {

// Samples as a sound output takes them.
struct PlayedSound {
    int channels = 1;
    double sourceRate = 0.0;       // of the recording, Hz
    double rate = 0.0;             // of the samples, Hz
    int64_t first = 0;             // sample of the recording
    std::vector<int16_t> samples;  // of all channels side by side

    int64_t Frames() const { return static_cast<int64_t>(samples.size()) / channels; }
};

// The samples first to first + count of these traces, one or two, at an output's rate, Hz: where it is
// another, values between samples lie on straight lines. Sound plays as it was recorded. Of what is no sound
// the mean is taken off, and the greatest deviation of all traces plays at nine tenths of the output's range.
// Gaps are silent. Shows progress. Throws SoundError where it is too long to be played, and Cancelled.
PlayedSound MakePlayedSound(CDataDoc& doc, std::span<const int> traces, int64_t first, int64_t count,
                            double rate);

class SoundPlayer {
  public:
    // Begins. Throws std::system_error.
    SoundPlayer(std::unique_ptr<SoundOutput> output, PlayedSound sound);
    ~SoundPlayer() { Stop(); }
    SoundPlayer(const SoundPlayer&) = delete;
    SoundPlayer& operator=(const SoundPlayer&) = delete;

    void Stop();
    // Any thread. The sample of the recording that is heard now.
    int64_t Position() const;
    // All was heard, or it has failed.
    bool HasEnded() const { return m_bEnded; }
    // Why it failed, once it has ended; empty where it did not.
    std::string Fault() const { return m_bEnded ? m_fault : std::string(); }

  private:
    using Clock = std::chrono::steady_clock;

    void Run();
    void Play();

    std::unique_ptr<SoundOutput> m_pOutput;
    PlayedSound m_sound;
    int64_t m_nLatency = 0;  // frames
    std::atomic<int64_t> m_nWritten{0};
    std::atomic<Clock::time_point::rep> m_written{0};  // when that was
    std::atomic<bool> m_bStop{false}, m_bEnded{false};
    std::string m_fault;  // written before m_bEnded
    std::thread m_thread;
};

}  // namespace kymora
