#include "import/text_settings.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>

#include "archive/text_encoding.h"
#include "import/text_file_form.h"
#include "import/text_rows.h"

namespace kymora {

namespace {

[[noreturn]] void Refuse(const char* key, const std::string& value, const std::string& what) {
    throw TextSettingError(
        fmt::format("The import setting \"{}\" is \"{}\". It takes {}.", key, value, what));
}

void TakeCount(Session& session, const char* key, int least, int& count) {
    const std::string* setting = session.ImportSetting(key);
    if (!setting) return;
    int number = 0;
    const char* const end = setting->data() + setting->size();
    const auto [stop, fault] = std::from_chars(setting->data(), end, number);
    if (fault != std::errc() || stop != end || number < least)
        Refuse(key, *setting,
               least < 0 ? std::string("a whole number from 0, or -1 for a guess") : "a whole number from 0");
    count = number;
}

void TakeInterval(Session& session, double& interval) {
    const std::string* setting = session.ImportSetting("sampleInterval");
    if (!setting) return;
    const std::optional<double> number = ReadNumber(*setting);
    if (!number || !(*number >= leastInterval) || !(*number <= greatestInterval))
        Refuse("sampleInterval", *setting,
               fmt::format("milliseconds from {} to {}", leastInterval, greatestInterval));
    interval = *number;
}

void TakeOrientation(Session& session, bool& dataInColumns) {
    const std::string* setting = session.ImportSetting("dataInColumns");
    if (!setting) return;
    const std::string value = FoldCase(*setting);
    if (value != "0" && value != "1" && value != "true" && value != "false")
        Refuse("dataInColumns", *setting, "1 where each trace is a column, or 0 where it is a row");
    dataInColumns = value == "1" || value == "true";
}

}  // namespace

std::optional<char> TakeTextSettings(Session& session, TextFileDefaults& layout) {
    TakeInterval(session, layout.sampleInterval);
    TakeCount(session, "skipRows", -1, layout.skipRows);
    TakeCount(session, "skipColumns", 0, layout.skipColumns);
    TakeCount(session, "labelRow", 0, layout.labelRow);
    TakeOrientation(session, layout.dataInColumns);
    const std::string* decimal = session.ImportSetting("decimalSeparator");
    if (!decimal) return {};
    if (*decimal != "." && *decimal != ",") Refuse("decimalSeparator", *decimal, "\".\" or \",\"");
    return (*decimal)[0];
}

}  // namespace kymora
