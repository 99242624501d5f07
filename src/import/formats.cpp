#include "import/formats.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/float_doc.h"
#include "import/asc_doc.h"
#include "import/axograph_doc.h"
#include "import/axon_doc.h"
#include "import/bdf_doc.h"
#include "import/binary_doc.h"
#include "import/blackrock_doc.h"
#include "import/ced_doc.h"
#include "import/data_q_doc.h"
#include "import/edf_doc.h"
#include "import/intan_doc.h"
#include "import/neuralynx_doc.h"
#include "import/nwb_doc.h"
#include "import/open_ephys_doc.h"
#include "import/pico_mat_doc.h"
#include "import/spike2_doc.h"
#include "import/spike_glx_doc.h"
#include "import/wav_doc.h"
#include "recording/dtx_doc.h"
#include "recording/km_rec_doc.h"

namespace kymora {
namespace {

template <typename Document>
std::unique_ptr<CDataDoc> Make(Session& session, const ImportSettings&) {
    return std::make_unique<Document>(session);
}

constexpr FormatReader noReader;
constexpr bool inBatch = true, notInBatch = false;

bool IsConvertible(const Format& format, const FormatExtension& extension) {
    return format.reader.make && extension.inBatch && !extension.filterText.empty();
}

// One for each type, or for each that can be converted.
std::string SingleFilters(bool convertible) {
    std::string filters;
    for (const Format& format : Formats())
        for (const FormatExtension& type : format.extensions)
            if (convertible ? IsConvertible(format, type) : !type.filterText.empty())
                filters += fmt::format("{}|*{}|", type.filterText, type.extension);
    return filters;
}

std::string AllPatterns() {
    std::vector<FormatExtension> listed;
    for (const Format& format : Formats())
        for (const FormatExtension& type : format.extensions)
            if (type.place != 0) listed.push_back(type);
    std::sort(listed.begin(), listed.end(),
              [](const FormatExtension& a, const FormatExtension& b) { return a.place < b.place; });
    std::string patterns;
    for (const FormatExtension& type : listed)
        patterns += fmt::format("{}*{}", patterns.empty() ? "" : ";", type.extension);
    return patterns;
}

}  // namespace

const std::vector<Format>& Formats() {
    // clang-format off
    static const std::vector<Format> formats{
        // .mdc is what the filter says of files that end in .mcd; both are recognised.
        {"CMultiChanDoc", 18, noReader, {{".mdc", 0, notInBatch, "Multi-channel data (*mcd)", "MultiChannel Document"}, {".mcd", 1, inBatch}}},
        {"CAxonDoc", typeAxon, {.make = Make<CAxonDoc>}, {{".abf", 4, inBatch, "Axon gap-free (*abf)", "Axon Document"}}},
        {"CCEDDoc", typeCed, {.make = Make<CCEDDoc>}, {{".cfs", 7, inBatch, "CED signal (*.cfs)", "CED Signal Document"}}},
        {"CSpike2Doc", typeSpike2, {.make = Make<CSpike2Doc>}, {{".smr", 8, inBatch, "CED Spike2 (*.smr)", "CED Spike 2 Document"}}},
        {"CSpike64Doc", noFileType, {.make = Make<CSpike64Doc>}, {{".smrx", 9, notInBatch, "CED Spike2 (*.smrx)", "CED Spike 2 64-bit Document"}}},
        {"CECRDoc", 6, noReader, {{".prm", 10, inBatch, "EGAA ECR (*prm)", "ECR Document"}}},
        {"CScopeDoc", 7, noReader, {{".bfr", 11, inBatch, "EGAA Scope (*.bfr)", "Scope Document"}}},
        {"CAscDoc", typeText, {.make = Make<CAscDoc>, .asks = true},
         {{".asc", 13, inBatch, "ASCII text (*.asc)", "Asc Document"},
          {".csv", 14, inBatch, "comma-separated value text (*.csv)", "CSV Document"},
          {".txt", 12, notInBatch, "Text (*.txt)", "Txt Document"}}},
        {"CBinaryDoc", typeBinary, {.make = Make<CBinaryDoc>, .asks = true, .folds = true},
         {{".bin", 15, inBatch, "Raw binary (*.bin)", "Raw binary Document"}}},
        {"CWintronDoc", 11, noReader, {{".vet", 16, inBatch, "Wintrontech (*vet)", "Wintrontech Document"}}},
        {"CWavDoc", typeWav, {.make = Make<CWavDoc>}, {{".wav", 17, inBatch, "audio (*.wav)", "Audio Document"}}},
        {"CEDFDoc", typeEdf, {.make = Make<CEDFDoc>, .asks = true, .folds = true},
         {{".edf", 19, inBatch, "European Data Format (*edf)", "European Data Format Document"}}},
        {"CDataQDoc", typeDataQ, {.make = Make<CDataQDoc>}, {{".wdq", 21, inBatch, "DataQ (*.wdq)", "DataQ Document"}}},
        {"CPicoMatDoc", typePicoMat, {.make = Make<CPicoMatDoc>, .asks = true}, {{".mat", 20, inBatch, "PicoScop Mat (*.mat)", "PicoScop Mat Document"}}},
        {"CAxographDoc", typeAxograph, {.make = Make<CAxographDoc>}, {{".axgx", 5, inBatch, "Axograph (*axgx)"}, {".axgd", 6, notInBatch}}},
        {"CFloatDoc", typeFloat, {.make = Make<CFloatDoc>, .savesInPlace = true},
         {{".flt", 18, inBatch, "binary float (*.flt)", "Flt Document"},
          {".kymr-dat", 2, inBatch, "native Kymora(*.kymr-dat)", "Kymora data file"}}},
        {"CAcqDoc", typeRecording, {.make = MakeRecordingDoc}, {{".kymr-rec", 3, inBatch, "Kymora recording (*.kymr-rec)", "Kymora recording file"}}},
        {"CDtxDoc", typeDtx, {.make = Make<CDtxDoc>}, {{".dtx", 22, inBatch, "Kymora DataTranslation board (*.dtx)", "DTX Document"}}},
        {"CKYMDoc", 4, noReader, {{".dtb", 23, inBatch}}},
        {"CBDFDoc", typeBdf, {.make = Make<CBDFDoc>, .asks = true, .folds = true},
         {{".bdf", 24, inBatch, "European Data Format, 24 bits (*bdf)", "BDF Document"}}},
        // Beside a .bin of these names stands a .meta that tells what it is.
        {"CSpikeGlxDoc", typeSpikeGlx, {.make = Make<CSpikeGlxDoc>, .asks = true},
         {{".meta", 25, inBatch, "SpikeGLX (*.meta)", "SpikeGLX Document"}, {".ap.bin", 0, inBatch}, {".lf.bin", 0, inBatch}, {".nidq.bin", 0, inBatch}, {".obx.bin", 0, inBatch}}},
        {"CIntanDoc", typeIntan, {.make = Make<CIntanDoc>, .asks = true},
         {{".rhd", 26, inBatch, "Intan RHD2000 (*.rhd)", "Intan Document"}, {".rhs", 27, inBatch, "Intan RHS2000 (*.rhs)", "Intan Document"}}},
        {"COpenEphysDoc", typeOpenEphys, {.make = Make<COpenEphysDoc>, .asks = true}, {{".oebin", 28, inBatch, "Open Ephys (*.oebin)", "Open Ephys Document"}}},
        {"CNeuralynxDoc", typeNeuralynx, {.make = Make<CNeuralynxDoc>, .asks = true}, {{".ncs", 29, inBatch, "Neuralynx (*.ncs)", "Neuralynx Document"}}},
        {"CBlackrockDoc", typeBlackrock, {.make = Make<CBlackrockDoc>, .asks = true},
         {{".ns6", 35, inBatch, "Blackrock (*.ns6)", "Blackrock Document"}, {".ns5", 34, inBatch, "Blackrock (*.ns5)"}, {".ns4", 33, inBatch, "Blackrock (*.ns4)"},
          {".ns3", 32, inBatch, "Blackrock (*.ns3)"}, {".ns2", 31, inBatch, "Blackrock (*.ns2)"}, {".ns1", 30, inBatch, "Blackrock (*.ns1)"}, {".ns9", 36, inBatch, "Blackrock (*.ns9)"}}},
        {"CNwbDoc", typeNwb, {.make = Make<CNwbDoc>, .asks = true}, {{".nwb", 37, inBatch, "Neurodata Without Borders (*.nwb)", "NWB Document"}}},
    };
    // clang-format on
    return formats;
}

// Of two extensions the longer one counts: ".ap.bin" before ".bin".
FormatMatch FindFormat(const std::filesystem::path& path) {
    const std::string extension = FoldedExtension(path);
    const std::string two = FoldedExtension(path.stem()) + extension;
    FormatMatch match;
    for (const Format& format : Formats())
        for (const FormatExtension& type : format.extensions) {
            if (type.extension == two) return {&format, &type};
            if (type.extension == extension) match = {&format, &type};
        }
    return match;
}

std::string_view FileTypeClassName(int fileType) {
    for (const Format& format : Formats())
        if (format.fileType == fileType && fileType != noFileType) return format.className;
    return "CDataDoc";
}

std::string OpenFilter() {
    return fmt::format("All recognised types|{}|{}|", AllPatterns(), SingleFilters(false));
}

std::string ConvertibleFilter() {
    std::string patterns;
    for (const Format& format : Formats())
        for (const FormatExtension& type : format.extensions)
            if (IsConvertible(format, type))
                patterns += fmt::format("{}*{}", patterns.empty() ? "" : ";", type.extension);
    return fmt::format("All convertible types|{}|{}|", patterns, SingleFilters(true));
}

}  // namespace kymora
