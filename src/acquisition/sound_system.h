#pragma once
// The sound devices of this computer, as recording and playing need them. PortAudio is behind it where it is
// installed (port_audio.h); a test puts its own in its place.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace kymora {

// Why a device cannot be used; in words for the user.
class SoundError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct SoundDevice {
    std::string name;
    int inputs = 0, outputs = 0;  // channels
    double usualRate = 0.0;       // Hz
    bool isUsualInput = false, isUsualOutput = false;
};

// Samples of all channels side by side; 8 bits are unsigned, 16 signed, little-endian.
struct SoundFormat {
    int channels = 1;
    int bits = 16;
    int rate = 44100;  // Hz

    size_t FrameBytes() const { return static_cast<size_t>(channels * bits / 8); }
};

class SoundInput {
  public:
    virtual ~SoundInput() = default;
    // That the device really has, Hz.
    virtual int Rate() const = 0;
    virtual void Start() = 0;
    // Whole frames, as many as have come; waits a moment for some. `hasLost` is set where the device says
    // that it has dropped some before them. Throws SoundError.
    virtual size_t Read(std::span<std::byte> to, bool& hasLost) = 0;
};

class SoundOutput {
  public:
    virtual ~SoundOutput() = default;
    virtual int Rate() const = 0;
    // From what is written to what is heard, s.
    virtual double Latency() const = 0;
    virtual void Start() = 0;
    // Frames that were taken, as many as there is room for; waits a moment for some. Throws SoundError.
    virtual size_t Write(std::span<const int16_t> samples) = 0;
};

class SoundSystem {
  public:
    virtual ~SoundSystem() = default;
    virtual std::vector<SoundDevice> Devices() = 0;
    // By name, empty for the usual one. So much time the device may wait to be read or written, s. Throw
    // SoundError.
    virtual std::unique_ptr<SoundInput> OpenInput(const std::string& name, const SoundFormat& format,
                                                  double seconds) = 0;
    // 16 bits. Where the device does not have the rate, it gets its usual one.
    virtual std::unique_ptr<SoundOutput> OpenOutput(const std::string& name, const SoundFormat& format,
                                                    double seconds) = 0;
};

inline constexpr const char* noSoundInputText = "Specified input device identifier is out of range.\nHave "
                                                "you plugged in the microphone or other input and "
                                                "set it as the default audio input source?";
inline constexpr const char* noSoundLibraryText =
    "Sound needs the library PortAudio, which is not installed (in Debian: libportaudio2).";

}  // namespace kymora
