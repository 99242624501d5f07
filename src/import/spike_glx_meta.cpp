#include "import/spike_glx_meta.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "document/open_request.h"

namespace kymora {

namespace {

constexpr size_t mostMetaColumns = 65536;
constexpr double microvoltsPerVolt = 1e6;

struct ColumnInfo {
    const char* prefix;
    const char* units;
};

const ColumnInfo& InfoOf(GlxKind kind) {
    static const ColumnInfo infos[] = {{"AP", "uV"}, {"LF", "uV"}, {"SY", ""}, {"MN", "V"},
                                       {"MA", "V"},  {"XA", "V"},  {"XD", ""}, {"CH", ""}};
    return infos[static_cast<size_t>(kind)];
}

std::optional<double> MetaNumber(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || !std::isfinite(value)) return {};
    return value;
}

// The groups of "(a b)(c d)".
std::vector<std::string_view> MetaGroups(std::string_view table) {
    std::vector<std::string_view> groups;
    while (true) {
        const size_t open = table.find('(');
        const size_t close = open == std::string_view::npos ? open : table.find(')', open);
        if (close == std::string_view::npos) return groups;
        groups.push_back(table.substr(open + 1, close - open - 1));
        table.remove_prefix(close + 1);
    }
}

std::vector<std::string_view> SplitMeta(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find(separator, at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

bool IsOneOf(int type, std::initializer_list<int> types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

}  // namespace

SpikeGlxMeta::SpikeGlxMeta(std::string_view text, const std::string& fileName) {
    for (std::string_view line : SplitMeta(text, '\n')) {
        if (line.ends_with('\r')) line.remove_suffix(1);
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        fields_.emplace(line.substr(0, equals), line.substr(equals + 1));
    }
    type_ = Text("typeThis");
    if (type_.empty())
        type_ = fileName.find(".nidq.") != std::string::npos  ? "nidq"
                : fileName.find(".obx.") != std::string::npos ? "obx"
                                                              : "imec";
    const char* rateKey = type_ == "nidq" ? "niSampRate" : type_ == "obx" ? "obSampRate" : "imSampRate";
    rate_ = Number(rateKey).value_or(0.0);
    if (!(rate_ > 0.0))
        throw OpenError(fmt::format("The .meta file of this recording states no {}.", rateKey));
    const double saved = Number("nSavedChans").value_or(0.0);
    if (!(saved >= 1.0) || saved > mostMetaColumns)
        throw OpenError("The .meta file of this recording states no number of channels (nSavedChans).");
    MakeColumns(static_cast<size_t>(saved));
    NameColumns();
    ScaleColumns();
}

const std::string& SpikeGlxMeta::Text(const std::string& key) const {
    static const std::string none;
    const auto found = fields_.find(key);
    return found == fields_.end() ? none : found->second;
}

std::optional<double> SpikeGlxMeta::Number(const std::string& key) const { return MetaNumber(Text(key)); }

// The numbers of "384,384,1"; empty where they are not so many.
std::vector<int> SpikeGlxMeta::Counts(const std::string& key, size_t count) const {
    std::vector<int> counts;
    for (const std::string_view part : SplitMeta(Text(key), ',')) {
        const double value = MetaNumber(part).value_or(-1.0);
        if (value < 0.0 || value > mostMetaColumns) return {};
        counts.push_back(static_cast<int>(value));
    }
    return counts.size() == count ? counts : std::vector<int>();
}

void SpikeGlxMeta::MakeColumns(size_t saved) {
    const bool isNidq = type_ == "nidq", isObx = type_ == "obx";
    const std::vector<GlxKind> kinds =
        isNidq  ? std::vector{GlxKind::mn, GlxKind::ma, GlxKind::xa, GlxKind::digital}
        : isObx ? std::vector{GlxKind::xa, GlxKind::digital, GlxKind::sync}
                : std::vector{GlxKind::ap, GlxKind::lf, GlxKind::sync};
    const auto counts = Counts(isNidq ? "snsMnMaXaDw" : isObx ? "snsXaDwSy" : "snsApLfSy", kinds.size());
    for (size_t k = 0; k < counts.size(); ++k)
        for (int i = 0; i < counts[k] && columns_.size() <= saved; ++i) columns_.push_back({kinds[k]});
    if (columns_.size() != saved) {
        warnings_.push_back("The .meta file of this recording does not tell what its channels are. They are "
                            "shown as stored numbers.");
        columns_.assign(saved, {});
    }
    const std::vector<int> acquired = SavedChannels(saved);
    for (size_t c = 0; c < saved; ++c) {
        columns_[c].acquired = acquired[c];
        columns_[c].units = InfoOf(columns_[c].kind).units;
        const bool isDigital = columns_[c].kind == GlxKind::digital || columns_[c].kind == GlxKind::sync;
        if (isDigital) digital_.push_back(c);
    }
}

// "all" or "0:383,768".
std::vector<int> SpikeGlxMeta::SavedChannels(size_t saved) const {
    std::vector<int> channels;
    for (const std::string_view part : SplitMeta(Text("snsSaveChanSubset"), ',')) {
        const size_t colon = part.find(':');
        const auto first = MetaNumber(part.substr(0, colon));
        const auto last = colon == std::string_view::npos ? first : MetaNumber(part.substr(colon + 1));
        if (!first || !last || *first < 0.0 || *last < *first || *last > 1e6) break;
        for (int i = static_cast<int>(*first); i <= static_cast<int>(*last) && channels.size() <= saved; ++i)
            channels.push_back(i);
    }
    if (channels.size() == saved) return channels;
    channels.resize(saved);
    for (size_t c = 0; c < saved; ++c) channels[c] = static_cast<int>(c);
    return channels;
}

// "(AP0;0:0)", in the order of the file; the first group is a header.
void SpikeGlxMeta::NameColumns() {
    const std::string& table = fields_.contains("~snsChanMap") ? Text("~snsChanMap") : Text("snsChanMap");
    const auto groups = MetaGroups(table);
    for (size_t c = 0; c < columns_.size(); ++c) {
        GlxColumn& column = columns_[c];
        column.label = fmt::format("{}{}", InfoOf(column.kind).prefix, column.acquired);
        if (groups.size() != columns_.size() + 1) continue;
        const std::string_view name = groups[c + 1].substr(0, groups[c + 1].find(';'));
        if (!name.empty()) column.label = name;
    }
}

// Volts = number x range / greatest number / gain, by the metadata guides.
void SpikeGlxMeta::ScaleColumns() {
    if (type_ != "nidq" && type_ != "obx") return ScaleProbe();
    const bool isNidq = type_ == "nidq";
    const double range = Number(isNidq ? "niAiRangeMax" : "obAiRangeMax").value_or(0.0);
    const double greatest = Number(isNidq ? "niMaxInt" : "obMaxInt").value_or(32768.0);
    for (GlxColumn& column : columns_) {
        if (column.kind == GlxKind::digital || column.kind == GlxKind::sync ||
            column.kind == GlxKind::unknown)
            continue;
        const double gain = column.kind == GlxKind::mn   ? Number("niMNGain").value_or(1.0)
                            : column.kind == GlxKind::ma ? Number("niMAGain").value_or(1.0)
                                                         : 1.0;
        const double factor = range / greatest / gain;
        if (std::isfinite(factor) && factor != 0.0)
            column.factor = factor;
        else
            column.units.clear();
    }
}

void SpikeGlxMeta::ScaleProbe() {
    const auto stated = Number("imDatPrb_type");
    const int type = stated ? static_cast<int>(std::clamp(*stated, -1.0, 1e6)) : 0;
    const auto groups = MetaGroups(Text("~imroTbl"));
    const bool isFirst =
        IsOneOf(type, {0, 1015, 1020, 1022, 1030, 1031, 1032, 1100, 1120, 1121, 1122, 1123, 1200, 1300});
    const bool isDevelopment = IsOneOf(type, {21, 24});
    const bool isKnown = isFirst || isDevelopment || type == 1110 ||
                         IsOneOf(type, {2003, 2004, 2013, 2014, 2020, 2021}) ||
                         (Number("imMaxInt") && Number("imChan0apGain"));
    const double range = Number("imAiRangeMax").value_or(isFirst ? 0.6 : isDevelopment ? 0.5 : 0.62);
    const double greatest = Number("imMaxInt")
                                .value_or(isFirst || type == 1110 ? 512.0
                                          : isDevelopment         ? 8192.0
                                                                  : 2048.0);
    if (!isKnown)
        warnings_.push_back(fmt::format(
            "The probe of this recording is of a type that is not known, {}. Stored numbers are shown.",
            type));
    const auto acquired = Counts("acqApLfSy", 3);
    const int apChannels = acquired.empty() ? std::max(static_cast<int>(groups.size()) - 1, 1) : acquired[0];
    const auto field = [&](size_t group, size_t at) -> std::optional<double> {
        if (group >= groups.size()) return {};
        const auto parts = SplitMeta(groups[group], group == 0 ? ',' : ' ');
        return at < parts.size() ? MetaNumber(parts[at]) : std::nullopt;
    };
    bool isMissing = false;
    for (GlxColumn& column : columns_) {
        if (column.kind != GlxKind::ap && column.kind != GlxKind::lf) continue;
        const bool isAp = column.kind == GlxKind::ap;
        std::optional<double> gain;
        if (isFirst) {
            const int entry = isAp ? column.acquired : column.acquired - apChannels;
            gain = entry >= 0 ? field(static_cast<size_t>(entry) + 1, isAp ? 3 : 4) : std::nullopt;
        } else {
            gain = Number(isAp ? "imChan0apGain" : "imChan0lfGain");
            if (!gain && type == 1110) gain = field(0, isAp ? 3 : 4);
            if (!gain && isDevelopment) gain = 80.0;
            if (!gain && isKnown) gain = 100.0;
        }
        const double factor = gain ? range / greatest / *gain * microvoltsPerVolt : 0.0;
        if (isKnown && std::isfinite(factor) && factor != 0.0) {
            column.factor = factor;
        } else {
            column.units.clear();
            isMissing = isMissing || isKnown;
        }
    }
    if (isMissing)
        warnings_.push_back("The .meta file of this recording does not tell the gain of all channels. Those "
                            "without one are shown as stored numbers.");
}

std::vector<std::string> SpikeGlxMeta::LineNames() const {
    std::vector<std::string> names;
    for (size_t w = 0; w < digital_.size(); ++w)
        for (int bit = 0; bit < 16; ++bit)
            names.push_back(columns_[digital_[w]].kind == GlxKind::sync
                                ? "Sync"
                                : fmt::format("Line {}", 16 * w + static_cast<size_t>(bit)));
    return names;
}

}  // namespace kymora
