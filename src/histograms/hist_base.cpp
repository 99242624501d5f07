#include "histograms/hist_base.h"

#include <fmt/format.h>

#include <algorithm>

#include "archive/text_reader.h"
#include "document/native_writer.h"
#include "histograms/number_file.h"
#include "host/session.h"
#include "results/archive_output.h"

namespace kymora {

namespace {

constexpr uint64_t pollParts = 1000;

// What is computed of the values beside their counts, as so many values more.
int64_t WorkBeside(int64_t values, const HistPart& part) {
    const HistSettings& settings = part.settings;
    int64_t work = 0;
    if (settings.kde.show)
        work += values * (settings.kde.rule < static_cast<int32_t>(BandwidthRule::amiseFast) ? 2 : 10);
    if (settings.optimalBins) work += 2 * values;
    if (settings.mix.fit == fitBinCounts)
        work += int64_t{1000} * settings.binCount * settings.mix.components * settings.mix.components;
    if (settings.mix.fit == fitRawData) work += 200 * values;
    if (part.psth.bootstrap || part.psth.jitter > 0.0)
        work += part.psth.bootstrapRuns *
                static_cast<int64_t>(part.input.times1.size() + part.input.times2.size());
    return work;
}

}  // namespace

void HistJob::Compute(SampleReader& samples, JobContext& context) {
    ProgressScope progress(context, "Making the histogram", pollParts);
    const Poll poll = [&](double done) {
        return progress.GoesOn(static_cast<uint64_t>(done * static_cast<double>(pollParts)));
    };
    if (read) read(samples, parts[0].input, poll);
    AnalyseHistograms(parts, random, poll);
}

// --- the run ---

std::unique_ptr<OperationJob> CHistBase::MakeJob() {
    auto job = std::make_unique<HistJob>();
    job->random = Document()->GetSession().random;
    if (!(m_strFile.empty() ? MakeInput(*job) : TakeFile(*job))) return nullptr;
    const int64_t values = job->work;
    for (const HistPart& part : job->parts) job->work += WorkBeside(values, part);
    return job;
}

bool CHistBase::TakeFile(HistJob& job) {
    FileSystem& files = Document()->GetSession().files;
    const auto stamp = files.Stamp(m_strFile);
    if (!stamp || !m_read || m_read->path != m_strFile || m_read->stamp != *stamp) {
        m_read.reset();
        std::vector<double> numbers;
        if (!stamp || !ReadNumberFile(files, m_strFile, numbers)) {
            Refuse(unreadableFileText);
            return false;
        }
        m_read = {m_strFile, *stamp, std::make_shared<const std::vector<double>>(std::move(numbers))};
    }
    if (m_read->numbers->empty()) {
        Refuse(noNumbersText);
        return false;
    }
    HistInput& input = AddPart(job).input;
    input.name = input.label = "value";
    input.canBePoisson = true;
    input.values = m_read->numbers;
    job.work = static_cast<int64_t>(m_read->numbers->size());
    return true;
}

bool CHistBase::Write(OperationJob& job, UndoScope&) {
    auto& done = static_cast<HistJob&>(job);
    const bool hasOwnMixture = m_hist.mix.isSet || done.parts.size() == 1;
    m_hist = done.parts[0].settings;
    // What was fitted to the first of several is no start for the others.
    m_hist.mix.isSet &= hasOwnMixture;
    m_psth = done.parts[0].psth;
    if (m_psth.bootstrap || m_psth.jitter > 0.0) Document()->GetSession().random = done.random;
    std::vector<std::string> told;
    for (HistPart& part : done.parts) {
        part.input.values.reset();
        part.input.each = nullptr;  // the job's reader has gone
        for (const std::string& text : part.found.messages) {
            if (std::find(told.begin(), told.end(), text) != told.end()) continue;
            told.push_back(text);
            Tell(text);
        }
        if (!part.found.logLikeBefore) continue;
        GetHost().Log(fmt::format("-LogLike before = {:f}\n", *part.found.logLikeBefore));
        GetHost().Log(fmt::format("-LogLike after = {:f}\n", *part.found.logLikeAfter));
    }
    m_shown = std::move(done.parts);
    m_columns = done.columns;
    return true;
}

// --- what it shows ---

void CHistBase::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_shown.clear();
    CEventAnalRgnGraphBase::CheckChangeDoc(doc);
}

void CHistBase::WriteResult(const TextSink& sink) {
    for (const HistPart& part : m_shown) {
        if (m_shown.size() > 1 && !sink(part.input.name + "\r\n")) return;
        if (!sink(HistText(part))) return;
    }
}

std::vector<Result> CHistBase::Results() {
    std::vector<Result> all;
    for (const HistPart& part : m_shown)
        for (Result& result : HistResults(part)) {
            if (m_shown.size() > 1) result.name += ": " + part.input.name;
            all.push_back(std::move(result));
        }
    return all;
}

std::optional<Graph> CHistBase::GetGraph() {
    if (m_shown.empty()) return Graph{{GraphPane{"histogram"}}};
    Graph graph = HistGraph(m_shown, m_columns);
    for (GraphPane& pane : graph.panes)
        if (pane.name == "histogram") pane.layers.insert(pane.layers.end(), m_kept.begin(), m_kept.end());
    return graph;
}

void CHistBase::KeepShown() {
    if (m_shown.size() != 1) return;
    const std::string file = m_strFile.empty() ? Document()->filePath.stem().string()
                                               : std::filesystem::path(m_strFile).stem().string();
    const std::string source = Has(usesChannel1) && m_strFile.empty() ? " " + ChannelName(m_nChannel1) : "";
    GraphLayer outline = OutlineOf(m_shown[0]);
    outline.name = file + source;
    outline.colour = GraphColour(m_kept.size() + 1);
    m_kept.push_back(std::move(outline));
}

// --- numbers from elsewhere ---

bool CHistBase::TakesDrop(const std::filesystem::path& file) {
    if (FoldedExtension(file) == ".kymr-cfg") return false;
    if (FoldedExtension(file) == ".txt")
        m_strFile = file.string();
    else
        Refuse(onlyTextFileText);
    return true;
}

void CHistBase::DescribeFile(ParamList& list) {
    list.Text("file", "From file", m_strFile)
        .Tip("A text file of numbers, which are shown in place of those of a recording. Drop a .txt file "
             "onto the "
             "window to set it");
    list.Action("chooseFile", "Choose...",
                [this] {
                    FileRequest request{"Open numbers", "text (*.txt)|*.txt||", "txt", {}};
                    if (const auto paths = GetHost().ChooseOpenFiles(request); !paths.empty())
                        m_strFile = paths[0].string();
                })
        .Tip("Chooses a text file of numbers");
}

void CHistBase::DescribeSaving(ParamList& list) {
    const auto isShown = [this] { return !m_shown.empty(); };
    list.Group("Comparison");
    list.Action("keep", "Keep for comparison", [this] { KeepShown(); })
        .Tip("Leaves the outline of this histogram in the graph, also when another channel or recording is "
             "shown")
        .EnabledIf([this] { return m_shown.size() == 1; });
    list.Action("forgetKept", "Forget kept", [this] { m_kept.clear(); })
        .Tip("Takes the outlines that were kept out of the graph")
        .EnabledIf([this] { return !m_kept.empty(); });
    list.Group("Results");
    list.Action("fitCurve", "Fit a curve...",
                [this] {
                    onOpenOther("CCurveFitGen", {{"points", FitTable(m_shown[0])}});
                })
        .Tip("Opens the fit of an equation to the heights of the bars over the middles of their bins")
        .EnabledIf([this] { return m_shown.size() == 1 && onOpenOther; });
    list.Action("saveHistogram", "Save histogram...",
                [this] {
                    if (!m_shown.empty())
                        SaveText("Save histogram", "histogram", HistExport(m_shown[0].found));
                })
        .Tip("Saves the counts of all bins as a text file")
        .EnabledIf(isShown);
    list.Action("saveDensity", "Save KDE...",
                [this] {
                    if (!m_shown.empty())
                        SaveText("Save kernel density estimate", "KDE", DensityText(m_shown[0].found));
                })
        .Tip("Saves the points of the kernel density estimate as a text file")
        .EnabledIf([this] { return !m_shown.empty() && !m_shown[0].found.density.empty(); });
}

void CHistBase::SaveText(const char* title, const char* name, const std::string& text) {
    FileRequest request{title, "text (*.txt)|*.txt||", "txt", Document()->filePath};
    request.suggestion.replace_filename(Document()->filePath.stem().string() + " " + name + ".txt");
    const auto path = GetHost().ChooseSaveFile(request);
    if (!path) return;
    try {
        WriteFileAtomically(Document()->GetSession().files, *path,
                            [&](CArchive& archive) { ArchiveOutput(archive).Write(text); });
    } catch (const FileError& error) {
        Refuse(fmt::format("The file was not saved.\n{}", error.what()));
    }
}

void CHistBase::AppendHistText(std::string& text) {
    if (!m_strFile.empty()) text += fmt::format("From file: {}\r\n", m_strFile);
    text += fmt::format("Bins: {} from {:g} to {:g}\r\n", m_hist.binCount, m_hist.minimum, m_hist.maximum);
}

}  // namespace kymora
