#include "cli/record_preview.h"

#include "acquisition/dt_gen_acq_view.h"
#include "acquisition/plain_loop.h"
#include "acquisition/stimulus_preview.h"
#include "cli/command_context.h"
#include "cli/record_run.h"
#include "document/file_identity.h"
#include "document/native_writer.h"
#include "results/archive_output.h"
#include "results/result_output.h"

namespace kymora {

namespace {

constexpr const char* extensionText =
    "--preview takes one of the extensions .png, .svg, .pdf, .csv and .json.";

// What a board answers is asked before it is closed.
StimulusPreview PreviewOn(SubcommandContext& context, const PreviewRequest& request,
                          const AcquisitionSettings& settings) {
    const PreviewSettings shown{request.index, request.hasFamily};
    if (request.source.empty()) return {settings, UnknownBoard(), shown};
    PlainLoop loop;
    CDTGenAcqView view(context.session, loop, NamedBoard(request.source, request.sourceSettings));
    if (!view.OpenBoard()) throw CommandError(exitFailed, "");
    return {settings, view.Facts(), shown};
}

void WriteAsJson(OutputSink& sink, const StimulusPreview& preview, int64_t index) {
    JsonWriter json(sink);
    json.BeginObject();
    json.Member("sequenceIndex", index);
    json.Member("outputFreqKHz", preview.RateKHz());
    json.Member("samplesPerChannel", preview.Size().samplesPerChannel);
    json.Key("results");
    WriteJson(json, std::vector{preview.Table()}, [] { return true; });
    json.EndObject();
    json.Finish();
}

}  // namespace

void WriteStimulusPreview(SubcommandContext& context, const PreviewRequest& request,
                          const AcquisitionSettings& settings) {
    const std::string extension = FoldedExtension(request.output);
    const bool isTable = extension == ".csv" || extension == ".json";
    if (!isTable && !PictureFormatOf(request.output)) throw CommandError(exitUsage, extensionText);
    if (settings.m_nStimMode == 2)
        throw CommandError(exitUsage, "--preview shows pulses; stimMode=file plays a recording.");
    const StimulusPreview preview = PreviewOn(context, request, settings);
    if (preview.Curves().empty()) throw CommandError(exitFailed, noOutputsDefinedText);
    context.MayReplace(request.output);
    for (const std::string& warning : preview.Warnings()) context.host.Message(warning);
    WriteFileAtomically(context.files, request.output, [&](CArchive& archive) {
        ArchiveOutput sink(archive);
        if (extension == ".csv")
            WriteCsv(sink, std::vector{preview.Table()}, {}, [] { return true; });
        else if (isTable)
            WriteAsJson(sink, preview, request.index);
        else
            WriteGraphPicture(sink, preview.GetGraph(), {}, request.output);
    });
}

}  // namespace kymora
