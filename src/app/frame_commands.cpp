#include "app/frame_commands.h"

#include "app/main_frame.h"
#include "app/operation_windows.h"
#include "app/theme.h"
#include "import/binary_format.h"
#include "transforms/eqn_test_dialog.h"

namespace kymora {

namespace {

using Frame = CMainFrame;

bool HasActive(const Frame& frame) { return frame.ActiveChild() != nullptr; }
bool HasSeveral(const Frame& frame) { return frame.Children().size() > 1; }

template <auto operation>
void Run(Frame& frame) {
    (frame.*operation)();
}

template <size_t number>
void OpenDemo(Frame& frame) {
    frame.OpenDemo(number);
}

template <Theme theme>
void SetTheme(Frame& frame) {
    frame.SetTheme(static_cast<int>(theme));
}

template <Theme theme>
constexpr CheckMark<Frame> HasTheme{
    [](const Frame& frame) { return frame.GetSession().options.theme == static_cast<int>(theme); }, true};

bool IsToolBarShown(const Frame& frame) { return frame.IsToolBarShown(); }
bool IsCursorTableShown(const Frame& frame) { return frame.IsCursorTableShown(); }
bool HasHoverCard(const Frame& frame) { return frame.GetSession().options.hoverCard != 0; }
void ToggleHoverCard(Frame& frame) {
    int& option = frame.GetSession().options.hoverCard;
    option = option == 0 ? 1 : 0;
    emit frame.SettingsChanged();
}
bool IsPlaying(const Frame& frame) { return frame.IsPlaying(); }
bool IsFullScreen(const Frame& frame) { return frame.isFullScreen(); }

constexpr unsigned group = startsGroup, asks = asksFirst;

// clang-format off
constexpr FrameCommand table[] = {
    {"file-open", "&File", "&Open...\tCtrl+O", "Opens recordings, each in a window of its own", nullptr, nullptr, Run<&Frame::OnFileOpen>},
    {"new-user-defined", "&File/&New", "User-defined\tCtrl+N", "Makes a recording from an equation", nullptr, nullptr, Run<&Frame::OnNewUserDefined>, asks},
    {"new-from-average", "&File/&New", "From average", "Makes a recording of the averages of traces of open recordings", HasActive, nullptr, Run<&Frame::OnNewFromAverage>, asks},
    {"new-contiguous-data", "&File/&New/From &clipboard", "&Contiguous data...", "Makes a recording from a table on the clipboard, each row a sample", nullptr, nullptr, Run<&Frame::OnPasteContiguous>},
    {"new-sparse-data", "&File/&New/From &clipboard", "&Sparse data...", "Makes a recording from times and values on the clipboard", nullptr, nullptr, Run<&Frame::OnPasteSparse>},
    {"file-reload", "&File", "Re&load\tCtrl+Shift+R", "Takes in what another program has written to the file since it was opened; events, names and the view stay", HasActive, nullptr, Run<&Frame::OnFileReload>},
    {"file-close", "&File", "&Close\tCtrl+W", "Closes the window in front", HasActive, nullptr, Run<&Frame::OnFileClose>},
    {"file-save", "&File", "&Save\tCtrl+S", "Keeps events, markers and settings: in a native file, or beside a foreign one", HasActive, nullptr, Run<&Frame::OnFileSave>, group},
    {"file-save-as", "&File", "Save &As...\tCtrl+Shift+S", "Writes the recording as a new native file, as text, or for other programs (.edf, .bdf, .wav, .nwb, .mat)", HasActive, nullptr, Run<&Frame::OnFileSaveAs>},
    {"file-save-as-legacy", "&File", "Save As Legacy (v10.0)", "Writes the recording as a file that old programs read", HasActive, nullptr, Run<&Frame::OnFileSaveAsLegacy>, asks},
    {"file-save-all", "&File", "Save all", "Saves all open recordings", HasActive, nullptr, Run<&Frame::OnFileSaveAll>},
    {"record", "&File", "&Record...\tCtrl+R", "Opens the window in which one records: from boards, serial boards and sound", nullptr, nullptr, Run<&Frame::OnRecord>, group},
    {"convert-to-text", "&File", "Convert to txt format", "Writes recordings as text files beside themselves", nullptr, nullptr, Run<&Frame::OnConvertToText>, group | asks},
    {"batch-list", "&File", "&Multi-batch list...\tCtrl+Shift+B", "Makes a list of operations and runs it over many recordings", nullptr, nullptr, Run<&Frame::OnBatchList>},
    {"binary-defaults", "&File", "Set &binary defaults...", "Says how raw binary files are laid out", nullptr, nullptr, [](Frame& frame) { SetBinaryDefaults(frame.GetSession()); }},
    {"file-properties", "&File", "File p&roperties...", "Shows what the recording is, with its comment and its history", HasActive, nullptr, Run<&Frame::OnFileProperties>, group},
    {"general-options", "&File", "&General options", "Shows the options of the program", nullptr, nullptr, Run<&Frame::OnGeneralOptions>, asks},
    {"retain-settings", "&File", "Retain curren&t settings...", "Chooses what the next file that opens takes from the view in front, in place of its own settings", nullptr, nullptr, Run<&Frame::OnRetainSettings>, asks},
    {"file-exit", "&File", "E&xit\tCtrl+Q", "Ends the program", nullptr, nullptr, Run<&Frame::OnExit>, group},

    {"tool-bar", "&View", "Tool bar", "Shows the tool bar", nullptr, IsToolBarShown, Run<&Frame::ToggleToolBar>, group},
    {"full-screen", "&View", "Full screen\tF11", "Gives the window the whole screen, and takes it back", nullptr, IsFullScreen, Run<&Frame::ToggleFullScreen>},
    {"play-visible", "&View", "Play visible recorded data\tF12", "Plays what is shown of the selected traces, or of the first two, through the sound output; once more ends it", HasActive, IsPlaying, Run<&Frame::OnPlayVisible>},
    {"hover-card", "&View", "Details beside the &mouse", "Tells what lies under the mouse once it rests there", nullptr, HasHoverCard, ToggleHoverCard},
    {"theme-system", "&View/Window colours", "As the system", "Windows take the colours of the desktop", nullptr, HasTheme<Theme::system>, SetTheme<Theme::system>},
    {"theme-light", "&View/Window colours", "Light", "Bright windows", nullptr, HasTheme<Theme::light>, SetTheme<Theme::light>},
    {"theme-dark", "&View/Window colours", "Dark", "Dark windows, and plots on dark paper", nullptr, HasTheme<Theme::dark>, SetTheme<Theme::dark>},

    {"cursor-table", "&Cursors", "&Table of cursors\tCtrl+Shift+T", "Shows what the cursors measure: times, values and the differences between them", nullptr, IsCursorTableShown, Run<&Frame::ToggleCursorTable>, group},

    {"test-equation", "T&ransform", "&Test equation...", "Tries an expression with numbers of your own", nullptr, nullptr, [](Frame& frame) { AskEqnTest(frame.GetSession()); }, group},

    {"window-new", "&Window", "&New window", "Shows the recording in front in a second window", HasActive, nullptr, Run<&Frame::OnWindowNew>},
    {"window-tile", "&Window", "&Tile", "Shows all windows side by side", HasActive, nullptr, Run<&Frame::OnWindowTile>, group},
    {"window-tile-horizontally", "&Window", "Tile &horizontally", "Shows all windows below each other, each over the whole width", HasActive, nullptr, Run<&Frame::OnWindowTileHorizontally>},
    {"window-tile-vertically", "&Window", "Tile &vertically", "Shows all windows beside each other, each over the whole height", HasActive, nullptr, Run<&Frame::OnWindowTileVertically>},
    {"window-cascade", "&Window", "&Cascade", "Lays the windows on each other so that all titles can be seen", HasActive, nullptr, Run<&Frame::OnWindowCascade>},
    {"window-next", "&Window", "N&ext window\tF6", "Brings the next window to the front", HasSeveral, nullptr, Run<&Frame::OnWindowNext>, group},
    {"window-previous", "&Window", "&Previous window\tShift+F6", "Brings the window before to the front", HasSeveral, nullptr, Run<&Frame::OnWindowPrevious>},
    {"window-panel", "&Window", "To the &panel\tF7", "Gives the keyboard to the panel of an operation, to the next one, and back to the recording", HasActive, nullptr, [](Frame& frame) { frame.OperationDialogs().GoToNextPanel(); }, group},

    {"help-first-steps", "&Help", "&First steps\tF1", "Shows how to open, move through and mark a recording", nullptr, nullptr, Run<&Frame::OnHelpFirstSteps>},
    {"help-shortcuts", "&Help", "Keyboard &shortcuts\tCtrl+F1", "Lists the keys of all commands", nullptr, nullptr, Run<&Frame::OnHelpShortcuts>},
    {"help-find-command", "&Help", "Find a &command...\tCtrl+Shift+P", "Finds a command by words and runs it", nullptr, nullptr, Run<&Frame::OnHelpFindCommand>},
    {"demo-spikes", "&Help/&Demonstration recordings", "&Spikes", "Two electrodes that see three units for a minute, each spike marked with its unit", nullptr, nullptr, OpenDemo<0>},
    {"demo-gaps", "&Help/&Demonstration recordings", "&Gaps", "A heart and a breath, with the pauses of a recorder that was off at times", nullptr, nullptr, OpenDemo<1>},
    {"demo-episodic", "&Help/&Demonstration recordings", "&Episodes", "Synaptic potentials after a shock, in 24 episodes, some of them failures", nullptr, nullptr, OpenDemo<2>},
    {"help-about", "&Help", "&About Kymora", "Shows the version of the program", nullptr, nullptr, Run<&Frame::OnAbout>, group},
};
// clang-format on

}  // namespace

std::span<const FrameCommand> FrameCommands() { return table; }

const FrameCommand* FindFrameCommand(std::string_view id) {
    for (const FrameCommand& command : table)
        if (command.id == id) return &command;
    return nullptr;
}

}  // namespace kymora
