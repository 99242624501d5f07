#include "import/reload.h"

#include <fmt/format.h>

#include <cmath>
#include <typeinfo>

#include "document/side_car.h"
#include "import/open_document.h"
#include "import/reload_events.h"

namespace kymora {

namespace {

constexpr const char* closeAndOpenText =
    "Nothing was changed. To see the file as it is now, close the recording and open it again.";

ReloadResult Refused(std::string text) { return {ReloadState::refused, std::move(text)}; }

// Why the document cannot go on with its file, whatever that holds; empty where it can.
std::string DocumentFault(CDataDoc& doc) {
    const std::string name = doc.filePath.filename().string();
    if (doc.filePath.empty()) return "This recording has no file that could have grown.";
    if (doc.operationsAtWork > 0) return operationAtWorkText;
    if (doc.openUndoScope) return "Something is being changed in this recording at the moment.";
    if (doc.Undo().Before() || doc.Undo().After())
        return fmt::format("{} was written by a transform here, and undo brings back what it was before. It "
                           "is not read anew.\nClose the recording and open it again.",
                           name);
    if (!doc.GetSession().files.Stamp(doc.filePath))
        return fmt::format(
            "{} is not there any more.\nIt was moved, renamed or deleted. Put it back, or save "
            "what you have added under another name with File > Save As.",
            doc.filePath.string());
    return {};
}

bool HasOtherTraces(const CDataDoc& doc, const CDataDoc& fresh) {
    if (typeid(doc.Reader()) != typeid(fresh) || doc.traceCount != fresh.traceCount) return true;
    if (!(doc.Facts().traces == fresh.Facts().traces)) return true;
    return doc.traceSignals.size() == fresh.traceSignals.size() &&
           !std::equal(doc.traceSignals.begin(), doc.traceSignals.end(), fresh.traceSignals.begin(),
                       [](const TraceSignal& a, const TraceSignal& b) { return a.index == b.index; });
}

// An interval that is measured in the file may change a little as it grows: no sample moves by half a place.
bool HasOtherInterval(const CDataDoc& doc, const CDataDoc& fresh) {
    const double moved = std::fabs(fresh.sampleInterval - doc.sampleInterval);
    return !(moved * static_cast<double>(doc.GetLength()) < 0.5 * doc.sampleInterval);
}

bool BeginsAtOtherTime(const CDataDoc& doc, const CDataDoc& fresh) {
    constexpr double sameMs = 0.5;
    const auto before = doc.GetStartClock(), now = fresh.GetStartClock();
    return before.has_value() != now.has_value() || (before && std::fabs(*before - *now) > sameMs);
}

// From 1, of the first of which samples are gone that were there; 0 for none.
int TraceThatLost(const CDataDoc& doc, const CDataDoc& fresh) {
    for (int t = 0; t < doc.traceCount; ++t)
        for (int run = 0; run < doc.GetNumRuns(t); run += 2) {
            int64_t start = 0, end = 0;
            doc.GetRunSpan(t, run, start, end);
            if (fresh.CountValid(t, start, end) != end - start) return t + 1;
        }
    return 0;
}

// Why the file is not the one that was opened, with more of it; empty where it is.
std::string GrowthFault(const CDataDoc& doc, CDataDoc& fresh) {
    const std::string name = doc.filePath.filename().string();
    const FileFacts& facts = doc.Facts();
    if (HasOtherTraces(doc, fresh)) return fmt::format("{} has other traces than when it was opened.", name);
    if (HasOtherInterval(doc, fresh))
        return fmt::format(
            "{} has another sample interval than when it was opened: {:.9g} ms in place of {:.9g} ms.", name,
            fresh.sampleInterval, doc.sampleInterval);
    if (BeginsAtOtherTime(doc, fresh))
        return fmt::format(
            "{} begins at another time of day than when it was opened: it is another recording.", name);
    if (fresh.GetLength() < doc.GetLength())
        return fmt::format("{} is shorter than when it was opened: {} samples in place of {}.", name,
                           fresh.GetLength(), doc.GetLength());
    if (const int trace = TraceThatLost(doc, fresh); trace > 0)
        return fmt::format("In {} samples of trace {} are not where they were when it was opened.", name,
                           trace);
    if (facts.beginning && fresh.SumOfBeginning(facts.beginningSamples) != *facts.beginning)
        return fmt::format("{} begins with other samples than when it was opened: it is another recording.",
                           name);
    return {};
}

int64_t StoredSamples(const CDataDoc& doc) {
    int64_t count = 0;
    for (int t = 0; t < doc.traceCount; ++t) count += doc.GetStoredCount(t);
    return count;
}

void Join(std::string& text, const std::string& part) { text += (text.empty() ? "" : ", ") + part; }

// The side-car that is there would hold fewer events than are shown, and the next opening show them alone.
bool NeedsSave(const CDataDoc& doc) { return FindSideCar(doc.GetSession().files, doc.filePath).has_value(); }

ReloadResult Take(CDataDoc& doc, std::unique_ptr<CDataDoc> fresh) {
    const int64_t lengthBefore = doc.GetLength(), storedBefore = StoredSamples(doc);
    const bool isNative = doc.KeepsAllInFile(), hasOtherMetadata = !doc.HasMetadataOf(*fresh);
    std::unique_ptr<FileEventGrowth> events;
    if (!isNative) events = std::make_unique<FileEventGrowth>(doc, *fresh, lengthBefore);
    const bool hasMore = fresh->GetLength() > lengthBefore || StoredSamples(*fresh) > storedBefore ||
                         hasOtherMetadata || (events && !events->IsEmpty());
    const ReloadResult unchanged{ReloadState::unchanged, "Reload: nothing new"};
    if (!hasMore && fresh->RememberedStamp(doc.filePath) == doc.RememberedStamp(doc.filePath))
        return unchanged;
    const bool marks = events && NeedsSave(doc);
    doc.TakeReader(std::move(fresh));
    if (events) {
        events->Apply(doc, marks);
        doc.Facts().channels = std::move(events->channels);
        doc.Facts().knowsAllEvents = true;
    }
    doc.OfferChannelsInUse();
    doc.UpdateAllViews(UpdateHint::samples);
    doc.UpdateAllViews(UpdateHint::events);
    if (hasOtherMetadata) doc.UpdateAllViews(UpdateHint::settings);

    std::string news;
    if (const int64_t more = doc.GetLength() - lengthBefore; more > 0)
        Join(news, fmt::format("{:.3f} s more", doc.TimeOf(more) / 1000.0));
    else if (StoredSamples(doc) > storedBefore)
        Join(news, "samples where there was a gap");
    if (events && events->Count() > 0)
        Join(news, events->Count() == 1 ? "1 new event" : fmt::format("{} new events", events->Count()));
    else if (events && !events->IsEmpty() && events->LeftOut() == 0)
        Join(news, "events that go on");
    if (events && events->LeftOut() > 0)
        Join(news, fmt::format("{} events left out, since no channel is free", events->LeftOut()));
    if (hasOtherMetadata) Join(news, "events and settings as another program has saved them");
    if (news.empty()) return unchanged;
    return {ReloadState::grown, "Reload: " + news};
}

ReloadResult TryToReload(CDataDoc& doc) {
    Session& session = doc.GetSession();
    if (std::string fault = DocumentFault(doc); !fault.empty()) return Refused(std::move(fault));
    // Of foreign recordings other files may have grown.
    if (doc.KeepsAllInFile() && session.files.Stamp(doc.filePath) == doc.RememberedStamp(doc.filePath))
        return {ReloadState::unchanged, "Reload: nothing new"};
    OpenRequest request(doc.ReloadPurpose(), OpenTalk::logs, doc.ToReopen().settings);
    request.fileAlone = request.callerTells = true;
    Opened opened = OpenRecording(session, doc.filePath, request);
    if (!opened.document) {
        const std::string& fault = opened.opening.fault;
        return Refused(fault.empty()
                           ? "The file was not read to its end. The recording is as it was."
                           : fault + "\nThe recording is as it was. Try again when the other program "
                                     "has written more.");
    }
    CDataDoc& fresh = *opened.document;
    if (const std::string fault = GrowthFault(doc, fresh); !fault.empty())
        return Refused(fault + "\n" + closeAndOpenText);
    if (doc.IsModified() && !doc.HasMetadataOf(fresh))
        return Refused(fmt::format(
            "Another program has changed events or settings in {}, and here are changes that "
            "were not saved: one of the two would be lost.\nNothing was changed. Save yours under "
            "another name with File > Save As, or close without saving, and open it again.",
            doc.filePath.filename().string()));
    return Take(doc, std::move(opened.document));
}

}  // namespace

ReloadResult ReloadDocument(CDataDoc& doc) {
    try {
        return TryToReload(doc);
    } catch (const Cancelled&) {
        return Refused("The reload was stopped. The recording is as it was.");
    } catch (const FileError& error) {
        return Refused(fmt::format("{}\nThe recording is as it was.", error.what()));
    }
}

}  // namespace kymora
