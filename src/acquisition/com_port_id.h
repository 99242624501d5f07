#pragma once
// The serial ports of this computer.

#include <filesystem>
#include <string>
#include <vector>

namespace kymora {

struct ComPort {
    std::string path;     // "/dev/ttyACM0"
    std::string product;  // as the device calls itself, with its maker; empty: it does not

    // "/dev/ttyACM0 <Arduino Uno>"
    std::string Shown() const;
};

// Other programs that have a port open ("minicom (4711)"), as far as the system tells.
std::vector<std::string> ProgramsWith(const std::filesystem::path& port);

class CComPortID {
  public:
    static constexpr const char* noListText =
        "Unable to discover COM ports on this computer. Assuming COM4 for Arduino.\nPlease inform author if "
        "incorrect.";
    static constexpr const char* assumedName = "COM4";

    // Looks through the system's list of terminals, and where there is none through that of devices by their
    // names.
    explicit CComPortID(const std::filesystem::path& system = "/sys/class/tty",
                        const std::filesystem::path& devices = "/dev");

    // Sorted by path.
    const std::vector<ComPort>& Ports() const { return m_ports; }
    // Whether there was any list, be it an empty one.
    bool HasList() const { return m_bHasList; }
    // The first with "Arduino" in its name; null where there is none.
    const ComPort* Arduino() const;

    // What a port's name stands for: a path, "ttyACM0" or "COM4", which is the fourth one on the board.
    static std::string PathOf(const std::string& name);

  private:
    void TakeSystemList(const std::filesystem::path& system, const std::filesystem::path& devices);
    void TakeNamedDevices(const std::filesystem::path& named);

    std::vector<ComPort> m_ports;
    bool m_bHasList = false;
};

}  // namespace kymora
