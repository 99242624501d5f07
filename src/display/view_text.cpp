#include "display/view_text.h"

#include <charconv>
#include <cmath>

#include <fmt/format.h>

#include "archive/text_encoding.h"
#include "document/native_writer.h"
#include "document/text_table.h"

namespace kymora {

namespace {

constexpr int64_t pieceLines = 8192;

// The sample at a time, or the next one in a direction; the noise of a division does not make a step.
int64_t SampleAt(double timeMs, double intervalMs, bool up) {
    const double position = timeMs / intervalMs;
    const double nearest = std::round(position);
    if (std::fabs(position - nearest) <= 1e-6) return RoundHalfAway64(nearest);
    return RoundHalfAway64(up ? std::ceil(position) : std::floor(position));
}

}  // namespace

std::string TimeAndVoltageText(const PlotContext& context, int x, int y) {
    if (!context.layout.plot.Contains(x, y)) return {};
    std::string text = fmt::format("t\t{:.3f}", context.PixelToTime(x));
    if (const int axis = context.GetNearestAxis(y); axis >= 0)
        text += fmt::format("\t{}\t{:.3f}\r\n", context.settings.m_axes[static_cast<size_t>(axis)].m_strLabel,
                            context.GetValueScale(axis).ToValue(y));
    return text;
}

TraceText::TraceText(const PlotContext& context)
    : doc_(context.doc), showsGaps_(context.settings.m_bInactiveSections) {
    if (context.settings.m_fDataArea > 0.0f)
        for (int axis = 0; axis < doc_.traceCount; ++axis)
            if (context.settings.m_bAxisVisible[static_cast<size_t>(axis)])
                for (const int trace : context.TracesOn(axis)) traces_.push_back(trace);
    const int64_t length = doc_.GetLength();
    first_ = std::clamp<int64_t>(SampleAt(context.viewport.start, doc_.sampleInterval, true), 0, length);
    end_ =
        std::clamp<int64_t>(SampleAt(context.viewport.end, doc_.sampleInterval, false) + 1, first_, length);
}

std::string TraceText::Heading() const {
    std::string heading = "time (ms)\t";
    for (const int trace : traces_)
        heading += CellText(doc_.traces[static_cast<size_t>(trace)].axisLabel) + "\t";
    return heading + "\r\n";
}

void TraceText::Write(const std::function<void(std::string_view)>& sink) const {
    sink(Heading());
    const size_t count = traces_.size();
    std::vector<std::vector<float>> values(count, std::vector<float>(pieceLines));
    std::vector<std::vector<uint8_t>> valid(count, std::vector<uint8_t>(pieceLines));
    ProgressScope progress(doc_.GetHost(), "Writing text", static_cast<uint64_t>(LineCount()));
    std::string text;
    for (int64_t at = first_; at < end_; at += pieceLines) {
        progress.At(static_cast<uint64_t>(at - first_));
        const auto lines = static_cast<size_t>(std::min(pieceLines, end_ - at));
        std::vector<TraceBlock> blocks;
        for (size_t i = 0; i < count; ++i)
            blocks.push_back({traces_[i], {values[i].data(), lines}, {valid[i].data(), lines}});
        if (count != 0) doc_.ReadBlocks(at, blocks);
        text.clear();
        for (size_t line = 0; line < lines; ++line) {
            AppendFixed(text, doc_.TimeOf(at + static_cast<int64_t>(line)));
            text += '\t';
            for (size_t i = 0; i < count; ++i) {
                if (valid[i][line] != 0 || showsGaps_) AppendFixed(text, values[i][line]);
                text += '\t';
            }
            text += "\r\n";
        }
        sink(text);
    }
}

void SaveTraceText(const PlotContext& context, const std::filesystem::path& out) {
    const TraceText text(context);
    WriteFileAtomically(context.GetSession().files, out, [&](CArchive& archive) {
        text.Write([&](std::string_view piece) {
            archive.WriteRaw(std::as_bytes(std::span(piece.data(), piece.size())));
        });
    });
}

}  // namespace kymora
