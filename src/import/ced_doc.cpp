#include "import/ced_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

#include "archive/text_encoding.h"

namespace kymora {

namespace {

constexpr size_t generalBytes = 178, cfsChannelBytes = 48, variableBytes = 36;
constexpr size_t sectionBytes = 30, sectionChannelBytes = 24;
constexpr int mostCfsChannels = 100;
constexpr int64_t mostFramesInComment = 100;
constexpr size_t mostLineBytes = 2000;
constexpr const char* frameText = "Sweep trigger point.";

enum CfsType : int { cfsInt1, cfsWrd1, cfsInt2, cfsWrd2, cfsInt4, cfsReal4, cfsReal8, cfsText };

struct CfsChannel {
    std::string name, yUnits, xUnits;
    int type = 0;
    int kind = 0;
    int spacing = 0;
};

// A variable of the file or of each frame, and where its value lies among them.
struct CfsVariable {
    std::string name, units;
    int type = 0;
    size_t offset = 0, bytes = 0;
};

struct CfsHeader {
    std::string time, date, comment;
    std::vector<CfsChannel> channels;
    std::vector<CfsVariable> fileVariables, frameVariables;
    int64_t headBytes = 0;
    size_t valuesAt = 0;  // of the file's variables
    size_t sectionHead = 0;
    int sections = 0;
    int64_t lastSection = 0, table = 0;
};

// What was tried, and why it failed. The reader opens one file, which has no other number.
constexpr const char* headerStep = "read file header";
constexpr const char* channelStep = "read channel";
constexpr const char* frameStep = "read frame";

[[noreturn]] void RefuseCfs(const char* step, const std::string& why) {
    throw OpenError(fmt::format("Error; file handle: {}\nFunction: {}\nType: {}", 0, step, why));
}

std::vector<CfsVariable> VariablesOf(const FileFields& head, size_t at, int count) {
    std::vector<CfsVariable> variables;
    for (int v = 0; v < count; ++v, at += variableBytes) {
        CfsVariable variable{head.PascalText(at, 20), head.PascalText(at + 24, 8), head.U8(at + 22),
                             head.U16(at + 34)};
        const size_t next = head.U16(at + variableBytes + 34);
        variable.bytes = next > variable.offset ? next - variable.offset : 0;
        variables.push_back(std::move(variable));
    }
    return variables;
}

CfsHeader ReadCfsHeader(const DataFile& file) {
    const FileFields general(file, 0, generalBytes);
    if (general.Bytes(0, 7) != "CEDFILE") RefuseCfs(headerStep, "it does not begin as such files do.");
    if (general.Bytes(7, 1) != "\"") RefuseCfs(headerStep, "it is of an older revision.");
    CfsHeader header;
    header.time = general.Text(26, 8);
    header.date = general.Text(34, 8);
    header.comment = general.PascalText(60, 72);
    const int channels = general.I16(42), fileVariables = general.I16(44), frameVariables = general.I16(46);
    header.sectionHead = general.U16(50);
    header.lastSection = general.I32(52);
    header.sections = general.U16(56);
    header.table = general.I32(134);
    if (channels < 1 || channels > mostCfsChannels || fileVariables < 0 || frameVariables < 0)
        RefuseCfs(headerStep, "its header is damaged.");
    header.headBytes = general.U16(48);
    const FileFields head(file, 0, general.U16(48));
    size_t at = generalBytes;
    for (int c = 0; c < channels; ++c, at += cfsChannelBytes)
        header.channels.push_back({head.PascalText(at, 20), head.PascalText(at + 22, 8),
                                   head.PascalText(at + 32, 8), head.U8(at + 42), head.U8(at + 43),
                                   head.I16(at + 44)});
    header.fileVariables = VariablesOf(head, at, fileVariables);
    at += variableBytes * (static_cast<size_t>(fileVariables) + 1);
    header.frameVariables = VariablesOf(head, at, frameVariables);
    header.valuesAt = at + variableBytes * (static_cast<size_t>(frameVariables) + 1);
    return header;
}

// Whole numbers in full, others with the digits that they need; empty for a type that is not known.
std::string NumberText(const CfsVariable& variable, const FileFields& values, size_t at) {
    switch (variable.type) {
    case cfsInt1:
        return std::to_string(static_cast<int8_t>(values.U8(at)));
    case cfsWrd1:
        return std::to_string(values.U8(at));
    case cfsInt2:
        return std::to_string(values.I16(at));
    case cfsWrd2:
        return std::to_string(values.U16(at));
    case cfsInt4:
        return std::to_string(values.I32(at));
    case cfsReal4:
        return fmt::format("{}", values.F32(at));
    case cfsReal8:
        return fmt::format("{}", values.F64(at));
    default:
        return {};
    }
}

// "1.5 s", or the text; empty for one that has none.
std::string ValueText(const CfsVariable& variable, const FileFields& values, size_t at) {
    at += variable.offset;
    if (variable.type == cfsText)
        return variable.bytes == 0 ? std::string() : values.PascalText(at, variable.bytes - 1);
    const std::string number = NumberText(variable, values, at);
    return number.empty() || variable.units.empty() ? number : number + " " + variable.units;
}

const CfsVariable* FindVariable(const std::vector<CfsVariable>& variables, std::string_view name) {
    for (const CfsVariable& variable : variables)
        if (FoldCase(variable.name) == FoldCase(name)) return &variable;
    return nullptr;
}

// Milliseconds; nothing for a unit that is no time.
std::optional<double> MsOf(const std::string& units) {
    const std::string folded = FoldCase(units);
    if (folded.empty() || folded == "s" || folded == "sec" || folded == "second" || folded == "seconds")
        return 1e3;
    if (folded == "ms" || folded == "msec") return 1.0;
    if (folded == "us" || folded == "usec" || folded == "\u00B5s" || folded == "\u03BCs") return 1e-3;
    if (folded == "min") return 60e3;
    return {};
}

// Whether the samples of a channel, whose record is at `at` of a frame's header, lie in the frame's bytes.
bool LiesInFrame(const FileFields& head, size_t at, int64_t frameBytes, const CfsChannel& channel) {
    const int64_t offset = head.I32(at), points = head.I32(at + 4);
    if (points <= 0) return true;
    const int bytes = channel.type == cfsInt2 ? 2 : channel.type == cfsReal4 ? 4 : 8;
    return offset >= 0 && offset + (points - 1) * channel.spacing + bytes <= frameBytes;
}

class CfsReader {
  public:
    explicit CfsReader(const DataFile& file) : file_(file), header_(ReadCfsHeader(file)) {}
    ForeignRecording Read();

  private:
    void CheckChannels();
    // The offsets of the frames' headers, in order.
    std::vector<int64_t> Sections();
    std::vector<int64_t> SectionsOfTable() const;
    std::vector<int64_t> SectionsOfChain() const;
    std::vector<int64_t> SectionsFound() const;
    void CheckApart();
    void AddFrame(int64_t at);
    void CheckInterval(const FileFields& head, size_t at, const CfsChannel& channel);
    void AddStretch(const FileFields& head, size_t channel, int64_t dataStart);
    std::string FrameLabel(const FileFields& head);
    const CfsVariable* Usable(const char* name, bool isText, const char* warning);
    void Describe();

    const DataFile& file_;
    CfsHeader header_;
    ForeignRecording recording_;
    std::vector<int64_t> starts_;
    std::vector<std::string> labels_;
    std::string frameLines_;
    int64_t frames_ = 0;
    int64_t length_ = 0;  // of the frames so far
    int64_t frameLength_ = 0;
    bool hasInterval_ = false;
    bool isCut_ = false;
    int64_t negatives_ = 0;                             // channels of frames
    std::vector<std::pair<int64_t, int64_t>> extents_;  // of frames and their headers in the file
    const CfsVariable* start_ = nullptr;
    const CfsVariable* comment_ = nullptr;
};

ForeignRecording CfsReader::Read() {
    CheckChannels();
    for (const CfsChannel& channel : header_.channels) {
        ForeignTrace& trace = recording_.traces.emplace_back(ForeignTrace{channel.name, channel.yUnits, {}});
        trace.source.type = channel.type == cfsInt2    ? NumberType::i16
                            : channel.type == cfsReal4 ? NumberType::f32
                                                       : NumberType::f64;
        trace.source.stride = static_cast<uint32_t>(channel.spacing);
        trace.source.scales.clear();
    }
    start_ =
        Usable("Start", false,
               "Warning: problem reading frame start times. CED reports {} in units of {}, with CFS data "
               "type {}. Please inform author.");
    comment_ = Usable("Comment", true,
                      "Warning: problem reading frame comment. CED reports {} in units of {}, with CFS data "
                      "type {}. Please inform author.");
    for (const int64_t at : Sections()) AddFrame(at);
    CheckApart();
    if (negatives_ > 0)
        recording_.warnings.push_back(
            fmt::format("This file is damaged: {} of the stretches of its channels state a negative number "
                        "of samples. They are shown as empty.",
                        negatives_));
    if (isCut_)
        recording_.warnings.push_back("This file is cut off: not all samples of its frames are there.");
    recording_.episodic = true;
    recording_.events.push_back(EpisodeMarks(frameText, starts_, labels_));
    Describe();
    return std::move(recording_);
}

void CfsReader::CheckChannels() {
    for (const CfsChannel& channel : header_.channels) {
        if (channel.type != cfsInt2 && channel.type != cfsReal4 && channel.type != cfsReal8)
            throw OpenError("Can only handle INT2, RL4 or RL8 type data");
        if (channel.kind != 0)
            RefuseCfs(channelStep, "channel " + channel.name + " is not sampled at equal intervals.");
        const int bytes = channel.type == cfsInt2 ? 2 : channel.type == cfsReal4 ? 4 : 8;
        if (channel.spacing < bytes) RefuseCfs(channelStep, "its channels are damaged.");
        if (!MsOf(channel.xUnits))
            recording_.warnings.push_back(fmt::format("The samples of channel {} lie apart in units of {}, "
                                                      "which is no time. They are taken as seconds.",
                                                      channel.name, channel.xUnits));
    }
}

// Variables are looked for by name and hold what their type says.
const CfsVariable* CfsReader::Usable(const char* name, bool isText, const char* warning) {
    const CfsVariable* variable = FindVariable(header_.frameVariables, name);
    if (!variable || (isText ? variable->type == cfsText : variable->type < cfsText)) return variable;
    recording_.warnings.push_back(
        fmt::format(fmt::runtime(warning), variable->name, variable->units, variable->type));
    return nullptr;
}

std::vector<int64_t> CfsReader::Sections() {
    const auto least = static_cast<int64_t>(sectionBytes + sectionChannelBytes * header_.channels.size());
    if (header_.sections == 0) throw OpenError("This CED file holds no frames.");
    if (static_cast<int64_t>(header_.sectionHead) < least) RefuseCfs(frameStep, "its frames are damaged.");
    std::vector<int64_t> places = SectionsOfTable();
    if (places.empty()) places = SectionsOfChain();
    if (places.empty()) places = SectionsFound();
    if (places.empty()) RefuseCfs(frameStep, "none of its frames can be found.");
    if (std::set<int64_t>(places.begin(), places.end()).size() != places.size() ||
        *std::min_element(places.begin(), places.end()) <= 0)
        RefuseCfs(frameStep, "its table of frames is damaged.");
    if (const int64_t found = static_cast<int64_t>(places.size()); found < header_.sections)
        recording_.warnings.push_back(fmt::format(
            "This file is damaged or cut off: {} of its {} frames cannot be found. The others are shown.",
            header_.sections - found, header_.sections));
    return places;
}

// In order; empty where the file does not hold the table.
std::vector<int64_t> CfsReader::SectionsOfTable() const {
    const auto size = static_cast<int64_t>(file_.Length());
    const int64_t bytes = 4 * int64_t{header_.sections};
    std::vector<int64_t> places;
    if (header_.table <= 0 || header_.table + bytes > size) return places;
    const FileFields table(file_, static_cast<uint64_t>(header_.table), static_cast<uint64_t>(bytes));
    for (int s = 0; s < header_.sections; ++s) places.push_back(table.I32(4 * static_cast<size_t>(s)));
    return places;
}

// Each frame leads back to the one before it.
std::vector<int64_t> CfsReader::SectionsOfChain() const {
    const int64_t end = static_cast<int64_t>(file_.Length()) - static_cast<int64_t>(header_.sectionHead);
    std::vector<int64_t> places;
    std::set<int64_t> visited;
    for (int64_t at = header_.lastSection;
         at > 0 && at <= end && static_cast<int>(places.size()) < header_.sections;) {
        if (!visited.insert(at).second) break;
        places.push_back(at);
        at = FileFields(file_, static_cast<uint64_t>(at), 4).I32(0);
    }
    std::reverse(places.begin(), places.end());
    return places;
}

// Of a file that lost its end with the last frame: a frame's header stands right behind its samples and
// states where they lie and where the header before it does.
std::vector<int64_t> CfsReader::SectionsFound() const {
    constexpr int64_t atOnce = 1 << 20, mostPadding = 512;
    const auto size = static_cast<int64_t>(file_.Length()), head = static_cast<int64_t>(header_.sectionHead);
    std::vector<int64_t> places;
    int64_t previous = 0, free = header_.headBytes;
    const auto isHeader = [&](const FileFields& piece, size_t at, int64_t place) {
        const int64_t start = piece.I32(at + 4), bytes = piece.I32(at + 8), padding = place - start - bytes;
        if (start < free || bytes <= 0 || padding < 0 || padding >= mostPadding) return false;
        for (size_t c = 0; c < header_.channels.size(); ++c)
            if (!LiesInFrame(piece, at + sectionBytes + sectionChannelBytes * c, bytes, header_.channels[c]))
                return false;
        return true;
    };
    for (int64_t from = free; from + head <= size && static_cast<int>(places.size()) < header_.sections;) {
        const FileFields piece(file_, static_cast<uint64_t>(from),
                               static_cast<uint64_t>(std::min(atOnce + head, size - from)));
        const int64_t ends = static_cast<int64_t>(piece.Length()) - head + 1;
        int64_t next = from + ends;
        for (int64_t i = 0; i < ends; ++i) {
            if (piece.I32(static_cast<size_t>(i)) != previous ||
                !isHeader(piece, static_cast<size_t>(i), from + i))
                continue;
            previous = from + i;
            places.push_back(previous);
            next = free = previous + head;
            break;
        }
        from = next;
    }
    return places;
}

void CfsReader::AddFrame(int64_t at) {
    const FileFields head(file_, static_cast<uint64_t>(at), header_.sectionHead);
    const int64_t dataStart = head.I32(4), dataBytes = head.I32(8);
    extents_.emplace_back(at, at + static_cast<int64_t>(header_.sectionHead));
    if (dataBytes > 0) extents_.emplace_back(dataStart, dataStart + dataBytes);
    frameLength_ = 0;
    for (size_t c = 0; c < header_.channels.size(); ++c) AddStretch(head, c, dataStart);
    const std::string label = FrameLabel(head);
    ++frames_;
    if (frameLength_ == 0) return;
    starts_.push_back(length_);
    labels_.push_back(label);
    length_ += frameLength_;
    if (length_ > longestRecording) throw OpenError(tooLongText);
}

void CfsReader::CheckApart() {
    std::sort(extents_.begin(), extents_.end());
    int64_t end = header_.headBytes;
    for (const auto& [from, to] : extents_) {
        if (from < end) RefuseCfs(frameStep, "its frames lie upon each other or in its header.");
        end = to;
    }
    extents_.clear();
}

void CfsReader::AddStretch(const FileFields& head, size_t c, int64_t dataStart) {
    const CfsChannel& channel = header_.channels[c];
    ChannelSource& source = recording_.traces[c].source;
    const size_t at = sectionBytes + sectionChannelBytes * c;
    const int64_t offset = dataStart + head.I32(at);
    int64_t points = head.I32(at + 4);
    if (points < 0) ++negatives_;
    if (points <= 0) return;
    CheckInterval(head, at, channel);
    if (dataStart < header_.headBytes || !LiesInFrame(head, at, head.I32(8), channel))
        RefuseCfs(frameStep, "samples of channel " + channel.name + " lie outside of their frame.");
    const int64_t room = static_cast<int64_t>(file_.Length()) - offset - BytesOf(source.type);
    const int64_t held = room < 0 ? 0 : room / channel.spacing + 1;
    isCut_ = isCut_ || held < points;
    points = std::min(points, held);
    const ValueScale scale{head.F32(at + 8), head.F32(at + 12)};
    if (scale.factor == 0.0 || !std::isfinite(scale.factor) || !std::isfinite(scale.offset))
        RefuseCfs(channelStep, fmt::format("channel {} states a scale of {} and an offset of {}.",
                                           channel.name, scale.factor, scale.offset));
    auto& scales = source.scales;
    if (scales.empty() || scales.back().factor != scale.factor || scales.back().offset != scale.offset)
        scales.push_back(scale);
    source.Add(length_, points, static_cast<uint64_t>(offset), static_cast<uint32_t>(scales.size() - 1));
    frameLength_ = std::max(frameLength_, points);
}

// The interval is single precision in the file: its seven digits count.
void CfsReader::CheckInterval(const FileFields& head, size_t at, const CfsChannel& channel) {
    const double stored = SevenDigits(head.F32(at + 16));
    const double interval = stored * MsOf(channel.xUnits).value_or(1e3);
    if (!(interval > 0.0) || !std::isfinite(interval))
        RefuseCfs(channelStep,
                  fmt::format("channel {} states a sample interval of {}.", channel.name, stored));
    if (!hasInterval_) recording_.interval = interval;
    hasInterval_ = true;
    if (std::fabs(interval - recording_.interval) <= 1e-6 * recording_.interval) return;
    if (frames_ > 0) throw OpenError("Can't handle different timebases in different sections.");
    throw OpenError(
        "This version of Kymora can only handle CFS files in which all channels are recorded with the same "
        "sample interval. Contact the author if this is a problem.");
}

// "Start 1.5 s. Comment", as far as the frame has them. All its variables go to the comment of the file.
std::string CfsReader::FrameLabel(const FileFields& head) {
    const size_t values = sectionBytes + sectionChannelBytes * header_.channels.size();
    const auto textOf = [&](const CfsVariable& variable) {
        const size_t end = values + variable.offset + variable.bytes;
        return end > head.Length() ? std::string() : ValueText(variable, head, values);
    };
    std::string label, line;
    if (const std::string text = start_ ? textOf(*start_) : std::string(); !text.empty())
        label = "Start " + text;
    if (const std::string text = comment_ ? textOf(*comment_) : std::string(); !text.empty())
        label += (label.empty() ? "" : ". ") + text;
    if (frames_ >= mostFramesInComment) return label;
    for (const CfsVariable& variable : header_.frameVariables)
        if (const std::string text = textOf(variable);
            line.size() < mostLineBytes && !text.empty() && !variable.name.empty())
            line += fmt::format("{}{}: {}", line.empty() ? "" : ", ", variable.name, text);
    if (!line.empty()) frameLines_ += fmt::format("Frame {}: {}\r\n", frames_ + 1, line);
    return label;
}

void CfsReader::Describe() {
    std::string& comment = recording_.comment;
    if (!header_.comment.empty()) comment = header_.comment + "\r\n";
    comment += fmt::format("Created on {} at {}\r\n", header_.date, header_.time);
    size_t bytes = 0;
    for (const CfsVariable& variable : header_.fileVariables)
        bytes = std::max(bytes, variable.offset + variable.bytes);
    if (bytes > 0 && header_.valuesAt + bytes <= file_.Length()) {
        const FileFields values(file_, header_.valuesAt, bytes);
        for (const CfsVariable& variable : header_.fileVariables)
            if (const std::string text = ValueText(variable, values, 0);
                !text.empty() && !variable.name.empty())
                comment += fmt::format("{}: {}\r\n", variable.name, text);
    }
    comment += frameLines_;
    int hour = 0, minute = 0, second = 0;
    if (std::sscanf(header_.time.c_str(), "%2d:%2d:%2d", &hour, &minute, &second) == 3 &&
        IsTime(hour, minute, second))
        recording_.startClock = ((hour * 60.0 + minute) * 60.0 + second) * 1000.0;
    recording_.details = {{"File type", "CED filing system"},
                          {"Created", header_.date + " at " + header_.time},
                          {"Frames", std::to_string(starts_.size())},
                          {"Channels", std::to_string(header_.channels.size())}};
}

}  // namespace

ForeignRecording CCEDDoc::ReadRecording(const DataFile& file) { return CfsReader(file).Read(); }

}  // namespace kymora
