// Any bytes as an ADC-DAC configuration. What was read can be told, and written and read again; a load that
// is refused has changed nothing.

#include <cstdlib>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "recording/adc_dac_configuration.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kymora;
    QuietHost host;
    MemoryFileSystem files;
    Session session(host, files);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/x.kymr-cfg", {bytes, bytes + size});
    std::optional<AdcDacConfiguration> read;
    try {
        read = ReadConfiguration(session, "/x.kymr-cfg");
    } catch (const ConfigurationError&) {
    }
    ConfigurationTarget target;
    if (read) target.type = read->settings.m_eRecordingType;
    target.board = ConfigurationTarget::Board{"any", 4, 1, false};
    AcquisitionSettings settings(target.type);
    const AcquisitionSettings before = settings;
    const bool isLoaded = LoadConfiguration(session, "/x.kymr-cfg", target, settings);
    if (isLoaded != read.has_value() || (!isLoaded && !(settings == before))) std::abort();
    if (!read) return 0;
    if (ConfigurationText(*read, "/x").empty() || ConfigurationJson(*read, "/x").empty()) std::abort();
    for (size_t i = 0; i < read->settings.m_nDacInUse; ++i)
        for (COutputPulse& pulse : read->settings.dac[i].pulses) {
            COutputPulse later = pulse.GetSequencePulse(static_cast<int64_t>(size), DacRange());
            later.SetFrequency(read->settings.m_dOutputFreqKHz);
            later.Value(later.m_nStart);
        }
    WriteConfiguration(session, read->settings, "/again.kymr-cfg");
    if (!(ReadConfiguration(session, "/again.kymr-cfg").settings == read->settings)) std::abort();
    return 0;
}
