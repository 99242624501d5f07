#include "batch/batch_report.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "document/native_writer.h"

namespace kymora {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view head = "{\"records\": [";

// One record stands in each line, so that it can be handed on as it is.
std::vector<std::string> LinesOf(std::string_view text) {
    std::vector<std::string> lines;
    for (size_t at = text.find('\n'); at != std::string_view::npos;) {
        const size_t end = text.find('\n', at + 1);
        std::string_view line =
            text.substr(at + 1, (end == std::string_view::npos ? text.size() : end) - at - 1);
        if (line.ends_with(',')) line.remove_suffix(1);
        if (line.starts_with('{')) lines.emplace_back(line);
        at = end;
    }
    return lines;
}

}  // namespace

void WriteReport(FileSystem& files, const std::filesystem::path& path, std::span<const std::string> records) {
    std::string text(head);
    for (size_t i = 0; i < records.size(); ++i) text += (i == 0 ? "\n" : ",\n") + records[i];
    text += "\n]}\n";
    WriteFileAtomically(files, path,
                        [&](CArchive& archive) { archive.WriteRaw(std::as_bytes(std::span(text))); });
}

std::vector<std::string> ReadReport(FileSystem& files, const std::filesystem::path& path) {
    const auto file = files.Open(path, OpenMode::readOnly);
    std::string text(file->Length(), '\0');
    ReadWhole(*file, 0, std::as_writable_bytes(std::span(text)));
    const Json report = Json::parse(text, nullptr, false);
    if (!report.is_object() || !report.contains("records") || !report["records"].is_array())
        throw std::runtime_error(path.string() + " is no report of a batch.");
    const Json& records = report["records"];
    if (!std::ranges::all_of(records, [](const Json& record) { return record.is_object(); }))
        throw std::runtime_error(path.string() + " is no report of a batch.");
    std::vector<std::string> lines = LinesOf(text);
    if (std::ranges::equal(lines, records, [](const std::string& line, const Json& record) {
            return Json::parse(line, nullptr, false) == record;
        }))
        return lines;
    // Another program has laid it out anew.
    lines.clear();
    for (const Json& record : records) lines.push_back(record.dump());
    return lines;
}

}  // namespace kymora
