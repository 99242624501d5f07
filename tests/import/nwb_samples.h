#pragma once
// NWB files of the library, with the values that they hold.

#include "import/stream_samples.h"
#include "support/hdf5_builder.h"

namespace kymora::test {

inline void NwbHead(Hdf5Builder& file) {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);  // asks for what may not be there
    file.Attribute("/", "nwb_version", "2.5.0");
    file.Text("session_description", "slice 3");
    file.Text("session_start_time", "2026-11-09T03:25:07.250000+01:00");
    file.Text("general/subject/species", "Locusta migratoria");
}

inline void NwbSeries(Hdf5Builder& file, const std::string& path, const char* kind, const char* unit,
                      double conversion) {
    file.Attribute(path, "neurodata_type", kind);
    file.Attribute(path + "/data", "unit", unit);
    file.Attribute(path + "/data", "conversion", conversion);
}

inline void NwbRate(Hdf5Builder& file, const std::string& path, double start, double rate) {
    file.Number(path + "/starting_time", start);
    file.Attribute(path + "/starting_time", "rate", rate);
}

// Numbers of 16 bits one behind the other, with a factor for each channel; or packed single precision in
// chunks that do not come out even, of which the times leave out 700 samples.
inline FormatSample NwbSample(bool isPacked) {
    const size_t count = isPacked ? 5000 : 40000, channels = 3, gap = isPacked ? 700 : 0;
    FormatSample sample{isPacked ? "NWB, packed" : "NWB", "x.nwb", {}, {{"channels", "1-3"}}, 0.5};
    Hdf5Builder file(isPacked);
    NwbHead(file);
    const std::string path = "acquisition/probe";
    const auto words = Words(count * channels, 9);
    sample.values.resize(channels);
    if (isPacked) {
        const std::vector<float> numbers(words.begin(), words.end());
        file.Array(path + "/data", numbers, {count, channels},
                   {{700, 2}, true, {H5S_UNLIMITED, H5S_UNLIMITED}});
        std::vector<double> times;
        for (size_t i = 0; i < count; ++i)
            times.push_back(static_cast<double>(i + (i < 2000 ? 0 : gap)) / 2000.0);
        file.Array(path + "/timestamps", times, {}, {{512}, true});
    } else {
        file.Array(path + "/data", words, {count, channels});
        file.Array<double>(path + "/channel_conversion", {1, 2, -4});
        NwbRate(file, path, 3.5, 2000.0);
    }
    NwbSeries(file, path, "ElectricalSeries", "volts", isPacked ? 1e-3 : 1e-7);
    for (size_t i = 0; i < count * channels; ++i) {
        constexpr double factors[] = {0.1, 0.2, -0.4};
        auto& values = sample.values[i % channels];
        if (values.size() == 2000) values.insert(values.end(), gap, inGap);
        values.push_back(words[i] *
                         (isPacked ? 1.0f : static_cast<float>(1e-7 * (factors[i % channels] / 0.1) / 1e-6)));
    }
    sample.bytes = file.Bytes();
    sample.refused = {0, 7, 60};
    return sample;
}

}  // namespace kymora::test
