#include "catalogue/windows/look_ahead.h"

#include <QLocale>

#include "operations/job_worker.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int lookAfterMs = 120, lookEveryMs = 20;
constexpr int64_t shortLook = 200'000;       // samples that are read at once, between two pictures
constexpr int64_t longestLook = 20'000'000;  // no more is read for a look

}  // namespace

LookAhead::LookAhead(CEventBaseDlg& block, std::function<bool()> mayLook, QObject* parent)
    : QObject(parent), block_(block), mayLook_(std::move(mayLook)) {
    start_.setSingleShot(true);
    start_.setInterval(lookAfterMs);
    connect(&start_, &QTimer::timeout, this, [this] { Look(true); });
    watch_.setInterval(lookEveryMs);
    connect(&watch_, &QTimer::timeout, this, &LookAhead::Watch);
}

LookAhead::~LookAhead() = default;

void LookAhead::Stop() {
    start_.stop();
    watch_.stop();
    worker_.reset();  // before its job
    job_.reset();
    Show({}, {});
}

void LookAhead::LookNow() {
    start_.stop();
    Look(false);
}

void LookAhead::Look(bool mayWait) {
    watch_.stop();
    worker_.reset();
    job_ = mayLook_() ? block_.PrepareLook() : nullptr;
    if (!job_) return Show({}, {});
    CDataDoc& doc = *block_.Document();
    const bool isShort = !mayWait || job_->Samples() <= shortLook;
    auto source = isShort ? std::nullopt : JobWorker::SourceOf(doc);
    const int64_t most = isShort || source ? longestLook : samplesAtOnce;
    if (const char* fault = block_.TooMuchToLookAt(job_->LookSamples())) return Show({}, tr(fault));
    // The statistics are known by now, or are those of the stretch itself.
    if (job_->LookSamples() > most)
        return Show({}, tr("Too much is in view to look ahead: zoom in to %1 samples or fewer.")
                            .arg(QLocale::c().toString(static_cast<qlonglong>(most))));
    if (source) {
        worker_ = std::make_unique<JobWorker>(doc, *job_, std::move(*source), JobWorker::For::showing);
        return watch_.start();
    }
    Finish();
}

void LookAhead::Watch() {
    if (!worker_->IsDone()) return;
    watch_.stop();
    Finish();
}

void LookAhead::Finish() {
    const auto worker = std::move(worker_);
    std::vector<ProposedEvents> proposed;
    size_t count = 0;
    try {
        // A look has nothing to say, and its thread is asked to stop in another way.
        UnheardContext context;
        worker ? worker->Take(context) : job_->Compute(*block_.Document(), context);
        for (const EventJob::Found& found : block_.FoundAhead(*job_)) {
            ProposedEvents& events =
                proposed.emplace_back(ProposedEvents{found.channel, found.parentTrace, {}});
            for (const CEventKM& event : found.events)
                events.spans.emplace_back(event.onPosition, event.offPosition);
            count += found.events.size();
        }
    } catch (const std::exception&) {
        // A run will tell it, and a change of the recording has this look again.
        return Show({}, {});
    }
    Show(std::move(proposed),
         tr("Would find %1 in view").arg(ToQString(EventsText(static_cast<int64_t>(count)))));
    emit Looked();
}

void LookAhead::Show(std::vector<ProposedEvents> proposed, const QString& text) {
    if (proposed == proposed_ && text == text_) return;
    proposed_ = std::move(proposed);
    text_ = text;
    emit Changed();
}

}  // namespace kymora
