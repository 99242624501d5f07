#include "acquisition/auto_save_name.h"

#include "recording/recording_save.h"

namespace kymora {

std::string NextBaseName(const std::string& base) {
    const size_t last = base.find_last_not_of("0123456789");
    std::string stem = last == std::string::npos ? std::string() : base.substr(0, last + 1);
    std::string digits = base.substr(stem.size());
    if (digits.empty()) return base + "1";
    size_t at = digits.size();
    while (at > 0 && digits[at - 1] == '9') digits[--at] = '0';
    if (at == 0)
        digits.insert(0, "1");
    else
        ++digits[at - 1];
    return stem + digits;
}

std::filesystem::path FreeRecordingName(FileSystem& files, std::string& base) {
    std::filesystem::path path = WithRecordingExtension(base);
    while (files.Stamp(path) || SideCarBeside(files, path)) {
        base = NextBaseName(base);
        path = WithRecordingExtension(base);
    }
    return path;
}

}  // namespace kymora
