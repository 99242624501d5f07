// A serial board for trials by hand. It prints the port to record from, and goes on until it is interrupted.
//   serial_board [--sine] [--speed X] [--rate-factor X] [--handshake HEX] [--bytes N [--vanish]]

#include <csignal>
#include <cstdio>
#include <cstring>

#include "serial_board.h"

namespace {

std::string BytesOf(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

}  // namespace

int main(int count, char** words) {
    kymora::SerialBoardScript script;
    script.bytes = -1;
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        if (word == "--sine")
            script.isSine = true;
        else if (word == "--vanish")
            script.vanishes = true;
        else if (i + 1 == count)
            return std::fprintf(stderr, "serial_board: %s is not known, or lacks its value\n", words[i]), 2;
        else if (word == "--speed")
            script.speed = std::stod(words[++i]);
        else if (word == "--rate-factor")
            script.rateFactor = std::stod(words[++i]);
        else if (word == "--handshake")
            script.handshake = BytesOf(words[++i]);
        else if (word == "--bytes")
            script.bytes = std::stoll(words[++i]);
        else
            return std::fprintf(stderr, "serial_board: %s is not known\n", words[i]), 2;
    }
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // of the board's thread, too
    const kymora::SerialBoard board(script);
    std::printf("%s\n", board.Path().c_str());
    std::fflush(stdout);
    int signal = 0;
    ::sigwait(&ends, &signal);
    return 0;
}
