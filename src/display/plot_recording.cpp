#include "display/plot_recording.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include <fmt/format.h>

#include "display/gutter.h"
#include "display/kymora_view.h"
#include "display/overlays/datum_lines.h"
#include "display/picture.h"
#include "display/vector_picture.h"
#include "document/native_writer.h"
#include "host/form.h"
#include "operations/graphics_file_format.h"

namespace kymora {

namespace {

// Nothing when the stored viewport is to be shown.
std::optional<Viewport> RequestedViewport(const CDataDoc& doc, std::optional<double> fromMs,
                                          std::optional<double> toMs) {
    const bool isStored = doc.view.viewEnd > 0.0 && doc.view.viewEnd > doc.view.viewStart;
    if (!fromMs && !toMs && isStored) return {};
    const double start = std::max(0.0, fromMs.value_or(0.0));
    const double fileEnd = std::max(doc.GetEndTime(), start + doc.sampleInterval);
    const Viewport viewport{start, toMs.value_or(fileEnd)};
    if (!(viewport.end > viewport.start))
        throw std::runtime_error("The end of the plot must be after its start.");
    return viewport;
}

constexpr int usualDpi = 96;
constexpr double mostPixels = 1e8;  // 400 MB of picture
constexpr int offeredDpi[] = {usualDpi, 150, 192, 300, 600};
const std::string sizeGroup = "Size";

constexpr std::pair<const char*, bool PictureOptions::*> partFlags[] = {
    {"grid", &PictureOptions::grid},
    {"cursors", &PictureOptions::cursors},
    {"events", &PictureOptions::events},
    {"eventLabels", &PictureOptions::eventLabels},
};

double ScaleOf(int dpi) { return static_cast<double>(dpi) / usualDpi; }

PictureFormat FormatOf(const std::filesystem::path& out) {
    return PictureFormatOf(out).value_or(PictureFormat::png);
}

// "2360 x 1520 pixels, 31.2 x 20.1 cm"; shapes, of 0 dpi, have no pixels.
std::string SizeText(int width, int height, int dpi) {
    constexpr double cm = 2.54 / usualDpi;
    const std::string paper = fmt::format("{:.1f} x {:.1f} cm", width * cm, height * cm);
    if (dpi <= 0) return paper;
    const double scale = ScaleOf(dpi);
    return fmt::format("{} x {} pixels, {}", std::lround(width * scale), std::lround(height * scale), paper);
}

// The cursors stand at pixels of the window: in a picture of another size they come to the same times and
// values.
void TakeCursors(const PlotContext& shown, const PlotContext& picture, CDatumLines& to) {
    const CDatumLines& from = *shown.cursors;
    to.m_bShowIDs = from.m_bShowIDs;
    to.m_bShowTimes = from.m_bShowTimes;
    to.m_bShowValues = from.m_bShowValues;
    to.m_rcPlot = picture.layout.plot;
    const TimeScale times = picture.GetTimeScale();
    for (int line = 0; line < from.VertCount(); ++line)
        if (from.IsOnPlotX(from.VertX(line))) to.AddVertLineAt(times.ToPlace(from.GetVertLineTime(line)));
    for (int line = 0; line < from.HorzCount(); ++line) {
        if (!from.IsOnPlotY(from.HorzY(line))) continue;
        // To the value on the axis where it stands.
        const int axis = shown.GetNearestAxis(from.HorzY(line));
        if (axis < 0 || picture.SlotOf(axis) < 0) continue;
        const std::vector<int> traces = shown.TracesOn(axis);
        if (traces.empty()) continue;
        to.AddHorzLineAt(picture.GetValueScale(axis).ToPlace(from.GetHorzLineValue(line, traces.front())));
    }
}

// Hands over what the view shows as it is in a picture of the options. The view stays as it is, also in what
// it knows of the texts on its screen.
template <typename Use>
auto WithPicture(const PlotContext& shown, const PictureOptions& options, bool onWhite, Use use) {
    ViewSettings settings = shown.settings;
    settings.m_bShowGrid = settings.m_bShowGrid && options.grid;
    settings.m_bShowEvents = settings.m_bShowEvents && options.events;
    settings.m_bShowEventLabels = settings.m_bShowEventLabels && options.eventLabels;
    // Without rows of events there is no room to leave for them.
    if (!options.events && settings.m_fDataArea > 0.0f) settings.m_fDataArea = 1.0f;
    if (onWhite) settings.m_crBackground = 0xFFFFFF;
    const int width = options.width > 0 ? options.width : shown.layout.width;
    const int height = options.height > 0 ? options.height : shown.layout.height;
    DrawnParts drawn;
    PlotContext picture{.doc = shown.doc,
                        .settings = settings,
                        .layout = {},
                        .viewport = shown.viewport,
                        .shownAxes = shown.shownAxes,
                        .bins = shown.bins,
                        .drawn = drawn,
                        .eventChannel = shown.eventChannel};
    picture.layout = CalcLayout({width, height, settings.m_bShowAxes, settings.m_fDataArea,
                                 static_cast<int>(shown.shownAxes.size()), GutterWidth(picture, width)});
    CDatumLines cursors([&picture] { return picture; });
    picture.cursors = &cursors;
    if (options.cursors && shown.cursors) {
        if (picture.layout == shown.layout)
            picture.cursors = shown.cursors;
        else
            TakeCursors(shown, picture, cursors);
    }
    return use(picture);
}

// The bytes of the file.
std::vector<std::byte> Draw(const PlotContext& picture, const std::filesystem::path& out, int dpi,
                            ProgressScope& progress) {
    const auto device =
        MakePictureDevice(picture.layout.width, picture.layout.height, FormatOf(out), ScaleOf(dpi));
    PaintRecording(picture, *device, PictureTarget::file);
    progress.At(50);
    std::vector<std::byte> bytes = device->Encode([&] { return progress.GoesOn(75); });
    if (bytes.empty()) throw Cancelled();
    return bytes;
}

// What stands in the dialog of a vector file on what it makes.
std::string VectorNote(const VectorPage& page, VectorFormat format, int64_t points) {
    return fmt::format("{} x {} units, {:.1f} x {:.1f} mm\n{}", page.width, page.height, page.widthMm,
                       page.HeightMm(), VectorSizeText(format, points));
}

// Fields for the width, in mm and in inches, and the resolution.
void AddTargetFields(Form& form, const CKymoraView& view, VectorFormat format,
                     const PictureOptions& options) {
    const std::string target = "Target graphic";
    form.AddNumber("targetWidth", "Width", options.targetWidth, "Width in mm of target graphic")
        .Limits(leastTargetWidth, greatestTargetWidth)
        .Unit("mm")
        .With(&Field::group, target);
    form.AddNumber("targetWidthInches", "Width", InchesOf(options.targetWidth),
                   "Width in inches of target graphic")
        .Limits(leastTargetWidth / mmPerInch, greatestTargetWidth / mmPerInch)
        .Unit("inches")
        .With(&Field::group, target);
    if (format != VectorFormat::hpgl)
        form.AddInteger("resolution", "Resolution", options.targetResolution,
                        "Select resolution of target graphic device")
            .Limits(leastTargetResolution, greatestTargetResolution)
            .Unit("dpi")
            .With(&Field::group, target);
    const PixelRect plot = view.Plot().layout.plot;
    const int64_t points = VectorPoints(view.Plot());
    const auto tell = [plot, format, points](const Form& asked) {
        // Of a width that is none there is nothing to say; the lines keep their room.
        for (const char* key : {"targetWidth", "resolution"})
            if (format != VectorFormat::hpgl || key != std::string_view("resolution"))
                if (!asked[key].Fault().empty()) return std::string("\n");
        const int resolution = format == VectorFormat::hpgl ? 0 : asked.Integer("resolution");
        const VectorPage page =
            PageOf(format, plot.Width(), plot.Height(), asked.Number("targetWidth"), resolution);
        return VectorNote(page, format, points);
    };
    form.AddNote("makes", tell(form)).With(&Field::group, target);
    // The one that was changed leads, and beside one that cannot be used the other is none, either. A box
    // shows an inch with the digits that it has room for.
    form.onChange = [tell, before = std::pair(form.Number("targetWidth"), form.Number("targetWidthInches"))](
                        Form& asked) mutable {
        const auto differs = [](double a, double b) {
            return std::isnan(a) != std::isnan(b) || std::fabs(a - b) > 1e-6 * std::fabs(b);
        };
        const auto follow = [&](const char* leader, const char* follower, double factor) {
            const bool isUsable = asked[leader].Fault().empty();
            asked[follower].number = isUsable ? asked.Number(leader) * factor : std::nan("");
        };
        if (differs(asked.Number("targetWidth"), before.first))
            follow("targetWidth", "targetWidthInches", 1.0 / mmPerInch);
        else if (differs(asked.Number("targetWidthInches"), before.second))
            follow("targetWidthInches", "targetWidth", mmPerInch);
        before = {asked.Number("targetWidth"), asked.Number("targetWidthInches")};
        asked["makes"].text = tell(asked);
    };
}

// Which parts of the view the picture has.
void AddPartFields(Form& form, const CKymoraView& view, const PictureOptions& options) {
    const auto part = [&](const char* key, const char* label, bool value, bool shown, const char* tip) {
        form.AddFlag(key, label, value && shown, tip)
            .EnabledIf([shown] { return shown; })
            .With(&Field::group, std::string("With"));
    };
    const CDatumLines& lines = view.DatumLines();
    part("grid", "Grid", options.grid, view.m_bShowGrid, "The lines of the divisions");
    part("cursors", "Cursors", options.cursors, lines.VertCount() + lines.HorzCount() > 0,
         "The cursors with their texts");
    part("events", "Event rows", options.events, view.m_bShowEvents, "The rows of the event channels");
    part("eventLabels", "Event labels", options.eventLabels, view.m_bShowEvents && view.m_bShowEventLabels,
         "The labels at events");
}

// What the view does not show was not asked about.
void TakePartFields(const Form& form, PictureOptions& options) {
    for (const auto& [key, member] : partFlags)
        if (form[key].IsEnabled(form)) options.*member = form.Flag(key);
}

}  // namespace

std::optional<PictureFormat> PictureFormatOf(const std::filesystem::path& path) {
    const std::string extension = FoldedExtension(path);
    if (extension == ".png") return PictureFormat::png;
    if (extension == ".svg") return PictureFormat::svg;
    if (extension == ".pdf") return PictureFormat::pdf;
    return {};
}

std::string PictureSizeFault(int64_t width, int64_t height, int64_t dpi) {
    for (const int64_t pixels : {width, height})
        if (pixels < leastPicturePixels || pixels > greatestPicturePixels)
            return fmt::format("The width and the height take {} to {} pixels.", leastPicturePixels,
                               greatestPicturePixels);
    if (dpi < leastPictureDpi || dpi > greatestPictureDpi)
        return fmt::format("The resolution takes {} to {} dpi.", leastPictureDpi, greatestPictureDpi);
    const double scale = ScaleOf(static_cast<int>(dpi));
    if (static_cast<double>(width * height) * scale * scale > mostPixels)
        return "A picture has at most 100 million pixels. Make it smaller, or coarser.";
    return {};
}

bool SavePicture(const CKymoraView& view, const std::filesystem::path& out, const PictureOptions& options) {
    if (const auto format = VectorFormatOf(out)) {
        // They have no paper; the plot is laid out as in the window.
        return WithPicture(view.Plot(), options, true, [&](const PlotContext& picture) {
            return SaveVectors(picture, out, *format, options);
        });
    }
    ProgressScope progress(view.GetSession().host, "Drawing", 100);
    const std::vector<std::byte> bytes =
        WithPicture(view.Plot(), options, options.onWhite,
                    [&](const PlotContext& picture) { return Draw(picture, out, options.dpi, progress); });
    WriteFileAtomically(view.GetSession().files, out, [&](CArchive& archive) { archive.WriteRaw(bytes); });
    return true;
}

bool AskVectorOptions(const CKymoraView& view, VectorFormat format, PictureOptions& options) {
    Form form("Save vector file");
    form.okLabel = "Save";
    AddTargetFields(form, view, format, options);
    AddPartFields(form, view, options);
    if (!view.GetSession().host.AskForm(form)) return false;
    options.targetWidth = form.Number("targetWidth");
    if (format != VectorFormat::hpgl) options.targetResolution = form.Integer("resolution");
    TakePartFields(form, options);
    return true;
}

bool AskPictureOptions(const CKymoraView& view, PictureFormat format, PictureOptions& options) {
    const bool hasPixels = format == PictureFormat::png;
    const Layout& layout = view.Plot().layout;
    Form form("Save picture");
    form.okLabel = "Save";
    const auto size = [&](const char* key, const char* label, int kept, int shown) {
        Field& field = form.AddInteger(key, label, kept > 0 ? kept : shown, "Pixels of the window's size");
        field.Limits(leastPicturePixels, greatestPicturePixels).Unit("pixels").With(&Field::group, sizeGroup);
    };
    size("width", "Width", options.width, layout.width);
    size("height", "Height", options.height, layout.height);
    if (hasPixels) {
        std::vector<int> values(std::begin(offeredDpi), std::end(offeredDpi));
        // What a run with other words has left is offered, too.
        auto at = std::find(values.begin(), values.end(), options.dpi);
        if (at == values.end()) at = values.insert(values.end(), options.dpi);
        std::vector<std::string> names;
        for (const int dpi : values) names.push_back(fmt::format("{} dpi", dpi));
        names[0] += " (as in the window)";
        form.AddChoice("resolution", "Resolution", names, static_cast<int>(at - values.begin()),
                       "Finer pixels, not a smaller picture: 300 dpi for print")
            .With(&Field::group, sizeGroup);
    }
    const auto dpiOf = [&](const Form& asked) {
        return hasPixels
                   ? std::atoi(
                         asked["resolution"].choices[static_cast<size_t>(asked.Choice("resolution"))].c_str())
                   : options.dpi;
    };
    Field& note = form.AddNote("makes", "").With(&Field::group, sizeGroup);
    const auto tell = [&form, dpiOf, hasPixels]() -> std::string {
        if (!form["width"].Fault().empty() || !form["height"].Fault().empty()) return {};
        return SizeText(form.Integer("width"), form.Integer("height"), hasPixels ? dpiOf(form) : 0);
    };
    note.text = tell();
    form.onChange = [tell](Form& asked) { asked["makes"].text = tell(); };
    AddPartFields(form, view, options);
    form.AddRadio("paper", "Paper", {"As in the window", "White"}, options.onWhite,
                  "What the picture is drawn on");
    form.validate = [dpiOf, hasPixels](const Form& asked) {
        return PictureSizeFault(asked.Integer("width"), asked.Integer("height"),
                                hasPixels ? dpiOf(asked) : usualDpi);
    };
    if (!view.GetSession().host.AskForm(form)) return false;
    const auto kept = [&](const char* key, int shown) {
        return form.Integer(key) == shown ? 0 : form.Integer(key);
    };
    options.width = kept("width", layout.width);
    options.height = kept("height", layout.height);
    options.dpi = dpiOf(form);
    options.onWhite = form.Choice("paper") == 1;
    TakePartFields(form, options);
    return true;
}

bool PlotRecording(CDataDoc& doc, const std::filesystem::path& out, std::optional<double> fromMs,
                   std::optional<double> toMs, const PictureOptions& options) {
    // What cannot be made is told before the recording is read.
    if (!VectorFormatOf(out))
        MakePictureDevice(options.width, options.height, FormatOf(out), ScaleOf(options.dpi));
    CKymoraView view(doc);
    view.OnSize(options.width, options.height);
    if (!view.OnInitialUpdate(RequestedViewport(doc, fromMs, toMs))) throw Cancelled();
    return SavePicture(view, out, options);
}

}  // namespace kymora
