// Events that come as text and as a block, held against reading the numbers of the same text and against
// adding as many events.

#include <charconv>

#include "bench_files.h"
#include "exchange/channel_block.h"
#include "exchange/import_events.h"
#include "exchange/paste_event_channels.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

constexpr int rows = 1000000;

std::string EventText(bool backwards) {
    std::string text;
    char line[80];
    for (int i = 0; i < rows; ++i) {
        const int at = backwards ? rows - i : i;
        text.append(line, static_cast<size_t>(std::snprintf(line, sizeof line, "%.3f\t%.3f\tunit %d\n",
                                                            at * 1.25, at * 1.25 + 0.75, at % 7)));
    }
    return text;
}

double SumOfNumbers(const std::string& text) {
    double sum = 0.0;
    const char* end = text.data() + text.size();
    for (const char* at = text.data(); at < end;) {
        double number = 0.0;
        for (int i = 0; i < 2; ++i) {
            at = std::from_chars(at, end, number).ptr + 1;
            sum += number;
        }
        at = static_cast<const char*>(std::memchr(at, '\n', static_cast<size_t>(end - at))) + 1;
    }
    return sum;
}

template <typename Operation>
double Run(CDataDoc& doc, const std::filesystem::path& file) {
    return Seconds(3, [&] {
        doc.eventChannels[0].Clear();
        Operation operation;
        operation.CheckChangeDoc(&doc);
        operation.m_sFile = file.string();
        if (!operation.Run() || doc.GetNumEvents(0) != rows) std::puts("failed");
    });
}

void Print(const char* what, double seconds, double floor) {
    std::printf("%s: %.2f s (goal 1), ratio %.2f to the floor of %.2f s\n", what, seconds, seconds / floor,
                floor);
}

}  // namespace

int main() {
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    const Folder folder;
    ModelDoc doc(session, 1, longestRecording);
    for (const bool backwards : {false, true}) {
        const std::string text = EventText(backwards);
        const auto path = folder / "events.txt";
        std::FILE* file = std::fopen(path.c_str(), "wb");
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
        double sum = 0.0;
        const double floor = Seconds(3, [&] { sum += SumOfNumbers(text); });
        Print(backwards ? "import of 1,000,000 rows, latest first" : "import of 1,000,000 rows in order",
              Run<ImportEventsFromText>(doc, path), floor);
        if (sum == 0.0) return 1;
    }
    const auto block = EncodeChannelBlock(doc, std::vector{0});
    const auto path = folder / "events.block";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    std::fwrite(block.data(), 1, block.size(), file);
    std::fclose(file);
    const std::vector<CEventKM> events = doc.eventChannels[0].Events();
    const double floor = Seconds(3, [&] {
        CEventChan chan(&doc);
        for (const CEventKM& event : events) chan.AddEvent(event);
    });
    Print("paste of a block of 1,000,000 events", Run<PasteEventChannels>(doc, path), floor);
    return 0;
}
