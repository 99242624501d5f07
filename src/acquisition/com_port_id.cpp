#include "acquisition/com_port_id.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <system_error>
#include <unistd.h>

namespace kymora {

namespace {

namespace fs = std::filesystem;

// The first line of an attribute; empty where there is none.
std::string Attribute(const fs::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

// The USB device stands a few folders above the terminal that it has.
std::string ProductAbove(fs::path folder) {
    constexpr int mostLevels = 4;
    for (int i = 0; i < mostLevels && folder.has_relative_path(); ++i, folder = folder.parent_path()) {
        const std::string product = Attribute(folder / "product");
        const std::string maker = Attribute(folder / "manufacturer");
        if (product.empty() && maker.empty()) continue;
        if (product.empty()) return maker;
        if (maker.empty() || product.find(maker) != std::string::npos) return product;
        return product + ", " + maker;
    }
    return {};
}

// Ports that the system keeps ready without hardware behind them have the type 0.
bool HasHardware(const fs::path& entry) {
    std::error_code error;
    return fs::exists(entry / "device", error) && Attribute(entry / "type") != "0";
}

}  // namespace

std::string ComPort::Shown() const { return product.empty() ? path : path + " <" + product + ">"; }

CComPortID::CComPortID(const fs::path& system, const fs::path& devices) {
    std::error_code error;
    if (fs::is_directory(system, error))
        TakeSystemList(system, devices);
    else if (fs::is_directory(devices / "serial/by-id", error))
        TakeNamedDevices(devices / "serial/by-id");
    std::sort(m_ports.begin(), m_ports.end(),
              [](const ComPort& a, const ComPort& b) { return a.path < b.path; });
}

void CComPortID::TakeSystemList(const fs::path& system, const fs::path& devices) {
    m_bHasList = true;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(system, error)) {
        if (!HasHardware(entry.path())) continue;
        const fs::path device = fs::canonical(entry.path() / "device", error);
        m_ports.push_back({(devices / entry.path().filename()).string(), ProductAbove(device)});
    }
}

// "usb-Arduino_Uno_7553-if00 -> ../../ttyACM0"
void CComPortID::TakeNamedDevices(const fs::path& named) {
    m_bHasList = true;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(named, error)) {
        std::string name = entry.path().filename().string();
        std::replace(name.begin(), name.end(), '_', ' ');
        m_ports.push_back({fs::weakly_canonical(entry.path(), error).string(), name});
    }
}

const ComPort* CComPortID::Arduino() const {
    for (const ComPort& port : m_ports)
        if (port.product.find("Arduino") != std::string::npos) return &port;
    return nullptr;
}

std::string CComPortID::PathOf(const std::string& name) {
    if (name.find('/') != std::string::npos) return name;
    unsigned int number = 0;
    const char* const end = name.data() + name.size();
    const bool isCounted = name.starts_with("COM") && name.size() > 3 &&
                           std::from_chars(name.data() + 3, end, number).ptr == end && number > 0;
    return "/dev/" + (isCounted ? "ttyS" + std::to_string(number - 1) : name);
}

std::vector<std::string> ProgramsWith(const std::filesystem::path& port) {
    std::error_code error;
    const fs::path wanted = fs::canonical(port, error);
    std::vector<std::string> programs;
    const std::string self = std::to_string(::getpid());
    for (fs::directory_iterator process("/proc", error), end; !error && process != end;
         process.increment(error)) {
        const std::string number = process->path().filename().string();
        if (number == self || number.find_first_not_of("0123456789") != std::string::npos) continue;
        // Those of other users are not told.
        std::error_code closed;
        for (fs::directory_iterator file(process->path() / "fd", closed); !closed && file != end;
             file.increment(closed)) {
            std::error_code gone;
            if (fs::read_symlink(file->path(), gone) != wanted || gone) continue;
            programs.push_back(Attribute(process->path() / "comm") + " (" + number + ")");
            break;
        }
    }
    return programs;
}

}  // namespace kymora
