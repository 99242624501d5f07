#pragma once
// What the user can choose for all recordings, and the greatest numbers of traces and channels.

#include <cstdint>
#include <string>

namespace kymora {

inline constexpr int maxTraces = 128;
inline constexpr int maxEventChannels = 999;
inline constexpr int letterChannels = 26;

// Where new traces and channels take their colours from.
enum class Palette : int {
    system = 0,
    okabeIto = 1,  // eight colours that colour-blind people can tell apart
    even = 2,      // five such colours, all well seen on white, and grey frames
};

// Options that the user keeps between sessions.
struct Options {
    int expandContractFocus = 1;  // "Expand-Contract focus"; 1 keeps the left edge of the view when zooming
    int cancelSelectionAfterAction = 0;     // "Cancel selection after action"
    int hitMargin = 3;                      // "Hit margin", pixels, 0 to 20
    int eventChannelMode = letterChannels;  // "Event channel number": 26 letters or 999 numbers
    int bootstrapReps = 1000;               // "Bootstrap reps"
    // "Clustering program": the command of an outside program that takes over the clustering; empty for none.
    std::string clusterCommand;
    int theme = 0;      // "Theme": colours of the windows; 0 as the system, 1 light, 2 dark
    int hoverCard = 1;  // "Hover card": what lies under the mouse is told beside it
    int palette = 0;    // "Palette": a Palette, of traces and channels without a colour
    // "Transform undo share": percent of the free disk space that recordings before their transforms may take
    // while they are open; 0 keeps none.
    int transformUndoShare = 50;
    // "Retained settings": which settings of the view in front the next file takes over, a bit for each
    // (display/retained_settings.h).
    int retainedSettings = 0;
};

// How a user likes to look at recordings, of which files keep nothing: what new views start with.
struct ViewHabits {
    uint32_t m_crBackground = 0xFFFFFF;
    bool m_bInactiveSections = false;  // gaps in grey at 0, and a line at 0 behind the end
    bool m_bEventTicks = false;        // events also as lines through the band of their trace
    // Times in the unit that suits the length of the view, where the recording brings none of its own.
    bool m_bAutoTimeUnit = true;
    bool m_bClockTime = false;  // the time of day at the ticks, where the file knows when it began

    bool operator==(const ViewHabits&) const = default;
};

// What an event gets that the user inserts with the mouse or at given times.
struct EventInsertion {
    int kind = 0;              // 0 of a fixed duration, 1 from press to release, 2 of one sample
    bool centred = false;      // a fixed duration lies around the click, else it starts there
    double durationMs = 10.0;  // at least one sample
    float value = 0.0f;
    int32_t tag = 0;
    bool ownColour = false;
    uint32_t colour = 0x0080FF;
    std::string label;
};

// How graphs are looked at.
struct GraphHabits {
    bool hasGrid = true;
    bool tellsValues = true;     // of what lies under the mouse
    bool hasDropLines = false;   // from there to both axes
    bool pans = false;           // dragging in a plot moves it, in place of zooming to a rectangle
    bool copiesOnePane = false;  // of several: the one with the keyboard
};

// How the view is saved as a picture. What the view does not show is in no picture.
struct PictureOptions {
    int dpi = 96;  // of pixels; the view is made for 96
    bool onWhite = false;
    bool grid = true;
    bool cursors = true;
    bool events = true;
    bool eventLabels = true;
    int width = 0, height = 0;  // at 96 dpi; 0 is as in the window
    // Of vector files: how wide the plot is in print, and how many units an inch has.
    double targetWidth = 152.4;  // mm
    int targetResolution = 600;
};

// What the dialog of a text file starts with: the answers of the file before.
struct TextFileDefaults {
    int skipRows = -1;      // -1: guessed from the file
    bool isStated = false;  // the user has put another number in the place of the guess
    int skipColumns = 0;
    int labelRow = 0;             // counted from 1; 0 for no labels
    double sampleInterval = 1.0;  // ms
    bool dataInColumns = true;
};

// How raw binary files are read.
struct BinaryFileDefaults {
    int binaryTraces = 1;           // interleaved, 1 to 16
    double binaryInterval = 1.0;    // ms, 1e-8 to 1e10
    int binaryType = 0;             // of the table in document/binary_samples.h, 0 to 3
    bool binaryUseDefault = false;  // files open without the dialog
};

}  // namespace kymora
