// The commands that copy, save and print the view.

#include "display/commands/command_tables.h"
#include "display/plot_recording.h"
#include "display/vector_picture.h"
#include "display/view_text.h"
#include "document/native_writer.h"

namespace kymora {

using namespace commands;

namespace {

constexpr int64_t mostLinesToCopy = 5'000'000;
constexpr const char* tooLongToCopyText =
    "There are too many samples in view to copy them. Show less time, or save them as a text file.";

bool HasTracesInWindow(const CKymoraView& view) { return HasWindow(view) && HasAxes(view); }
bool HasPicture(const CKymoraView& view) {
    return view.Plot().layout.width > 0 && view.Plot().layout.height > 0;
}

// Where the command is from the menu or a key: the last place of the mouse on the plot, or its middle.
Point PlaceOf(const CommandContext& context) {
    const PixelRect plot = context.view.Plot().layout.plot;
    for (const auto& place : {context.at, context.view.m_mouse})
        if (place && plot.Contains(place->x, place->y)) return *place;
    return {(plot.left + plot.right) / 2, (plot.top + plot.bottom) / 2};
}

void CopyTimeAndVoltage(const CommandContext& context) {
    const Point place = PlaceOf(context);
    context.view.Window()->CopyText(TimeAndVoltageText(context.view.Plot(), place.x, place.y));
}

// Runs what may fail: a failure is told, a cancel is not.
template <typename Action>
void Try(const CKymoraView& view, const char* failure, Action action) {
    try {
        action();
    } catch (const Cancelled&) {
    } catch (const std::exception& error) {
        view.GetSession().host.Failure(std::string(failure) + "\n" + error.what());
    }
}

void CopyTraces(const CommandContext& context) {
    CKymoraView& view = context.view;
    Try(view, "The traces were not copied.", [&] {
        const TraceText traces(view.Plot());
        if (traces.LineCount() > mostLinesToCopy) return view.GetSession().host.Message(tooLongToCopyText);
        std::string text;
        traces.Write([&](std::string_view piece) { text += piece; });
        view.Window()->CopyText(text);
    });
}

void CopyBitmap(const CommandContext& context) { context.view.Window()->CopyPicture(); }
void Print(const CommandContext& context) { context.view.Window()->Print(); }

// What the recording is called, with another extension. `others` are types that the user may choose instead.
std::optional<std::filesystem::path> AskName(const CKymoraView& view, const std::string& kind,
                                             const std::string& extension, const std::string& others = {}) {
    const std::filesystem::path source = view.GetDocument().filePath;
    std::filesystem::path suggestion = source;
    suggestion.replace_extension(extension);
    if (SamePath(suggestion, source))
        suggestion.replace_filename(source.stem().string() + " view." + extension);
    const std::string filter = kind + "|*." + extension + others + "||";
    const auto chosen = view.GetSession().host.ChooseSaveFile({"Save view", filter, extension, suggestion});
    if (!chosen || !SamePath(*chosen, source)) return chosen;
    view.GetSession().host.Message("That is the recording itself. Choose another name.");
    return {};
}

void SaveText(const CommandContext& context) {
    const auto out = AskName(context.view, "Text", "txt");
    if (!out) return;
    Try(context.view, "The text was not saved.", [&] { SaveTraceText(context.view.Plot(), *out); });
}

struct PictureKind {
    const char *name, *extension;
};
constexpr PictureKind pictureKinds[] = {{"PNG picture", "png"},
                                        {"SVG Files (*.svg)", "svg"},
                                        {"PDF document", "pdf"},
                                        {"EPS Files (*.eps)", "eps"},
                                        {"HPGL Files (*.plt)", "plt"}};
constexpr const char* graphicsHelp = "Save display in high-definition graphics format (EPS or SVG).";

bool AskOptions(const CKymoraView& view, const std::filesystem::path& out, PictureOptions& options) {
    if (const auto format = VectorFormatOf(out)) return AskVectorOptions(view, *format, options);
    return AskPictureOptions(view, *PictureFormatOf(out), options);
}

template <size_t kind>
void SaveAsPicture(const CommandContext& context) {
    CKymoraView& view = context.view;
    const std::string extension = pictureKinds[kind].extension;
    std::string others;
    for (const PictureKind& other : pictureKinds)
        if (other.extension != extension) others += std::string("|") + other.name + "|*." + other.extension;
    const auto chosen = AskName(view, pictureKinds[kind].name, extension, others);
    if (!chosen) return;
    // The name says what is written: one that says nothing gets the extension of the command.
    std::filesystem::path out = *chosen;
    if (!PictureFormatOf(out) && !VectorFormatOf(out)) out += "." + extension;
    if (!MayTakeName(view.GetSession(), *chosen, out)) return;
    PictureOptions& options = view.GetSession().picture;
    if (!AskOptions(view, out, options) || !view.FinishReload()) return;
    PictureOptions own = options;
    // The layout of a vector file is the window's; its size is that in print.
    if (VectorFormatOf(out)) own.width = own.height = 0;
    Try(view, "The picture was not saved.", [&] { SavePicture(view, out, own); });
}

}  // namespace

// clang-format off
CommandTable OutputCommands() {
    return {
        {"copy-bitmap", "O&utput", "&Copy view as bitmap", "Copies the picture of the view", HasWindow, nullptr, CopyBitmap},
        {"copy-traces", "O&utput", "Copy t&races as text", "Copies the samples in view, a line for each time", HasTracesInWindow, nullptr, CopyTraces},
        {"copy-time-voltage", "O&utput", "Copy time and &voltage", "Copies the time and the value under the mouse", HasWindow, nullptr, CopyTimeAndVoltage},
        {"save-png", "O&utput", "View (bitmap: p&ng)", "Saves the picture of the view in pixels", HasPicture, nullptr, SaveAsPicture<0>, group | asks},
        {"save-eps", "O&utput", "View (vector: &eps)", graphicsHelp, HasPicture, nullptr, SaveAsPicture<3>, asks},
        {"save-svg", "O&utput", "View (vector: &svg)", graphicsHelp, HasPicture, nullptr, SaveAsPicture<1>, asks},
        {"save-plt", "O&utput", "View (plotter: p&lt)", "Saves the view as the strokes of a pen plotter (HPGL)", HasPicture, nullptr, SaveAsPicture<4>, asks},
        {"save-pdf", "O&utput", "View (vector: p&df)", "Saves the picture of the view as a page", HasPicture, nullptr, SaveAsPicture<2>, asks},
        {"save-text", "O&utput", "View (text: t&xt)", "Saves the samples in view, a line for each time", HasAxes, nullptr, SaveText, asks},
        {"print", "O&utput", "&Print...\tCtrl+p", "Prints the view", HasWindow, nullptr, Print, group},
    };
}
// clang-format on

}  // namespace kymora
