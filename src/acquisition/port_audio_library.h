#pragma once
// The functions of PortAudio 19 that sound needs, looked up when the program runs: where the library is not
// installed, there is no sound. See portaudio.com for what each does.

namespace kymora {

struct PortAudioDevice {  // PaDeviceInfo
    int structVersion;
    const char* name;
    int hostApi;
    int maxInputChannels;
    int maxOutputChannels;
    double defaultLowInputLatency;
    double defaultLowOutputLatency;
    double defaultHighInputLatency;
    double defaultHighOutputLatency;
    double defaultSampleRate;
};

struct PortAudioParameters {  // PaStreamParameters
    int device;
    int channelCount;
    unsigned long sampleFormat;
    double suggestedLatency;
    void* hostApiSpecificStreamInfo;
};

struct PortAudioStreamInfo {  // PaStreamInfo
    int structVersion;
    double inputLatency;
    double outputLatency;
    double sampleRate;
};

inline constexpr int portAudioGood = 0, portAudioInvalidRate = -9997, portAudioLostInput = -9981,
                     portAudioNoSamples = -9980;
inline constexpr unsigned long portAudioInt16 = 0x8, portAudioUInt8 = 0x20;

struct PortAudioLibrary {
    int (*initialize)();
    int (*terminate)();
    const char* (*errorText)(int error);
    int (*deviceCount)();
    int (*defaultInput)();
    int (*defaultOutput)();
    const PortAudioDevice* (*deviceInfo)(int device);
    int (*isSupported)(const PortAudioParameters* input, const PortAudioParameters* output, double rate);
    int (*openStream)(void** stream, const PortAudioParameters* input, const PortAudioParameters* output,
                      double rate, unsigned long framesPerBuffer, unsigned long flags, void* callback,
                      void* userData);
    int (*closeStream)(void* stream);
    int (*startStream)(void* stream);
    int (*abortStream)(void* stream);
    const PortAudioStreamInfo* (*streamInfo)(void* stream);
    long (*readAvailable)(void* stream);
    long (*writeAvailable)(void* stream);
    int (*readStream)(void* stream, void* to, unsigned long frames);
    int (*writeStream)(void* stream, const void* from, unsigned long frames);
};

// Null where the library, or one of these functions, is not there.
const PortAudioLibrary* FindPortAudio();

}  // namespace kymora
