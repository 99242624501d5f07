#pragma once
// The base of all operations with parameters. Such an object is what a dialog of the system is without its
// window: the parameters with their limits, the checks, the configuration file, the report, and the action.
// The desktop shows it in a window made from its description; the command line and a batch set the same
// members.
//
// An operation works on the document that CheckChangeDoc gave it, and reads what a user sees there from the
// view that CheckChangeView gave it, if there is one. All of it belongs to the interface thread.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/archive.h"
#include "document/data_doc.h"
#include "document/view_guide.h"
#include "graphs/graph.h"
#include "operations/findings.h"
#include "operations/operation_job.h"
#include "operations/param.h"
#include "results/result.h"

namespace kymora {

// Takes a result text piece by piece; false when it wants no more.
using TextSink = std::function<bool(std::string_view)>;

inline constexpr const char* underEditText =
    "The recording is being edited. Nothing was written. Run the operation again when that is done.";
// Takes the name of the channel.
inline constexpr const char* channelAtWorkText = "An operation that is still at work will write into event "
                                                 "channel {}. Wait for it, or choose another one.";
inline constexpr const char* noViewText = "No active view or document";
// Both take the class name.
inline constexpr const char* laterConfigText =
    "This configuration of {} was written by a later version of Kymora and cannot be read by this one.";
inline constexpr const char* damagedConfigText = "This configuration of {} is damaged. Nothing was loaded.";

// What a run over a file has to say. The report of a batch, the terminal and JSON make their texts of it.
struct RunMessage {
    enum class From {
        run,        // why the file was not run, or what became of it
        operation,  // what the operation told
        refusal,    // what it was refused for, or why it failed; it has a title
        host        // what the reader or a save told; the host of the recording has it, too
    };
    From from = From::run;
    std::string text;
    std::string title;  // of the operation
};
using RunMessages = std::vector<RunMessage>;

// What an operation changes or makes.
enum class Affects {
    events,        // of the recording, and what else is kept with them
    traces,        // by a new file, from the recording (transforms/transform_dlg.h)
    newRecording,  // from no recording that is open (exchange/new_recording_dlg.h)
    nothing        // it tells what it has found
};

// What became of a file that was to be written.
struct WrittenFile {
    bool isDone = false;
    std::string note;  // why not, where nothing was told: what the log says
};

class CBatchBaseDlg {
  public:
    CBatchBaseDlg() = default;
    virtual ~CBatchBaseDlg() = default;
    CBatchBaseDlg(const CBatchBaseDlg&) = delete;
    CBatchBaseDlg& operator=(const CBatchBaseDlg&) = delete;

    // "CEventThreshold": the identifier of its configuration files.
    virtual const char* ClassName() const = 0;
    // The identifier of the same configuration in older files; empty where there is none.
    virtual const char* OlderClassName() const { return ""; }
    // "Threshold Event": of the window, of the undo step and of the history entry.
    virtual const char* Title() const = 0;
    // The words on the button that runs it.
    virtual const char* ActionLabel() const { return "Analyse"; }

    // --- what it works on ---
    // Another document has become the active one, or none (null). Every operation takes up what depends on
    // it.
    virtual void CheckChangeDoc(CDataDoc* doc) { m_pDoc = doc; }
    // Another view has become the active one, or none. It belongs to the active document.
    virtual void CheckChangeView(DocumentView* view) { m_pView = view; }
    // The document or its view has changed: events, samples, or what is seen.
    virtual void OnUpdate(UpdateHint) {}
    // What the view shows has moved.
    virtual void ViewChangedHorzDisp() {}
    virtual void ViewChangedVertDisp() {}
    // A cursor of the view has moved.
    virtual void OnCurChanged() {}
    // The first window of the session opens on a document: sets what a user would set first.
    virtual void SuggestSettings() {}
    CDataDoc* Document() const { return m_pDoc; }
    DocumentView* View() const { return m_pView; }

    // --- parameters ---
    ParamList Params() {
        ParamList list;
        Describe(list);
        return list;
    }
    // Why the operation may not run as it stands; empty when it may. Looks at the limits of every enabled
    // parameter, then asks CheckSettings.
    std::string Validate();

    // --- configuration ---
    // Writes or reads the record of a configuration file: class name, version 1, m_nPaneState, then the
    // fields of each class down to the operation's own. A class first calls its base. A record of another
    // class sets m_bConfigError. Throws ArchiveError, whose words are the user's; the fields are then partly
    // read (config_file.h puts them back).
    virtual void Serialize(CArchive& archive);
    uint32_t m_nPaneState = 0;
    bool m_bConfigError = false;
    // The record in memory: the last settings of a session, and the way back when a load fails.
    std::vector<std::byte> Settings();
    void TakeSettings(std::span<const std::byte> record);
    // The settings that were taken are those of a file that the user named: none is moved to where it would
    // fit without anybody seeing it.
    virtual void SettingsWereChosen() {}

    // --- what it does ---
    // Runs the operation as one step that can be undone, and updates the views. What refuses it is told to
    // the user, and then nothing has changed. False when it was refused, failed or cancelled.
    bool Run();
    // The last run ended because somebody cancelled it.
    bool WasCancelled() const { return m_wasCancelled; }
    // The same in its phases, for whoever has the job done elsewhere. Prepare takes what the job needs of
    // document and view; null where the run is refused, which the user was told.
    std::unique_ptr<OperationJob> Prepare();
    // Has the job done by `compute`, which may take its time or tell what has become of it on another thread,
    // and writes what it has found. Refused while an edit of the recording is under way.
    bool Conclude(OperationJob& job, const std::function<void(JobContext&)>& compute);
    virtual Affects WhatItAffects() const { return Affects::events; }
    // Why it may not stand in a batch with the settings that it has; empty when it may.
    virtual std::string BatchFault() const { return {}; }
    // False for one that reads a table in its place: the file of its parameter `file`. It then runs on a
    // document without anything in it, where there is no recording.
    virtual bool NeedsRecording() const { return true; }
    // Of one that needs no recording: false where its settings hold what else it would read from the table.
    virtual bool NeedsTable() const { return !NeedsRecording(); }
    // Of what makes traces or a recording, instead of Run: writes them as a native file of this name, in
    // place of one that stands there. `keepsSource` tells that the file is a new one beside the recording.
    // Where it is not done, all is as it was, and the user was told but for what the note says. Throws
    // FileError or Cancelled.
    virtual WrittenFile WriteFile(Session&, const std::filesystem::path&, [[maybe_unused]] bool keepsSource) {
        return {};
    }
    // Of what it writes into a file instead: with the dot, lower case.
    virtual const char* ResultExtension() const { return ".kymr-dat"; }
    // What it makes of traces is to be a new file beside the recording, where it says so itself.
    virtual bool WritesNewFile() const { return false; }
    // Shows another operation with these settings, KEY and value; empty where nobody does.
    std::function<void(std::string_view className, const std::vector<std::pair<std::string, std::string>>&)>
        onOpenOther;
    // Its window begins in a frame of its own, where there is room for what it draws.
    virtual bool NeedsRoom() const { return RunsLive(); }
    // Has the operation write its traces and shows them, for an action of its own; empty where nobody does.
    std::function<bool(CBatchBaseDlg&)> onTraces;
    // The record that does what it is set for again, whatever a view shows then; empty where none does.
    std::vector<std::byte> RepeatSettings() { return RerunSettings(OperationJob()); }
    // Why it cannot run over several recordings as it is set; empty where it can.
    virtual std::string SeveralFilesFault() const { return {}; }
    // Nobody attends the run: nothing is asked, settings stay as they were taken, and messages go there. Null
    // for the host of the recording.
    void SendMessagesTo(RunMessages* messages) { m_pMessages = messages; }
    bool IsAttended() const { return !m_pMessages; }
    // Appends the parameters as they stand, in the words of the history. Lines end in CR LF.
    virtual void GetParamText(std::string& text) = 0;

    // --- what it shows ---
    // What the last run has found, as data; what is long is read from the recording when it is asked for.
    virtual std::vector<Result> Results() { return {}; }
    // It changes nothing and is fast, so that its window runs it by itself whenever something changes.
    virtual bool RunsLive() const { return false; }
    // Its result depends on what the view shows.
    virtual bool FollowsView() const { return false; }
    // A file was dropped onto the window. False where it is none that the operation reads itself.
    virtual bool TakesDrop(const std::filesystem::path&) { return false; }
    // What the last run has counted beside the events that it left: "of 20 events, 8 dropped". The window
    // says it behind the count of the destination.
    virtual std::string RunSummary() const { return {}; }
    // What it writes takes the place of what channels held. False where that has gone to other channels.
    virtual bool ReplacesEvents() const { return true; }
    // The channels that the last run has written, ascending.
    const std::vector<int>& WrittenChannels() const { return m_written; }
    // Writes the result of the last run as the window's text, for operations that have one.
    virtual bool HasResultText() const { return false; }
    // Whether one that writes traces has found something that it tells then.
    virtual bool TellsWhatItFound() const { return false; }
    // Those with which the last run began, where it leaves others behind.
    virtual std::vector<std::byte> UsedSettings() { return Settings(); }
    virtual void WriteResult(const TextSink&) {}
    // The same as a table of findings, for operations whose findings the user may reject. It stands in the
    // window in place of the text.
    virtual bool HasFindings() const { return false; }
    virtual Findings GetFindings() { return {}; }
    // They are those of what is set and of the channel as it stands, and not those of the last run.
    virtual bool FindingsFollowSettings() const { return false; }
    // What is done with those that were rejected: the words on its button.
    virtual const char* RejectionLabel() const { return ""; }
    // Does it, as one step that can be undone, and answers what was done. What refuses it is told to the
    // user; the answer is empty then.
    virtual std::string RejectFindings(const Findings&) { return {}; }
    // Lines that the view draws while the window of the operation is open.
    virtual std::vector<ViewGuide> Guides() { return {}; }
    // What the window draws beside the parameters, of the last run or of the settings as they stand; an
    // operation that has a graph always answers one, without layers while there is nothing to draw.
    virtual std::optional<Graph> GetGraph() { return std::nullopt; }

    // Tells the user, or who runs it.
    void Tell(std::string_view text);
    // The same, for what the operation is refused for.
    void Refuse(std::string_view text);
    // Messages go where those of another operation go, of which this one is a part.
    void SendMessagesAs(const CBatchBaseDlg& other) { m_pMessages = other.m_pMessages; }

  protected:
    // Adds the parameters in the order of the window. A class first calls its base, or places the base's
    // groups with the functions that the base has for it.
    virtual void Describe(ParamList&) {}
    // The checks that limits alone cannot make.
    virtual std::string CheckSettings() { return {}; }
    // A run begins: what the last one has found is none of its results.
    virtual void ForgetFound() {}
    // The job of a run. The document is there and the parameters are valid. Null where it is refused.
    virtual std::unique_ptr<OperationJob> MakeJob() { return std::make_unique<OperationJob>(); }
    // Writes what the job has found. False when nothing was done.
    virtual bool Write(OperationJob&, UndoScope& undo) { return Analyse(undo); }
    // The whole work of an operation that has nothing to compute. A transform makes a new file instead
    // (WriteFile) and has no such work.
    virtual bool Analyse(UndoScope&) { return false; }
    // Tells the user something that a run goes on after.
    virtual void Warn(std::string_view words) { Tell(words); }
    // Progress and words of a job that is done here.
    class Here : public JobContext {
      public:
        explicit Here(CBatchBaseDlg& operation) : operation_(operation) {}
        std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override {
            return operation_.GetHost().StartProgress(label, total);
        }
        void Warn(std::string_view words) override { operation_.Warn(words); }
        void Log(std::string_view words) override { operation_.GetHost().Log(words); }

      private:
        CBatchBaseDlg& operation_;
    };

    // The record that does what the job did again, whatever a view shows then; empty where none does.
    virtual std::vector<std::byte> RerunSettings(const OperationJob&) { return Settings(); }

    Host& GetHost() const { return m_pDoc->GetHost(); }
    // Adds an entry to the document's history: the title, the lines, an empty line.
    void AppendHistory(std::string_view lines);

  private:
    // Does it; a failure is told to the user, a cancel is kept in mind.
    bool Attempt(const std::function<bool()>& does);
    // Where it is not done, all is as it was.
    bool WriteAsOneStep(OperationJob& job);
    // Keeps what the history, which has grown since, does not tell of the run.
    void NoteStep(size_t historyLength, const OperationJob& job);

    CDataDoc* m_pDoc = nullptr;
    DocumentView* m_pView = nullptr;
    std::vector<int> m_written;
    bool m_wasCancelled = false;
    RunMessages* m_pMessages = nullptr;
    std::optional<DrawWatch> m_draws;  // of the present run
};

// One value of a record, read or written as the archive stands. `int` is 32 bits wide, `bool` a byte.
template <typename T>
void Exchange(CArchive& archive, T& value) {
    if constexpr (std::is_same_v<T, std::string>) {
        if (archive.IsStoring())
            archive.WriteString(value);
        else
            value = archive.ReadString();
    } else if constexpr (std::is_same_v<T, bool>) {
        if (archive.IsStoring())
            archive.WriteBool(value);
        else
            value = archive.ReadBool();
    } else {
        if (archive.IsStoring())
            archive.Write<T>(value);
        else
            value = archive.Read<T>();
    }
}
// A number that the record of an older version holds in single precision. It stays what it was there, so
// that such settings find again what they found.
inline void ExchangeWidened(CArchive& archive, double& value, bool isSingle) {
    if (isSingle && !archive.IsStoring())
        value = double{archive.Read<float>()};
    else
        Exchange(archive, value);
}
// A set of channels or traces: an i32 count and that many i32 numbers. Reading leaves them ascending, each
// once.
void Exchange(CArchive& archive, std::vector<int>& numbers);
// The same for numbers whose order counts.
void ExchangeInOrder(CArchive& archive, std::vector<int>& numbers);
// The class name with which a record begins; empty when what stands there is none. It is then of no use to
// read on.
std::string ReadClassName(CArchive& archive);
// Writes the version of a class's own fields, or reads it; throws ArchiveError for one above `current`.
uint32_t ExchangeVersion(CArchive& archive, uint32_t current, std::string_view className);

}  // namespace kymora
