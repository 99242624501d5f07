#include "import/text_settings.h"

#include <fmt/format.h>

#include <charconv>

#include "archive/text_encoding.h"
#include "import/text_file_form.h"
#include "import/text_rows.h"

namespace kymora {

namespace {

void TakeCount(Opening& opening, const char* key, int least, int& count) {
    const std::string* setting = opening.Setting(key);
    if (!setting) return;
    int number = 0;
    const char* const end = setting->data() + setting->size();
    const auto [stop, fault] = std::from_chars(setting->data(), end, number);
    if (fault != std::errc() || stop != end || number < least)
        throw ImportSettingError(key, *setting,
                                 least < 0 ? std::string("a whole number from 0, or -1 for a guess")
                                           : "a whole number from 0");
    count = number;
}

void TakeInterval(Opening& opening, double& interval) {
    const std::string* setting = opening.Setting("sampleInterval");
    if (!setting) return;
    const std::optional<double> number = ReadNumber(*setting);
    if (!number || !(*number >= leastInterval) || !(*number <= greatestInterval))
        throw ImportSettingError("sampleInterval", *setting,
                                 fmt::format("milliseconds from {} to {}", leastInterval, greatestInterval));
    interval = *number;
}

void TakeOrientation(Opening& opening, bool& dataInColumns) {
    const std::string* setting = opening.Setting("dataInColumns");
    if (!setting) return;
    const std::string value = FoldCase(*setting);
    if (value != "0" && value != "1" && value != "true" && value != "false")
        throw ImportSettingError("dataInColumns", *setting,
                                 "1 where each trace is a column, or 0 where it is a row");
    dataInColumns = value == "1" || value == "true";
}

}  // namespace

std::optional<char> TakeTextSettings(Opening& opening, TextFileDefaults& layout) {
    TakeInterval(opening, layout.sampleInterval);
    TakeCount(opening, "skipRows", -1, layout.skipRows);
    TakeCount(opening, "skipColumns", 0, layout.skipColumns);
    TakeCount(opening, "labelRow", 0, layout.labelRow);
    TakeOrientation(opening, layout.dataInColumns);
    const std::string* decimal = opening.Setting("decimalSeparator");
    if (!decimal) return {};
    if (*decimal != "." && *decimal != ",")
        throw ImportSettingError("decimalSeparator", *decimal, "\".\" or \",\"");
    return (*decimal)[0];
}

}  // namespace kymora
