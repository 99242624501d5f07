#include "import/format_pages.h"

#include <fmt/format.h>

#include "import/formats.h"

namespace kymora {

namespace {

std::string ExtensionsOf(std::string_view className) {
    std::string text;
    for (const Format& format : Formats())
        if (format.className == className)
            for (const FormatExtension& type : format.extensions)
                text += fmt::format("{}`{}`", text.empty() ? "" : ", ", type.extension);
    return text;
}

}  // namespace

const std::vector<FormatPage>& FormatPages() {
    static const std::vector<FormatPage> pages{
        {"CFloatDoc", "Kymora's own, of every version from 1 to 48; written as version 48, or as version 36 "
                      "for old programs"},
        {"CAcqDoc", "recordings of boards and microphones; a part of one can be saved, one put behind "
                    "another, and what a crash left of one rescued"},
        {"CDtxDoc", "recordings of older boards"},
        {"CEDFDoc", "EDF, EDF+C and EDF+D, with signals of several rates, gaps and annotations"},
        {"CBDFDoc", "BDF and BDF+, the same with 24 bits"},
        {"CAscDoc", "tables of numbers; the dialog shows the file and guesses its layout"},
        {"CBinaryDoc", "raw interleaved samples: 16- or 32-bit integers, floats or doubles"},
        {"CSpike2Doc", "Spike2, 32 bit",
         "waveforms of all rates, with their gaps; events, levels, markers, text and real "
         "markers, wavemarks"},
        {"CAxonDoc", "Axon, versions 1 and 2",
         "all five modes; tags, protocol, epochs; user lists of version 2"},
        {"CCEDDoc", "CED signal files",
         "16-bit, single and double precision channels of one interval; frames and their "
         "variables"},
        {"CWavDoc", "audio",
         "8, 16, 24 and 32 bits, floating point, RIFX, RF64; texts, cue points, and the list "
         "of events beside it"},
        {"CAxographDoc", "AxoGraph",
         "graph, digitized and X files, those of old systems without an extension too; sweeps"},
        {"CDataQDoc", "WinDaq",
         "14 and 16 bits; markers with their comments, names of the channels, pauses as gaps, "
         "event marks within samples of 14 bits; packed files are refused"},
        {"CPicoMatDoc", "MATLAB, oscilloscopes",
         "vectors and matrices of numbers, also in structures, of versions 4 to 7.3, compressed "
         "or not"},
        {"CSpikeGlxDoc", "SpikeGLX",
         "with the `.meta` beside them, which opens, too; digital lines and the sync line as "
         "events"},
        {"CIntanDoc", "Intan",
         "amplifiers and, drawn out to their rate, auxiliary inputs, supply, temperature; "
         "analog inputs and outputs, DC amplifiers; digital lines as events. `info.rhd` opens "
         "a folder of one file for each signal type or channel"},
        {"COpenEphysDoc", "Open Ephys binary",
         "`structure.oebin`: each stream as a recording, with its gaps; digital lines, "
         "messages and spikes as events. Dropping the folder opens it, too"},
        {"CNeuralynxDoc", "Neuralynx",
         "all channels of the folder that have its rate, with their gaps; `name_0001.ncs` and on continue "
         "`name.ncs`; `.nev` files as "
         "events"},
        {"CBlackrockDoc", "Blackrock",
         "versions 2.1 to 3.0, also of clocks of nanoseconds; pauses as gaps; of the `.nev` "
         "file of the same name digital inputs, comments and spikes as events"},
        {"CNwbDoc", "Neurodata Without Borders 2",
         "each time series of acquisition, processing, stimulus and analysis as a stream, with "
         "the gaps of its times; units, intervals (trials, epochs), annotations and series of "
         "irregular times as events"},
    };
    return pages;
}

std::string FormatList() {
    std::string table = "| files | what |\n|---|---|\n";
    for (const FormatPage& page : FormatPages())
        table += fmt::format("| {} | {} |\n", ExtensionsOf(page.className), page.name);
    return table;
}

std::string OtherSystemsTable() {
    std::string table = "| files | what is read |\n|---|---|\n";
    for (const FormatPage& page : FormatPages())
        if (!page.reads.empty())
            table += fmt::format("| {} ({}) | {} |\n", ExtensionsOf(page.className), page.name, page.reads);
    return table;
}

std::string WithTable(std::string text, std::string_view name, const std::string& table) {
    const std::string begin = fmt::format("<!-- {} -->\n", name);
    const size_t at = text.find(begin);
    const size_t end = at == std::string::npos ? at : text.find("<!-- end -->", at);
    if (end == std::string::npos) return text;
    const size_t from = at + begin.size();
    return text.replace(from, end - from, "\n" + table + "\n");
}

}  // namespace kymora
