// A serial board for trials by hand. It prints the port to record from, and goes on until it is interrupted.
//   serial_board [--sine] [--speed X] [--rate-factor X] [--handshake HEX] [--bytes N [--vanish]]

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "serial_board.h"

namespace {

// All of the text, or it throws.
template <typename T, typename Parse>
T Whole(const std::string& text, Parse parse) {
    size_t used = 0;
    const T value = parse(text, &used);
    if (used != text.size()) throw std::invalid_argument(text);
    return value;
}

double Factor(const std::string& text) {
    const auto value =
        Whole<double>(text, [](const std::string& from, size_t* used) { return std::stod(from, used); });
    if (!(value > 0.0 && value <= 1e6)) throw std::out_of_range(text);
    return value;
}

int64_t Bytes(const std::string& text) {
    const auto value =
        Whole<int64_t>(text, [](const std::string& from, size_t* used) { return std::stoll(from, used); });
    if (value < 0) throw std::out_of_range(text);
    return value;
}

std::string BytesOf(const std::string& hex) {
    if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        throw std::invalid_argument(hex);
    std::string bytes;
    for (size_t i = 0; i < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

int Refuse(const char* what, const char* why) {
    std::fprintf(stderr, "serial_board: %s %s\n", what, why);
    return 2;
}

}  // namespace

int main(int count, char** words) {
    kymora::SerialBoardScript script;
    script.bytes = -1;
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        const char* const value = i + 1 < count ? words[i + 1] : nullptr;
        const bool takesValue =
            word == "--speed" || word == "--rate-factor" || word == "--handshake" || word == "--bytes";
        if (word == "--sine")
            script.isSine = true;
        else if (word == "--vanish")
            script.vanishes = true;
        else if (!takesValue)
            return Refuse(words[i], "is not known");
        else if (!value)
            return Refuse(words[i], "lacks its value");
        if (!takesValue) continue;
        ++i;
        try {
            if (word == "--speed") script.speed = Factor(value);
            if (word == "--rate-factor") script.rateFactor = Factor(value);
            if (word == "--handshake") script.handshake = BytesOf(value);
            if (word == "--bytes") script.bytes = Bytes(value);
        } catch (const std::logic_error&) {
            return Refuse(words[i - 1], "does not take this value");
        }
    }
    if (script.vanishes && script.bytes < 0) return Refuse("--vanish", "needs --bytes");
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // of the board's thread, too
    try {
        const kymora::SerialBoard board(script);
        std::printf("%s\n", board.Path().c_str());
        std::fflush(stdout);
        int signal = 0;
        ::sigwait(&ends, &signal);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "serial_board: %s\n", error.what());
        return 1;
    }
}
