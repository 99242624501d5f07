#include "display/overlays/datum_lines.h"

#include <cmath>

namespace kymora {

namespace {

constexpr int horzTolerance = 2;  // pixels

uint16_t ToWord(int pixel) { return static_cast<uint16_t>(std::clamp(pixel, 0, 0xFFFF)); }

void LoadWords(CArchive& archive, std::vector<uint16_t>& words) {
    const uint32_t count = archive.ReadCount();
    archive.CheckRoom(count, sizeof(uint16_t), "cursors");
    words.clear();
    for (uint32_t i = 0; i < count; ++i) words.push_back(archive.Read<uint16_t>());
}

void StoreWords(CArchive& archive, const std::vector<uint16_t>& words) {
    archive.WriteCount(static_cast<uint32_t>(words.size()));
    for (const uint16_t word : words) archive.Write<uint16_t>(word);
}

// The newest label that lies under the pixel.
DatumHit LabelAt(const std::vector<std::unique_ptr<DatumLabels>>& blocks, int state, int x, int y) {
    for (int line = static_cast<int>(blocks.size()) - 1; line >= 0; --line) {
        const auto& labels = blocks[static_cast<size_t>(line)]->labels;
        for (int label = static_cast<int>(labels.size()) - 1; label >= 0; --label)
            if (labels[static_cast<size_t>(label)].rect.Contains(x, y)) return {state, line, label};
    }
    return {};
}

}  // namespace

// --- adding, deleting, moving ---

std::unique_ptr<DatumLabels> CDatumLines::MakeLabels(int first) const {
    auto block = std::make_unique<DatumLabels>();
    block->labels.resize(static_cast<size_t>(first + plot_().doc.traceCount));
    return block;
}

void CDatumLines::NotifyVertCount() {
    for (DatumListener* listener : std::vector<DatumListener*>(listeners_))
        listener->OnVertLineCount(VertCount());
}

int CDatumLines::AddVertLine(int x) {
    m_vertX.push_back(ToWord(x));
    m_exactX.push_back(VertX(VertCount() - 1));
    m_vertLabels.push_back(MakeLabels(firstVertValue));
    NotifyVertCount();
    return VertCount() - 1;
}

int CDatumLines::AddHorzLine(int y) {
    m_horzY.push_back(ToWord(y));
    m_exactY.push_back(HorzY(HorzCount() - 1));
    m_horzLabels.push_back(MakeLabels(firstHorzValue));
    return HorzCount() - 1;
}

int CDatumLines::AddVertLineAt(double x) {
    const int line = AddVertLine(RoundHalfAway(x));
    if (std::fabs(x - VertX(line)) <= 0.5) m_exactX[static_cast<size_t>(line)] = x;
    return line;
}

int CDatumLines::AddHorzLineAt(double y) {
    const int line = AddHorzLine(RoundHalfAway(y));
    if (std::fabs(y - HorzY(line)) <= 0.5) m_exactY[static_cast<size_t>(line)] = y;
    return line;
}

void CDatumLines::PlotMoved(const PixelRect& plot) {
    const auto follow = [](std::vector<uint16_t>& lines, std::vector<double>& exact, Span& last, Span now) {
        // A window that is too small for a plot has no places; the lines wait for the next one.
        if (now.size <= 0) return;
        const Span before = std::exchange(last, now);
        if (before.size <= 0) return;
        for (size_t i = 0; i < lines.size(); ++i) {
            if (lines[i] < before.from || lines[i] > before.from + before.size) continue;
            exact[i] = now.from + (exact[i] - before.from) * now.size / before.size;
            lines[i] = ToWord(RoundHalfAway(exact[i]));
        }
    };
    follow(m_vertX, m_exactX, m_lastX, {plot.left, plot.Width()});
    follow(m_horzY, m_exactY, m_lastY, {plot.top, plot.Height()});
    m_rcPlot = plot;
}

void CDatumLines::TakeLines(const CDatumLines& from) {
    const PixelRect plot = m_rcPlot;
    DeleteAll();
    PlotMoved(from.m_rcPlot);
    for (const double x : from.m_exactX) AddVertLineAt(x);
    for (const double y : from.m_exactY) AddHorzLineAt(y);
    m_pairs = from.m_pairs;
    m_bShowIDs = from.m_bShowIDs;
    m_bShowTimes = from.m_bShowTimes;
    m_bShowValues = from.m_bShowValues;
    PlotMoved(plot);
}

void CDatumLines::DeleteVertLine(int line) {
    if (line < 0 || line >= VertCount()) return;
    m_vertX.erase(m_vertX.begin() + line);
    m_exactX.erase(m_exactX.begin() + line);
    m_vertLabels.erase(m_vertLabels.begin() + line);
    ForgetLine(&DatumPairs::vertFrom, line);
    for (DatumListener* listener : std::vector<DatumListener*>(listeners_)) listener->OnVertLineDeleted(line);
    NotifyVertCount();
}

void CDatumLines::DeleteHorzLine(int line) {
    if (line < 0 || line >= HorzCount()) return;
    m_horzY.erase(m_horzY.begin() + line);
    m_exactY.erase(m_exactY.begin() + line);
    m_horzLabels.erase(m_horzLabels.begin() + line);
    ForgetLine(&DatumPairs::horzFrom, line);
}

void CDatumLines::ForgetLine(int DatumPairs::*from, int line) {
    m_moving.reset();
    if (m_pairs.*from == line)
        m_pairs.*from = -1;
    else if (m_pairs.*from > line)
        --(m_pairs.*from);
}

void CDatumLines::DeleteAllVert() {
    while (VertCount() > 0) DeleteVertLine(VertCount() - 1);
}

void CDatumLines::DeleteAllHorz() {
    while (HorzCount() > 0) DeleteHorzLine(HorzCount() - 1);
}

void CDatumLines::DeleteAll() {
    DeleteAllVert();
    DeleteAllHorz();
}

void CDatumLines::MoveVertLine(int line, int x) {
    const auto i = static_cast<size_t>(line);
    m_exactX[i] = m_vertX[i] = ToWord(x);
}

void CDatumLines::MoveHorzLine(int line, int y) {
    const auto i = static_cast<size_t>(line);
    m_exactY[i] = m_horzY[i] = ToWord(y);
}

// --- times and values ---

// Of the exact place, which is the pixel itself until the plot has moved in its window.
double CDatumLines::GetVertLineTime(int line) const {
    return plot_().GetTimeScale().ToTime(m_exactX[static_cast<size_t>(line)]);
}

double CDatumLines::GetHorzLineValue(int line, int trace) const {
    const PlotContext context = plot_();
    return context.GetValueScale(context.AxisOf(trace)).ToValue(m_exactY[static_cast<size_t>(line)]);
}

const std::vector<float>& CDatumLines::VertLineSamples(int line) {
    DatumLabels& block = *m_vertLabels[static_cast<size_t>(line)];
    ReadValues(block.samples, GetVertLineTime(line));
    return block.samples.values;
}

int CDatumLines::MovingVertX(int line) const {
    const int x = VertX(line);
    if (!m_moving || !m_moving->isVert || m_moving->line >= VertCount() || !IsOnPlotX(m_moving->to)) return x;
    if (line == m_moving->line) return m_moving->to;
    const int shifted = x + m_moving->to - VertX(m_moving->line);
    return plot_().GetSession().coupledCursors && IsOnPlotX(shifted) ? shifted : x;
}

int CDatumLines::MovingHorzY(int line) const {
    const bool moves = m_moving && !m_moving->isVert && m_moving->line == line && IsOnPlotY(m_moving->to);
    return moves ? m_moving->to : HorzY(line);
}

double CDatumLines::MovingVertTime(int line) const {
    const int x = MovingVertX(line);
    return x == VertX(line) ? GetVertLineTime(line) : plot_().PixelToTime(x);
}

double CDatumLines::MovingHorzValue(int line, int trace) const {
    const int y = MovingHorzY(line);
    if (y == HorzY(line)) return GetHorzLineValue(line, trace);
    const PlotContext context = plot_();
    return context.GetValueScale(context.AxisOf(trace)).ToValue(y);
}

const std::vector<float>& CDatumLines::MovingSamples(int line) {
    DatumLabels& block = *m_vertLabels[static_cast<size_t>(line)];
    DatumSamples& samples = MovingVertX(line) == VertX(line) ? block.samples : block.moving;
    ReadValues(samples, MovingVertTime(line));
    return samples.values;
}

void CDatumLines::ReadValues(DatumSamples& samples, double timeMs) const {
    CDataDoc& doc = plot_().doc;
    const int32_t position = doc.PositionOf(timeMs);
    if (samples.at == position) return;
    const auto count = static_cast<size_t>(doc.traceCount);
    const float none = std::numeric_limits<float>::quiet_NaN();
    samples.values.assign(count, none);
    samples.at = position;
    std::vector<uint8_t> valid(count);
    std::vector<TraceBlock> reads;
    for (size_t t = 0; t < count; ++t)
        reads.push_back(
            {static_cast<int>(t), std::span(samples.values).subspan(t, 1), std::span(valid).subspan(t, 1)});
    try {
        doc.ReadBlocks(position, reads);
    } catch (const FileError& error) {
        doc.GetSession().host.Log(std::string(error.what()) + "\n");
        valid.assign(count, 0);
    }
    for (size_t t = 0; t < count; ++t)
        if (valid[t] == 0) samples.values[t] = none;
}

void CDatumLines::ForgetValues() {
    for (auto& block : m_vertLabels) {
        block->samples.at.reset();
        block->moving.at.reset();
    }
}

// --- hit tests ---

int CDatumLines::VertLineAt(int x, int y) const {
    if (!IsOnPlotY(y)) return -1;
    const int tolerance = plot_().GetSession().options.hitMargin;
    for (int line = VertCount() - 1; line >= 0; --line)
        if (IsOnPlotX(VertX(line)) && std::abs(x - VertX(line)) <= tolerance) return line;
    return -1;
}

int CDatumLines::HorzLineAt(int x, int y) const {
    if (!IsOnPlotX(x)) return -1;
    for (int line = HorzCount() - 1; line >= 0; --line)
        if (IsOnPlotY(HorzY(line)) && std::abs(y - HorzY(line)) <= horzTolerance) return line;
    return -1;
}

DatumHit CDatumLines::HitTest(int x, int y) const {
    if (const int line = VertLineAt(x, y); line >= 0) return {datumMovesVert, line, -1};
    if (const DatumHit hit = LabelAt(m_vertLabels, datumMovesVertLabel, x, y)) return hit;
    if (const int line = HorzLineAt(x, y); line >= 0) return {datumMovesHorz, line, -1};
    return LabelAt(m_horzLabels, datumMovesHorzLabel, x, y);
}

void CDatumLines::MoveLabel(const DatumHit& hit, int place) {
    Blocks& blocks = hit.state == datumMovesVertLabel ? m_vertLabels : m_horzLabels;
    if (hit.line < 0 || hit.line >= static_cast<int>(blocks.size())) return;
    blocks[static_cast<size_t>(hit.line)]->labels[static_cast<size_t>(hit.label)].moved = place;
}

void CDatumLines::ResetLabelPositions() {
    for (Blocks* blocks : {&m_vertLabels, &m_horzLabels})
        for (auto& block : *blocks)
            for (DatumLabel& label : block->labels) label.moved.reset();
}

// --- stored form ---

void CDatumLines::Serialize(CArchive& archive) {
    if (archive.IsStoring()) {
        StoreWords(archive, m_vertX);
        StoreWords(archive, m_horzY);
        return;
    }
    std::vector<uint16_t> vert, horz;
    LoadWords(archive, vert);
    LoadWords(archive, horz);
    DeleteAll();
    for (const uint16_t x : vert) AddVertLine(x);
    for (const uint16_t y : horz) AddHorzLine(y);
}

}  // namespace kymora
