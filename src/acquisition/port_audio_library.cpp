#include "acquisition/port_audio_library.h"

#include <dlfcn.h>
#include <optional>
#include <type_traits>

namespace kymora {

namespace {

std::optional<PortAudioLibrary> LoadPortAudio() {
    // It stays until the program ends: streams may.
    void* const file = ::dlopen("libportaudio.so.2", RTLD_NOW | RTLD_LOCAL);
    if (!file) return {};
    bool isWhole = true;
    const auto find = [&](auto& function, const char* name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(::dlsym(file, name));
        isWhole = isWhole && function != nullptr;
    };
    PortAudioLibrary library{};
    find(library.initialize, "Pa_Initialize");
    find(library.terminate, "Pa_Terminate");
    find(library.errorText, "Pa_GetErrorText");
    find(library.deviceCount, "Pa_GetDeviceCount");
    find(library.defaultInput, "Pa_GetDefaultInputDevice");
    find(library.defaultOutput, "Pa_GetDefaultOutputDevice");
    find(library.deviceInfo, "Pa_GetDeviceInfo");
    find(library.isSupported, "Pa_IsFormatSupported");
    find(library.openStream, "Pa_OpenStream");
    find(library.closeStream, "Pa_CloseStream");
    find(library.startStream, "Pa_StartStream");
    find(library.abortStream, "Pa_AbortStream");
    find(library.streamInfo, "Pa_GetStreamInfo");
    find(library.readAvailable, "Pa_GetStreamReadAvailable");
    find(library.writeAvailable, "Pa_GetStreamWriteAvailable");
    find(library.readStream, "Pa_ReadStream");
    find(library.writeStream, "Pa_WriteStream");
    if (isWhole) return library;
    ::dlclose(file);
    return {};
}

}  // namespace

const PortAudioLibrary* FindPortAudio() {
    static const std::optional<PortAudioLibrary> library = LoadPortAudio();
    return library ? &*library : nullptr;
}

}  // namespace kymora
