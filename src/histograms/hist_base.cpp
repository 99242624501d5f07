#include "histograms/hist_base.h"

#include <fmt/format.h>

#include "archive/text_reader.h"
#include "document/native_writer.h"
#include "histograms/number_file.h"
#include "host/session.h"
#include "results/archive_output.h"

namespace kymora {

namespace {

constexpr uint64_t pollParts = 1000;

// What is computed of the values beside their counts, as so many values more.
int64_t WorkBeside(int64_t values, const HistJob& job) {
    const HistSettings& settings = job.settings;
    int64_t work = 0;
    if (settings.kde.show)
        work += values * (settings.kde.rule < static_cast<int32_t>(BandwidthRule::amiseFast) ? 2 : 10);
    if (settings.optimalBins) work += 2 * values;
    if (settings.mix.fit == fitBinCounts)
        work += int64_t{1000} * settings.binCount * settings.mix.components * settings.mix.components;
    if (settings.mix.fit == fitRawData) work += 200 * values;
    if (job.psth.bootstrap)
        work +=
            job.psth.bootstrapRuns * static_cast<int64_t>(job.input.times1.size() + job.input.times2.size());
    return work;
}

}  // namespace

void HistJob::Compute(SampleReader& samples, JobContext& context) {
    ProgressScope progress(context, "Making the histogram", pollParts);
    const Poll poll = [&](double done) {
        return progress.GoesOn(static_cast<uint64_t>(done * static_cast<double>(pollParts)));
    };
    if (read) read(samples, input, poll);
    found = AnalyseHistogram(input, settings, psth, random, poll);
}

// --- the run ---

std::unique_ptr<OperationJob> CHistBase::MakeJob() {
    auto job = std::make_unique<HistJob>();
    job->settings = m_hist;
    job->psth = m_psth;
    job->random = Document()->GetSession().random;
    if (!(m_strFile.empty() ? MakeInput(*job) : TakeFile(*job))) return nullptr;
    job->work += WorkBeside(job->work, *job);
    return job;
}

bool CHistBase::TakeFile(HistJob& job) {
    std::vector<double> numbers;
    if (!ReadNumberFile(Document()->GetSession().files, m_strFile, numbers)) {
        Refuse(unreadableFileText);
        return false;
    }
    if (numbers.empty()) {
        Refuse(noNumbersText);
        return false;
    }
    job.input.name = job.input.label = "value";
    job.input.canBePoisson = true;
    job.work = static_cast<int64_t>(numbers.size());
    job.input.each = HistInput::All(std::move(numbers));
    return true;
}

bool CHistBase::Write(OperationJob& job, UndoScope&) {
    auto& done = static_cast<HistJob&>(job);
    m_hist = done.settings;
    m_psth = done.psth;
    if (m_psth.bootstrap) Document()->GetSession().random = done.random;
    for (const std::string& text : done.found.messages) Tell(text);
    if (done.found.logLikeBefore) {
        GetHost().Log(fmt::format("-LogLike before = {:f}\n", *done.found.logLikeBefore));
        GetHost().Log(fmt::format("-LogLike after = {:f}\n", *done.found.logLikeAfter));
    }
    done.input.each = nullptr;  // the values have gone with the job's reader
    m_shown = {std::move(done.input), std::move(done.found), m_hist, m_psth};
    return true;
}

// --- what it shows ---

void CHistBase::WriteResult(const TextSink& sink) {
    if (m_shown) sink(HistText(m_shown->input, m_shown->found, m_shown->settings, m_shown->psth));
}

std::vector<Result> CHistBase::Results() {
    if (!m_shown) return {};
    return HistResults(m_shown->input, m_shown->found, m_shown->settings, m_shown->psth);
}

std::optional<Graph> CHistBase::GetGraph() {
    if (!m_shown) return Graph{{GraphPane{"histogram"}}};
    return HistGraph(m_shown->input, m_shown->found, m_shown->settings, m_shown->psth);
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
        .Tip("A text file of numbers that are shown in place of those of the recording; empty: none. Drop a "
             ".txt "
             "file onto the window to set it");
    list.Action("chooseFile", "Choose...",
                [this] {
                    FileRequest request{"Open numbers", "text (*.txt)|*.txt||", "txt", {}};
                    if (const auto paths = GetHost().ChooseOpenFiles(request); !paths.empty())
                        m_strFile = paths[0].string();
                })
        .Tip("Chooses a text file of numbers");
}

void CHistBase::DescribeSaving(ParamList& list) {
    list.Group("Results");
    const auto isShown = [this] { return m_shown.has_value(); };
    list.Action("saveHistogram", "Save histogram...",
                [this] {
                    if (m_shown) SaveText("Save histogram", "histogram", HistExport(m_shown->found));
                })
        .Tip("Saves the counts of all bins as a text file")
        .EnabledIf(isShown);
    list.Action("saveDensity", "Save KDE...",
                [this] {
                    if (m_shown) SaveText("Save kernel density estimate", "KDE", DensityText(m_shown->found));
                })
        .Tip("Saves the points of the kernel density estimate as a text file")
        .EnabledIf([this] { return m_shown && !m_shown->found.density.empty(); });
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
