#include "import/binary_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "archive/text_encoding.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr int64_t previewRows = 8;

template <typename Number>
std::optional<Number> NumberOf(const std::string& text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// The value of a number given under either name.
template <typename Number>
std::optional<Number> Setting(Opening& opening, const char* name, const char* shortName, Number least,
                              Number most, const char* takes) {
    const std::string* longer = opening.Setting(name);
    const std::string* shorter = opening.Setting(shortName);
    const std::string* setting = longer ? longer : shorter;
    if (!setting) return std::nullopt;
    const auto value = NumberOf<Number>(*setting);
    if (!value || !(*value >= least && *value <= most))
        throw ImportSettingError(longer ? name : shortName, *setting, takes);
    return value;
}

std::optional<BinaryType> TypeSetting(Opening& opening) {
    const std::string* setting = opening.Setting("binaryType");
    if (!setting) return std::nullopt;
    const std::string folded = FoldCase(*setting);
    std::string takes;
    for (size_t i = 0; i < std::size(binaryTypes); ++i) {
        const BinaryTypeInfo& type = binaryTypes[i];
        if (folded == std::to_string(i) || folded == FoldCase(type.text) || folded == type.shortName)
            return static_cast<BinaryType>(i);
        takes += fmt::format("{}{} or {}", i == 0 ? "" : ", ", i, type.shortName);
    }
    throw ImportSettingError("binaryType", *setting, takes);
}

int64_t RowsIn(const DataFile& file, const BinaryLayout& layout) {
    return static_cast<int64_t>(file.Length()) / layout.Stride();
}

// "38400 samples each, 38400 ms".
std::string ExtentText(const DataFile& file, const BinaryFormat& format) {
    const int64_t rows = RowsIn(file, format.layout);
    const auto rest = static_cast<int64_t>(file.Length()) % format.layout.Stride();
    std::string text =
        fmt::format("{} samples each, {:.7g} ms", rows, static_cast<double>(rows) * format.interval);
    if (rest != 0) text += fmt::format("; a remainder of {} B is left out", rest);
    return text;
}

// Row by row, each with its number.
std::vector<std::vector<std::string>> FirstRows(const DataFile& file, const BinaryLayout& layout) {
    const int64_t count = std::min(RowsIn(file, layout), previewRows);
    std::vector<std::vector<float>> values(static_cast<size_t>(layout.traces));
    std::vector<BinaryPiece> pieces;
    for (auto& trace : values) {
        trace.resize(static_cast<size_t>(count));
        pieces.push_back({static_cast<int>(pieces.size()), trace.data()});
    }
    BinarySampleReader(file, layout).Read(0, count, pieces);
    std::vector<std::vector<std::string>> rows;
    for (size_t row = 0; row < static_cast<size_t>(count); ++row) {
        rows.push_back({std::to_string(row + 1)});
        for (const auto& trace : values) rows.back().push_back(fmt::format("{:.7g}", trace[row]));
    }
    return rows;
}

std::vector<std::string> Headings(int traces) {
    std::vector<std::string> headings{"Sample"};
    for (int t = 1; t <= traces; ++t) headings.push_back(fmt::format("Trace {}", t));
    return headings;
}

std::string TooShortText(const DataFile& file, const BinaryLayout& layout) {
    if (RowsIn(file, layout) > 0) return {};
    return fmt::format("The file holds {} bytes. One sample of each trace takes {}.", file.Length(),
                       layout.Stride());
}

}  // namespace

CBinaryFormat::CBinaryFormat(Session& session, const BinaryFileDefaults& defaults)
    : session_(session),
      format_{{defaults.binaryTraces, static_cast<BinaryType>(defaults.binaryType)},
              defaults.binaryInterval} {}

CBinaryFormat::CBinaryFormat(Session& session, Opening& opening)
    : CBinaryFormat(session, session.binaryFile) {
    if (const auto traces =
            Setting(opening, "binaryTraces", "traces", 1, maxBinaryTraces, "a whole number from 1 to 16")) {
        format_.layout.traces = *traces;
        tracesGiven_ = true;
    }
    if (const auto interval = Setting(opening, "binaryInterval", "sampleInterval", leastBinaryInterval,
                                      greatestBinaryInterval, "milliseconds from 1e-8 to 1e10")) {
        format_.interval = *interval;
        intervalGiven_ = true;
    }
    if (const auto type = TypeSetting(opening)) {
        format_.layout.type = *type;
        typeGiven_ = true;
    }
}

bool CBinaryFormat::IsSettled() const {
    return session_.binaryFile.binaryUseDefault || (tracesGiven_ && intervalGiven_ && typeGiven_);
}

bool CBinaryFormat::Ask(const DataFile& file, const std::string& name) {
    Form form("Binary File Properties");
    form.AddNote("file", fmt::format("{}, {} bytes", name, file.Length()), "File");
    AddFormat(form);
    form.AddTable("rows", {}, {}, "First samples");
    form.AddNote("extent", {}, "Length");
    AddMakeDefault(form);
    ShowRows(form, file);
    form.onChange = [this, &file](Form& changed) { ShowRows(changed, file); };
    form.validate = [this, &file](const Form& asked) { return TooShortText(file, FormatOf(asked).layout); };
    return Show(form);
}

bool SetBinaryDefaults(Session& session) {
    CBinaryFormat defaults(session, session.binaryFile);
    Form form("Binary File Properties");
    defaults.AddFormat(form);
    defaults.AddMakeDefault(form);
    return defaults.Show(form);
}

bool CBinaryFormat::Show(Form& form) {
    if (!session_.host.AskForm(form)) return false;
    format_ = FormatOf(form);
    BinaryFileDefaults& defaults = session_.binaryFile;
    if (!tracesGiven_) defaults.binaryTraces = format_.layout.traces;
    if (!intervalGiven_) defaults.binaryInterval = format_.interval;
    if (!typeGiven_) defaults.binaryType = static_cast<int>(format_.layout.type);
    defaults.binaryUseDefault = form.Flag("binaryUseDefault");
    return true;
}

void CBinaryFormat::AddFormat(Form& form) const {
    const auto unlessGiven = [](bool given) {
        return given ? [](const Form&) { return false; } : std::function<bool(const Form&)>();
    };
    form.AddInteger("binaryTraces", "Number of traces (assume interleaved)", format_.layout.traces,
                    "The file holds the first sample of each trace, then the second sample "
                    "of each, and so on.")
        .Limits(1, maxBinaryTraces)
        .Spin()
        .EnabledIf(unlessGiven(tracesGiven_));
    form.AddNumber("binaryInterval", "Sample interval (ms)", format_.interval,
                   "Time from one sample of a trace to its next.")
        .Limits(leastBinaryInterval, greatestBinaryInterval)
        .EnabledIf(unlessGiven(intervalGiven_));
    std::vector<std::string> types;
    for (const BinaryTypeInfo& type : binaryTypes) types.emplace_back(type.text);
    Field& type =
        form.AddRadio("binaryType", "Data type", std::move(types), static_cast<int>(format_.layout.type),
                      "What one sample is. The bytes of a number begin with its lowest.");
    type.enabled = unlessGiven(typeGiven_);
}

void CBinaryFormat::AddMakeDefault(Form& form) const {
    form.AddFlag(
        "binaryUseDefault", "Make default", session_.binaryFile.binaryUseDefault,
        "Binary files open in this way for the rest of the session, without this dialog. The command "
        "\"Set binary defaults\" changes that again.");
}

BinaryFormat CBinaryFormat::FormatOf(const Form& form) const {
    BinaryFormat format = format_;
    if (!tracesGiven_) format.layout.traces = std::clamp(form.Integer("binaryTraces"), 1, maxBinaryTraces);
    if (!intervalGiven_) format.interval = form.Number("binaryInterval");
    if (!typeGiven_)
        format.layout.type = static_cast<BinaryType>(std::clamp(form.Choice("binaryType"), 0, 3));
    return format;
}

void CBinaryFormat::ShowRows(Form& form, const DataFile& file) const {
    const BinaryFormat format = FormatOf(form);
    form["rows"].choices = Headings(format.layout.traces);
    try {
        form["rows"].rows = FirstRows(file, format.layout);
    } catch (const FileError&) {
        form["rows"].rows.clear();  // opening the file tells of it
    }
    form["extent"].text = ExtentText(file, format);
}

}  // namespace kymora
