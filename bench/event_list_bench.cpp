// The event list and the parameters of events, held against printing the same numbers and reading the same
// samples.

#include <cmath>

#include "bench_files.h"
#include "eventanalysis/event_list_text.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

constexpr int listed = 1000000;
constexpr int many = 10000000;

// Events of 10 to 20 samples, one in each stretch of `step` samples; the other channel lags behind.
void FillChannels(CDataDoc& doc, int count, int step) {
    for (int channel = 0; channel < 2; ++channel) {
        CEventChan& chan = doc.eventChannels[static_cast<size_t>(channel)];
        chan.Clear();
        for (int i = 0; i < count; ++i) {
            const int on = i * step + i % 7 + channel * 3;
            chan.AddEvent(on, on + 10 + i % 10);
        }
    }
}

CEventBlock WholeBlock(CDataDoc& doc) {
    CEventBlock block(doc, 0, 1, 0);
    block.AddBlock(0, static_cast<int32_t>(doc.GetLength()));
    block.FillEvs();
    return block;
}

void List(CDataDoc& doc, const std::filesystem::path& path, const char* what,
          std::initializer_list<EventListColumn> columns) {
    EventListOptions options;
    for (const EventListColumn column : columns) options.Set(column);
    const CEventBlock block = WholeBlock(doc);
    const double list = Seconds(3, [&] {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        WriteEventList(doc, block, options, [file](std::string_view line) {
            return std::fwrite(line.data(), 1, line.size(), file) == line.size();
        });
        std::fclose(file);
    });
    const auto bytes = std::filesystem::file_size(path);
    const auto cells = static_cast<int>(columns.size());
    const double floor = Seconds(3, [&] {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        for (int i = 0; i < listed; ++i) {
            for (int cell = 0; cell < cells; ++cell) std::fprintf(file, "%13.4f\t", i * 1.37 + cell);
            std::fputs("\r\n", file);
        }
        std::fclose(file);
    });
    std::printf("list of %d events, %d columns, %s: %.2f s (goal 2), %.0f MB; fprintf of as many: %.2f s, "
                "ratio %.2f\n",
                listed, cells, what, list, static_cast<double>(bytes) / 1e6, floor, list / floor);
}

void Collate(CDataDoc& doc, EvParam param) {
    const CEventBlock block = WholeBlock(doc);
    std::vector<float> values;
    const double took = Seconds(3, [&] {
        values.clear();
        CollateEventData(doc, param, block, values);
    });
    double checksum = 0.0;
    const double floor = Seconds(3, [&] {
        values.clear();
        values.reserve(doc.eventChannels[0].Events().size());
        for (const CEventKM& event : doc.eventChannels[0].Events())
            values.push_back(static_cast<float>(doc.TimeOf(event.onPosition)));
        checksum += values.back();
    });
    std::printf("  %-18s %5.3f s, %.1f of copying the onsets (%.0f)\n", EvParamName(param), took,
                took / floor, std::fmod(checksum, 10.0));
}

}  // namespace

int main() {
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    Folder folder;
    const auto path = folder / "events.kymr-dat";
    MakeNative(session, path, 1, int64_t{40} * listed, 0, false);
    {
        CFloatDoc doc(session);
        if (!doc.OnOpenDocument(path, OpenFor::reading)) return 1;
        FillChannels(doc, listed, 40);
        using enum EventListColumn;
        List(doc, folder / "list.txt", "times",
             {id, onTime, duration, gapDuration, frequency, interval, dutyCycle, variable, tagged, colour});
        List(doc, folder / "list.txt", "two channels",
             {id, onTime, duration, interval, phase, latency, nearestLatency, pairedLatency, countWithin,
              countFrom});
        List(doc, folder / "list.txt", "samples",
             {id, onTime, duration, interval, peakToPeak, maximum, timeOfMaximum, mean, standardDeviation,
              median});
        const CEventBlock block = WholeBlock(doc);
        std::vector<float> values;
        const double amplitudes =
            Seconds(3, [&] { CollateEventData(doc, EvParam::peakToPeak, block, values); });
        std::vector<float> samples(static_cast<size_t>(doc.GetLength()));
        const double reading = Seconds(3, [&] { doc.ReadBlock(0, 0, samples); });
        std::printf("P2P amp of %d events in %d samples: %.3f s, %.1f of the block read\n", listed,
                    listed * 40, amplitudes, amplitudes / reading);
    }
    ModelDoc doc(session, 1, int64_t{40} * many);
    FillChannels(doc, many, 40);
    std::printf("%d events in each of two channels: FillEvs %.1f us; values:\n", many,
                Seconds(5, [&] { WholeBlock(doc); }) * 1e6);
    for (const EvParam param : {EvParam::interval, EvParam::phaseIn, EvParam::latencyFromNearest,
                                EvParam::countWithin, EvParam::countFrom})
        Collate(doc, param);
    return 0;
}
