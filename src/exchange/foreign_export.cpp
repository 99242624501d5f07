#include "exchange/foreign_export.h"

#include "document/text_export.h"
#include "exchange/edf_writer.h"
#include "exchange/mat_writer.h"
#include "exchange/nwb_writer.h"
#include "host/file_names.h"
#include "host/form.h"

namespace kymora {

namespace {

bool IsWav(const std::filesystem::path& path) { return FoldedExtension(path) == ".wav"; }

std::optional<ExportSettings> AskExportSettings(Host& host, const std::filesystem::path& path) {
    if (!IsWav(path)) return ExportSettings{};
    Form form("Save As wave audio");
    form.AddRadio(
        "numbers", "Samples", {"32 bits, floating point", "16 bits"}, 0,
        "Floating point keeps the values as they are. Numbers of 16 bits, which every program plays, "
        "are parts of the largest value.");
    if (!host.AskForm(form)) return {};
    return ExportSettings{form.Choice("numbers") == 1 ? WavNumbers::pcm16 : WavNumbers::float32};
}

std::vector<std::string> WriteForm(CDataDoc& doc, const std::filesystem::path& path,
                                   const ExportSettings& settings) {
    const std::string form = FoldedExtension(path);
    if (form == ".wav") return WriteWavFile(doc, path, settings.wavNumbers);
    if (form == ".mat") return WriteMatFile(doc, path);
    if (form == ".nwb") return WriteNwbFile(doc, path);
    return WriteEdfFile(doc, path, form == ".bdf" ? EdfForm::bdf : EdfForm::edf);
}

}  // namespace

bool IsExportForm(const std::filesystem::path& path) {
    const std::string extension = FoldedExtension(path);
    return extension == ".edf" || extension == ".bdf" || extension == ".wav" || extension == ".nwb" ||
           extension == ".mat";
}

bool WriteExport(CDataDoc& doc, const std::filesystem::path& path, const ExportSettings& settings) {
    const bool isWav = IsWav(path);
    if (isWav && doc.hasGaps && !doc.GetHost().Confirm(textExportGapText)) return false;
    std::string text;
    for (const std::string& note : WriteForm(doc, path, settings)) text += (text.empty() ? "" : "\n") + note;
    if (!text.empty()) doc.GetHost().Inform(text);
    return true;
}

bool ExportForUser(CDataDoc& doc, const std::filesystem::path& path) {
    Host& host = doc.GetHost();
    const auto settings = AskExportSettings(host, path);
    if (!settings) return false;
    try {
        return WriteExport(doc, path, *settings);
    } catch (const Cancelled&) {
        return false;
    } catch (const FileError& error) {
        host.Failure(std::string("The file was not written.\n") + error.what());
        return false;
    }
}

}  // namespace kymora
