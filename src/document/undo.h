#pragma once
// Undo and redo of what a user changes in a recording. A step is a named list of changes; a change holds the
// state that the document had before, and swaps it with the document's present state, so that the same call
// undoes and redoes. Saved files are not affected: undoing after a save is a change like any other.
//
// Whoever edits opens an UndoScope, says what will change, and edits. The scope's end records the step, or
// nothing when nothing changed.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "document/overlays.h"
#include "events/event_chan.h"

namespace kymora {

class CDataDoc;
class DocumentView;

// One part of the document, as it was.
class UndoChange {
  public:
    virtual ~UndoChange() = default;
    // Puts the held state in the document and keeps what was there.
    virtual void Swap(CDataDoc& doc) = 0;
    // False when the document's present state equals the held one.
    virtual bool IsChange(const CDataDoc& doc) const = 0;
    // Memory that the held state takes, roughly.
    virtual size_t Bytes() const = 0;
    // The event channel that it concerns; -1 for none.
    virtual int Channel() const { return -1; }
    // True for the display settings of a view; they go when the view closes.
    virtual bool ConcernsView(const DocumentView&) const { return false; }
};

// The recording before a transform, or behind it: another document with an undo stack of its own, which takes
// this one's place.
class OtherVersion {
  public:
    virtual ~OtherVersion() = default;
    // Of the transform between the two.
    std::string name;
    // Shows the other document, and puts this object with the present one on the other side of its stack.
    // False when that could not be done and the user was told.
    virtual bool Exchange(CDataDoc& present) = 0;
};

class UndoStack {
  public:
    explicit UndoStack(CDataDoc& doc) : doc_(doc) {}

    bool CanUndo() const { return !done_.empty() || before_; }
    bool CanRedo() const { return !undone_.empty() || after_; }
    // The name of the action that would be undone or redone; empty when there is none.
    std::string UndoName() const;
    std::string RedoName() const;
    // Each marks the document as changed, where the step did, and updates all its views. False when there is
    // nothing to do.
    bool Undo();
    bool Redo();

    // Adds a step, which forgets what could have been redone. The oldest steps go when there are more than
    // 200 or they take more than 256 MiB. A step that is none for the file does not mark it as changed.
    void Push(std::string name, std::vector<std::unique_ptr<UndoChange>> changes, bool marksDocument = true);
    void ForgetRedo();
    // Forgets all steps, but not what lies beyond them.
    void Clear();
    // Whether undo and redo have led back to the state that was saved. What the history has been told since
    // then is part of the file.
    bool IsAtSaved() const;
    void MarkSaved();
    void ForgetSaved() { savedAt_.reset(); }
    // What lies beyond the first step and beyond the last one; the latter goes with what could be redone.
    std::unique_ptr<OtherVersion>& Before() { return before_; }
    std::unique_ptr<OtherVersion>& After() { return after_; }
    void ForgetView(const DocumentView& view);

  private:
    struct Step {
        std::string name;
        std::vector<std::unique_ptr<UndoChange>> changes;
        size_t bytes = 0;
        bool marksDocument = true;
        uint64_t number = 0;  // counted through all steps that are ever made
    };
    uint64_t StateNumber() const;
    bool Move(std::deque<Step>& from, std::deque<Step>& to);
    bool MayExchange() const;

    CDataDoc& doc_;
    std::deque<Step> done_, undone_;
    uint64_t steps_ = 0;
    uint64_t bottom_ = 0;  // the last step that marked the document and has been forgotten
    // The saved state: the last step that marks the document, and the length of the history.
    struct Saved {
        uint64_t number = 0;
        size_t history = 0;
    };
    std::optional<Saved> savedAt_;
    std::unique_ptr<OtherVersion> before_, after_;
};

// Records what is changed between its making and its end as one step. A scope inside another belongs to the
// outer one, whose name counts.
class UndoScope {
  public:
    UndoScope(CDataDoc& doc, std::string name);
    ~UndoScope();
    UndoScope(const UndoScope&) = delete;
    UndoScope& operator=(const UndoScope&) = delete;

    // Each says what will change; asking twice costs nothing.
    void KeepMarkers();
    void KeepAnnotations();
    void KeepScaleBars();
    // Settings and events of a channel. Copies the events: for edits of many.
    void KeepChannel(int channel);
    void KeepChannelSettings(int channel);
    void Keep(std::unique_ptr<UndoChange> change);

    // Edits of single events, which keep only what they touch. Each obeys the channel's lock as the channel's
    // own operation does, and answers what that one does.
    bool AddEvent(int channel, CEventKM event);
    bool DeleteEvent(int channel, int index);
    // Puts another event in the place of one; it is sorted in where its position changed.
    bool ReplaceEvent(int channel, int index, CEventKM event);
    // Puts events in the place of `count` events from `at` on, in the order given. Where every position stays
    // as it is, the table of coordinates stays too.
    bool SpliceEvents(int channel, int at, int count, std::vector<CEventKM> with);

    // The step is one of looking at the recording, which nobody is asked to save. Only of an outermost scope.
    void LeaveUnmodified() { marksDocument_ = false; }

    // The history tells of an undo and of a redo of this step. What it says already stays: it is a log.
    void NoteInHistory();

    // The event channels that were to change, ascending.
    std::vector<int> Channels() const;

    // Puts back what was changed since the scope began, and forgets it. Only of an outermost scope.
    void PutBack();

  private:
    CDataDoc& doc_;
    std::string name_;
    UndoScope* outer_;
    std::vector<std::unique_ptr<UndoChange>> changes_;
    std::vector<int> keptChannels_, keptSettings_;
    bool marksDocument_ = true;
    bool keptMarkers_ = false, keptAnnotations_ = false, keptScaleBars_ = false;
};

}  // namespace kymora
