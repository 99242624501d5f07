#include "acquisition/port_audio.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

#include "acquisition/port_audio_library.h"

namespace kymora {

namespace {

constexpr auto soundRest = std::chrono::milliseconds(5);
constexpr int restsOfARead = 10;
constexpr double triedRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000, 192000};

// The libraries below it write on the error stream what they look for and do not find.
class QuietErrors {
  public:
    QuietErrors() : m_nKept(::dup(STDERR_FILENO)) {
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nowhere < 0) return;
        ::dup2(nowhere, STDERR_FILENO);
        ::close(nowhere);
    }
    ~QuietErrors() {
        if (m_nKept < 0) return;
        ::dup2(m_nKept, STDERR_FILENO);
        ::close(m_nKept);
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

  private:
    int m_nKept;
};

class PortAudioStream {
  public:
    PortAudioStream(const PortAudioLibrary& library, const PortAudioParameters* input,
                    const PortAudioParameters* output, double rate)
        : m_library(library) {
        const QuietErrors quiet;
        Check(m_library.openStream(&m_pStream, input, output, rate, 0, 0, nullptr, nullptr));
    }
    ~PortAudioStream() {
        const QuietErrors quiet;
        if (m_bStarted) m_library.abortStream(m_pStream);
        m_library.closeStream(m_pStream);
    }
    PortAudioStream(const PortAudioStream&) = delete;
    PortAudioStream& operator=(const PortAudioStream&) = delete;

    void Start() {
        Check(m_library.startStream(m_pStream));
        m_bStarted = true;
    }
    const PortAudioStreamInfo& Info() const { return *m_library.streamInfo(m_pStream); }
    int Rate() const { return static_cast<int>(std::lround(Info().sampleRate)); }

    // Waits a moment for frames to read or room to write.
    size_t Await(long (*available)(void*)) const {
        for (int i = 0; i < restsOfARead; ++i) {
            const long frames = available(m_pStream);
            if (frames < 0) Check(static_cast<int>(frames));
            if (frames > 0) return static_cast<size_t>(frames);
            std::this_thread::sleep_for(soundRest);
        }
        return 0;
    }
    void Check(int error) const {
        if (error < 0)
            throw SoundError(std::string("The sound device answers: ") + m_library.errorText(error) + ".");
    }
    const PortAudioLibrary& Library() const { return m_library; }
    void* Handle() const { return m_pStream; }

  private:
    const PortAudioLibrary& m_library;
    void* m_pStream = nullptr;
    bool m_bStarted = false;
};

class PortAudioInput : public SoundInput {
  public:
    PortAudioInput(const PortAudioLibrary& library, const PortAudioParameters& parameters,
                   const SoundFormat& format)
        : m_stream(library, &parameters, nullptr, format.rate), m_nFrameBytes(format.FrameBytes()) {}

    int Rate() const override { return m_stream.Rate(); }
    void Start() override { m_stream.Start(); }
    size_t Read(std::span<std::byte> to, bool& hasLost) override {
        const size_t there = m_stream.Await(m_stream.Library().readAvailable);
        const size_t frames = std::min(there, to.size() / m_nFrameBytes);
        if (frames == 0) return 0;
        const int status = m_stream.Library().readStream(m_stream.Handle(), to.data(), frames);
        if (status == portAudioLostInput)
            hasLost = true;
        else
            m_stream.Check(status);
        return frames * m_nFrameBytes;
    }

  private:
    PortAudioStream m_stream;
    size_t m_nFrameBytes;
};

class PortAudioOutput : public SoundOutput {
  public:
    PortAudioOutput(const PortAudioLibrary& library, const PortAudioParameters& parameters, double rate)
        : m_stream(library, nullptr, &parameters, rate),
          m_nChannels(static_cast<size_t>(parameters.channelCount)) {}

    int Rate() const override { return m_stream.Rate(); }
    double Latency() const override { return m_stream.Info().outputLatency; }
    void Start() override { m_stream.Start(); }
    size_t Write(std::span<const int16_t> samples) override {
        const size_t room = m_stream.Await(m_stream.Library().writeAvailable);
        const size_t frames = std::min(room, samples.size() / m_nChannels);
        if (frames == 0) return 0;
        const int status = m_stream.Library().writeStream(m_stream.Handle(), samples.data(), frames);
        // A gap before them was heard; they are played.
        if (status != portAudioNoSamples) m_stream.Check(status);
        return frames;
    }

  private:
    PortAudioStream m_stream;
    size_t m_nChannels;
};

class PortAudioSystem : public SoundSystem {
  public:
    explicit PortAudioSystem(const PortAudioLibrary& library) : m_library(library) {
        const QuietErrors quiet;
        m_bGood = m_library.initialize() == portAudioGood;
    }
    ~PortAudioSystem() override {
        const QuietErrors quiet;
        if (m_bGood) m_library.terminate();
    }

    std::vector<SoundDevice> Devices() override {
        std::vector<SoundDevice> devices;
        const int count = m_bGood ? m_library.deviceCount() : 0;
        for (int i = 0; i < count; ++i) {
            const PortAudioDevice& info = *m_library.deviceInfo(i);
            devices.push_back({info.name, info.maxInputChannels, info.maxOutputChannels,
                               info.defaultSampleRate, i == m_library.defaultInput(),
                               i == m_library.defaultOutput()});
        }
        return devices;
    }

    std::unique_ptr<SoundInput> OpenInput(const std::string& name, const SoundFormat& format,
                                          double seconds) override {
        const int device = Find(name, &SoundDevice::inputs, &SoundDevice::isUsualInput, noSoundInputText);
        const PortAudioParameters parameters = ParametersOf(device, format, seconds);
        CheckChannels(name, format.channels, m_library.deviceInfo(device)->maxInputChannels);
        const auto supports = [&](double rate) { return m_library.isSupported(&parameters, nullptr, rate); };
        CheckRate(supports, format.rate);
        return std::make_unique<PortAudioInput>(m_library, parameters, format);
    }

    std::unique_ptr<SoundOutput> OpenOutput(const std::string& name, const SoundFormat& format,
                                            double seconds) override {
        const int device = Find(name, &SoundDevice::outputs, &SoundDevice::isUsualOutput,
                                "There is no sound output. Plug one in, and set it as the usual one.");
        const PortAudioParameters parameters = ParametersOf(device, format, seconds);
        CheckChannels(name, format.channels, m_library.deviceInfo(device)->maxOutputChannels);
        const QuietErrors quiet;
        const bool hasRate = m_library.isSupported(nullptr, &parameters, format.rate) == portAudioGood;
        const double rate = hasRate ? format.rate : m_library.deviceInfo(device)->defaultSampleRate;
        return std::make_unique<PortAudioOutput>(m_library, parameters, rate);
    }

  private:
    int Find(const std::string& name, int SoundDevice::*channels, bool SoundDevice::*isUsual,
             const char* noneText) {
        const auto devices = Devices();
        std::string names;
        for (size_t i = 0; i < devices.size(); ++i) {
            if (devices[i].*channels < 1) continue;
            if (name.empty() ? devices[i].*isUsual : devices[i].name == name) return static_cast<int>(i);
            names += (names.empty() ? "\n" : ", ") + devices[i].name;
        }
        if (name.empty()) throw SoundError(noneText);
        throw SoundError(fmt::format("{}\nThere is no \"{}\". {}{}", noneText, name,
                                     names.empty() ? "No device is there." : "Those that are there:", names));
    }

    static void CheckChannels(const std::string& name, int wanted, int there) {
        if (wanted > there)
            throw SoundError(fmt::format("The device {} has {} channel{}, and {} are wanted.", name, there,
                                         there == 1 ? "" : "s", wanted));
    }

    template <typename Supports>
    void CheckRate(const Supports& supports, int rate) const {
        const QuietErrors quiet;
        const int status = supports(rate);
        if (status == portAudioGood) return;
        if (status != portAudioInvalidRate)
            throw SoundError(std::string("The sound device answers: ") + m_library.errorText(status) + ".");
        std::string rates;
        for (const double one : triedRates)
            if (supports(one) == portAudioGood)
                rates += fmt::format("{}{:g}", rates.empty() ? "" : ", ", one);
        throw SoundError(fmt::format("The device does not record at {} Hz. It does at: {} Hz.", rate, rates));
    }

    static PortAudioParameters ParametersOf(int device, const SoundFormat& format, double seconds) {
        return {device, format.channels, format.bits == 8 ? portAudioUInt8 : portAudioInt16, seconds,
                nullptr};
    }

    const PortAudioLibrary& m_library;
    bool m_bGood = false;
};

}  // namespace

std::unique_ptr<SoundSystem> MakeSoundSystem() {
    const PortAudioLibrary* const library = FindPortAudio();
    return library ? std::make_unique<PortAudioSystem>(*library) : nullptr;
}

}  // namespace kymora
