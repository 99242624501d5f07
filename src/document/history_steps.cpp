#include "document/history_steps.h"

#include <algorithm>

#include "archive/archive.h"
#include "document/data_doc.h"
#include "document/native_writer.h"
#include "host/file_names.h"

namespace kymora {

namespace {

constexpr const char* stepsEnding = ".steps";
constexpr const char* stepsName = "Kymora steps";
constexpr const char* stepsEnd = "end of steps";
constexpr uint32_t stepsVersion = 1;
constexpr size_t leastStepBytes = 21;  // two texts, the seed, the draws and a count
constexpr std::string_view undoWord = "Undo: ", redoWord = "Redo: ";

// --- the file ---

void StoreSteps(CArchive& archive, const HistorySteps& steps) {
    archive.WriteString(stepsName);
    archive.Write<uint32_t>(stepsVersion);
    archive.Write<int32_t>(static_cast<int32_t>(steps.size()));
    for (const HistoryStep& step : steps) {
        archive.WriteString(step.entry);
        archive.WriteString(step.title);
        archive.Write<uint64_t>(step.seed);
        archive.Write<uint8_t>(static_cast<uint8_t>(step.draws));
        archive.Write<int32_t>(static_cast<int32_t>(step.settings.size()));
        archive.WriteRaw(step.settings);
    }
    archive.WriteString(stepsEnd);
}

HistoryStep LoadStep(CArchive& archive) {
    HistoryStep step;
    step.entry = archive.ReadString();
    step.title = archive.ReadString();
    step.seed = archive.Read<uint64_t>();
    step.draws = static_cast<HistoryStep::Draws>(std::min<uint8_t>(archive.Read<uint8_t>(), 2));
    step.settings.resize(archive.ReadItemCount(1, "settings"));
    archive.ReadRaw(step.settings);
    return step;
}

HistorySteps LoadSteps(CArchive& archive) {
    HistorySteps steps;
    const uint32_t count = archive.ReadItemCount(leastStepBytes, "steps");
    for (uint32_t i = 0; i < count; ++i) steps.push_back(LoadStep(archive));
    if (archive.ReadString() != stepsEnd) throw ArchiveError("The steps have no end.");
    return steps;
}

struct StepsFile {
    bool isOther = false;  // somebody else's, or of a later version
    HistorySteps steps{};
};

// A damaged one of this version holds nothing that could be kept.
StepsFile OpenSteps(FileSystem& files, const std::filesystem::path& path) {
    if (!files.Stamp(path)) return {};
    bool isOurs = false;
    try {
        const auto file = files.Open(path, OpenMode::readOnly);
        CArchive archive(*file, CArchive::Mode::load);
        isOurs = archive.ReadString() == stepsName && archive.Read<uint32_t>() <= stepsVersion;
        if (isOurs) return {false, LoadSteps(archive)};
    } catch (const FileError&) {
    } catch (const ArchiveError&) {
    }
    return {!isOurs};
}

// --- the entries ---

// The first line without what every entry of its kind begins with.
std::string TitleOf(std::string_view text) {
    const auto takeLine = [&text] {
        const size_t end = text.find("\r\n");
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
        return std::string(line);
    };
    std::string first = takeLine();
    if (first == "START") {
        takeLine();  // the date
        return takeLine();
    }
    // The date of a save-as stands before it.
    return text.starts_with(": ") ? takeLine().substr(2) : first;
}

// The longest text of a step that stands at the beginning; empty where there is none.
std::string_view StepText(std::string_view history, const HistorySteps& steps) {
    std::string_view found;
    for (const HistoryStep& step : steps)
        if (step.entry.size() > found.size() && history.starts_with(step.entry)) found = step.entry;
    return found;
}

// Where the entry ends that begins the text: behind its empty lines, or where that of a step begins.
size_t EntryEnd(std::string_view text, const HistorySteps& steps) {
    size_t end = 0;
    bool isComplete = false;
    while (end < text.size()) {
        const size_t lineEnd = text.find('\n', end);
        const size_t next = lineEnd == std::string_view::npos ? text.size() : lineEnd + 1;
        const bool isBlank = text.substr(end, next - end) == "\r\n";
        if (end > 0 && ((isComplete && !isBlank) || !StepText(text.substr(end), steps).empty())) break;
        isComplete = isComplete || (isBlank && end > 0);
        end = next;
    }
    return end;
}

// From the last one back, so that of two steps with one text, of which the earlier was taken back by an older
// version of the recording, the later one counts.
void FindSteps(std::vector<HistoryEntry>& entries, const HistorySteps& steps) {
    size_t left = steps.size();
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        size_t i = left;
        while (i > 0 && steps[i - 1].entry != entry->text) --i;
        if (i == 0) continue;
        left = i - 1;
        entry->step = &steps[left];
        entry->title = steps[left].title;
    }
}

// The last entry before `note` that an undo of this name means. What wrote it may be called otherwise in the
// history where its step is not known.
HistoryEntry* FindUndone(std::span<HistoryEntry> before, std::string_view name) {
    for (const bool byName : {true, false})
        for (auto entry = before.rbegin(); entry != before.rend(); ++entry) {
            if (entry->isNote || entry->isUndone) continue;
            if (byName ? entry->title == name : entry->step == nullptr) return &*entry;
        }
    return nullptr;
}

void FollowUndo(std::vector<HistoryEntry>& entries) {
    std::vector<HistoryEntry*> undone;
    for (size_t i = 0; i < entries.size(); ++i) {
        HistoryEntry& note = entries[i];
        if (note.step) continue;
        if (note.title.starts_with(undoWord)) {
            const std::string_view name = std::string_view(note.title).substr(undoWord.size());
            HistoryEntry* const entry = FindUndone(std::span(entries).first(i), name);
            if (!entry) continue;
            note.isNote = entry->isUndone = true;
            undone.push_back(entry);
        } else if (note.title.starts_with(redoWord) && !undone.empty()) {
            note.isNote = true;
            undone.back()->isUndone = false;
            undone.pop_back();
        }
    }
}

HistorySteps StepsOf(std::string_view history, const HistorySteps& steps) {
    HistorySteps known;
    for (const HistoryEntry& entry : ReadHistory(history, steps))
        if (entry.step) known.push_back(*entry.step);
    return known;
}

void Replace(Session& session, const std::filesystem::path& path, const StepsFile& there,
             const HistorySteps& steps) {
    if (there.isOther && steps.empty()) return;
    try {
        if (there.isOther) {
            session.host.Log(
                path.string() +
                " is no file of steps that this version knows. It was left as it is, and the exact "
                "settings of the operations are not kept.\n");
        } else if (!steps.empty()) {
            WriteFileAtomically(session.files, path, [&](CArchive& archive) { StoreSteps(archive, steps); });
        } else if (session.files.Stamp(path)) {
            session.files.Remove(path);
        }
    } catch (const FileError& error) {
        session.host.Log(std::string("The exact settings of the operations were not kept.\n") + error.what() +
                         "\n");
    }
}

}  // namespace

HistoryStep::Draws DrawWatch::Draws() const {
    using Draws = HistoryStep::Draws;
    if (session_.random == before_) return Draws::none;
    return before_ == RandomOf(session_.seed) ? Draws::fromSeed : Draws::furtherOn;
}

std::vector<HistoryEntry> ReadHistory(std::string_view history, const HistorySteps& steps) {
    std::vector<HistoryEntry> entries;
    while (!history.empty()) {
        const std::string_view known = StepText(history, steps);
        const size_t length = known.empty() ? EntryEnd(history, steps) : known.size();
        const std::string_view text = history.substr(0, length);
        history.remove_prefix(length);
        if (text.find_first_not_of("\r\n") != std::string_view::npos)
            entries.push_back({std::string(text), TitleOf(text)});
    }
    FindSteps(entries, steps);
    FollowUndo(entries);
    return entries;
}

std::filesystem::path StepsPath(FileSystem& files, const std::filesystem::path& native) {
    return NameBehind(files.Resolve(native), stepsEnding);
}

// What belongs to a foreign file stands beside the name that it was opened by.
std::filesystem::path StepsPath(const CDataDoc& doc) {
    if (doc.GetFileType() == typeFloat) return StepsPath(doc.GetSession().files, doc.filePath);
    return NameBehind(doc.filePath, stepsEnding);
}

HistorySteps ReadSteps(FileSystem& files, const std::filesystem::path& path) {
    return OpenSteps(files, path).steps;
}

void WriteSteps(Session& session, const std::filesystem::path& path, std::string_view history,
                const HistorySteps& steps) {
    const StepsFile there = OpenSteps(session.files, path);
    const HistorySteps known = StepsOf(history, steps);
    if (!known.empty() && known == there.steps) return;
    Replace(session, path, there, known);
}

void SaveSteps(CDataDoc& doc) {
    if (!doc.HasNotedSteps()) return;
    const std::filesystem::path path = StepsPath(doc);
    const StepsFile there = OpenSteps(doc.GetSession().files, path);
    const HistorySteps known = StepsOf(doc.historyLog, doc.Steps());
    if (known == StepsOf(doc.historyLog, there.steps)) return;
    Replace(doc.GetSession(), path, there, known);
}

}  // namespace kymora
